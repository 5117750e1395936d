// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A connection to the bus with nothing of this project behind it: a stranger, or one end of the
// link played by a test.
#ifndef APPLIST_TESTS_BUS_BUSPEER_H
#define APPLIST_TESTS_BUS_BUSPEER_H

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "dbus/BusConnection.h"

namespace applist_test {

constexpr const char* kLinkPath = "/org/javamw/Applist";

// A payload with the identifier behind it, least significant byte first.
std::string Frame(int messageId, const std::string& payload = "");

// Used by one thread at a time. What the test cannot do without throws std::runtime_error.
class BusPeer {
 public:
  explicit BusPeer(const std::string& address);

  // What came back for a call: the name of the error, or empty and the bytes.
  struct Answer {
    std::string error;
    std::string reply;
  };

  applist::NameAnswer Own(const std::string& name);
  void Release(const std::string& name);

  // The unique name that owns a name, empty for nobody.
  std::string OwnerOf(const std::string& name);
  // The unique names of all connections to the bus.
  std::vector<std::string> Connections();
  const std::string& UniqueName() const { return m_uniqueName; }

  // Whether a property of the link's end with this name is true. False where it does not answer.
  bool IsSet(const std::string& name, const char* property);

  Answer Send(const std::string& destination, const std::string& frame);

  // A Send with arguments of any kind, as sd_bus_message_append takes them.
  Answer SendText(const std::string& destination, const std::string& text);

  // Waits until `destination` has worked off all that was sent to it before.
  void Ping(const std::string& destination);

  // An empty destination is everybody.
  void Notify(const std::string& destination, const std::string& frame);
  void NotifyText(const std::string& destination, const std::string& text);
  void ForgeOwnerChange(const std::string& destination, const std::string& name,
                        const std::string& before, const std::string& after);

  // Calls the control interface.
  Answer Control(const char* method, const std::string& text);

  // The frames of the notifications that have come in, as text.
  std::deque<std::string>& Notifications() { return m_notifications; }

  // Works off one message, after waiting for it. Returns false when none comes.
  bool ProcessOne();

  // Works off what has come in already.
  void ProcessAll();

  sd_bus* Bus() { return m_bus.get(); }

 private:
  Answer Call(sd_bus_message* call);
  static int OnMessage(sd_bus_message* message, void* peer, sd_bus_error* error);

  applist::BusPtr m_bus;
  std::string m_uniqueName;
  std::deque<std::string> m_notifications;
};

}  // namespace applist_test

#endif
