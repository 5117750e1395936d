// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "command/BusChoice.h"

#include <unistd.h>

#include <cstdlib>

namespace applist {

namespace {

constexpr const char* kSessionAddress = "DBUS_SESSION_BUS_ADDRESS";

std::string ValueOf(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr ? value : "";
}

// Where a login session of systemd has its bus.
std::string SessionAddress() {
  const std::string folder = ValueOf("XDG_RUNTIME_DIR");
  return "unix:path=" + (folder.empty() ? "/run/user/" + std::to_string(getuid()) : folder) +
         "/bus";
}

}  // namespace

void BusChoice::Use() const {
  if (!address.empty()) {
    setenv(kSessionAddress, address.c_str(), 1);
  } else if (system) {
    unsetenv(kSessionAddress);
  } else if (session && ValueOf(kSessionAddress).empty()) {
    setenv(kSessionAddress, SessionAddress().c_str(), 1);
  }
}

}  // namespace applist
