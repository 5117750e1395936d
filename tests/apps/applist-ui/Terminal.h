// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A terminal that a test types into and looks at.
#ifndef APPLIST_TESTS_APPS_TERMINAL_H
#define APPLIST_TESTS_APPS_TERMINAL_H

#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace applist_test {

// A pane of a tmux of its own, with a shell command in it. Everything in it ends with this object.
class Terminal {
 public:
  // `folder` is for the socket.
  Terminal(std::string folder, int columns, int rows, const std::string& command);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Presses keys by tmux's names for them ("Down", "C-z", "x"), and types a text.
  void Press(const std::vector<std::string>& keys) const;
  void Type(const std::string& text) const;

  void Resize(int columns, int rows) const;

  // The rows as text, and with the sequences that style it.
  std::vector<std::string> Rows() const;
  std::string Styled() const;

  // A format of tmux about the pane, such as #{alternate_on}.
  std::string Says(const std::string& format) const;

 private:
  std::string Do(const std::vector<std::string>& words, int* status = nullptr) const;

  std::string m_socket;
  std::unique_ptr<applist::ChildProcess> m_server;
};

}  // namespace applist_test

#endif
