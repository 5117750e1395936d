// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Who this end of a link is on the bus, and who its partner is.
#ifndef APPLIST_DBUS_BUSPRESENCE_H
#define APPLIST_DBUS_BUSPRESENCE_H

#include <chrono>
#include <functional>
#include <string>

#include "dbus/BusConnection.h"
#include "dbus/CallConnection.h"
#include "dbus/EventSource.h"
#include "dbus/LinkNames.h"

namespace applist {

// Holds the connection that owns the name of this end, in the event loop of one thread, and follows
// who owns the partner's two names. Knows nothing of what is sent.
//
//   started -> starting: the socket of the bus has yet to appear, or the bus to answer Hello
//           -> following: asks who the partner is, then for its own names
//           -> owner of its name
//   any of them -> starting, on a new connection, when the bus goes away: after 0.1 s at first, and
//                  after up to 5 s while that does not help
//
// The order in `following` is what loses no message: our own name is asked for last, so that
// whoever sees it appear is known to us before it can send us anything. A change of owner counts
// only from the bus itself: anybody can send a signal that says so.
class BusPresence {
 public:
  // What it calls, from the loop. None of these may destroy it, save ownsName and partner as the
  // last thing they do, and nameTaken.
  struct Upcalls {
    // A new connection: adds what is to be heard on it. Returns an errno value below zero on
    // failure.
    std::function<int(sd_bus* bus)> prepare;
    // The connection is lost, and with it both names and all that is known of the partner.
    std::function<void()> lost;
    // This end owns its name.
    std::function<void()> ownsName;
    // The unique names that own the partner's name and its name for calls now, empty for nobody.
    // Also called where that has not changed.
    std::function<void(const std::string& owner)> partner;
    std::function<void(const std::string& owner)> partnerCalls;
    // Another process has a name of this end; `owner` tells which, in words.
    std::function<void(const std::string& owner)> nameTaken;
  };

  BusPresence(const LinkNames& names, CallConnection& calls, Upcalls upcalls)
      : m_names(names), m_calls(calls), m_upcalls(std::move(upcalls)) {}
  BusPresence(const BusPresence&) = delete;
  BusPresence& operator=(const BusPresence&) = delete;

  // Connects, and goes on for as long as it lives.
  void Start(sd_event* event);

  // Gives up the connection and starts over.
  void Lose(const char* cause);

  // The connection, which may not be there or not be ready yet.
  sd_bus* Bus() const { return m_bus.get(); }
  bool OwnsName() const { return m_ownsName; }

 private:
  void Connect();
  void ConnectAfter(std::chrono::milliseconds delay);
  int AddHandlers();
  void Follow();
  void AskForOwner(const std::string& name, sd_bus_message_handler_t onAnswer);
  void AskForOwnName();
  void WaitForName(const std::string& name, NameAnswer answer);
  void TakeOwner(const std::string& name, const std::string& owner);
  void TakeOwnerAnswer(const std::string& name, sd_bus_message* answer);

  // Handlers of the D-Bus library, which get there through Callback.
  void OnHello(sd_bus_message* message);
  void OnLost(sd_bus_message* message);
  void OnOwnerChanged(sd_bus_message* message);
  void OnPartner(sd_bus_message* answer);
  void OnPartnerCalls(sd_bus_message* answer);
  void OnNameAnswer(sd_bus_message* answer);

  template <void (BusPresence::*Handler)(sd_bus_message*)>
  static int Callback(sd_bus_message* message, void* presence, sd_bus_error* error);
  static int OnTimer(sd_event_source* source, uint64_t now, void* presence);

  const LinkNames& m_names;
  CallConnection& m_calls;
  const Upcalls m_upcalls;
  sd_event* m_event = nullptr;
  SourcePtr m_timer;
  BusPtr m_bus;
  std::chrono::milliseconds m_delay{};
  bool m_outage = false;
  bool m_ownsName = false;
};

}  // namespace applist

#endif
