// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/DbusLink.h"

#include <fcntl.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "common/Log.h"
#include "dbus/Frame.h"
#include "dbus/LinkRefusal.h"

using applist::BusError;
using applist::MessagePtr;
using applist::NameAnswer;

namespace {

constexpr std::chrono::milliseconds kFirstDelay(100);
constexpr std::chrono::milliseconds kLongestDelay(5000);
// How long a bus may take to appear and to answer Hello before a new connection is tried.
constexpr std::chrono::milliseconds kHelloPatience(2000);
constexpr size_t kMostWaiting = 10000;
// How many messages may come in before one that waits gets its turn all the same.
constexpr int kMostUnidle = 64;
constexpr std::chrono::seconds kBusTimeout(25);
// By how many microseconds a timer may be late; with 0, the event loop takes 250000.
constexpr uint64_t kAccuracy = 1000;

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
// The sender of what the D-Bus library itself says about a connection.
constexpr const char* kLocal = "org.freedesktop.DBus.Local";
constexpr const char* kLocalPath = "/org/freedesktop/DBus/Local";

bool Is(const char* text, const std::string& expected) {
  return text != nullptr && expected == text;
}

bool IsFrom(sd_bus_message* message, const std::string& sender) {
  return !sender.empty() && Is(sd_bus_message_get_sender(message), sender);
}

const char* TextOr(const char* text, const char* fallback) {
  return text != nullptr ? text : fallback;
}

// Runs an upcall. Nothing that it throws may reach the D-Bus library.
template <class Upcall>
void Guard(const char* name, Upcall upcall) {
  try {
    upcall();
  } catch (const std::exception& e) {
    APPLIST_LOGF(DLOG_ERROR, "%s threw: %s", name, e.what());
  } catch (...) {
    APPLIST_LOGF(DLOG_ERROR, "%s threw something that is no exception", name);
  }
}

}  // namespace

// Runs a callback. Upcalls are guarded by themselves, so what is thrown here is the link's own, for
// lack of memory: it no longer knows what it has missed, and starts over on a new connection.
template <class Body>
int DbusLink::Safely(Body body) {
  try {
    return body();
  } catch (const std::exception& e) {
    Guard("Losing the bus", [&] { Lose(e.what()); });
    return 0;
  }
}

template <int (DbusLink::*Handler)(sd_bus_message*)>
int DbusLink::Callback(sd_bus_message* message, void* link, sd_bus_error* /*error*/) {
  DbusLink* self = static_cast<DbusLink*>(link);
  return self->Safely([&] { return (self->*Handler)(message); });
}

DbusLink::DbusLink(applist::LinkNames names, Upcalls upcalls)
    : m_names(std::move(names)),
      m_upcalls(std::move(upcalls)),
      m_alive(std::make_shared<bool>(true)),
      m_delay(kFirstDelay),
      m_calls(m_names, [this] { Wake(); }) {
  sd_event* event = nullptr;
  if (sd_event_default(&event) < 0) {
    APPLIST_LOG(DLOG_ERROR, "No event loop: nothing will be heard");
    return;
  }
  m_event.reset(event);
  AddSources();
  Start();
  Wake();
}

DbusLink::~DbusLink() = default;

// The idle source comes after all that the connection has to read.
void DbusLink::AddSources() {
  int r = 0;
  m_wake = applist::NewWakeUp(m_event.get(), OnWake, this, r);
  sd_event_source* idle = nullptr;
  if (r >= 0) {
    r = sd_event_add_defer(m_event.get(), &idle, OnIdle, this);
    m_idle.reset(idle);
  }
  if (r >= 0) {
    r = sd_event_source_set_priority(idle, SD_EVENT_PRIORITY_NORMAL + 1);
  }
  if (r >= 0) {
    r = sd_event_source_set_enabled(idle, SD_EVENT_OFF);
  }
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "No event source, so nothing will be heard: %s", std::strerror(-r));
  }
}

std::vector<char> DbusLink::Send(const std::vector<char>& frame) {
  return m_replaced ? std::vector<char>() : m_calls.Call(frame);
}

void DbusLink::Notify(const std::vector<char>& frame) {
  if (!IsConnected()) {
    return;
  }
  sd_bus_message* created = nullptr;
  int r = sd_bus_message_new_signal(m_bus.get(), &created, m_names.objectPath.c_str(),
                                    applist::kLinkInterface, "Notify");
  const MessagePtr signal(created);
  if (r >= 0) {
    r = applist::AppendFrame(created, frame);
  }
  if (r >= 0) {
    r = sd_bus_message_set_destination(created, m_partner.c_str());
  }
  if (r >= 0) {
    r = sd_bus_send(m_bus.get(), created, nullptr);
  }
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot send a notification of %zu bytes: %s", frame.size(),
                 std::strerror(-r));
  }
  Wake();
}

