// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// How the handler of a function message says no.
#ifndef APPLIST_DBUS_LINKREFUSAL_H
#define APPLIST_DBUS_LINKREFUSAL_H

#include <stdexcept>
#include <string>

#include "common/Export.h"

// Thrown by a handler that refuses a message: the caller gets a D-Bus error named
// org.javamw.Link1.Error.`reason` with `sentence` as its text.
class APPLIST_EXPORT LinkRefusal : public std::runtime_error {
 public:
  // `reason` is what can stand in a D-Bus error name: letters and digits.
  LinkRefusal(const std::string& reason, const std::string& sentence)
      : std::runtime_error(sentence), m_errorName("org.javamw.Link1.Error." + reason) {}
  ~LinkRefusal() override;

  // The whole name of the D-Bus error.
  const std::string& ErrorName() const { return m_errorName; }

 private:
  std::string m_errorName;
};

#endif
