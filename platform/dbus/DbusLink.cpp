// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/DbusLink.h"

#include <fcntl.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "common/Log.h"
#include "dbus/Frame.h"
#include "dbus/Guard.h"
#include "dbus/LinkRefusal.h"

using applist::Guard;
using applist::IsFrom;
using applist::MessagePtr;

// What is thrown here is for lack of memory. The link no longer knows what it has missed, so it
// starts over on a new connection.
template <int (DbusLink::*Handler)(sd_bus_message*)>
int DbusLink::Callback(sd_bus_message* message, void* link, sd_bus_error* /*error*/) {
  DbusLink* self = static_cast<DbusLink*>(link);
  int result = 0;
  applist::Safely([&] { result = (self->*Handler)(message); },
                  [self](const char* cause) { self->m_presence.Lose(cause); });
  return result;
}

DbusLink::DbusLink(applist::LinkNames names, Upcalls upcalls)
    : m_names(std::move(names)),
      m_upcalls(std::move(upcalls)),
      m_calls(m_names, [this] { Wake(); }),
      m_presence(m_names, m_calls,
                 {[this](sd_bus* bus) { return Prepare(bus); }, [this] { TakeLoss(); },
                  [this] {
                    m_replaced = false;
                    UpdateConnected();
                  },
                  [this](const std::string& owner) { TakePartner(owner); },
                  [this](const std::string& owner) { TakePartnerCalls(owner); },
                  [this](const std::string& owner) {
                    m_replaced = true;
                    if (m_nameTaken) {
                      Guard("The handler of a taken name", [&] { m_nameTaken(owner); });
                    }
                  }}),
      m_inbox({[this] { return !m_calls.IsHung(); },
               [this](sd_bus_message* message) { return Deliver(message); },
               [this](const char* cause) { m_presence.Lose(cause); }}) {
  sd_event* event = nullptr;
  if (sd_event_default(&event) < 0) {
    APPLIST_LOG(DLOG_ERROR, "No event loop: nothing will be heard");
    return;
  }
  m_event.reset(event);
  AddSources();
  m_presence.Start(event);
  Wake();
}

DbusLink::~DbusLink() = default;

void DbusLink::AddSources() {
  int r = 0;
  m_wake = applist::NewWakeUp(m_event.get(), OnWake, this, r);
  if (r >= 0) {
    r = m_inbox.Attach(m_event.get());
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
  int r = sd_bus_message_new_signal(m_presence.Bus(), &created, m_names.objectPath.c_str(),
                                    applist::kLinkInterface, "Notify");
  const MessagePtr signal(created);
  if (r >= 0) {
    r = applist::AppendFrame(created, frame);
  }
  if (r >= 0) {
    r = sd_bus_message_set_destination(created, m_partner.c_str());
  }
  if (r >= 0) {
    r = sd_bus_send(m_presence.Bus(), created, nullptr);
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
  int r = sd_bus_message_new_method_call(m_presence.Bus(), &created, m_partner.c_str(),
                                         m_names.objectPath.c_str(), "org.freedesktop.DBus.Peer",
                                         "Ping");
  const MessagePtr ping(created);
  sd_bus_slot* slot = nullptr;
  if (r >= 0) {
    r = sd_bus_call_async(m_presence.Bus(), &slot, created, Callback<&DbusLink::OnCaughtUp>, this,
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
  if (m_presence.Bus() != nullptr && m_addObjects) {
    m_addObjects(m_presence.Bus());
  }
}

void DbusLink::OnNameTaken(std::function<void(const std::string&)> taken) {
  m_nameTaken = std::move(taken);
}

// Has the loop look at the connection again. A loop that somebody polls by its descriptor does not
// see what was queued from outside the loop.
void DbusLink::Wake() {
  applist::Signal(m_wake.get());
}

// The connection and the partner

int DbusLink::Prepare(sd_bus* bus) {
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS("Send", SD_BUS_ARGS("ay", frame), SD_BUS_RESULT("ay", reply),
                              Callback<&DbusLink::AnswerCall>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_SIGNAL_WITH_ARGS("Notify", SD_BUS_ARGS("ay", frame), 0), SD_BUS_VTABLE_END};
  int r = sd_bus_add_filter(bus, nullptr, Callback<&DbusLink::OnIncoming>, this);
  if (r >= 0) {
    r = sd_bus_add_object_vtable(bus, nullptr, m_names.objectPath.c_str(), applist::kLinkInterface,
                                 kVtable, this);
  }
  if (r >= 0 && m_addObjects) {
    m_addObjects(bus);
  }
  return r;
}

void DbusLink::TakeLoss() {
  m_caughtUp.reset();
  m_replaced = false;
  m_partner.clear();
  m_partnerCalls.clear();
  m_inbox.Clear();
  UpdateConnected();
}

void DbusLink::TakePartner(const std::string& owner) {
  if (owner != m_partner) {
    m_inbox.Clear();
    m_calls.ForgetHang();
    Wake();
  }
  m_partner = owner;
  UpdateConnected();
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
  const std::string now = m_presence.OwnsName() ? m_partner : std::string();
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
  if (!m_inbox.Add(message)) {
    LogUnheard(message, "too many wait already");
  }
}

// Returns whether a call timed out meanwhile, so that it has to be delivered once more.
bool DbusLink::Deliver(sd_bus_message* message) {
  if (sd_bus_message_is_signal(message, nullptr, nullptr) <= 0) {
    sd_bus_reply_method_return(message, nullptr);
    return false;
  }
  std::vector<char> frame;
  const int r = applist::ReadFrame(message, frame);
  if (r < 0) {
    LogUnheard(message, std::strerror(-r));
    return false;
  }
  const std::weak_ptr<bool> alive = m_alive;
  const unsigned hangs = m_calls.Hangs();
  Guard("HandleNotification", [&] { m_upcalls.notification(frame); });
  return !alive.expired() && m_calls.Hangs() != hangs;
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
  m_inbox.DeliverLater();
}

void DbusLink::LogUnheard(sd_bus_message* message, const char* what) {
  const char* known = sd_bus_message_get_sender(message);
  const char* sender = known != nullptr ? known : "nobody";
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

// A call with the wrong arguments is answered here: the object would say the same with an error
// that is not the link's own.
int DbusLink::OnIncoming(sd_bus_message* message) {
  const char* path = sd_bus_message_get_path(message);
  m_inbox.CountIncoming();
  if (path == nullptr || m_names.objectPath != path) {
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

// An error is an answer as well: it comes in the same order.
int DbusLink::OnCaughtUp(sd_bus_message* /*answer*/) {
  const std::function<void()> then = m_whenCaughtUp;
  Guard("The handler of a partner that has caught up", then);
  return 0;
}

int DbusLink::OnWake(sd_event_source* source, int fd, uint32_t events, void* link) {
  applist::Drain(fd);
  return OnTend(source, fd, events, link);
}

int DbusLink::OnTend(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  applist::Safely([self] { self->TendCalls(); },
                  [self](const char* cause) { self->m_presence.Lose(cause); });
  return 0;
}