void DbusLink::WhenPartnerHasCaughtUp(std::function<void()> then) {
  m_caughtUp.reset();
  if (!IsConnected()) {
    return;
  }
  m_whenCaughtUp = std::move(then);
  sd_bus_message* created = nullptr;
  int r = sd_bus_message_new_method_call(m_bus.get(), &created, m_partner.c_str(),
                                         m_names.objectPath.c_str(), "org.freedesktop.DBus.Peer",
                                         "Ping");
  const MessagePtr ping(created);
  sd_bus_slot* slot = nullptr;
  if (r >= 0) {
    r = sd_bus_call_async(m_bus.get(), &slot, created, Callback<&DbusLink::OnCaughtUp>, this,
                          UINT64_MAX);
  }
  m_caughtUp.reset(slot);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot ask the partner: %s", std::strerror(-r));
  }
  Wake();
}

void DbusLink::OnConnection(std::function<void(sd_bus*)> add) {
  m_addObjects = std::move(add);
  if (m_bus != nullptr && m_addObjects) {
    m_addObjects(m_bus.get());
  }
}

void DbusLink::OnNameTaken(std::function<void(const std::string&)> taken) {
  m_nameTaken = std::move(taken);
}

// Starting and losing a connection

// A socket that is not there yet is waited for by the connection itself. The timer is for what that
// does not see, and for a bus that takes connections without answering.
void DbusLink::Start() {
  int r = 0;
  m_caughtUp.reset();
  m_bus = applist::StartConnection("applist-incoming", kBusTimeout, applist::Socket::Awaited, r);
  if (m_bus != nullptr) {
    r = AddHandlers();
  }
  if (r < 0) {
    Lose(std::strerror(-r));
  } else {
    StartAfter(std::max(m_delay, kHelloPatience));
  }
}

void DbusLink::StartAfter(std::chrono::milliseconds delay) {
  m_delay = std::min(2 * m_delay, kLongestDelay);
  sd_event_source* timer = nullptr;
  const uint64_t microseconds = static_cast<uint64_t>(std::chrono::microseconds(delay).count());
  const int r = sd_event_add_time_relative(m_event.get(), &timer, CLOCK_MONOTONIC, microseconds,
                                           kAccuracy, OnTimer, this);
  m_timer.reset(timer);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot try the bus again: %s", std::strerror(-r));
  }
}

// Has the loop look at the connection again. A loop that somebody polls by its descriptor does not
// see what was queued from outside the loop.
void DbusLink::Wake() {
  applist::Signal(m_wake.get());
}

int DbusLink::AddHandlers() {
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS("Send", SD_BUS_ARGS("ay", frame), SD_BUS_RESULT("ay", reply),
                              Callback<&DbusLink::AnswerCall>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_SIGNAL_WITH_ARGS("Notify", SD_BUS_ARGS("ay", frame), 0), SD_BUS_VTABLE_END};
  sd_bus* bus = m_bus.get();
  int r = sd_bus_match_signal(bus, nullptr, kLocal, kLocalPath, kLocal, "Connected",
                              Callback<&DbusLink::OnHello>, this);
  if (r >= 0) {
    r = sd_bus_match_signal(bus, nullptr, kLocal, kLocalPath, kLocal, "Disconnected",
                            Callback<&DbusLink::OnLost>, this);
  }
  if (r >= 0) {
    r = sd_bus_add_filter(bus, nullptr, Callback<&DbusLink::OnIncoming>, this);
  }
  if (r >= 0) {
    r = sd_bus_add_object_vtable(bus, nullptr, m_names.objectPath.c_str(), applist::kLinkInterface,
                                 kVtable, this);
  }
  if (r >= 0) {
    r = sd_bus_attach_event(bus, m_event.get(), SD_EVENT_PRIORITY_NORMAL);
  }
  if (r >= 0 && m_addObjects) {
    m_addObjects(bus);
  }
  return r;
}

// The connection itself stays until the next one is started: this runs inside its callbacks.
void DbusLink::Lose(const char* cause) {
  if (!m_outage) {
    APPLIST_LOGF(DLOG_WARN, "No bus: %s; working locally until it is there", cause);
  }
  m_outage = true;
  m_ownsName = false;
  m_partner.clear();
  m_partnerCalls.clear();
  m_waiting.clear();
  StartAfter(m_delay);
  UpdateConnected();
}

// Following the partner

