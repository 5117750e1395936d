// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The connection on which one end of a link calls the other.
#ifndef APPLIST_DBUS_CALLCONNECTION_H
#define APPLIST_DBUS_CALLCONNECTION_H

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "dbus/BusConnection.h"
#include "dbus/FairMutex.h"
#include "dbus/LinkNames.h"

namespace applist {

// Any thread may call any operation; one call is made at a time. The calling thread waits for the
// answer itself, on a connection that no event loop knows: an answer needs no thread switch, and a
// call made from inside an upcall cannot lead to another upcall.
//
// The connection is opened when it is first needed, and again when it is needed after a loss. It
// owns the `.Calls` name of its end, by which the partner knows whom it hears; while another
// process owns that name, nothing is sent.
//
// A partner that hangs is waited for once. The call that runs into the time-out sends a ping
// behind itself; until that is answered, frames go out in order and nobody waits for replies. A
// ping is answered after all that was sent before it, so the answer says that the partner has
// caught up.
//
//   answering -> hung: a call timed out
//   hung -> answering: the ping was answered, if only by the bus, because the partner is gone
//   hung -> answering: the connection was lost
//   hung -> answering: another process became the partner
//
// Where there is a direct line to the partner (DirectLine), calls are made on it, and the
// connection to the bus is there for its name only. It takes the place of the bus between two
// calls, when the partner has worked off every frame sent before: where nobody waited for the
// replies to some, another ping behind them tells.
//
// Somebody has to look for the answer to the ping, and to write what did not fit into the socket:
// every call does, and between calls the event loop, with Tend.
class CallConnection {
 public:
  // `onUntended` is called, on the thread that calls, when it is time for Tend.
  CallConnection(LinkNames names, std::function<void()> onUntended)
      : m_names(std::move(names)), m_onUntended(std::move(onUntended)) {}

  // Opens the connection if need be, and returns how its name stands there: calls can be made when
  // it is the owner. Refused where there is no connection, too. Waits for the bus, but for no
  // longer than one call time-out.
  NameAnswer Open();

  // Sends one frame to the partner and returns its reply; an empty one when there is no partner,
  // when it refuses, hangs, or does not answer in time. Returns within one call time-out and a
  // tenth of it, with the calls of other threads included, who take turns. Where that leaves no
  // time for an answer, the frame goes out and the reply is empty.
  std::vector<char> Call(const std::vector<char>& frame);

  // Whether the partner hangs, and how often it has begun to.
  bool IsHung() const { return m_hung; }
  unsigned Hangs() const { return m_hangs; }

  // Makes the calls on `line`, as soon as the partner has worked off all that was sent to it over
  // the bus; the next call or Tend that finds it so goes over to the line. Waits for nobody.
  void OfferLine(BusPtr line);

  // Leaves the line, whoever calls on it now, or takes the offer back. A hang on it ends with it.
  // Waits for nobody.
  void LeaveLine();

  // Whether calls are made on a line that was not left since.
  bool IsOnLine() const { return m_onLine && !m_leaveLine; }

  // Whether a line has come to its end by itself since this was last asked.
  bool TakeLostLine() { return m_lostLine.exchange(false); }

  // Another process is the partner now, or none: what the last one has yet to answer says nothing
  // about it. Waits for nobody.
  void ForgetHang() { m_hung = false; }

  // Whether the partner has worked off all that was sent to it. Asks it where that is not known,
  // and says no meanwhile; try again at the next Tend.
  bool IsWorkedOff();

  // It has turned out only now who the partner is, and it may not be the one that was hung: asks it
  // for a sign of life too, at the next Tend. Waits for nobody.
  void AskAgain() { m_askAgain = true; }

  // Reads and writes what can be without waiting, unless another thread is at it. Returns whether
  // there will be more to do, and then sets the descriptor and the poll events to wait for.
  bool Tend(int& fd, int& events);

 private:
  // By when an operation has to return.
  class Deadline;

  std::vector<char> CallLocked(const std::vector<char>& frame, const Deadline& deadline);
  bool OpenLocked(const Deadline& deadline);
  void Process();
  void ProcessLine();
  void TakeOffer();
  void ForgetLine();
  bool OnLine() const { return m_line != nullptr; }
  sd_bus* Way() const { return OnLine() ? m_line.get() : m_bus.get(); }
  void Connect(const Deadline& deadline);
  bool WaitUntilReady(const Deadline& deadline);
  void RequestName(const Deadline& deadline);
  std::vector<char> CallAndWait(sd_bus_message* call, const Deadline& deadline);
  int WaitOn(sd_bus_message* call, std::chrono::steady_clock::time_point end, BusError& error,
             MessagePtr& answer);
  void SendOnly(sd_bus_message* call);
  MessagePtr NewCall(const char* interface, const char* member);
  void BeginHang();
  void EndHang();
  bool Ping();
  void Forget();
  bool NeedsTending();
  void LogFailure(const BusError& error, int result);

  static int OnPong(sd_bus_message* message, void* connection, sd_bus_error* error);

  const LinkNames m_names;
  // As it was when this was made: to look it up takes time.
  const std::chrono::microseconds m_timeout = CallTimeout();
  const std::function<void()> m_onUntended;
  FairMutex m_mutex;
  BusPtr m_bus;
  BusPtr m_line;
  // Held for a moment only, and by nobody who waits: for the offer, and for the flags that have to
  // change together with it.
  std::mutex m_offerMutex;
  BusPtr m_offer;
  std::atomic<bool> m_isOffered = false;
  std::atomic<bool> m_onLine = false;
  std::atomic<bool> m_leaveLine = false;
  std::atomic<bool> m_lostLine = false;
  // A ping that has yet to be answered, and whether frames went out behind it, or behind one that
  // has been answered, to whose replies nobody waits.
  SlotPtr m_ping;
  bool m_unconfirmed = false;
  // What the bus last said about the name, and what of that the log has.
  NameAnswer m_nameAnswer = NameAnswer::Refused;
  NameAnswer m_loggedAnswer = NameAnswer::AlreadyOwner;
  // Whether the bus answered last time: one that did not is not waited for again until it does.
  bool m_busAnswers = true;
  std::atomic<bool> m_hung = false;
  std::atomic<bool> m_askAgain = false;
  std::atomic<bool> m_workedOffWanted = false;
  std::atomic<unsigned> m_hangs = 0;
};

}  // namespace applist

#endif
