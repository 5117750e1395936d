// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "RemoteView.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "BusText.h"
#include "common/Log.h"
#include "dbus/LinkNames.h"

using applist::MessagePtr;

namespace applist_ui {

namespace {

constexpr std::chrono::milliseconds kFirstDelay(100);
constexpr std::chrono::milliseconds kLongestDelay(5000);
constexpr std::chrono::seconds kBusTimeout(25);
// By how many microseconds a timer may be late.
constexpr uint64_t kAccuracy = 10000;

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kLocal = "org.freedesktop.DBus.Local";
constexpr const char* kLocalPath = "/org/freedesktop/DBus/Local";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kControl = applist::ControlClient::kInterface;

const applist::LinkNames& Names() {
  static const applist::LinkNames names = applist::LinkNames::ForUserInterface("Applist");
  return names;
}

bool IsFrom(sd_bus_message* message, const std::string& sender) {
  const char* from = sd_bus_message_get_sender(message);
  return !sender.empty() && from != nullptr && sender == from;
}

bool IsError(sd_bus_message* message) {
  return sd_bus_message_is_method_error(message, nullptr) > 0;
}

void Check(int result, const char* what) {
  if (result < 0) {
    APPLIST_LOGF(DLOG_ERROR, "%s: %s", what, std::strerror(-result));
  }
}

}  // namespace

RemoteView::RemoteView(Upcalls upcalls) : m_upcalls(std::move(upcalls)), m_delay(kFirstDelay) {
  sd_event* event = nullptr;
  Check(sd_event_default(&event), "No event loop");
  m_event.reset(event);
  Start();
}

RemoteView::~RemoteView() = default;

// Nothing may be thrown through the D-Bus library: what cannot be read leaves what is shown as it
// was, and says so in the log.
template <void (RemoteView::*Handler)(sd_bus_message*)>
int RemoteView::Callback(sd_bus_message* message, void* view, sd_bus_error* /*error*/) {
  try {
    (static_cast<RemoteView*>(view)->*Handler)(message);
  } catch (const std::exception& e) {
    APPLIST_LOGF(DLOG_WARN, "What the bus says cannot be read: %s", e.what());
  }
  return 0;
}

RemoteView::Link RemoteView::State() const {
  if (!m_hello) {
    return Link::NoBus;
  }
  if (!m_ours.value_or(true)) {
    return Link::Taken;
  }
  if (m_remote.empty() || m_own.empty() || m_linkState.partner == "") {
    return Link::Nobody;
  }
  return IsOld() ? Link::Hung : Link::Connected;
}

// The connection

// A bus that is not there yet is waited for by the connection itself; the timer is for what that
// does not see.
void RemoteView::Start() {
  int r = 0;
  for (applist::SlotPtr* slot : {&m_control, &m_link, &m_process, &m_ping}) {
    slot->reset();
  }
  m_bus = applist::StartConnection("applist-view", kBusTimeout, applist::Socket::Awaited, r);
  if (m_bus != nullptr) {
    r = AddHandlers();
  }
  Check(r, "The bus cannot be looked at");
  StartAfter(m_delay);
  m_delay = std::min(m_delay * 2, kLongestDelay);
}

int RemoteView::AddHandlers() {
  sd_bus* bus = m_bus.get();
  int r = sd_bus_match_signal(bus, nullptr, kLocal, kLocalPath, kLocal, "Connected",
                              Callback<&RemoteView::OnHello>, this);
  if (r >= 0) {
    r = sd_bus_match_signal(bus, nullptr, kLocal, kLocalPath, kLocal, "Disconnected",
                            Callback<&RemoteView::OnLost>, this);
  }
  return r < 0 ? r : sd_bus_attach_event(bus, m_event.get(), SD_EVENT_PRIORITY_NORMAL);
}

void RemoteView::StartAfter(std::chrono::milliseconds delay) {
  sd_event_source* timer = nullptr;
  const uint64_t microseconds = static_cast<uint64_t>(delay.count()) * 1000;
  Check(sd_event_add_time_relative(m_event.get(), &timer, CLOCK_MONOTONIC, microseconds, kAccuracy,
                                   OnStart, this),
        "No timer");
  m_restart.reset(timer);
}

// The connection itself stays until the next one is started: this runs inside its callbacks.
void RemoteView::Lose() {
  m_hello = false;
  TakeRemote(std::string());
  TakeOwn(std::string());
  StartAfter(m_delay);
  Changed();
}

void RemoteView::OnHello(sd_bus_message* message) {
  if (!IsFrom(message, kLocal)) {
    return;
  }
  m_hello = true;
  m_restart.reset();
  m_delay = kFirstDelay;
  const std::string path = "type='signal',path='" + Names().objectPath + "',interface='";
  const std::string owners =
      std::string("type='signal',sender='") + kBusName + "',path='" + kBusPath + "',interface='" +
      kBusName + "',member='NameOwnerChanged',arg0namespace='" + Names().Namespace() + "'";
  const std::string properties = path + kProperties + "',member='PropertiesChanged'";
  const std::string launches = path + kControl + "',member='Launched'";
  Check(sd_bus_add_match_async(m_bus.get(), nullptr, owners.c_str(),
                               Callback<&RemoteView::OnOwnerChanged>, nullptr, this),
        "The owners of names cannot be followed");
  Check(sd_bus_add_match_async(m_bus.get(), nullptr, properties.c_str(),
                               Callback<&RemoteView::OnPropertiesChanged>, nullptr, this),
        "The remote side cannot be followed");
  Check(sd_bus_add_match_async(m_bus.get(), nullptr, launches.c_str(),
                               Callback<&RemoteView::OnLaunched>, nullptr, this),
        "Launches cannot be followed");
  AskForOwner(Names().partner.incoming.c_str(), Callback<&RemoteView::OnRemoteOwner>);
  AskForOwner(Names().own.incoming.c_str(), Callback<&RemoteView::OnOwnOwner>);
  Changed();
}

void RemoteView::OnLost(sd_bus_message* message) {
  if (IsFrom(message, kLocal)) {
    Lose();
  }
}

int RemoteView::OnStart(sd_event_source* /*source*/, uint64_t /*now*/, void* view) {
  static_cast<RemoteView*>(view)->Start();
  return 0;
}

// Who is there

void RemoteView::AskForOwner(const char* name, sd_bus_message_handler_t onAnswer) {
  Check(sd_bus_call_method_async(m_bus.get(), nullptr, kBusName, kBusPath, kBusName, "GetNameOwner",
                                 onAnswer, this, "s", name),
        "The bus cannot be asked");
}

void RemoteView::OnRemoteOwner(sd_bus_message* answer) {
  TakeRemote(applist::ReadOwner(answer).value_or(std::string()));
}

void RemoteView::OnOwnOwner(sd_bus_message* answer) {
  TakeOwn(applist::ReadOwner(answer).value_or(std::string()));
}

void RemoteView::OnOwnerChanged(sd_bus_message* message) {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (!IsFrom(message, kBusName) ||
      sd_bus_message_read(message, "sss", &name, &before, &after) < 0) {
    return;
  }
  if (Names().partner.incoming == name) {
    TakeRemote(after);
  } else if (Names().own.incoming == name) {
    TakeOwn(after);
  }
}

void RemoteView::TakeRemote(const std::string& owner) {
  if (owner == m_remote) {
    return;
  }
  m_remote = owner;
  m_ping.reset();
  m_deadline.reset();
  m_control.reset();
  m_overdue = false;
  m_known = false;
  m_holds = {};
  ++m_version;
  if (!owner.empty()) {
    ReadControl();
    Probe();
  }
  Changed();
}

void RemoteView::TakeOwn(const std::string& owner) {
  if (owner == m_own) {
    return;
  }
  m_own = owner;
  m_ours.reset();
  m_linkState = {};
  m_link.reset();
  m_process.reset();
  if (!owner.empty()) {
    sd_bus_slot* slot = nullptr;
    Check(sd_bus_call_method_async(m_bus.get(), &slot, kBusName, kBusPath, kBusName,
                                   "GetConnectionUnixProcessID",
                                   Callback<&RemoteView::OnOwnProcess>, this, "s", owner.c_str()),
          "The bus cannot be asked");
    m_process.reset(slot);
  }
  Changed();
}

void RemoteView::OnOwnProcess(sd_bus_message* answer) {
  uint32_t process = 0;
  if (!IsError(answer) && sd_bus_message_read(answer, "u", &process) >= 0) {
    m_ours = static_cast<pid_t>(process) == getpid();
    if (*m_ours) {
      ReadLink();
    }
    Changed();
  }
}

// What they hold

// With no time-out: a remote side that is stopped answers when it goes on.
void RemoteView::Ask(applist::SlotPtr& slot, sd_bus_message_handler_t onAnswer,
                     const std::string& whom, const char* interface, const char* member,
                     const char* argument) {
  sd_bus_message* created = nullptr;
  sd_bus_slot* asked = nullptr;
  int r = sd_bus_message_new_method_call(m_bus.get(), &created, whom.c_str(),
                                         Names().objectPath.c_str(), interface, member);
  const MessagePtr call(created);
  if (r >= 0 && argument != nullptr) {
    r = sd_bus_message_append(created, "s", argument);
  }
  if (r >= 0) {
    r = sd_bus_call_async(m_bus.get(), &asked, created, onAnswer, this, UINT64_MAX);
  }
  slot.reset(asked);
  Check(r, "The remote side cannot be asked");
}

void RemoteView::ReadControl() {
  m_again = m_control != nullptr;
  if (!m_again) {
    Ask(m_control, Callback<&RemoteView::OnControl>, m_remote, kProperties, "GetAll", kControl);
  }
}

void RemoteView::OnControl(sd_bus_message* answer) {
  m_control.reset();
  if (!IsError(answer)) {
    m_holds = applist::ControlClient::State();
    m_known = true;
    ++m_version;
    m_holds.Take(answer);
    Changed();
  }
  if (m_again) {
    ReadControl();
  }
}

void RemoteView::ReadLink() {
  Ask(m_link, Callback<&RemoteView::OnLink>, m_own, kProperties, "GetAll", applist::kLinkInterface);
}

void RemoteView::OnLink(sd_bus_message* answer) {
  m_link.reset();
  if (!IsError(answer)) {
    m_linkState.Take(answer);
    Changed();
  }
}

// The items are announced without their value: they are read anew, with everything else.
void RemoteView::OnPropertiesChanged(sd_bus_message* message) {
  const bool control = IsFrom(message, m_remote);
  const char* interface = nullptr;
  if ((!control && !IsFrom(message, m_own)) || sd_bus_message_read(message, "s", &interface) < 0) {
    return;
  }
  if (control && std::strcmp(interface, kControl) == 0) {
    m_holds.Take(message);
    if (sd_bus_message_enter_container(message, 'a', "s") > 0 &&
        sd_bus_message_at_end(message, 0) == 0) {
      ReadControl();
    }
  } else if (m_ours.value_or(false) && std::strcmp(interface, applist::kLinkInterface) == 0) {
    m_linkState.Take(message);
  }
  Changed();
}

void RemoteView::OnLaunched(sd_bus_message* message) {
  const char* id = nullptr;
  if (IsFrom(message, m_remote) && sd_bus_message_read(message, "s", &id) >= 0) {
    m_upcalls.launched(applist::FromBusText(id).value_or(id));
  }
}

// Whether the remote side answers

void RemoteView::Probe() {
  if (m_remote.empty() || m_ping != nullptr) {
    return;
  }
  Ask(m_ping, Callback<&RemoteView::OnPong>, m_remote, "org.freedesktop.DBus.Peer", "Ping",
      nullptr);
  sd_event_source* timer = nullptr;
  Check(sd_event_add_time_relative(m_event.get(), &timer, CLOCK_MONOTONIC,
                                   static_cast<uint64_t>(applist::CallTimeout().count()), kAccuracy,
                                   OnOverdue, this),
        "No timer");
  m_deadline.reset(timer);
}

void RemoteView::OnPong(sd_bus_message* /*answer*/) {
  m_ping.reset();
  m_deadline.reset();
  SetOverdue(false);
}

int RemoteView::OnOverdue(sd_event_source* /*source*/, uint64_t /*now*/, void* view) {
  static_cast<RemoteView*>(view)->SetOverdue(true);
  return 0;
}

void RemoteView::SetOverdue(bool overdue) {
  if (overdue != m_overdue) {
    m_overdue = overdue;
    Changed();
  }
}

}  // namespace applist_ui
