// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "bus/LineRemote.h"

#include <fcntl.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "bus/BusFixture.h"
#include "dbus/LinkNames.h"

using applist::DirectLine;

namespace applist_test {

namespace {

void Check(int result, const char* what) {
  if (result < 0) {
    throw std::runtime_error(std::string(what) + ": " + applist::BusError().Text(result));
  }
}

void Attach(sd_bus* bus) {
  sd_event* event = nullptr;
  Check(sd_event_default(&event), "a loop");
  Check(sd_bus_attach_event(bus, event, 0), "a loop");
  sd_event_unref(event);
}

int Reply(sd_bus_message* call, const std::string& bytes) {
  sd_bus_message* created = nullptr;
  Check(sd_bus_message_new_method_return(call, &created), "a reply");
  const applist::MessagePtr reply(created);
  Check(sd_bus_message_append_array(created, 'y', bytes.data(), bytes.size()), "a reply");
  return sd_bus_send(nullptr, created, nullptr);
}

}  // namespace

LineRemote::LineRemote(const std::string& address, Gives gives) : m_gives(gives) {
  m_thread.Run([&] {
    m_peer = std::make_unique<BusPeer>(address);
    Check(sd_bus_add_filter(m_peer->Bus(), nullptr, OnMessage, this), "a filter");
    for (const char* name : {kRemoteCallsName, kRemoteName}) {
      if (m_peer->Own(name) != applist::NameAnswer::Owner) {
        throw std::runtime_error(std::string("No name for a remote side: ") + name);
      }
    }
    Attach(m_peer->Bus());
  });
}

LineRemote::~LineRemote() {
  m_thread.Run([&] {
    m_nameAsked.reset();
    m_lineAsked.reset();
    m_calls = Way();
    m_events = Way();
    m_peer.reset();
  });
}

void LineRemote::Write(Socket socket, const std::string& bytes) {
  m_thread.Run([&] {
    if (write(Of(socket).fd.Get(), bytes.data(), bytes.size()) !=
        static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("Cannot write to a line");
    }
  });
}

void LineRemote::Close(Socket socket) {
  m_thread.Run([&] { Of(socket) = Way(); });
}

void LineRemote::HangUpAtNextSend() {
  m_thread.Run([&] { m_hangUp = true; });
}

void LineRemote::Hang() {
  m_thread.Run([&] { m_hangs = true; });
}

bool LineRemote::IsAskedForLine() {
  bool asked = false;
  m_thread.Run([&] { asked = m_lineAsked != nullptr; });
  return asked;
}

void LineRemote::GiveAskedLine() {
  m_thread.Run([&] {
    Check(GiveLine(m_lineAsked.get()), "a line");
    m_lineAsked.reset();
  });
}

bool LineRemote::IsLineReady() {
  bool ready = false;
  m_thread.Run([&] {
    ready = sd_bus_is_ready(m_calls.bus.get()) > 0 && sd_bus_is_ready(m_events.bus.get()) > 0;
  });
  return ready;
}

void LineRemote::NotifyOnBus(const std::string& frame) {
  m_thread.Run([&] { m_peer->Notify(kUiName, frame); });
}

void LineRemote::NotifyOnLine(const std::string& frame) {
  m_thread.Run([&] {
    sd_bus_message* created = nullptr;
    Check(sd_bus_message_new_signal(m_events.bus.get(), &created, kLinkPath,
                                    applist::kLinkInterface, "Notify"),
          "a notification");
    const applist::MessagePtr signal(created);
    Check(sd_bus_message_append_array(created, 'y', frame.data(), frame.size()), "a frame");
    Check(sd_bus_send(nullptr, created, nullptr), "a notification");
  });
}

void LineRemote::CallItself(const std::string& uniqueName) {
  m_thread.Run([&] {
    Check(sd_bus_reply_method_return(m_nameAsked.get(), "s", uniqueName.c_str()), "a name");
    m_nameAsked.reset();
  });
}

void LineRemote::Serve(Way& way) {
  sd_bus* created = nullptr;
  Check(sd_bus_new(&created), "a line");
  way.bus.reset(created);
  const int fd = fcntl(way.fd.Get(), F_DUPFD_CLOEXEC, 0);
  Check(sd_bus_set_fd(created, fd, fd), "a line");
  sd_id128_t id{};
  Check(sd_id128_randomize(&id), "a line");
  Check(sd_bus_set_server(created, 1, id), "a line");
  Check(sd_bus_set_anonymous(created, 1), "a line");
  Check(sd_bus_start(created), "a line");
  Check(sd_bus_add_filter(created, nullptr, OnMessage, this), "a filter");
  Attach(created);
}

int LineRemote::GivePipes(sd_bus_message* call) {
  int fds[2] = {-1, -1};
  Check(pipe2(fds, O_CLOEXEC), "a pipe");
  applist::Descriptor(fds[0]).Close();
  const applist::Descriptor written(fds[1]);
  ++m_given;
  return sd_bus_reply_method_return(call, "hh", written.Get(), written.Get());
}

int LineRemote::GiveLine(sd_bus_message* call) {
  DirectLine::Sockets server;
  DirectLine::Sockets client;
  Check(DirectLine::MakePairs(server, client), "two pairs of sockets");
  m_calls = Way{std::move(server.calls), nullptr};
  m_events = Way{std::move(server.events), nullptr};
  if (m_gives == Gives::Lines) {
    Serve(m_calls);
    Serve(m_events);
  }
  const int r = sd_bus_reply_method_return(call, "hh", client.calls.Get(), client.events.Get());
  ++m_given;
  return r;
}

int LineRemote::OnMessage(sd_bus_message* message, void* remote, sd_bus_error* /*error*/) {
  return static_cast<LineRemote*>(remote)->Take(message);
}

int LineRemote::Take(sd_bus_message* message) {
  const bool isOnBus = sd_bus_message_get_bus(message) == m_peer->Bus();
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "OpenLine") > 0) {
    if (m_hangs) {
      m_lineAsked.reset(sd_bus_message_ref(message));
      return 1;
    }
    return m_gives == Gives::Nothing     ? 0
           : m_gives == Gives::DeadPipes ? GivePipes(message)
                                         : GiveLine(message);
  }
  if (m_hangs && sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Peer", "Ping") > 0) {
    return 1;
  }
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "UniqueName") > 0) {
    m_nameAsked.reset(sd_bus_message_ref(message));
    ++m_namesAsked;
    return 1;
  }
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") > 0) {
    if (!isOnBus && m_hangUp) {
      m_calls = Way();
      return 1;
    }
    return m_hangs ? 1 : Reply(message, isOnBus ? "bus" : "line");
  }
  return 0;
}

}  // namespace applist_test
