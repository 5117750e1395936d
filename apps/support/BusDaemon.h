// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The two D-Bus daemons that a private bus can run on.
#ifndef APPLIST_SUPPORT_BUSDAEMON_H
#define APPLIST_SUPPORT_BUSDAEMON_H

#include <memory>
#include <string>

#include "dbus/BusConnection.h"
#include "dbus/Descriptor.h"
#include "support/ChildProcess.h"

namespace applist {

// A running daemon. It ends with this object.
struct BusDaemon {
  // The line on which dbus-broker takes orders; dbus-daemon has none.
  BusPtr orders;
  std::unique_ptr<ChildProcess> process;
};

// Which daemon the environment variable APPLIST_TEST_BUS asks for; dbus-daemon without it. Throws
// std::runtime_error for any other.
enum class BusKind { DbusDaemon, DbusBroker };
BusKind ChosenBusKind();

// Each starts a bus that listens at `folder`/bus and lets everybody do everything, and returns when
// it can be connected to. It may leave other files in the folder. Throws std::runtime_error when it
// cannot be started; why is written to standard error where the daemon itself says it.
BusDaemon StartDbusDaemon(const std::string& folder);
BusDaemon StartDbusBroker(const std::string& folder);

// Writes `folder`/bus.conf for a bus that listens at `folder`/bus, with these elements of a bus
// configuration, and returns its path.
std::string WriteBusConfiguration(const std::string& folder, const std::string& elements);

// dbus-daemon with that configuration.
BusDaemon StartDbusDaemonWith(const std::string& folder, const std::string& elements);

// A socket that listens at `path`, of the type SOCK_STREAM, or receives there, of the type
// SOCK_DGRAM. Everybody may connect to it. Throws std::runtime_error.
Descriptor SocketAt(const std::string& path, int type);

}  // namespace applist

#endif
