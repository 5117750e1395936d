// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The event loop from which upcalls come, for programs with a main loop of their own and for
// programs without.
#ifndef APPLIST_DBUS_EVENTLOOP_H
#define APPLIST_DBUS_EVENTLOOP_H

#include <cstdint>

#include "common/Export.h"
#include "dbus/EventSource.h"

// The loop of the thread that constructs it, the same one that sd_event_default() returns there.
// Use it on that thread only, and keep it for as long as the models of the thread.
//
// With a main loop of your own: watch Fd() for input, and call Dispatch() whenever it is readable.
// Timers make it readable as well. Where your loop asks for a time-out before it polls, give it
// NextTimeout(); a loop that shares sd_event_default() with code that is not ours needs that.
// Without a loop of your own: call Run().
//
// An idle loop does not wake up.
class EventLoop {
 public:
  // Throws std::system_error when the system has no descriptor left.
  APPLIST_EXPORT EventLoop();
  APPLIST_EXPORT ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // A descriptor that is readable while something waits to be dispatched. It stays the same,
  // belongs to the loop, and is never to be read from.
  APPLIST_EXPORT int Fd() const;

  // For how long to poll Fd() at most, in milliseconds, as poll() takes it: 0 when something waits
  // already, -1 when only the descriptor will tell.
  APPLIST_EXPORT int NextTimeout();

  // Delivers what waits, and returns without waiting for more. After a good deal it returns with
  // the descriptor still readable, so that a flood does not keep a user interface from drawing.
  APPLIST_EXPORT void Dispatch();

  // Delivers what comes, and sleeps in between, until Stop() is called from inside.
  APPLIST_EXPORT void Run();

  // Has Run() return after what is being delivered. Call it from an upcall.
  void Stop() { m_stop = true; }

 private:
  int RunOnce(uint64_t timeout);

  applist::EventPtr m_event;
  applist::SourcePtr m_more;
  bool m_stop = false;
};

#endif
