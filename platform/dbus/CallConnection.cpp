// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/CallConnection.h"

#include <algorithm>
#include <cerrno>

#include "common/Log.h"
#include "dbus/Frame.h"

namespace applist {

// A thread that comes late, because others were calling, still gives the partner up to a tenth of
// the time-out, behind its end if need be. A partner that is silent for less than that may be busy:
// it does not hang.
class CallConnection::Deadline {
 public:
  using microseconds = std::chrono::microseconds;

  explicit Deadline(microseconds timeout)
      : m_timeout(timeout), m_at(std::chrono::steady_clock::now() + timeout) {}

  microseconds Left() const {
    const auto left =
        std::chrono::duration_cast<microseconds>(m_at - std::chrono::steady_clock::now());
    const microseconds tenth = m_timeout / 10;
    return std::max(left, std::min(tenth, left + tenth));
  }
  // At least one: none would be none at all.
  uint64_t MicrosecondsLeft() const {
    return static_cast<uint64_t>(std::max(Left(), microseconds(1)).count());
  }
  bool IsEnoughForAHang(microseconds waited) const { return waited >= m_timeout / 10; }
  bool IsOver() const { return std::chrono::steady_clock::now() >= m_at; }

 private:
  const microseconds m_timeout;
  const std::chrono::steady_clock::time_point m_at;
};

// The other connection has just heard from the bus, so this one may wait for it.
NameAnswer CallConnection::Open() {
  const Deadline deadline(m_timeout);
  const std::lock_guard<FairMutex> lock(m_mutex);
  m_busAnswers = true;
  OpenLocked(deadline);
  return m_nameAnswer;
}

std::vector<char> CallConnection::Call(const std::vector<char>& frame) {
  const Deadline deadline(m_timeout);
  std::vector<char> reply;
  bool untended = false;
  {
    const std::lock_guard<FairMutex> lock(m_mutex);
    untended = m_hung;
    reply = CallLocked(frame, deadline);
    untended = untended || NeedsTending();
  }
  if (untended || m_workedOffWanted) {
    m_onUntended();
  }
  return reply;
}

std::vector<char> CallConnection::CallLocked(const std::vector<char>& frame,
                                             const Deadline& deadline) {
  ProcessLine();
  if (m_isOffered) {
    Process();
    TakeOffer();
  }
  if (!OnLine() && !OpenLocked(deadline)) {
    return std::vector<char>();
  }
  const MessagePtr call = NewCall(kLinkInterface, "Send");
  const int r = call == nullptr ? -ENOMEM : AppendFrame(call.get(), frame);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot send a frame of %zu bytes: %s", frame.size(),
                 BusError().Text(r).c_str());
    return std::vector<char>();
  }
  if (m_hung || deadline.Left() <= Deadline::microseconds(0)) {
    SendOnly(call.get());
    return std::vector<char>();
  }
  return CallAndWait(call.get(), deadline);
}

bool CallConnection::Tend(int& fd, int& events) {
  const std::unique_lock<FairMutex> lock(m_mutex, std::try_to_lock);
  if (!lock) {
    return false;
  }
  ProcessLine();
  Process();
  if (m_askAgain.exchange(false) && m_hung && !Ping()) {
    EndHang();
  }
  TakeOffer();
  if (!NeedsTending()) {
    return false;
  }
  fd = sd_bus_get_fd(Way());
  events = sd_bus_get_events(Way());
  return fd >= 0 && events >= 0;
}

// Whether something has to be read or written though nobody calls. The loss of the line is read,
// too: nobody may call again.
bool CallConnection::NeedsTending() {
  uint64_t unwritten = 0;
  return Way() != nullptr &&
         (m_ping != nullptr || (OnLine() && sd_bus_is_open(m_line.get()) <= 0) ||
          (sd_bus_get_n_queued_write(Way(), &unwritten) >= 0 && unwritten > 0));
}

// The wish is there before the lock is tried, so that whoever holds it sees the wish afterwards.
bool CallConnection::IsWorkedOff() {
  m_workedOffWanted = true;
  const std::unique_lock<FairMutex> lock(m_mutex, std::try_to_lock);
  if (!lock) {
    return false;
  }
  if (m_unconfirmed && m_ping == nullptr) {
    Ping();
  }
  m_workedOffWanted = m_hung || m_unconfirmed || m_ping != nullptr;
  return !m_workedOffWanted;
}

void CallConnection::OfferLine(BusPtr line) {
  const std::lock_guard<std::mutex> lock(m_offerMutex);
  m_offer = std::move(line);
  m_isOffered = true;
  m_lostLine = false;
}

void CallConnection::LeaveLine() {
  const std::lock_guard<std::mutex> lock(m_offerMutex);
  m_offer.reset();
  m_isOffered = false;
  m_leaveLine = m_onLine.load();
}

