// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the two sides take of the machine and of the bus.
#ifndef APPLIST_TESTS_FAULT_FOOTPRINT_H
#define APPLIST_TESTS_FAULT_FOOTPRINT_H

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

#include "bus/BusPeer.h"

namespace applist_test {

struct Footprint {
  size_t descriptors = 0;
  size_t remoteDescriptors = 0;
  size_t connections = 0;
  // All match rules on the bus. dbus-broker does not tell; there, a rule that is left is one whose
  // connection is left.
  std::optional<size_t> matches;
};
bool operator==(const Footprint& a, const Footprint& b);
std::ostream& operator<<(std::ostream& out, const Footprint& footprint);

// Of this process and the process `remote`; `peer` asks the bus.
Footprint Measure(pid_t remote, BusPeer& peer);

// What the process has in memory.
size_t ResidentBytes(pid_t process);

// A line of /proc/PID/status, without its name; empty when there is none.
std::string StatusOf(pid_t process, const std::string& name);

}  // namespace applist_test

#endif
