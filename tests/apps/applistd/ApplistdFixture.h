// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The daemon as a program: what it says, how it ends, and what a service manager hears of it.
#ifndef APPLIST_TESTS_APPS_APPLISTD_APPLISTDFIXTURE_H
#define APPLIST_TESTS_APPS_APPLISTD_APPLISTDFIXTURE_H

#include <string>
#include <vector>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"
#include "dbus/Descriptor.h"

namespace applist_test {

// A temporary folder that goes with its object.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& Path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// The text of a file, empty when there is none.
std::string TextOf(const std::string& path);

class ApplistdTest : public BusTest {
 protected:
  ApplistdTest();

  // Starts the daemon with these arguments, and `environment` added to ours. What it writes to
  // standard error is added to the file of Said().
  void Start(std::vector<std::string> arguments = {},
             const std::vector<std::string>& environment = {});

  // The same, and waits until it has its name.
  void StartReady(const std::vector<std::string>& arguments = {},
                  const std::vector<std::string>& environment = {});

  // The exit status, once the daemon has ended by itself.
  int WaitForEnd();

  // What the daemon has written to standard error, and how often that holds a text.
  std::string Said() const { return TextOf(folder / "said"); }
  size_t CountSaid(const std::string& text) const;

  // Waits until the service manager has been told `line`. What was told before is forgotten, and so
  // is `line`.
  bool WaitForTold(const std::string& line);

  // The command of the daemon, and where it is.
  std::vector<std::string> Command(const std::vector<std::string>& arguments) const;

  Folder folder;
  BusPeer tool{bus.Address()};

 private:
  bool HearsTold(const std::string& line);

  applist::Descriptor m_notified;
};

}  // namespace applist_test

#endif
