// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// One end of a link between a user interface and its remote side, over D-Bus.
#ifndef APPLIST_DBUS_DBUSLINK_H
#define APPLIST_DBUS_DBUSLINK_H

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dbus/BusConnection.h"
#include "dbus/BusPresence.h"
#include "dbus/CallConnection.h"
#include "dbus/DirectLine.h"
#include "dbus/EventSource.h"
#include "dbus/Inbox.h"
#include "dbus/LinkNames.h"

// Holds two connections to the bus. The incoming one owns the name of this end, hears what the
// partner sends and follows who the partner is (BusPresence); it lives in the event loop of the
// thread that constructs the link. The other one makes the calls, on whichever thread calls
// (CallConnection). The two ends are connected while this one has its name and the partner is
// there.
//
// Who is heard: the bus delivers whatever anybody sends to us. A Notify counts only from the
// connection that owns the partner's name now, and a Send only from the one that owns the partner's
// name with `.Calls` appended.
//
// A notification is delivered when everything that has come in is read (Inbox): so one whose sender
// is gone by then is not heard, and nobody asks a successor what it meant. A partner that hangs
// (CallConnection) is not asked in vain either: notifications wait until it answers again, and one
// in whose handling a call timed out is then delivered once more. A ping of the partner's incoming
// connection takes its place among them. One of its connection for calls asks only whether we hang,
// and is answered at once: otherwise two ends could wait for each other.
//
// When the two ends have met, the user interface's end asks for a direct line, two sockets beside
// the bus, and both send on them from then on (DirectLine). The bus goes on to say who the partner
// is: a line belongs to the owner of the name that it was asked from, and is given up with it. A
// bus that goes away takes no line along; when it is back, the ends ask one another by which name
// it knows them now. A line that comes to its end while the partner is there costs a message or
// two, so the ends count as parted and start over, and stay on the bus with each other.
//
// Construct, run the loop and destroy on one thread; Send from any. Upcalls come from the loop
// only, and may destroy the link.
class DbusLink {
 public:
  // What the link calls, from the loop, with no lock held. What they throw is caught, and answered
  // or logged.
  struct Upcalls {
    // A function message; returns the reply. Throws to refuse (LinkRefusal names the error).
    std::function<std::vector<char>(std::vector<char>& frame)> message;
    std::function<void(std::vector<char>& frame)> notification;
    // Connected, or no longer so. `partner` is the partner's bus name.
    std::function<void(bool state, const std::string& partner)> connectionReady;
  };

  // The upcalls of a transport class to itself.
  template <class Transport>
  static Upcalls UpcallsTo(Transport* transport) {
    return {[transport](std::vector<char>& frame) { return transport->HandleMessage(frame); },
            [transport](std::vector<char>& frame) { transport->HandleNotification(frame); },
            [transport](bool state, const std::string& partner) {
              transport->HandleConnectionReady(state, partner);
            }};
  }

  DbusLink(applist::LinkNames names, Upcalls upcalls);
  ~DbusLink();
  DbusLink(const DbusLink&) = delete;
  DbusLink& operator=(const DbusLink&) = delete;

  // Sends a function message and waits for the reply; empty when there is none. Any thread.
  std::vector<char> Send(const std::vector<char>& frame);

  // Sends a notification to the partner alone; drops it while not connected. Loop's thread only.
  void Notify(const std::vector<char>& frame);

  // Calls `then` once, from the loop, when the partner has worked off everything that was sent to
  // it before with Notify. A second call replaces the first, and the partner's going cancels it.
  void WhenPartnerHasCaughtUp(std::function<void()> then);

  // Lets a program add objects of its own to the connection that owns this end's name: `add` is
  // called now, and again for each later connection, before the name is there to be called by.
  // A program that keeps the bus keeps a reference to it. A null function ends it.
  void OnConnection(std::function<void(sd_bus* bus)> add);

  // `taken` is called from the loop when another process turns out to own this end's name, with
  // that process in words.
  void OnNameTaken(std::function<void(const std::string& owner)> taken);

  bool IsConnected() const { return !m_connectedTo.empty(); }

  // Whether frames travel on a direct line.
  bool IsDirect() const;
  const applist::LinkNames& Names() const { return m_names; }