// Frames that were sent while the partner hung may still be on their way when it has answered the
// ping before them: on the line, what is sent next would overtake them.
void CallConnection::TakeOffer() {
  if (!m_isOffered || OnLine() || m_hung) {
    return;
  }
  if (m_unconfirmed && m_ping == nullptr) {
    Ping();
  }
  if (m_unconfirmed || m_ping != nullptr) {
    return;
  }
  const std::lock_guard<std::mutex> lock(m_offerMutex);
  m_line = std::move(m_offer);
  m_isOffered = false;
  m_onLine = OnLine();
  if (OnLine()) {
    APPLIST_LOGF(DLOG_INFO, "On a direct line to %s", m_names.partner.incoming.c_str());
    m_onUntended();
  }
}

// Reads what has come in on the line, which is where its loss shows.
void CallConnection::ProcessLine() {
  while (OnLine()) {
    const int r = m_leaveLine ? -ECONNRESET : sd_bus_process(m_line.get(), nullptr);
    if (r == 0) {
      return;
    }
    if (r < 0 || sd_bus_is_open(m_line.get()) <= 0) {
      ForgetLine();
    }
  }
}

void CallConnection::ForgetLine() {
  EndHang();
  const std::lock_guard<std::mutex> lock(m_offerMutex);
  m_line.reset();
  m_onLine = false;
  m_workedOffWanted = false;
  m_lostLine = !m_leaveLine.exchange(false);
  m_onUntended();
}

// First looks at what has come in meanwhile, which is where the loss of a connection shows: a call
// on a lost connection would fail without a try on a new one.
bool CallConnection::OpenLocked(const Deadline& deadline) {
  Process();
  Connect(deadline);
  if (m_bus == nullptr || sd_bus_is_ready(m_bus.get()) <= 0) {
    return false;
  }
  if (!IsOwner(m_nameAnswer)) {
    RequestName(deadline);
  }
  return IsOwner(m_nameAnswer);
}

void CallConnection::Process() {
  while (m_bus != nullptr) {
    const int r = sd_bus_process(m_bus.get(), nullptr);
    if (r == 0) {
      return;
    }
    if (r < 0 || sd_bus_is_open(m_bus.get()) <= 0) {
      Forget();
    }
  }
}

// A call may have been lost with the connection: a line that was to take over from it would hide
// that.
void CallConnection::Forget() {
  if (m_isOffered) {
    const std::lock_guard<std::mutex> lock(m_offerMutex);
    m_offer.reset();
    m_isOffered = false;
    m_lostLine = true;
    m_onUntended();
  }
  m_bus.reset();
  m_nameAnswer = NameAnswer::Refused;
  if (!OnLine()) {
    EndHang();
  }
}

void CallConnection::Connect(const Deadline& deadline) {
  int result = 0;
  if (m_bus == nullptr) {
    m_bus = StartConnection("applist-calls", CallTimeout(), Socket::Present, result);
  }
  if (m_bus != nullptr && m_busAnswers) {
    m_busAnswers = WaitUntilReady(deadline);
  }
}

bool CallConnection::WaitUntilReady(const Deadline& deadline) {
  while (m_bus != nullptr && sd_bus_is_ready(m_bus.get()) <= 0) {
    if (deadline.IsOver()) {
      APPLIST_LOG(DLOG_WARN, "The bus does not answer");
      return false;
    }
    sd_bus_wait(m_bus.get(), deadline.MicrosecondsLeft());
    Process();
  }
  return true;
}

// A bus that does not answer here loses the connection: the next call starts a new one, without
// waiting for it.
void CallConnection::RequestName(const Deadline& deadline) {
  const std::string& name = m_names.own.calls;
  BusError error;
  sd_bus_set_method_call_timeout(m_bus.get(), deadline.MicrosecondsLeft());
  m_nameAnswer = applist::RequestName(m_bus.get(), name, error);
  m_busAnswers = m_nameAnswer != NameAnswer::Refused || !error.Is(SD_BUS_ERROR_TIMEOUT);
  if (m_nameAnswer != m_loggedAnswer) {
    LogNameAnswer(name, m_nameAnswer, error);
  }
  m_loggedAnswer = m_nameAnswer;
  if (!m_busAnswers) {
    Forget();
  }
}

std::vector<char> CallConnection::CallAndWait(sd_bus_message* call, const Deadline& deadline) {
  std::vector<char> reply;
  BusError error;
  sd_bus_message* answer = nullptr;
  const Deadline::microseconds timeout(deadline.MicrosecondsLeft());
  const auto end = std::chrono::steady_clock::now() + timeout;
  int r = sd_bus_call(Way(), call, static_cast<uint64_t>(timeout.count()), error.Get(), &answer);
  MessagePtr owned(answer);
  if (r == -EINTR) {
    r = WaitOn(call, end, error, owned);
  }
  if (r >= 0) {
    r = ReadFrame(owned.get(), reply);
  }
  if (r < 0) {
    LogFailure(error, r);
  }
  // A partner can answer with the error of a time-out, too; that is an answer.
  if (r == -ETIMEDOUT && std::chrono::steady_clock::now() >= end &&
      deadline.IsEnoughForAHang(timeout)) {
    BeginHang();
  }
  return reply;
}

