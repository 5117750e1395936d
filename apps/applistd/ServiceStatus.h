// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the service manager is told of the daemon.
#ifndef APPLIST_APPLISTD_SERVICESTATUS_H
#define APPLIST_APPLISTD_SERVICESTATUS_H

#include "LocalAppListModel.h"
#include "dbus/BusConnection.h"

// Says by sd_notify(3) that the daemon is ready, which is when it owns its name, and in a few words
// what it waits for. Without a service manager it says nothing. Lives on the thread of the model,
// which must outlive it.
class ServiceStatus {
 public:
  explicit ServiceStatus(LocalAppListModel& model) : m_model(model) {}
  // The daemon is about to end.
  ~ServiceStatus();
  ServiceStatus(const ServiceStatus&) = delete;
  ServiceStatus& operator=(const ServiceStatus&) = delete;

  // The link has a new connection, that has yet to get its name.
  void Follow(sd_bus* bus);

  // A user interface has come or gone.
  void Tell() const;

 private:
  static int OnMessage(sd_bus_message* message, void* status, sd_bus_error* error);

  LocalAppListModel& m_model;
  bool m_ownsName = false;
  applist::SlotPtr m_slot;
};

#endif
