// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/EventLoop.h"

#include <systemd/sd-event.h>

#include <system_error>

namespace {

// How much one Dispatch delivers.
constexpr int kMostTurns = 256;

void Check(int result) {
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(), "no event loop");
  }
}

int DrainMore(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* /*loop*/) {
  applist::Drain(fd);
  return 0;
}

}  // namespace

EventLoop::EventLoop() {
  sd_event* event = nullptr;
  Check(sd_event_default(&event));
  m_event.reset(event);
  int result = 0;
  m_more = applist::NewWakeUp(event, DrainMore, nullptr, result);
  Check(result);
}

EventLoop::~EventLoop() = default;

int EventLoop::Fd() const {
  return sd_event_get_fd(m_event.get());
}

// Where it was asked before and nobody has dispatched since, something may have been queued.
int EventLoop::NextTimeout() {
  if (sd_event_get_state(m_event.get()) == SD_EVENT_ARMED) {
    sd_event_wait(m_event.get(), 0);
  }
  if (sd_event_get_state(m_event.get()) == SD_EVENT_INITIAL) {
    sd_event_prepare(m_event.get());
  }
  return sd_event_get_state(m_event.get()) == SD_EVENT_PENDING ? 0 : -1;
}

// The last, empty turn arms the timers and the descriptors for the next poll.
void EventLoop::Dispatch() {
  for (int turn = 0; turn < kMostTurns; ++turn) {
    if (RunOnce(0) <= 0) {
      return;
    }
  }
  applist::Signal(m_more.get());
}

void EventLoop::Run() {
  m_stop = false;
  while (!m_stop && RunOnce(UINT64_MAX) >= 0) {
  }
}

// One turn, from wherever NextTimeout has left the loop. Returns whether there was something, or an
// errno value below zero.
int EventLoop::RunOnce(uint64_t timeout) {
  const int pending = NextTimeout() == 0 ? 1 : sd_event_wait(m_event.get(), timeout);
  return pending > 0 ? sd_event_dispatch(m_event.get()) : pending;
}
