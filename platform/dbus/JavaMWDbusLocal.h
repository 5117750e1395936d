// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side's end of the link to the user interface: the counterpart of JavaMWDbusRemote.
#ifndef APPLIST_DBUS_JAVAMWDBUSLOCAL_H
#define APPLIST_DBUS_JAVAMWDBUSLOCAL_H

#include <memory>
#include <string>
#include <vector>

#include "common/Export.h"

class DbusLink;

// Everything that ipc/javamw-dbus-remote.h says of JavaMWDbusRemote holds here, with the two ends
// the other way round; so the same endpoint template serves both.
class APPLIST_EXPORT JavaMWDbusLocal {
 public:
  explicit JavaMWDbusLocal(std::string serviceName);
  virtual ~JavaMWDbusLocal();

  JavaMWDbusLocal(const JavaMWDbusLocal&) = delete;
  JavaMWDbusLocal& operator=(const JavaMWDbusLocal&) = delete;

  virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
  virtual void HandleNotification(std::vector<char>& data) = 0;
  virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

  std::vector<char> SendMessage(std::vector<char>& message);
  void SendNotification(std::vector<char>& message);

  // The link itself, for a program that shares its connection. Lives as long as this object.
  DbusLink& Link() { return *m_link; }

 private:
  std::unique_ptr<DbusLink> m_link;
};

#endif
