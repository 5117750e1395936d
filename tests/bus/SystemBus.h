// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A private bus with the rules and limits of this machine's system bus and the policy that is
// shipped for it.
#ifndef APPLIST_TESTS_BUS_SYSTEMBUS_H
#define APPLIST_TESTS_BUS_SYSTEMBUS_H

#include <sys/types.h>

#include <string>
#include <thread>

#include "support/BusDaemon.h"

namespace applist_test {

// Users that every Debian system has and that nothing runs as: bin, sys and nobody. A policy holds
// only for users that the system knows.
constexpr uid_t kUiUser = 2;
constexpr uid_t kRemoteUser = 3;
constexpr uid_t kStranger = 65534;

// While it lives, this process acts as another user, and as the group of the same number. Needs a
// process that was started by root, whomever it acts as now.
class ActingAs {
 public:
  explicit ActingAs(uid_t user);
  ~ActingAs();
  ActingAs(const ActingAs&) = delete;
  ActingAs& operator=(const ActingAs&) = delete;

 private:
  const uid_t m_before;
};

// A socket that takes datagrams, of which nothing is kept: who writes there would wait otherwise.
class Drain {
 public:
  explicit Drain(const std::string& path);
  ~Drain();
  Drain(const Drain&) = delete;
  Drain& operator=(const Drain&) = delete;

 private:
  const applist::Descriptor m_socket;
  std::thread m_reader;
};

// The bus runs on the daemon that APPLIST_TEST_BUS names. dbus-broker gets its policy from its
// launcher, which reads the same configuration as dbus-daemon.
class SystemBus {
 public:
  // Why there cannot be such a bus here, empty when there can.
  static std::string Obstacle();

  // `alsoAllowed`: what the default policy allows there beyond the usual, as rules of it.
  explicit SystemBus(const std::string& alsoAllowed = "");
  ~SystemBus();
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;

  // Every user may look into it.
  const std::string& Folder() const { return m_folder; }
  std::string Address() const { return "unix:path=" + m_folder + "/bus"; }

  // Has what is started from now on take this bus for the system bus.
  void UseAsSystemBus() const;

 private:
  std::string m_folder;
  Drain m_log;
  applist::BusDaemon m_daemon;
};

}  // namespace applist_test

#endif
