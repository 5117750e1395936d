// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/BusPresence.h"

#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "common/Log.h"
#include "dbus/Guard.h"

namespace applist {

namespace {

constexpr std::chrono::milliseconds kFirstDelay(100);
constexpr std::chrono::milliseconds kLongestDelay(5000);
// How long a bus may take to appear and to answer Hello before a new connection is tried.
constexpr std::chrono::milliseconds kHelloPatience(2000);
constexpr std::chrono::seconds kBusTimeout(25);
// By how many microseconds a timer may be late; with 0, the event loop takes 250000.
constexpr uint64_t kAccuracy = 1000;

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

}  // namespace

// A negative result would make the D-Bus library give up on the connection, or the event loop on
// the source.
template <void (BusPresence::*Handler)(sd_bus_message*)>
int BusPresence::Callback(sd_bus_message* message, void* presence, sd_bus_error* /*error*/) {
  BusPresence* self = static_cast<BusPresence*>(presence);
  Safely([&] { (self->*Handler)(message); }, [self](const char* cause) { self->Lose(cause); });
  return 0;
}

void BusPresence::Start(sd_event* event) {
  m_event = event;
  m_delay = kFirstDelay;
  Connect();
}

// A socket that is not there yet is waited for by the connection itself. The timer is for what that
// does not see, and for a bus that takes connections without answering.
void BusPresence::Connect() {
  int r = 0;
  m_bus = StartConnection("applist-incoming", kBusTimeout, Socket::Awaited, r);
  if (m_bus != nullptr) {
    r = AddHandlers();
  }
  if (r < 0) {
    Lose(std::strerror(-r));
  } else {
    ConnectAfter(std::max(m_delay, kHelloPatience));
  }
}

void BusPresence::ConnectAfter(std::chrono::milliseconds delay) {
  m_delay = std::min(2 * m_delay, kLongestDelay);
  sd_event_source* timer = nullptr;
  const uint64_t microseconds = static_cast<uint64_t>(std::chrono::microseconds(delay).count());
  const int r = sd_event_add_time_relative(m_event, &timer, CLOCK_MONOTONIC, microseconds,
                                           kAccuracy, OnTimer, this);
  m_timer.reset(timer);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot try the bus again: %s", std::strerror(-r));
  }
}

int BusPresence::AddHandlers() {
  sd_bus* bus = m_bus.get();
  int r = MatchLocal(bus, "Connected", Callback<&BusPresence::OnHello>, this);
  if (r >= 0) {
    r = MatchLocal(bus, "Disconnected", Callback<&BusPresence::OnLost>, this);
  }
  if (r >= 0) {
    r = sd_bus_attach_event(bus, m_event, SD_EVENT_PRIORITY_NORMAL);
  }
  return r < 0 ? r : m_upcalls.prepare(bus);
}

// The connection itself stays until the next one is started: this runs inside its callbacks.
void BusPresence::Lose(const char* cause) {
  if (!m_outage) {
    APPLIST_LOGF(DLOG_WARN, "No bus: %s; trying again until there is one", cause);
  }
  m_outage = true;
  m_ownsName = false;
  ConnectAfter(m_delay);
  m_upcalls.lost();
}

void BusPresence::Follow() {
  if (m_outage) {
    APPLIST_LOG(DLOG_WARN, "The bus is there");
  }
  m_outage = false;
  m_timer.reset();
  const std::string rule =
      std::string("type='signal',sender='") + kBusName + "',path='" + kBusPath + "',interface='" +
      kBusName + "',member='NameOwnerChanged',arg0namespace='" + m_names.Namespace() + "'";
  const int r = sd_bus_add_match_async(m_bus.get(), nullptr, rule.c_str(),
                                       Callback<&BusPresence::OnOwnerChanged>, nullptr, this);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot follow the partner: %s", std::strerror(-r));
  }
  AskForOwner(m_names.partner.incoming, Callback<&BusPresence::OnPartner>);
  AskForOwner(m_names.partner.calls, Callback<&BusPresence::OnPartnerCalls>);
  AskForOwnName();
}

