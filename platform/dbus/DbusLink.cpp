// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/DbusLink.h"

#include <fcntl.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "common/Log.h"
#include "dbus/Frame.h"
#include "dbus/Guard.h"
#include "dbus/LinkRefusal.h"

using applist::Guard;
using applist::IsFrom;
using applist::MessagePtr;

namespace {

constexpr const char* kPeerInterface = "org.freedesktop.DBus.Peer";

// How many senders are remembered for the log.
constexpr size_t kMostUnheard = 64;

}  // namespace

// What is thrown here is for lack of memory. The link no longer knows what it has missed, so it
// starts over on new connections.
template <int (DbusLink::*Handler)(sd_bus_message*)>
int DbusLink::Callback(sd_bus_message* message, void* link, sd_bus_error* /*error*/) {
  DbusLink* self = static_cast<DbusLink*>(link);
  int result = 0;
  applist::Safely([&] { result = (self->*Handler)(message); },
                  [self](const char* cause) { self->StartOver(cause); });
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
                  [this](const std::string& owner) { TakeReplacement(owner); }}),
      m_inbox({[this] { return !m_calls.IsHung(); },
               [this](sd_bus_message* message) { return Deliver(message); },
               [this](const char* cause) { StartOver(cause); }}) {
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
  int r = sd_bus_message_new_signal(Way(), &created, m_names.objectPath.c_str(),
                                    applist::kLinkInterface, "Notify");
  const MessagePtr signal(created);
  if (r >= 0) {
    r = applist::AppendFrame(created, frame);
  }
  if (r >= 0 && Destination() != nullptr) {
    r = sd_bus_message_set_destination(created, Destination());
  }
  if (r >= 0) {
    r = sd_bus_send(Way(), created, nullptr);
  }
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot send a notification of %zu bytes: %s", frame.size(),
                 std::strerror(-r));
    m_lineFails = NotifiesOnLine() && r != -EMSGSIZE;
  }
  uint64_t unwritten = 0;
  if (r < 0 || sd_bus_get_n_queued_write(Way(), &unwritten) < 0 || unwritten > 0) {
    Wake();
  }
}

void DbusLink::WhenPartnerHasCaughtUp(std::function<void()> then) {
  m_caughtUp.reset();
  if (!IsConnected()) {
    return;
  }
  m_whenCaughtUp = std::move(then);
  m_caughtUp = Ask(Way(), Destination(), kPeerInterface, "Ping", Callback<&DbusLink::OnCaughtUp>);
  Wake();
}

// Asks the partner something that it may take any time to answer. The answer comes from the loop,
// for as long as the slot is kept. Where the connection was lost a moment ago, that is told when
// the loop finds out.
applist::SlotPtr DbusLink::Ask(sd_bus* bus, const char* destination, const char* interface,
                               const char* question, sd_bus_message_handler_t onAnswer) {
  sd_bus_message* created = nullptr;
  int r = sd_bus_message_new_method_call(bus, &created, destination, m_names.objectPath.c_str(),
                                         interface, question);
  const MessagePtr call(created);
  sd_bus_slot* slot = nullptr;
  if (r >= 0) {
    r = sd_bus_call_async(bus, &slot, created, onAnswer, this, UINT64_MAX);
  }
  if (r < 0) {
    APPLIST_LOGF(r == -ENOTCONN ? DLOG_DEBUG : DLOG_ERROR, "Cannot ask the partner for %s: %s",
                 question, std::strerror(-r));
  }
  return applist::SlotPtr(slot);
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
  m_busHandlers.clear();
  const int r = AddHandlers(bus, m_busHandlers);
  if (r >= 0 && m_addObjects) {
    m_addObjects(bus);
  }
  return r;
}

