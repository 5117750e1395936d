// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The daemon's control interface: what it holds, and how any D-Bus tool selects and clicks there.
#ifndef APPLIST_APPLISTD_CONTROL_H
#define APPLIST_APPLISTD_CONTROL_H

#include <memory>
#include <string>

#include "LocalAppListModel.h"
#include "dbus/BusConnection.h"
#include "dbus/EventSource.h"

// org.javamw.Applist.Control1, at the path of the link, on the connection that owns the name of the
// remote side. docs/protocol.md describes it. Lives on the thread of the model, which must outlive
// it.
class Control {
 public:
  explicit Control(LocalAppListModel& model) : m_model(model) {}
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  // Serves the interface on a new connection of the link, and no longer on the one before.
  void AddTo(sd_bus* bus);

  // Tells everybody who listens of a change of the model, or of an application that was started. A
  // bus that takes what is said more slowly than it changes is told less often, of all that has
  // changed meanwhile.
  void Announce(LocalAppListModel::Change change);
  void AnnounceLaunched(const std::string& id);

 private:
  enum Property : unsigned { kItems = 1, kSelection = 2, kLastClicked = 4, kConnected = 8 };

  static unsigned PropertiesOf(LocalAppListModel::Change change);
  unsigned Shown() const;
  void AnnounceChanged();
  static int OnLater(sd_event_source* source, uint64_t now, void* control);

  static int GetItems(sd_bus* bus, const char* path, const char* interface, const char* property,
                      sd_bus_message* reply, void* control, sd_bus_error* error);
  static int GetSelection(sd_bus* bus, const char* path, const char* interface,
                          const char* property, sd_bus_message* reply, void* control,
                          sd_bus_error* error);
  static int GetLastClicked(sd_bus* bus, const char* path, const char* interface,
                            const char* property, sd_bus_message* reply, void* control,
                            sd_bus_error* error);
  static int GetConnected(sd_bus* bus, const char* path, const char* interface,
                          const char* property, sd_bus_message* reply, void* control,
                          sd_bus_error* error);
  static int OnSelect(sd_bus_message* call, void* control, sd_bus_error* error);
  static int OnClick(sd_bus_message* call, void* control, sd_bus_error* error);

  LocalAppListModel& m_model;
  // Not closed here: the connection is the link's.
  struct Unref {
    void operator()(sd_bus* bus) const { sd_bus_unref(bus); }
  };
  std::unique_ptr<sd_bus, Unref> m_bus;
  applist::SlotPtr m_slot;
  // What has changed and is not announced yet, by Property, and the timer for that.
  unsigned m_changed = 0;
  applist::SourcePtr m_later;
};

#endif