void DbusLink::Follow() {
  if (m_outage) {
    APPLIST_LOG(DLOG_WARN, "The bus is there");
  }
  m_outage = false;
  m_timer.reset();
  const std::string rule =
      std::string("type='signal',sender='") + kBusName + "',path='" + kBusPath + "',interface='" +
      kBusName + "',member='NameOwnerChanged',arg0namespace='" + m_names.Namespace() + "'";
  const int r = sd_bus_add_match_async(m_bus.get(), nullptr, rule.c_str(),
                                       Callback<&DbusLink::OnOwnerChanged>, nullptr, this);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot follow the partner: %s", std::strerror(-r));
  }
  AskForOwner(m_names.partner.incoming, Callback<&DbusLink::OnPartner>);
  AskForOwner(m_names.partner.calls, Callback<&DbusLink::OnPartnerCalls>);
  AskForOwnName();
}

void DbusLink::AskForOwner(const std::string& name, sd_bus_message_handler_t onAnswer) {
  const int r = sd_bus_call_method_async(m_bus.get(), nullptr, kBusName, kBusPath, kBusName,
                                         "GetNameOwner", onAnswer, this, "s", name.c_str());
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot ask who owns %s: %s", name.c_str(), std::strerror(-r));
  }
}

// The name for calls comes first: of two processes that want to be the same end, only one gets it
// and goes on to ask for the other name.
void DbusLink::AskForOwnName() {
  const NameAnswer answer = m_calls.Open();
  if (!applist::IsOwner(answer)) {
    WaitForName(m_names.own.calls, answer);
    return;
  }
  const int r = sd_bus_call_method_async(m_bus.get(), nullptr, kBusName, kBusPath, kBusName,
                                         "RequestName", Callback<&DbusLink::OnNameAnswer>, this,
                                         "su", m_names.own.incoming.c_str(), applist::kDoNotQueue);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot ask for %s: %s", m_names.own.incoming.c_str(),
                 std::strerror(-r));
  }
}

int DbusLink::OnNameAnswer(sd_bus_message* answer) {
  const NameAnswer meaning = applist::ReadNameAnswer(answer);
  applist::LogNameAnswer(m_names.own.incoming, meaning, BusError(answer));
  m_ownsName = applist::IsOwner(meaning);
  m_replaced = false;
  if (m_ownsName) {
    m_delay = kFirstDelay;
    UpdateConnected();
  } else {
    WaitForName(m_names.own.incoming, meaning);
  }
  return 0;
}

// Where somebody has the name, the bus will tell when it is free. Where nobody has, it could not be
// had for a reason that the bus will not tell the end of: try everything again. A connection of our
// own that the bus has yet to see closed is nobody who replaces us.
void DbusLink::WaitForName(const std::string& name, NameAnswer answer) {
  if (answer != NameAnswer::Taken && answer != NameAnswer::Queued) {
    StartAfter(m_delay);
    return;
  }
  const std::optional<applist::NameOwner> owner = applist::AskForNameOwner(m_bus.get(), name);
  m_replaced = owner && owner->process != getpid();
  if (owner) {
    APPLIST_LOGF(DLOG_WARN, "The name %s is taken by %s; working locally until it is free",
                 name.c_str(), owner->Text().c_str());
  }
  if (m_replaced && m_nameTaken) {
    Guard("The handler of a taken name", [&] { m_nameTaken(owner->Text()); });
  }
}

void DbusLink::TakeOwnerAnswer(const std::string& name, sd_bus_message* answer) {
  const std::optional<std::string> owner = applist::ReadOwner(answer);
  if (owner) {
    TakeOwner(name, *owner);
  } else {
    Lose("it does not say who owns a name");
  }
}

void DbusLink::TakeOwner(const std::string& name, const std::string& owner) {
  if (name == m_names.partner.calls) {
    TakePartnerCalls(owner);
  } else if (name == m_names.partner.incoming) {
    if (owner != m_partner) {
      m_waiting.clear();
      m_calls.ForgetHang();
      Wake();
    }
    m_partner = owner;
    UpdateConnected();
  } else if (name == m_names.own.incoming || name == m_names.own.calls) {
    if (owner.empty() && !m_ownsName) {
      AskForOwnName();
    }
  }
}

// A partner that lost its connection for calls and is back on another one may have lost a call with
// it: it counts as gone and there again, so that both sides start over.
void DbusLink::TakePartnerCalls(const std::string& owner) {
  m_partnerCalls = owner;
  if (owner.empty() || owner == m_lastPartnerCalls) {
    return;
  }
  const bool another = !m_lastPartnerCalls.empty();
  m_lastPartnerCalls = owner;
  if (another && IsConnected() && TellConnected(false)) {
    TellConnected(true);
  }
}

