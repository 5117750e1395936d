// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the bus tells about both sides of the link, to somebody who is on neither.
#ifndef APPLIST_UI_REMOTEVIEW_H
#define APPLIST_UI_REMOTEVIEW_H

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dbus/BusConnection.h"
#include "support/ControlClient.h"
#include "support/LinkProperties.h"

namespace applist_ui {

// Reads what the remote side holds from its control interface, and how this process's end of the
// link stands from that, over a bus connection of its own in the thread's event loop. It waits for
// no answer, and finds the bus again when it was away.
class RemoteView {
 public:
  // `changed` is called from the loop when anything below has another value; `launched` when the
  // remote side has started an application, with its identifier.
  struct Upcalls {
    std::function<void()> changed;
    std::function<void(const std::string& id)> launched;
  };
  explicit RemoteView(Upcalls upcalls);
  ~RemoteView();
  RemoteView(const RemoteView&) = delete;
  RemoteView& operator=(const RemoteView&) = delete;

  // Whether the remote side answers is found out only when it is asked to, so that nothing happens
  // while nobody does anything: call this after telling it something. Waits for nobody.
  void Probe();

  enum class Link {
    NoBus,      // there is no bus
    Taken,      // another user interface has this process's place
    Nobody,     // there is no remote side
    Connected,  // both sides have met
    Hung        // the remote side is there, and does not answer
  };
  Link State() const;

  // Whether frames travel beside the bus; nothing where that is not known.
  std::optional<bool> IsDirect() const { return m_linkState.direct; }

  // Whether the control interface has been read, since the remote side came.
  bool IsKnown() const { return m_known; }

  // Whether what was read may have changed since, because the remote side does not answer: the link
  // has found out, or it was asked here.
  bool IsOld() const { return m_overdue || m_linkState.hung.value_or(false); }

  const applist::ControlClient::State& Holds() const { return m_holds; }

  // Increases with every change of the items.
  unsigned Version() const { return m_version; }

 private:
  struct SourceUnref {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
  };
  struct EventUnref {
    void operator()(sd_event* event) const { sd_event_unref(event); }
  };
  using SourcePtr = std::unique_ptr<sd_event_source, SourceUnref>;

  void Start();
  void Lose();
  void StartAfter(std::chrono::milliseconds delay);
  int AddHandlers();
  void AskForOwner(const char* name, sd_bus_message_handler_t onAnswer);
  void TakeRemote(const std::string& owner);
  void TakeOwn(const std::string& owner);
  void ReadControl();
  void ReadLink();
  void Ask(applist::SlotPtr& slot, sd_bus_message_handler_t onAnswer, const std::string& whom,
           const char* interface, const char* member, const char* argument);
  void SetOverdue(bool overdue);
  void Changed() { m_upcalls.changed(); }

  // Handlers of the D-Bus library, which get there through Callback.
  void OnHello(sd_bus_message* message);
  void OnLost(sd_bus_message* message);
  void OnOwnerChanged(sd_bus_message* message);
  void OnRemoteOwner(sd_bus_message* answer);
  void OnOwnOwner(sd_bus_message* answer);
  void OnOwnProcess(sd_bus_message* answer);
  void OnControl(sd_bus_message* answer);
  void OnLink(sd_bus_message* answer);
  void OnPong(sd_bus_message* answer);
  void OnPropertiesChanged(sd_bus_message* message);
  void OnLaunched(sd_bus_message* message);

  template <void (RemoteView::*Handler)(sd_bus_message*)>
  static int Callback(sd_bus_message* message, void* view, sd_bus_error* error);
  static int OnStart(sd_event_source* source, uint64_t now, void* view);
  static int OnOverdue(sd_event_source* source, uint64_t now, void* view);

  const Upcalls m_upcalls;
  std::unique_ptr<sd_event, EventUnref> m_event;
  SourcePtr m_restart;
  SourcePtr m_deadline;
  std::chrono::milliseconds m_delay;
  applist::BusPtr m_bus;
  bool m_hello = false;

  // The unique names of the remote side and of the user interface that is connected to it.
  std::string m_remote;
  std::string m_own;
  // Whether that user interface is this process.
  std::optional<bool> m_ours;
  applist::LinkProperties m_linkState;

  applist::SlotPtr m_control;
  applist::SlotPtr m_link;
  applist::SlotPtr m_process;
  applist::SlotPtr m_ping;
  // Whether the items have changed while they were being read.
  bool m_again = false;
  bool m_known = false;
  bool m_overdue = false;
  applist::ControlClient::State m_holds;
  unsigned m_version = 0;
};

}  // namespace applist_ui

#endif
