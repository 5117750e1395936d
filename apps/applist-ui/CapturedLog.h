// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The process's own log, kept off the screen.
#ifndef APPLIST_UI_CAPTUREDLOG_H
#define APPLIST_UI_CAPTUREDLOG_H

#include <deque>
#include <string>

#include "dbus/Descriptor.h"

namespace applist_ui {

// Standard error goes to a file in memory while this object is there, and back to where it was
// afterwards. Where that is no terminal, it gets every line all the same.
class CapturedLog {
 public:
  // Throws std::system_error.
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  // Takes over what was written since the last time. Returns whether there was anything.
  bool Collect();

  // The latest lines, the oldest first.
  const std::deque<std::wstring>& Lines() const { return m_lines; }

 private:
  void Take(const std::string& bytes);

  applist::Descriptor m_file;
  applist::Descriptor m_original;
  bool m_passOn;
  std::string m_rest;
  std::deque<std::wstring> m_lines;
};

}  // namespace applist_ui

#endif