// A partner that another process replaces in one step is first gone, then there.
void DbusLink::UpdateConnected() {
  const std::string now = m_ownsName ? m_partner : std::string();
  if (now == m_connectedTo) {
    return;
  }
  const bool before = IsConnected();
  m_connectedTo = now;
  if (before && !TellConnected(false)) {
    return;
  }
  if (!now.empty()) {
    TellConnected(true);
  }
}

// Returns whether the link is still there afterwards.
bool DbusLink::TellConnected(bool state) {
  const std::weak_ptr<bool> alive = m_alive;
  const std::string partner = m_names.partner.incoming;
  APPLIST_LOGF(DLOG_INFO, "%s is %s", partner.c_str(), state ? "there" : "gone");
  m_caughtUp.reset();
  Guard("HandleConnectionReady", [&] { m_upcalls.connectionReady(state, partner); });
  return !alive.expired();
}

// What comes in

void DbusLink::TakeNotification(sd_bus_message* message) {
  if (!IsFrom(message, m_partner)) {
    LogUnheard(message, "it does not own the partner's name");
  } else if (sd_bus_message_has_signature(message, "ay") <= 0) {
    LogUnheard(message, "it is not one array of bytes");
  } else {
    Queue(message);
  }
}

// Keeps a notification until it is time for it; and a ping of the same sender, whose answer says
// that what came before it has been handled.
void DbusLink::Queue(sd_bus_message* message) {
  if (m_waiting.size() < kMostWaiting) {
    m_waiting.emplace_back(sd_bus_message_ref(message));
    DeliverLater();
  } else if (!m_calls.IsHung()) {
    m_waiting.emplace_back(sd_bus_message_ref(message));
    DeliverFirst();
  } else {
    LogUnheard(message, "too many wait already");
  }
}

void DbusLink::DeliverLater() {
  if (!m_waiting.empty() && !m_calls.IsHung()) {
    sd_event_source_set_enabled(m_idle.get(), SD_EVENT_ONESHOT);
  }
}

void DbusLink::DeliverFirst() {
  MessagePtr message = std::move(m_waiting.front());
  m_waiting.pop_front();
  if (sd_bus_message_is_signal(message.get(), nullptr, nullptr) <= 0) {
    sd_bus_reply_method_return(message.get(), nullptr);
    return;
  }
  std::vector<char> frame;
  const int r = applist::ReadFrame(message.get(), frame);
  if (r < 0) {
    LogUnheard(message.get(), std::strerror(-r));
    return;
  }
  const std::weak_ptr<bool> alive = m_alive;
  const unsigned hangs = m_calls.Hangs();
  Guard("HandleNotification", [&] { m_upcalls.notification(frame); });
  if (!alive.expired() && m_calls.Hangs() != hangs) {
    sd_bus_message_rewind(message.get(), 1);
    m_waiting.push_front(std::move(message));
  }
}

// The descriptor is watched as a duplicate: the connection may be closed by another thread.
void DbusLink::TendCalls() {
  int fd = -1;
  int events = 0;
  m_tending.reset();
  if (m_calls.Tend(fd, events)) {
    int result = 0;
    m_tending = applist::WatchDescriptor(m_event.get(), fcntl(fd, F_DUPFD_CLOEXEC, 0),
                                         static_cast<uint32_t>(events), OnTend, this, result);
  }
  DeliverLater();
}

void DbusLink::LogUnheard(sd_bus_message* message, const char* what) {
  const char* sender = TextOr(sd_bus_message_get_sender(message), "nobody");
  if (m_unheard != sender) {
    m_unheard = sender;
    APPLIST_LOGF(DLOG_WARN, "A notification from %s is not heard: %s", sender, what);
  }
}

// Answers with a D-Bus error of the link's own.
int DbusLink::Refuse(sd_bus_message* call, const char* error, const char* sentence) {
  APPLIST_LOGF(DLOG_WARN, "Refused a message: %s", sentence);
  return sd_bus_reply_method_errorf(call, error, "%s", sentence);
}

int DbusLink::AnswerCall(sd_bus_message* call) {
  if (!IsFrom(call, m_partnerCalls)) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED,
                                      "Only the owner of %s may call Send here",
                                      m_names.partner.calls.c_str());
  }
  try {
    return Reply(call, TakeMessage(call));
  } catch (const LinkRefusal& refusal) {
    return Refuse(call, refusal.ErrorName().c_str(), refusal.what());
  } catch (const std::exception& e) {
    return Refuse(call, "org.javamw.Link1.Error.Failed", e.what());
  } catch (...) {
    return Refuse(call, "org.javamw.Link1.Error.Failed", "The message could not be handled");
  }
}

