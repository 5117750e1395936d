// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// How a command ends.
#ifndef APPLIST_APPLISTCTL_FAILURE_H
#define APPLIST_APPLISTCTL_FAILURE_H

#include <stdexcept>
#include <string>

// The exit status of the program. The numbers are part of its manual.
enum class Status {
  Done = 0,
  Refused = 1,
  Usage = 2,
  UnknownIdentifier = 3,
  NobodyThere = 4,
  TimeOut = 5,
};

// Ends a command. The text is one line: what could not be done, on which object, why, and what to
// do next.
class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& text) : std::runtime_error(text), m_status(status) {}

  Status ExitStatus() const { return m_status; }

 private:
  Status m_status;
};

#endif
