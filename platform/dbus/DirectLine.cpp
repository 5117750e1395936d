// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/DirectLine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cerrno>

namespace applist {

namespace {

int MakePair(Descriptor& one, Descriptor& other) {
  int fds[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) < 0) {
    return -errno;
  }
  one = Descriptor(fds[0]);
  other = Descriptor(fds[1]);
  return 0;
}

int Duplicate(int fd, Descriptor& duplicate) {
  duplicate = Descriptor(fcntl(fd, F_DUPFD_CLOEXEC, 0));
  return duplicate.Get() < 0 ? -errno : 0;
}

// Writing to anything else could end the process by a signal.
int CheckSocket(int fd) {
  int domain = 0;
  int type = 0;
  socklen_t size = sizeof(int);
  if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) < 0 ||
      getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) < 0) {
    return -errno;
  }
  return domain == AF_UNIX && type == SOCK_STREAM ? 0 : -EPROTOTYPE;
}

}  // namespace

int DirectLine::CheckRoom() {
  Descriptor one;
  Descriptor other;
  const int r = Duplicate(STDERR_FILENO, one);
  return r < 0 ? r : Duplicate(STDERR_FILENO, other);
}

int DirectLine::ReadSockets(sd_bus_message* answer, Sockets& client) {
  int calls = -1;
  int events = -1;
  int r = sd_bus_message_has_signature(answer, "hh") > 0
              ? sd_bus_message_read(answer, "hh", &calls, &events)
              : -EBADMSG;
  for (const int fd : {calls, events}) {
    if (r >= 0) {
      r = CheckSocket(fd);
    }
  }
  if (r >= 0) {
    r = Duplicate(calls, client.calls);
  }
  return r < 0 ? r : Duplicate(events, client.events);
}

int DirectLine::MakePairs(Sockets& server, Sockets& client) {
  const int r = MakePair(server.calls, client.calls);
  return r < 0 ? r : MakePair(server.events, client.events);
}

int DirectLine::Start(sd_event* event, Side side, Sockets sockets) {
  m_event = event;
  int r =
      AddConnection("applist-line-calls", side, std::move(sockets.calls), m_calls, m_callsSlots);
  if (r >= 0 && side == Side::Server) {
    r = m_upcalls.prepare(m_calls.get());
  }
  if (r >= 0) {
    r = AddConnection("applist-line-events", side, std::move(sockets.events), m_events,
                      m_eventsSlots);
  }
  return r < 0 ? r : m_upcalls.prepare(m_events.get());
}

// Each end trusts the other: the credentials of the sockets are those of the process that has made
// them, and say nothing that the bus did not say when it passed them.
int DirectLine::AddConnection(const char* description, Side side, Descriptor socket, BusPtr& bus,
                              Slots& slots) {
  sd_bus* created = nullptr;
  int r = sd_bus_new(&created);
  bus.reset(created);
  if (r >= 0) {
    r = sd_bus_set_description(created, description);
  }
  if (r >= 0) {
    r = sd_bus_set_fd(created, socket.Get(), socket.Get());
  }
  if (r >= 0) {
    socket.Release();
    r = sd_bus_negotiate_fds(created, 0);
  }
  if (r >= 0) {
    r = sd_bus_set_anonymous(created, 1);
  }
  if (r >= 0) {
    r = sd_bus_set_trusted(created, 1);
  }
  if (r >= 0 && side == Side::Server) {
    sd_id128_t id{};
    sd_id128_randomize(&id);
    r = sd_bus_set_server(created, 1, id);
  }
  if (r >= 0) {
    r = sd_bus_set_connected_signal(created, 1);
  }
  if (r >= 0) {
    r = sd_bus_start(created);
  }
  if (r >= 0) {
    r = MatchLocal(created, "Connected", OnReady, this, &slots.ready);
  }
  if (r >= 0) {
    r = MatchLocal(created, "Disconnected", OnLost, this, &slots.lost);
  }
  return r < 0 ? r : sd_bus_attach_event(created, m_event, SD_EVENT_PRIORITY_NORMAL);
}

bool DirectLine::IsClosed() const {
  pollfd sockets[] = {{sd_bus_get_fd(m_events.get()), 0, 0},
                      {m_calls == nullptr ? -1 : sd_bus_get_fd(m_calls.get()), 0, 0}};
  return poll(sockets, 2, 0) > 0;
}

void DirectLine::ReadAll() {
  const std::unique_ptr<sd_bus, BusUnref> calls(sd_bus_ref(m_calls.get()));
  const std::unique_ptr<sd_bus, BusUnref> events(sd_bus_ref(m_events.get()));
  for (sd_bus* bus : {calls.get(), events.get()}) {
    while (bus != nullptr && sd_bus_process(bus, nullptr) > 0) {
    }
  }
}

BusPtr DirectLine::TakeCalls() {
  m_callsSlots = Slots();
  sd_bus_detach_event(m_calls.get());
  return std::move(m_calls);
}

int DirectLine::OnReady(sd_bus_message* message, void* line, sd_bus_error* /*error*/) {
  DirectLine* self = static_cast<DirectLine*>(line);
  const bool isEvents = sd_bus_message_get_bus(message) == self->m_events.get();
  (isEvents ? self->m_eventsReady : self->m_callsReady) = true;
  if (self->IsReady()) {
    self->m_upcalls.ready();
  }
  return 0;
}

int DirectLine::OnLost(sd_bus_message* /*message*/, void* line, sd_bus_error* /*error*/) {
  static_cast<DirectLine*>(line)->m_upcalls.lost();
  return 0;
}

}  // namespace applist