// A frame that is too short for an identifier is passed on all the same: the endpoint logs it.
std::vector<char> DbusLink::TakeMessage(sd_bus_message* call) {
  std::vector<char> frame;
  const int r = applist::ReadFrame(call, frame);
  if (r == -EMSGSIZE) {
    throw LinkRefusal("TooLarge",
                      "A frame holds at most " + std::to_string(applist::kLargestFrame) + " bytes");
  }
  if (r < 0) {
    throw LinkRefusal("BadSignature", "Send takes one array of bytes");
  }
  const size_t size = frame.size();
  std::vector<char> reply = m_upcalls.message(frame);
  if (size < applist::kSmallestFrame) {
    throw LinkRefusal("BadFrame", "A frame holds at least the four bytes of its identifier");
  }
  return reply;
}

int DbusLink::Reply(sd_bus_message* call, const std::vector<char>& reply) {
  sd_bus_message* created = nullptr;
  int r = sd_bus_message_new_method_return(call, &created);
  const MessagePtr answer(created);
  if (r >= 0) {
    r = applist::AppendFrame(created, reply);
  }
  if (r == -EMSGSIZE) {
    throw LinkRefusal("TooLarge",
                      "The reply of " + std::to_string(reply.size()) + " bytes is too large");
  }
  return r < 0 ? r : sd_bus_send(nullptr, created, nullptr);
}

// Callbacks. A negative result would make the D-Bus library give up on the connection or the event
// loop on the source, so each returns one only on purpose.

int DbusLink::OnHello(sd_bus_message* message) {
  if (IsFrom(message, kLocal)) {
    Follow();
  }
  return 0;
}

int DbusLink::OnLost(sd_bus_message* message) {
  if (IsFrom(message, kLocal)) {
    Lose("the connection was closed");
  }
  return 0;
}

// A call with the wrong arguments is answered here: the object would say the same with an error
// that is not the link's own.
int DbusLink::OnIncoming(sd_bus_message* message) {
  if (++m_unidle == kMostUnidle) {
    sd_event_source_set_priority(m_idle.get(), SD_EVENT_PRIORITY_NORMAL - 1);
  }
  if (!Is(sd_bus_message_get_path(message), m_names.objectPath)) {
    return 0;
  }
  if (sd_bus_message_is_signal(message, applist::kLinkInterface, "Notify") > 0) {
    TakeNotification(message);
    return 1;
  }
  if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Peer", "Ping") > 0 &&
      IsFrom(message, m_partner)) {
    Queue(message);
    return 1;
  }
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") > 0 &&
      sd_bus_message_has_signature(message, "ay") <= 0) {
    return AnswerCall(message);
  }
  return 0;
}

int DbusLink::OnOwnerChanged(sd_bus_message* message) {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (IsFrom(message, kBusName) &&
      sd_bus_message_read(message, "sss", &name, &before, &after) >= 0) {
    TakeOwner(name, after);
  }
  return 0;
}

int DbusLink::OnPartner(sd_bus_message* answer) {
  TakeOwnerAnswer(m_names.partner.incoming, answer);
  return 0;
}

int DbusLink::OnPartnerCalls(sd_bus_message* answer) {
  TakeOwnerAnswer(m_names.partner.calls, answer);
  return 0;
}

// An error is an answer as well: it comes in the same order.
int DbusLink::OnCaughtUp(sd_bus_message* /*answer*/) {
  const std::function<void()> then = m_whenCaughtUp;
  Guard("The handler of a partner that has caught up", then);
  return 0;
}

int DbusLink::OnWake(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  applist::Drain(fd);
  return self->Safely([self] {
    self->TendCalls();
    return 0;
  });
}

int DbusLink::OnTend(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  return self->Safely([self] {
    self->TendCalls();
    return 0;
  });
}

// One at a time: what is delivered may take long, and more may have come in meanwhile.
int DbusLink::OnIdle(sd_event_source* /*source*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  return self->Safely([self] {
    const std::weak_ptr<bool> alive = self->m_alive;
    self->m_unidle = 0;
    sd_event_source_set_priority(self->m_idle.get(), SD_EVENT_PRIORITY_NORMAL + 1);
    if (!self->m_waiting.empty() && !self->m_calls.IsHung()) {
      self->DeliverFirst();
    }
    if (!alive.expired()) {
      self->DeliverLater();
    }
    return 0;
  });
}

int DbusLink::OnTimer(sd_event_source* /*source*/, uint64_t /*now*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  return self->Safely([self] {
    self->Start();
    return 0;
  });
}
