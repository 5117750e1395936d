// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applist-ui in a terminal, with applications of the test's own, and a remote side.
#ifndef APPLIST_TESTS_APPS_UIFIXTURE_H
#define APPLIST_TESTS_APPS_UIFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "apps/applist-ui/Terminal.h"
#include "support/ChildProcess.h"
#include "support/ControlClient.h"
#include "support/PrivateBus.h"

namespace applist_test {

using Names = std::vector<std::string>;

// One of the two lists on the screen: the names that are seen, and which of them is marked as
// selected and as clicked, empty for none.
struct SeenList {
  Names names;
  std::string selected;
  std::string clicked;
};

class UiTest : public ::testing::Test {
 protected:
  UiTest();
  ~UiTest() override;

  // Writes a desktop entry, and removes it. `more` are further lines of it.
  void Install(const std::string& id, const std::string& name, const std::string& more = "") const;
  void Uninstall(const std::string& id) const;
  // As many as there are names, with the identifiers a, b, ...
  void InstallAll(const Names& names) const;

  void StartRemote();
  void KillRemote();

  // Starts the user interface, with more words of its command line. It is run by a shell, which
  // takes note of how it left the terminal.
  struct Start {
    int columns = 80;
    int rows = 24;
    std::vector<std::string> environment;
    std::string arguments;
    // The program's log goes to a file otherwise.
    bool logInTerminal = false;
  };
  void StartUi(const Start& start);
  void StartUi() { StartUi(Start()); }
  pid_t UiPid() const;

  void Press(const std::vector<std::string>& keys) const { terminal->Press(keys); }

  // Waits until `condition` holds. Returns whether it came to.
  static bool WaitFor(const std::function<bool()>& condition);

  // The cell in which a row has its divider, -1 where it has none.
  static int ColumnOfDivider(const std::string& row);

  std::string Screen() const;
  SeenList Here() const;
  SeenList There() const;
  // What the last two rows say.
  std::string Status() const;
  std::string Prompt() const;
  void ExpectOnScreen(const std::string& text) const;
  void ExpectStatus(const std::string& text) const;
  void ExpectPrompt(const std::string& text) const;

  // What the remote side holds; nothing where it does not answer.
  std::optional<applist::ControlClient::State> Remote() const;
  bool RemoteHolds(const Names& names, const std::string& selected) const;

  // Waits until this is seen on the left, whatever the remote side does.
  void ExpectHere(const Names& names, const std::string& selected) const;
  // Waits until both lists on the screen show this, the program says that they are in step, and
  // the remote side, asked, holds it.
  void ExpectBoth(const Names& names, const std::string& selected) const;
  void ExpectClicked(const std::string& id) const;

  // Waits until the user interface has ended, and returns its status as the shell has it.
  std::string UiStatus() const;
  // Whether the terminal is as it was before.
  void ExpectTerminalRestored() const;

  std::string ReadFile(const std::string& name) const;

  std::string folder;
  applist::PrivateBus bus;
  std::unique_ptr<applist::ChildProcess> remote;
  std::unique_ptr<Terminal> terminal;
};

}  // namespace applist_test

#endif