 private:
  void AddSources();
  void Wake();
  int Prepare(sd_bus* bus);
  int AddHandlers(sd_bus* bus, std::vector<applist::SlotPtr>& slots);
  void TakeLoss();
  void TakeReplacement(const std::string& owner);
  void StartOver(const char* cause);
  void TakePartner(const std::string& owner);
  void TakePartnerCalls(const std::string& owner);
  applist::SlotPtr Ask(sd_bus* bus, const char* destination, const char* interface,
                       const char* question, sd_bus_message_handler_t onAnswer);
  void AskForLine();
  void DoWithoutLine(const std::string& cause);
  int MakeLine(applist::DirectLine::Side side, applist::DirectLine::Sockets sockets);
  bool IsHeld() const;
  bool HonourHolders();
  bool BeginLine();
  bool KeepsLine(const std::string& owner);
  void GiveUpLine();
  void LoseLine(const char* cause);
  bool IsFromLine(sd_bus_message* message) const;
  bool IsFromEvents(sd_bus_message* message) const;
  bool NotifiesOnLine() const { return m_line != nullptr && !m_names.asksForLine; }
  sd_bus* Way() const { return NotifiesOnLine() ? m_line->Events() : m_presence.Bus(); }
  const char* Destination() const { return NotifiesOnLine() ? nullptr : m_partner.c_str(); }
  void AnnounceState();
  void LogUnheard(sd_bus_message* message, const char* what);
  void UpdateConnected();
  bool TellConnected(bool state);
  bool PartFromPartner();
  void FindPartner();
  void TakeNotification(sd_bus_message* message);
  void Queue(sd_bus_message* message);
  bool Deliver(sd_bus_message* message);
  void TendCalls();
  int AnswerCall(sd_bus_message* call);
  int AnswerFrame(sd_bus_message* call, int read, std::vector<char>& frame);
  std::vector<char> TakeMessage(int r, std::vector<char>& frame);
  static int Reply(sd_bus_message* call, const std::vector<char>& reply);
  static int Refuse(sd_bus_message* call, const char* error, const char* sentence);

  // Handlers of the D-Bus library, which get there through Callback.
  int OnIncoming(sd_bus_message* message);
  int OnCaughtUp(sd_bus_message* answer);
  int OnLine(sd_bus_message* answer);
  int OnLineName(sd_bus_message* answer);
  int OnPartnerThere(sd_bus_message* answer);
  int OnOpenLine(sd_bus_message* call);
  int OnUniqueName(sd_bus_message* call);
  int OnHoldBus(sd_bus_message* call);

  static int OnBusReleased(sd_bus_track* holders, void* link);
  static int GetPartner(sd_bus* bus, const char* path, const char* interface, const char* property,
                        sd_bus_message* reply, void* link, sd_bus_error* error);
  static int GetHung(sd_bus* bus, const char* path, const char* interface, const char* property,
                     sd_bus_message* reply, void* link, sd_bus_error* error);
  static int GetDirect(sd_bus* bus, const char* path, const char* interface, const char* property,
                       sd_bus_message* reply, void* link, sd_bus_error* error);

  template <int (DbusLink::*Handler)(sd_bus_message*)>
  static int Callback(sd_bus_message* message, void* link, sd_bus_error* error);
  static int OnTend(sd_event_source* source, int fd, uint32_t events, void* link);
  static int OnWake(sd_event_source* source, int fd, uint32_t events, void* link);

  struct TrackUnref {
    void operator()(sd_bus_track* track) const { sd_bus_track_unref(track); }
  };
  struct State {
    std::string partner;
    bool hung = false;
    bool direct = false;
  };

  const applist::LinkNames m_names;
  const Upcalls m_upcalls;
  std::function<void(sd_bus*)> m_addObjects;
  std::function<void(const std::string&)> m_nameTaken;
  std::function<void()> m_whenCaughtUp;
  // Expires with the link, for what goes on after an upcall.
  std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);

  applist::EventPtr m_event;
  applist::SourcePtr m_wake;
  applist::SourcePtr m_tending;

  applist::CallConnection m_calls;
  applist::BusPresence m_presence;
  // Notifications and pings of the partner that are not worked off yet.
  applist::Inbox m_inbox;
  applist::SlotPtr m_caughtUp;
  // Whether this end works locally, because another process has its name.
  std::atomic<bool> m_replaced = false;
  // The unique names that own the partner's two names, empty where nobody does.
  std::string m_partner;
  std::string m_partnerCalls;
  // Whether the partner has yet to say that it is there.
  bool m_partnerInDoubt = false;
  // The last one that owned the name for calls.
  std::string m_lastPartnerCalls;
  // The partner that the upcall last named as ready, empty when not connected.
  std::string m_connectedTo;
  // Whose messages were not heard, so that the log says it once of each.
  std::set<std::string> m_unheard;

  // What is heard on the connection to the bus and on those of the line. Of a message in whose
  // handling the link is destroyed, the D-Bus library would call the handlers that come next.
  std::vector<applist::SlotPtr> m_busHandlers;
  std::vector<applist::SlotPtr> m_lineHandlers;

  std::unique_ptr<applist::DirectLine> m_line;
  // Whether the line has to be looked at again, because it is ready now, and whether something
  // could not be sent on it.
  bool m_lineIsNew = false;
  bool m_lineFails = false;
  // The partner that the line belongs to. Empty while that has to be found out again, because the
  // bus has been away meanwhile.
  std::string m_lineOwner;
  // The partner that is not asked for a line any more.
  std::string m_noLineWith;
  // The answer to the question for a line, for the name of who has its other end, or for a sign
  // that the partner is there.
  applist::SlotPtr m_lineAnswer;
  // Who wants everything to go over the bus.
  std::unique_ptr<sd_bus_track, TrackUnref> m_holders;
  // What the properties were when they were last announced.
  State m_announced;
};

#endif
