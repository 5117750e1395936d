// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Gives the terminal back when the program crashes.
#ifndef APPLIST_UI_CRASHGUARD_H
#define APPLIST_UI_CRASHGUARD_H

#include <termios.h>

#include <string>

namespace applist_ui {

// While it is armed, a signal of a crash (and SIGQUIT) first sends `sequence` to the terminal on
// standard output and takes its settings back, and then ends the program as it would have
// otherwise. There is one at a time.
class CrashGuard {
 public:
  CrashGuard(const std::string& sequence, const termios& settings);
  ~CrashGuard();
  CrashGuard(const CrashGuard&) = delete;
  CrashGuard& operator=(const CrashGuard&) = delete;

  // Where standard error was before it was turned to `log`: a crash turns it back, and copies the
  // log there. Both -1 for nothing.
  static void SetStandardError(int original, int log);

  static void Arm(bool armed);
};

}  // namespace applist_ui

#endif