// Goes on with a call whose wait a signal has interrupted. The D-Bus library knows nothing of it
// any more, and gives its answer to whoever processes the connection.
int CallConnection::WaitOn(sd_bus_message* call, std::chrono::steady_clock::time_point end,
                           BusError& error, MessagePtr& answer) {
  uint64_t cookie = 0;
  int r = sd_bus_message_get_cookie(call, &cookie);
  sd_bus_error_free(error.Get());
  while (r >= 0) {
    sd_bus_message* incoming = nullptr;
    r = sd_bus_process(Way(), &incoming);
    answer.reset(incoming);
    uint64_t answered = 0;
    if (incoming != nullptr && sd_bus_message_get_reply_cookie(incoming, &answered) >= 0 &&
        answered == cookie) {
      sd_bus_error_copy(error.Get(), sd_bus_message_get_error(incoming));
      return -sd_bus_message_get_errno(incoming);
    }
    if (r >= 0 && sd_bus_is_open(Way()) <= 0) {
      return -ECONNRESET;
    }
    if (r == 0) {
      const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0) {
        return -ETIMEDOUT;
      }
      r = sd_bus_wait(Way(), static_cast<uint64_t>(left.count()));
      r = r == -EINTR ? 0 : r;
    }
  }
  return r;
}

void CallConnection::SendOnly(sd_bus_message* call) {
  int r = sd_bus_message_set_expect_reply(call, 0);
  if (r >= 0) {
    r = sd_bus_send(Way(), call, nullptr);
    m_unconfirmed = true;
  }
  if (r < 0) {
    LogFailure(BusError(), r);
  }
  // So many frames wait already that this one is lost: with the connection, so that both ends know
  // and start over.
  if (r == -ENOBUFS && OnLine()) {
    ForgetLine();
  } else if (r == -ENOBUFS) {
    Forget();
  }
}

MessagePtr CallConnection::NewCall(const char* interface, const char* member) {
  const char* partner = m_names.partner.incoming.c_str();
  sd_bus_message* created = nullptr;
  const int r = sd_bus_message_new_method_call(Way(), &created, OnLine() ? nullptr : partner,
                                               m_names.objectPath.c_str(), interface, member);
  return MessagePtr(r < 0 ? nullptr : created);
}

void CallConnection::BeginHang() {
  APPLIST_LOGF(DLOG_WARN, "%s hangs; not waiting for it until it answers again",
               m_names.partner.incoming.c_str());
  m_unconfirmed = true;
  if (Ping()) {
    m_hung = true;
    ++m_hangs;
  }
}

// Asks whether all that was sent before is worked off. Returns whether that could be asked.
bool CallConnection::Ping() {
  const MessagePtr ping = NewCall("org.freedesktop.DBus.Peer", "Ping");
  sd_bus_slot* slot = nullptr;
  const int r = ping == nullptr
                    ? -ENOMEM
                    : sd_bus_call_async(Way(), &slot, ping.get(), OnPong, this, UINT64_MAX);
  m_ping.reset(slot);
  if (r < 0) {
    LogFailure(BusError(), r);
    return false;
  }
  m_unconfirmed = false;
  return true;
}

void CallConnection::EndHang() {
  m_ping.reset();
  m_unconfirmed = false;
  m_hung = false;
}

int CallConnection::OnPong(sd_bus_message* /*message*/, void* connection, sd_bus_error* /*error*/) {
  CallConnection* self = static_cast<CallConnection*>(connection);
  self->m_ping.reset();
  if (self->m_workedOffWanted) {
    self->m_onUntended();
  }
  if (self->m_hung.exchange(false)) {
    APPLIST_LOGF(DLOG_WARN, "%s does not hang any longer", self->m_names.partner.incoming.c_str());
  }
  return 0;
}

// That nobody is there is a state of the link, which is logged when it changes, not at every call.
void CallConnection::LogFailure(const BusError& error, int result) {
  const char* partner = m_names.partner.incoming.c_str();
  const bool nobody =
      error.Is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.Is(SD_BUS_ERROR_NAME_HAS_NO_OWNER);
  if (nobody) {
    APPLIST_LOGF(DLOG_DEBUG, "No answer: %s is not there", partner);
  } else {
    APPLIST_LOGF(DLOG_WARN, "No answer from %s: %s", partner, error.Text(result).c_str());
  }
}

}  // namespace applist
