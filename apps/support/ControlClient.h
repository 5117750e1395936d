// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A client of the daemon's control interface.
#ifndef APPLIST_SUPPORT_CONTROLCLIENT_H
#define APPLIST_SUPPORT_CONTROLCLIENT_H

#include <string>
#include <utility>
#include <vector>

#include "dbus/BusConnection.h"

namespace applist {

// Asks the remote side over a bus connection of its own, and waits for each answer. What fails
// throws std::runtime_error with the bus's words.
class ControlClient {
 public:
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

  State Read();

  // The remote side selects or clicks by itself.
  void Select(const std::string& id) { Call("Select", id); }
  void Click(const std::string& id) { Call("Click", id); }

 private:
  void Call(const char* method, const std::string& id);

  BusPtr m_bus;
};

}  // namespace applist

#endif
