// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What has come in and waits for its turn.
#ifndef APPLIST_DBUS_INBOX_H
#define APPLIST_DBUS_INBOX_H

#include <deque>
#include <functional>
#include <memory>

#include "dbus/BusConnection.h"
#include "dbus/EventSource.h"

namespace applist {

// Delivers messages one by one from the event loop, in the order in which they came, each when
// there is nothing else to read: what is known by then decides whether it still counts. A flood
// does not keep them waiting for ever: when so many messages have come in, one is delivered first.
//
// Belongs to the loop's thread.
class Inbox {
 public:
  struct Upcalls {
    // Whether messages may be delivered now. When they may again, call DeliverLater.
    std::function<bool()> mayDeliver;
    // One message's turn. Returns whether it has to be delivered once more, which is done a few
    // times at most. May destroy the inbox.
    std::function<bool(sd_bus_message* message)> deliver;
    // Memory ran out, and a message may be lost.
    std::function<void(const char* cause)> failed;
  };

  explicit Inbox(Upcalls upcalls);
  ~Inbox();
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;

  // Has the loop deliver. Returns an errno value below zero on failure.
  int Attach(sd_event* event);

  // Keeps a reference to the message until its turn. Where too many wait, the first is delivered
  // now; while none may be, the new one is dropped and the result false.
  bool Add(sd_bus_message* message);
  void Clear();

  // Drops what has come in on `bus`.
  void ClearFrom(const sd_bus* bus);

  // Something has come in.
  void CountIncoming();

  // Has the loop deliver when it has nothing else to do.
  void DeliverLater();

 private:
  static int OnIdle(sd_event_source* source, void* inbox);
  void TakeTurn();
  void DeliverFirst();

  const Upcalls m_upcalls;
  std::deque<MessagePtr> m_waiting;
  // How often the first one has been delivered already.
  int m_turns = 0;
  // How many messages have come in since one was delivered.
  int m_unidle = 0;
  SourcePtr m_idle;
  // Expires with the inbox, for what goes on after an upcall.
  std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace applist

#endif
