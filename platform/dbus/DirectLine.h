// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Two sockets between the two ends of a link, beside the bus.
#ifndef APPLIST_DBUS_DIRECTLINE_H
#define APPLIST_DBUS_DIRECTLINE_H

#include <functional>
#include <memory>
#include <utility>

#include "dbus/BusConnection.h"
#include "dbus/Descriptor.h"
#include "dbus/EventSource.h"

namespace applist {

// On one socket the user interface calls the remote side. On the other the remote side's
// notifications go, and its questions whether they are worked off. Both carry the same D-Bus
// messages as the bus does, without sender and destination: who has the other end of a socket is
// the partner, because the bus has passed it to the partner alone.
//
// The end that gives the line out starts as the server of both, the one that has asked for it as
// the client. All of it happens in the event loop; the socket for calls leaves it, on the client's
// side, for the threads that call.
class DirectLine {
 public:
  struct Upcalls {
    // A connection on which the partner speaks: adds what is to be heard there. Returns an errno
    // value below zero on failure.
    std::function<int(sd_bus* bus)> prepare;
    // The other end has answered on both sockets.
    std::function<void()> ready;
    // The line has come to its end. May destroy it.
    std::function<void()> lost;
  };

  // The two sockets as one end has them.
  struct Sockets {
    Descriptor calls;
    Descriptor events;
  };

  // Whether there is room for the two sockets of a client. Where there is not, the message that
  // brings them would be lost, and its connection with it. Returns an errno value below zero if
  // not.
  static int CheckRoom();

  // The two sockets out of a message of the partner, as its own: that they are sockets is looked
  // at. Returns an errno value below zero on failure.
  static int ReadSockets(sd_bus_message* answer, Sockets& client);

  // Two connected pairs of sockets. Returns an errno value below zero on failure.
  static int MakePairs(Sockets& server, Sockets& client);

  explicit DirectLine(Upcalls upcalls) : m_upcalls(std::move(upcalls)) {}
  DirectLine(const DirectLine&) = delete;
  DirectLine& operator=(const DirectLine&) = delete;

  // Takes the sockets into the event loop. Returns an errno value below zero on failure.
  enum class Side { Server, Client };
  int Start(sd_event* event, Side side, Sockets sockets);

  bool IsReady() const { return m_callsReady && m_eventsReady; }

  // Whether the other end has closed a socket, as far as can be seen without reading it.
  bool IsClosed() const;

  // Reads what has come in already, which no descriptor may tell of any more: what the other end
  // has sent right behind its part of the handshake was read with it. Not from inside a handler of
  // these connections. May lead to any upcall.
  void ReadAll();

  // Whether `bus` is one of its two connections, save one that was given away.
  bool Has(const sd_bus* bus) const { return bus == m_events.get() || bus == m_calls.get(); }

  // The connection of the notifications, which stays with the line.
  sd_bus* Events() const { return m_events.get(); }

  // Gives the connection for calls away, out of the event loop, while it has it.
  bool HasCalls() const { return m_calls != nullptr; }
  BusPtr TakeCalls();

 private:
  // What is heard of a connection itself.
  struct Slots {
    SlotPtr ready;
    SlotPtr lost;
  };

  int AddConnection(const char* description, Side side, Descriptor socket, BusPtr& bus,
                    Slots& slots);

  static int OnReady(sd_bus_message* message, void* line, sd_bus_error* error);
  static int OnLost(sd_bus_message* message, void* line, sd_bus_error* error);

  const Upcalls m_upcalls;
  sd_event* m_event = nullptr;
  BusPtr m_calls;
  BusPtr m_events;
  Slots m_callsSlots;
  Slots m_eventsSlots;
  bool m_callsReady = false;
  bool m_eventsReady = false;
};

}  // namespace applist

#endif
