// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The way to the bus, and what goes wrong there, in words.
#ifndef APPLIST_APPLISTCTL_BUS_H
#define APPLIST_APPLISTCTL_BUS_H

#include <chrono>
#include <string>
#include <vector>

#include "dbus/BusConnection.h"
#include "dbus/LinkNames.h"
#include "support/ControlClient.h"

// How long each question of the program waits for its answer.
constexpr std::chrono::seconds kAnswerTimeout(3);

// The link as its remote side sees it.
const applist::LinkNames& Link();

// A connection to the bus that is ready for use. Throws Failure.
applist::BusPtr Connect();

// A connection that hears what others send to each other, as far as these match rules go, and can
// send nothing. Throws Failure, also where the bus does not allow it.
applist::BusPtr ConnectAsMonitor(const std::vector<std::string>& rules);

// The process that owns a name on the bus.
struct Owner {
  std::string uniqueName;
  int process = 0;
  std::string command;
};

// Nobody where the unique name is empty. Asks the bus alone. Throws Failure when it does not
// answer.
Owner OwnerOf(sd_bus* bus, const std::string& name);

// Calls `then` with the answer of `destination`, or the error in its place. Does not wait, and
// never has the bus start anything. The question lasts for as long as the slot.
applist::SlotPtr GetLinkProperties(sd_bus* bus, const std::string& destination,
                                   sd_bus_message_handler_t then, void* data);

// In the same way, asks the user interface's end to send everything over the bus for as long as
// this connection lasts, and nothing over a direct line.
applist::SlotPtr HoldBus(sd_bus* bus, const std::string& destination, sd_bus_message_handler_t then,
                         void* data);

// Throws a Failure that says what could not be done to the remote side, such as "select 'x'", and
// why.
[[noreturn]] void Fail(const std::string& what, const applist::ControlError& error);

// Whether the remote side is there, and is none that shows what it holds.
bool HasNoControl(const applist::ControlError& error);

// Throws a Failure that the connection was lost.
[[noreturn]] void FailLost();

// Whether this result, or this D-Bus error, means that nothing was answered in time.
bool IsTimeOut(int result, const std::string& error);

#endif
