// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A client of the daemon's control interface.
#ifndef APPLIST_SUPPORT_CONTROLCLIENT_H
#define APPLIST_SUPPORT_CONTROLCLIENT_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "dbus/BusConnection.h"

namespace applist {

// A question that the remote side, or the bus, did not answer as it should.
class ControlError : public std::runtime_error {
 public:
  // `name` is the D-Bus error, empty where there is none, and `result` an errno value below zero.
  ControlError(const std::string& what, std::string name, int result)
      : std::runtime_error(what), m_name(std::move(name)), m_result(result) {}

  const std::string& Name() const { return m_name; }
  int Result() const { return m_result; }

 private:
  std::string m_name;
  int m_result;
};

// Asks the remote side over a bus connection of its own, and waits for each answer. Never has the
// bus start a remote side. What fails throws ControlError with the bus's words.
class ControlClient {
 public:
  static constexpr const char* kInterface = "org.javamw.Applist.Control1";

  struct State {
    // Identifier and visible name of each item, in order.
    std::vector<std::pair<std::string, std::string>> items;
    std::string selection;
    std::string lastClicked;
    bool connected = false;

    // Takes over those properties that are in `dictionary`, an a{sv}, and reads it to its end.
    void Take(sd_bus_message* dictionary);
  };

  // Connects to the bus at `address`.
  explicit ControlClient(const std::string& address);

  // Takes over a connection, with the time-out that it has.
  explicit ControlClient(BusPtr bus) : m_bus(std::move(bus)) {}

  State Read();

  // For a program that does not wait for the answer: what Read asks, as a message that can be sent
  // on `bus`, and what the answer holds.
  static MessagePtr Question(sd_bus* bus);
  static State StateIn(sd_bus_message* answer);

  // The remote side selects or clicks by itself.
  void Select(const std::string& id) { Call("Select", id); }
  void Click(const std::string& id) { Call("Click", id); }

 private:
  void Call(const char* method, const std::string& id);
  MessagePtr Answer(sd_bus_message* call, const char* what);

  BusPtr m_bus;
};

}  // namespace applist

#endif