void BusPresence::AskForOwner(const std::string& name, sd_bus_message_handler_t onAnswer) {
  const int r = sd_bus_call_method_async(m_bus.get(), nullptr, kBusName, kBusPath, kBusName,
                                         "GetNameOwner", onAnswer, this, "s", name.c_str());
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot ask who owns %s: %s", name.c_str(), std::strerror(-r));
  }
}

// The name for calls comes first: of two processes that want to be the same end, only one gets it
// and goes on to ask for the other name.
void BusPresence::AskForOwnName() {
  const NameAnswer answer = m_calls.Open();
  if (!IsOwner(answer)) {
    WaitForName(m_names.own.calls, answer);
    return;
  }
  const int r = sd_bus_call_method_async(m_bus.get(), nullptr, kBusName, kBusPath, kBusName,
                                         "RequestName", Callback<&BusPresence::OnNameAnswer>, this,
                                         "su", m_names.own.incoming.c_str(), kDoNotQueue);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot ask for %s: %s", m_names.own.incoming.c_str(),
                 std::strerror(-r));
  }
}

// Where somebody has the name, the bus will tell when it is free. Where nobody has, or has any
// longer, nothing will be told: try everything again. A connection of our own that the bus has yet
// to see closed is nobody who replaces us.
void BusPresence::WaitForName(const std::string& name, NameAnswer answer) {
  std::optional<NameOwner> owner;
  if (answer == NameAnswer::Taken || answer == NameAnswer::Queued) {
    owner = AskForNameOwner(m_bus.get(), name);
  }
  if (!owner) {
    ConnectAfter(m_delay);
    return;
  }
  APPLIST_LOGF(DLOG_WARN, "The name %s is taken by %s; working locally until it is free",
               name.c_str(), owner->Text().c_str());
  if (owner->process != getpid()) {
    m_upcalls.nameTaken(owner->Text());
  }
}

void BusPresence::TakeOwner(const std::string& name, const std::string& owner) {
  if (name == m_names.partner.calls) {
    m_upcalls.partnerCalls(owner);
  } else if (name == m_names.partner.incoming) {
    m_upcalls.partner(owner);
  } else if (name == m_names.own.incoming || name == m_names.own.calls) {
    if (owner.empty() && !m_ownsName) {
      AskForOwnName();
    }
  }
}

void BusPresence::TakeOwnerAnswer(const std::string& name, sd_bus_message* answer) {
  const std::optional<std::string> owner = ReadOwner(answer);
  if (owner) {
    TakeOwner(name, *owner);
  } else {
    Lose("it does not say who owns a name");
  }
}

void BusPresence::OnHello(sd_bus_message* message) {
  if (IsFrom(message, kLocalSender)) {
    Follow();
  }
}

void BusPresence::OnLost(sd_bus_message* message) {
  if (IsFrom(message, kLocalSender)) {
    Lose("the connection was closed");
  }
}

void BusPresence::OnOwnerChanged(sd_bus_message* message) {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (IsFrom(message, kBusName) &&
      sd_bus_message_read(message, "sss", &name, &before, &after) >= 0) {
    TakeOwner(name, after);
  }
}

void BusPresence::OnPartner(sd_bus_message* answer) {
  TakeOwnerAnswer(m_names.partner.incoming, answer);
}

void BusPresence::OnPartnerCalls(sd_bus_message* answer) {
  TakeOwnerAnswer(m_names.partner.calls, answer);
}

void BusPresence::OnNameAnswer(sd_bus_message* answer) {
  const NameAnswer meaning = ReadNameAnswer(answer);
  LogNameAnswer(m_names.own.incoming, meaning, BusError(answer));
  m_ownsName = IsOwner(meaning);
  if (m_ownsName) {
    m_delay = kFirstDelay;
    m_upcalls.ownsName();
  } else {
    WaitForName(m_names.own.incoming, meaning);
  }
}

int BusPresence::OnTimer(sd_event_source* /*source*/, uint64_t /*now*/, void* presence) {
  BusPresence* self = static_cast<BusPresence*>(presence);
  Safely([self] { self->Connect(); }, [self](const char* cause) { self->Lose(cause); });
  return 0;
}

}  // namespace applist