int DbusLink::AddHandlers(sd_bus* bus, std::vector<applist::SlotPtr>& slots) {
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS("Send", SD_BUS_ARGS("ay", frame), SD_BUS_RESULT("ay", reply),
                              Callback<&DbusLink::AnswerCall>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_SIGNAL_WITH_ARGS("Notify", SD_BUS_ARGS("ay", frame), 0),
      SD_BUS_METHOD_WITH_ARGS("OpenLine", SD_BUS_NO_ARGS,
                              SD_BUS_RESULT("h", calls, "h", notifications),
                              Callback<&DbusLink::OnOpenLine>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD_WITH_ARGS("UniqueName", SD_BUS_NO_ARGS, SD_BUS_RESULT("s", name),
                              Callback<&DbusLink::OnUniqueName>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD_WITH_ARGS("HoldBus", SD_BUS_NO_ARGS, SD_BUS_NO_RESULT,
                              Callback<&DbusLink::OnHoldBus>, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_PROPERTY("Partner", "s", GetPartner, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_PROPERTY("Hung", "b", GetHung, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_PROPERTY("Direct", "b", GetDirect, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_VTABLE_END};
  sd_bus_slot* filter = nullptr;
  sd_bus_slot* object = nullptr;
  int r = sd_bus_add_filter(bus, &filter, Callback<&DbusLink::OnIncoming>, this);
  slots.emplace_back(filter);
  if (r >= 0) {
    r = sd_bus_add_object_vtable(bus, &object, m_names.objectPath.c_str(), applist::kLinkInterface,
                                 kVtable, this);
    slots.emplace_back(object);
  }
  return r;
}

// A direct line does without the bus, once calls are made on it: what is called before may be lost
// with the bus. The next bus gives the same unique names to others.
void DbusLink::TakeLoss() {
  m_replaced = false;
  m_partner.clear();
  m_partnerCalls.clear();
  m_noLineWith.clear();
  m_holders.reset();
  if (m_line != nullptr && (!m_names.asksForLine || IsDirect())) {
    m_lineOwner.clear();
    return;
  }
  GiveUpLine();
  m_caughtUp.reset();
  m_inbox.Clear();
  UpdateConnected();
}

// What is not sent any longer has to be missed by the partner, too.
void DbusLink::TakeReplacement(const std::string& owner) {
  const std::weak_ptr<bool> alive = m_alive;
  m_replaced = true;
  if (m_line != nullptr) {
    LoseLine("another process has the name of this end");
  }
  if (!alive.expired() && m_nameTaken) {
    Guard("The handler of a taken name", [&] { m_nameTaken(owner); });
  }
}

void DbusLink::StartOver(const char* cause) {
  m_presence.Lose(cause);
  if (m_line != nullptr) {
    LoseLine(cause);
  }
}

void DbusLink::TakePartner(const std::string& owner) {
  const bool another = owner != m_partner;
  const bool first = m_partner.empty();
  m_partner = owner;
  m_partnerInDoubt = false;
  if (m_line != nullptr && KeepsLine(owner)) {
    return;
  }
  GiveUpLine();
  if (another) {
    m_inbox.Clear();
    if (first) {
      m_calls.AskAgain();
    } else {
      m_calls.ForgetHang();
    }
    Wake();
  }
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
  if (another && m_line == nullptr && IsConnected() && TellConnected(false)) {
    TellConnected(true);
  }
}

// A partner that another process replaces in one step is first gone, then there. One on a direct
// line is there, whatever the bus says of names.
void DbusLink::UpdateConnected() {
  if (m_line != nullptr) {
    return;
  }
  const bool known = m_presence.OwnsName() && !m_partnerInDoubt;
  const std::string now = known ? m_partner : std::string();
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

// Counts as parted from a partner that may be there all the same, until it has been found again.
// Returns whether the link is still there afterwards.
bool DbusLink::PartFromPartner() {
  const std::weak_ptr<bool> alive = m_alive;
  m_partnerInDoubt = true;
  UpdateConnected();
  return !alive.expired();
}

void DbusLink::FindPartner() {
  m_partnerInDoubt = false;
  UpdateConnected();
}

// Returns whether the link is still there afterwards.
bool DbusLink::TellConnected(bool state) {
  const std::weak_ptr<bool> alive = m_alive;
  const std::string partner = m_names.partner.incoming;
  APPLIST_LOGF(DLOG_INFO, "%s is %s", partner.c_str(), state ? "there" : "gone");
  m_caughtUp.reset();
  m_lineAnswer.reset();
  Wake();
  Guard("HandleConnectionReady", [&] { m_upcalls.connectionReady(state, partner); });
  if (alive.expired()) {
    return false;
  }
  AskForLine();
  return true;
}

void DbusLink::AnnounceState() {
  const State now{m_connectedTo, m_calls.IsHung(), IsDirect()};
  if (!m_presence.OwnsName()) {
    return;
  }
  const auto announce = [&](const char* property) {
    sd_bus_emit_properties_changed(m_presence.Bus(), m_names.objectPath.c_str(),
                                   applist::kLinkInterface, property, nullptr);
  };
  if (now.partner != m_announced.partner) {
    announce("Partner");
  }
  if (now.hung != m_announced.hung) {
    announce("Hung");
  }
  if (now.direct != m_announced.direct) {
    announce("Direct");
  }
  m_announced = now;
}

// The direct line

bool DbusLink::IsDirect() const {
  return m_line != nullptr && (m_names.asksForLine ? m_calls.IsOnLine() : m_line->IsReady());
}

bool DbusLink::IsFromEvents(sd_bus_message* message) const {
  return m_line != nullptr && sd_bus_message_get_bus(message) == m_line->Events();
}

bool DbusLink::IsFromLine(sd_bus_message* message) const {
  return m_line != nullptr && m_line->Has(sd_bus_message_get_bus(message));
}

// The question goes where the partner's notifications come from, so that the answer comes after
// those that it has sent over the bus. A partner that hangs takes its time.
void DbusLink::AskForLine() {
  if (!m_names.asksForLine || !IsConnected() || m_line != nullptr || m_lineAnswer != nullptr ||
      IsHeld() || m_partner == m_noLineWith || !applist::MayUseDirectLine()) {
    return;
  }
  const int r = applist::DirectLine::CheckRoom();
  if (r < 0) {
    return DoWithoutLine(std::strerror(-r));
  }
  m_lineAnswer = Ask(m_presence.Bus(), m_partner.c_str(), applist::kLinkInterface, "OpenLine",
                     Callback<&DbusLink::OnLine>);
}

// Asks this partner no more.
void DbusLink::DoWithoutLine(const std::string& cause) {
  m_noLineWith = m_partner;
  APPLIST_LOGF(DLOG_INFO, "No direct line: %s", cause.c_str());
}

// A partner that has none to give is served over the bus. A line that comes when somebody wants the
// bus by now is closed unused.
int DbusLink::OnLine(sd_bus_message* answer) {
  const applist::BusError error(answer);
  applist::DirectLine::Sockets sockets;
  int r = -sd_bus_message_get_errno(answer);
  if (r >= 0) {
    r = applist::DirectLine::ReadSockets(answer, sockets);
  }
  m_lineAnswer.reset();
  if (r >= 0 && IsHeld()) {
    return 0;
  }
  if (r >= 0) {
    r = MakeLine(applist::DirectLine::Side::Client, std::move(sockets));
  }
  if (r < 0) {
    DoWithoutLine(error.Text(r));
  }
  return 0;
}

// A partner that has closed its line and asks for another one is there again, sooner than the end
// of its line was heard, or the answer to the question whether it is there.
int DbusLink::OnOpenLine(sd_bus_message* call) {
  const std::weak_ptr<bool> alive = m_alive;
  if (m_names.asksForLine || !IsFrom(call, m_partner)) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED,
                                      "Only the owner of %s may ask its remote side for a line",
                                      m_names.partner.incoming.c_str());
  }
  if (m_line != nullptr && m_line->IsClosed()) {
    LoseLine("it was closed");
  }
  if (!alive.expired() && m_partnerInDoubt) {
    FindPartner();
  }
  if (alive.expired()) {
    return 0;
  }
  if (m_line != nullptr || !IsConnected()) {
    return Refuse(call, "org.javamw.Link1.Error.Busy",
                  m_line != nullptr ? "There is a direct line already"
                                    : "There can be a direct line only between connected ends");
  }
  applist::DirectLine::Sockets server;
  applist::DirectLine::Sockets client;
  int r = applist::DirectLine::MakePairs(server, client);
  if (r >= 0) {
    r = MakeLine(applist::DirectLine::Side::Server, std::move(server));
  }
  if (r >= 0) {
    r = sd_bus_reply_method_return(call, "hh", client.calls.Get(), client.events.Get());
  }
  if (r < 0) {
    GiveUpLine();
  }
  return r;
}

int DbusLink::MakeLine(applist::DirectLine::Side side, applist::DirectLine::Sockets sockets) {
  m_line = std::make_unique<applist::DirectLine>(applist::DirectLine::Upcalls{
      [this](sd_bus* bus) { return AddHandlers(bus, m_lineHandlers); },
      [this] {
        m_lineIsNew = true;
        Wake();
      },
      [this] {
        applist::Safely([this] { LoseLine("it was closed"); },
                        [this](const char* cause) { StartOver(cause); });
      }});
  m_lineOwner = m_partner;
  const int r = m_line->Start(m_event.get(), side, std::move(sockets));
  if (r < 0) {
    GiveUpLine();
  }
  return r;
}

// Works off what has come in with the handshake, and has calls made on the line. Returns whether
// the link is still there afterwards.
bool DbusLink::BeginLine() {
  const std::weak_ptr<bool> alive = m_alive;
  if (!std::exchange(m_lineIsNew, false) || m_line == nullptr) {
    return true;
  }
  if (m_names.asksForLine) {
    m_calls.OfferLine(m_line->TakeCalls());
  }
  m_line->ReadAll();
  return !alive.expired();
}

// The bus says who owns the partner's name now. After an outage of the bus that is another unique
// name for the same partner, which the partner can tell.
bool DbusLink::KeepsLine(const std::string& owner) {
  if (!m_lineOwner.empty()) {
    return owner == m_lineOwner;
  }
  if (!owner.empty()) {
    m_lineAnswer = Ask(m_line->Events(), nullptr, applist::kLinkInterface, "UniqueName",
                       Callback<&DbusLink::OnLineName>);
  }
  return true;
}

int DbusLink::OnUniqueName(sd_bus_message* call) {
  const char* name = nullptr;
  if (sd_bus_is_ready(m_presence.Bus()) > 0) {
    sd_bus_get_unique_name(m_presence.Bus(), &name);
  }
  return sd_bus_reply_method_return(call, "s", name != nullptr ? name : "");
}

int DbusLink::OnLineName(sd_bus_message* answer) {
  const char* name = nullptr;
  m_lineAnswer.reset();
  if (sd_bus_message_is_method_error(answer, nullptr) > 0 ||
      sd_bus_message_read(answer, "s", &name) < 0) {
    LoseLine("it does not say whose it is");
  } else if (!m_partner.empty() && m_partner == name) {
    m_lineOwner = m_partner;
    m_connectedTo = m_partner;
    Wake();
  } else if (!m_partner.empty()) {
    // Another process, even if its unique name is the one that the partner had on the last bus.
    GiveUpLine();
    if (PartFromPartner()) {
      FindPartner();
    }
  }
  return 0;
}

void DbusLink::GiveUpLine() {
  if (m_line == nullptr) {
    return;
  }
  m_lineAnswer.reset();
  if (m_caughtUp != nullptr && sd_bus_slot_get_bus(m_caughtUp.get()) == m_line->Events()) {
    m_caughtUp.reset();
  }
  m_calls.LeaveLine();
  m_inbox.ClearFrom(m_line->Events());
  m_lineIsNew = false;
  m_lineFails = false;
  m_lineHandlers.clear();
  m_line.reset();
  m_lineOwner.clear();
  Wake();
}

// Where the partner is gone, the bus may not know yet: only the partner itself can say that it is
// there. What it sends over the bus meanwhile is heard.
void DbusLink::LoseLine(const char* cause) {
  APPLIST_LOGF(DLOG_INFO, "No direct line any longer: %s", cause);
  m_noLineWith = m_lineOwner;
  GiveUpLine();
  if (PartFromPartner() && !m_partner.empty()) {
    m_lineAnswer = Ask(m_presence.Bus(), m_partner.c_str(), kPeerInterface, "Ping",
                       Callback<&DbusLink::OnPartnerThere>);
  }
}

int DbusLink::OnPartnerThere(sd_bus_message* answer) {
  m_lineAnswer.reset();
  if (sd_bus_message_is_method_error(answer, nullptr) <= 0) {
    FindPartner();
  }
  return 0;
}

// Ends the line for as long as the caller stays on the bus.
int DbusLink::OnHoldBus(sd_bus_message* call) {
  if (!m_names.asksForLine) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_NOT_SUPPORTED,
                                      "Call this on the end that asks for lines: %s",
                                      m_names.partner.incoming.c_str());
  }
  int r = 0;
  if (m_holders == nullptr) {
    sd_bus_track* created = nullptr;
    r = sd_bus_track_new(m_presence.Bus(), &created, OnBusReleased, this);
    m_holders.reset(created);
  }
  if (r >= 0) {
    r = sd_bus_track_add_sender(m_holders.get(), call);
  }
  Wake();
  return r < 0 ? r : sd_bus_reply_method_return(call, nullptr);
}

// What was sent on the line while the partner hung has to be worked off first. Returns whether the
// link is still there afterwards.
bool DbusLink::HonourHolders() {
  const std::weak_ptr<bool> alive = m_alive;
  if (m_line != nullptr && IsHeld() && m_calls.IsWorkedOff()) {
    LoseLine("somebody wants to see everything on the bus");
  }
  return !alive.expired();
}

bool DbusLink::IsHeld() const {
  return m_holders != nullptr && sd_bus_track_count(m_holders.get()) > 0;
}

// The D-Bus library calls it over and over for as long as it returns 0.
int DbusLink::OnBusReleased(sd_bus_track* /*holders*/, void* link) {
  DbusLink* self = static_cast<DbusLink*>(link);
  applist::Safely(
      [self] {
        self->m_noLineWith.clear();
        self->AskForLine();
      },
      [self](const char* cause) { self->StartOver(cause); });
  return 1;
}

int DbusLink::GetPartner(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                         const char* /*property*/, sd_bus_message* reply, void* link,
                         sd_bus_error* /*error*/) {
  return sd_bus_message_append(reply, "s", static_cast<DbusLink*>(link)->m_connectedTo.c_str());
}

int DbusLink::GetHung(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                      const char* /*property*/, sd_bus_message* reply, void* link,
                      sd_bus_error* /*error*/) {
  return sd_bus_message_append(reply, "b", static_cast<DbusLink*>(link)->m_calls.IsHung() ? 1 : 0);
}

int DbusLink::GetDirect(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                        const char* /*property*/, sd_bus_message* reply, void* link,
                        sd_bus_error* /*error*/) {
  return sd_bus_message_append(reply, "b", static_cast<DbusLink*>(link)->IsDirect() ? 1 : 0);
}

// What comes in

void DbusLink::TakeNotification(sd_bus_message* message) {
  if (!IsFrom(message, m_partner) && !IsFromLine(message)) {
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

// Looks after everything that another thread may have changed. The descriptor is watched as a
// duplicate: the connection may be closed by another thread.
void DbusLink::TendCalls() {
  int fd = -1;
  int events = 0;
  if (!BeginLine() || !HonourHolders()) {
    return;
  }
  m_tending.reset();
  if (m_calls.Tend(fd, events)) {
    int result = 0;
    m_tending = applist::WatchDescriptor(m_event.get(), fcntl(fd, F_DUPFD_CLOEXEC, 0),
                                         static_cast<uint32_t>(events), OnTend, this, result);
  }
  m_inbox.DeliverLater();
  AnnounceState();
  if ((m_calls.TakeLostLine() || m_lineFails) && m_line != nullptr) {
    LoseLine("what is sent on it fails");
  }
}

void DbusLink::LogUnheard(sd_bus_message* message, const char* what) {
  const char* known = sd_bus_message_get_sender(message);
  const char* sender = known != nullptr ? known : "nobody";
  if (m_unheard.size() >= kMostUnheard) {
    m_unheard.clear();
  }
  if (m_unheard.insert(sender).second) {
    APPLIST_LOGF(DLOG_WARN, "A notification from %s is not heard: %s", sender, what);
  }
}

// Answers with a D-Bus error of the link's own.
int DbusLink::Refuse(sd_bus_message* call, const char* error, const char* sentence) {
  APPLIST_LOGF(DLOG_WARN, "Refused a message: %s", sentence);
  return sd_bus_reply_method_errorf(call, error, "%s", sentence);
}

int DbusLink::AnswerCall(sd_bus_message* call) {
  if (!IsFrom(call, m_partnerCalls) && !IsFromLine(call)) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED,
                                      "Only the owner of %s may call Send here",
                                      m_names.partner.calls.c_str());
  }
  // Outside: a message that cannot even be taken for lack of memory is one that was missed, and so
  // is for the partner a reply that cannot be made.
  std::vector<char> frame;
  const int read = applist::ReadFrame(call, frame);
  if (read == -ENOMEM) {
    throw std::bad_alloc();
  }
  const int replied = AnswerFrame(call, read, frame);
  if (replied == -ENOMEM) {
    throw std::bad_alloc();
  }
  return replied;
}

int DbusLink::AnswerFrame(sd_bus_message* call, int read, std::vector<char>& frame) {
  try {
    return Reply(call, TakeMessage(read, frame));
  } catch (const LinkRefusal& refusal) {
    return Refuse(call, refusal.ErrorName().c_str(), refusal.what());
  } catch (const std::exception& e) {
    return Refuse(call, "org.javamw.Link1.Error.Failed", e.what());
  } catch (...) {
    return Refuse(call, "org.javamw.Link1.Error.Failed", "The message could not be handled");
  }
}

// A frame that is too short for an identifier is passed on all the same: the endpoint logs it.
std::vector<char> DbusLink::TakeMessage(int r, std::vector<char>& frame) {
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
  if (sd_bus_message_is_method_call(message, kPeerInterface, "Ping") > 0 &&
      (IsFrom(message, m_partner) || IsFromEvents(message))) {
    Queue(message);
    return 1;
  }
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") > 0 &&
      sd_bus_message_has_signature(message, "ay") <= 0) {
    return AnswerCall(message);
  }
  return 0;
}

// An error is an answer as well: it comes in the same order. But where the bus goes away and the
// partner stays, on a line, the error says nothing about the partner.
int DbusLink::OnCaughtUp(sd_bus_message* answer) {
  if (NotifiesOnLine() && sd_bus_message_get_bus(answer) != Way() &&
      sd_bus_message_is_method_error(answer, nullptr) > 0) {
    WhenPartnerHasCaughtUp(m_whenCaughtUp);
    return 0;
  }
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
                  [self](const char* cause) { self->StartOver(cause); });
  return 0;
}
