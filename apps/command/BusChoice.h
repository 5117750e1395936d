// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
/// @file
/// Which bus a program uses: --system, --session or --address ADDRESS, of which one at most may be
/// given.
#ifndef APPLIST_COMMAND_BUSCHOICE_H
#define APPLIST_COMMAND_BUSCHOICE_H

#include <string>

namespace applist {

/// The exit status of a program that was called in a wrong way.
constexpr int kUsageStatus = 2;

/// What is wrong with a command line that chooses twice.
constexpr const char* kTwoBuses = "only one of --system, --session and --address can be used";

/// What the command line says. Without a choice, it is the session bus where
/// DBUS_SESSION_BUS_ADDRESS is set, and the system bus otherwise.
struct BusChoice {
  bool system = false;
  bool session = false;
  std::string address;

  /// Takes the bus for this process: sets or removes DBUS_SESSION_BUS_ADDRESS, by which the link
  /// finds its bus. To be called before the first thread is started.
  void Use() const;
};

}  // namespace applist

#endif
