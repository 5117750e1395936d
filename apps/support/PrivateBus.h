// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A D-Bus daemon of our own, away from the user's buses.
#ifndef APPLIST_SUPPORT_PRIVATEBUS_H
#define APPLIST_SUPPORT_PRIVATEBUS_H

#include <string>

#include "support/BusDaemon.h"

namespace applist {

// A bus that lets everybody do everything, at an address in a temporary folder that goes with it.
// It runs on the daemon that the environment variable APPLIST_TEST_BUS names, dbus-daemon or
// dbus-broker; on dbus-daemon without it.
class PrivateBus {
 public:
  // Starts the bus and waits until it can be connected to. Throws std::runtime_error when it cannot
  // be started.
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& Address() const { return m_address; }

  // Has this process, and what it starts from now on, take this bus for the session bus.
  void UseAsSessionBus() const;

  // Kills the bus, and starts it again at the same address.
  void Stop();
  void Start();

  // Sends the bus a signal: SIGSTOP has it take nothing, until SIGCONT.
  void Signal(int number) { m_daemon.process->Signal(number); }

 private:
  void RemoveFolder() const;

  std::string m_folder;
  std::string m_address;
  BusDaemon m_daemon;
};

}  // namespace applist

#endif
