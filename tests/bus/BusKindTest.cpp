// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// On which daemon a private bus runs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "bus/BusPeer.h"
#include "support/PrivateBus.h"

namespace applist_test {
namespace {

using applist::PrivateBus;

// The process that made the socket at which the bus listens, as its clients see it.
pid_t MakerOfTheSocket(const PrivateBus& bus) {
  BusPeer peer(bus.Address());
  sd_bus_creds* creds = nullptr;
  pid_t pid = -1;
  EXPECT_GE(sd_bus_get_owner_creds(peer.Bus(), SD_BUS_CREDS_PID, &creds), 0);
  EXPECT_GE(sd_bus_creds_get_pid(creds, &pid), 0);
  sd_bus_creds_unref(creds);
  return pid;
}

// dbus-daemon makes its socket itself; dbus-broker is given one.
TEST(BusKindTest, IsDbusDaemonWithoutAChoice) {
  for (const char* const choice : {"dbus-daemon", ""}) {
    setenv("APPLIST_TEST_BUS", choice, 1);
    EXPECT_NE(MakerOfTheSocket(PrivateBus()), getpid());
  }
  unsetenv("APPLIST_TEST_BUS");
  EXPECT_NE(MakerOfTheSocket(PrivateBus()), getpid());
}

TEST(BusKindTest, IsDbusBrokerWhereThatIsAskedFor) {
  setenv("APPLIST_TEST_BUS", "dbus-broker", 1);
  EXPECT_EQ(MakerOfTheSocket(PrivateBus()), getpid());
}

TEST(BusKindTest, AnUnknownChoiceThrows) {
  setenv("APPLIST_TEST_BUS", "dbus", 1);
  EXPECT_THROW(PrivateBus(), std::runtime_error);
}

TEST(BusKindTest, ADaemonThatIsNotThereThrows) {
  setenv("PATH", "/nowhere/to/be/found", 1);
  for (const char* const choice : {"dbus-daemon", "dbus-broker"}) {
    setenv("APPLIST_TEST_BUS", choice, 1);
    EXPECT_THROW(PrivateBus(), std::runtime_error);
  }
}

}  // namespace
}  // namespace applist_test
