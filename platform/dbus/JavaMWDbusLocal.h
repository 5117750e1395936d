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
  // Connects under the given service name. Never fails and never waits for the user interface.
  explicit JavaMWDbusLocal(std::string serviceName);

  // Ends the connection.
  virtual ~JavaMWDbusLocal();

  JavaMWDbusLocal(const JavaMWDbusLocal&) = delete;
  JavaMWDbusLocal& operator=(const JavaMWDbusLocal&) = delete;

  // A function message of the user interface. `data` holds the frame and may be changed; the
  // result is the reply. An exception refuses the message; LinkRefusal says why.
  virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;

  // A notification of the user interface. `data` holds the frame and may be changed.
  virtual void HandleNotification(std::vector<char>& data) = 0;

  // The user interface, with the bus name `partner`, is there (`state` true) or gone (false).
  virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

  // Sends one frame to the user interface and returns its reply: empty when it is not there,
  // refuses the message or does not answer in time. Any thread, also from inside an upcall; the
  // frame is not changed.
  std::vector<char> SendMessage(std::vector<char>& message);

  // Sends one frame to the user interface, without an answer; dropped when it is not there. On the
  // thread of the event loop only.
  void SendNotification(std::vector<char>& message);

  // The link itself, for a program that shares its connection. Lives as long as this object.
  DbusLink& Link() { return *m_link; }

 private:
  std::unique_ptr<DbusLink> m_link;
};

#endif
