// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/EventLoop.h"

#include <sys/eventfd.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <system_error>

namespace {

// How much one Dispatch delivers.
constexpr int kMostTurns = 256;

void Check(int result) {
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(), "no event loop");
  }
}

int Drain(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* /*loop*/) {
  eventfd_t count = 0;
  eventfd_read(fd, &count);
  return 0;
}

}  // namespace

void EventLoop::EventUnref::operator()(sd_event* event) const {
  sd_event_unref(event);
}

void EventLoop::SourceUnref::operator()(sd_event_source* source) const {
  sd_event_source_disable_unref(source);
}

EventLoop::EventLoop() {
  sd_event* event = nullptr;
  sd_event_source* more = nullptr;
  Check(sd_event_default(&event));
  m_event.reset(event);
  const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  Check(fd < 0 ? -errno : sd_event_add_io(event, &more, fd, EPOLLIN, Drain, nullptr));
  m_more.reset(more);
  Check(sd_event_source_set_io_fd_own(more, 1));
}

EventLoop::~EventLoop() = default;

int EventLoop::Fd() const {
  return sd_event_get_fd(m_event.get());
}

int EventLoop::NextTimeout() {
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
  eventfd_write(sd_event_source_get_io_fd(m_more.get()), 1);
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
