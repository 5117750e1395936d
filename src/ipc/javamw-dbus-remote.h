// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The user interface's end of the link to the remote side: what the endpoint needs of a transport.
// Declaration only; the platform defines it (platform/dbus here, a device's own elsewhere).
#ifndef APPLIST_IPC_JAVAMW_DBUS_REMOTE_H
#define APPLIST_IPC_JAVAMW_DBUS_REMOTE_H

#include <memory>
#include <string>
#include <vector>

#include "common/Export.h"

class DbusLink;

// Upcalls come from the event loop of the thread that constructed the transport, never from within
// the constructor, the destructor or SendMessage, and never after the destructor. Construct, run
// the loop and destroy on one thread. What an upcall throws is caught by the transport.
class APPLIST_EXPORT JavaMWDbusRemote {
 public:
  // Connects under the given service name. Never fails and never waits for the remote side: with
  // no bus or no remote side, the transport stays unconnected.
  explicit JavaMWDbusRemote(std::string serviceName);

  // Ends the connection.
  virtual ~JavaMWDbusRemote();

  JavaMWDbusRemote(const JavaMWDbusRemote&) = delete;
  JavaMWDbusRemote& operator=(const JavaMWDbusRemote&) = delete;

  // A function message of the remote side. `data` holds the frame and may be changed; the result
  // is the reply. An exception refuses the message: the remote side gets an error.
  virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;

  // A notification of the remote side. `data` holds the frame and may be changed.
  virtual void HandleNotification(std::vector<char>& data) = 0;

  // The remote side, with the bus name `partner`, is there (`state` true) or gone (false).
  virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

  // Sends one frame to the remote side and returns its reply: empty when the remote side is not
  // there, refuses the message or does not answer in time. Any thread may call, also from inside
  // an upcall; the frame is not changed.
  std::vector<char> SendMessage(std::vector<char>& message);

  // Sends one frame to the remote side as a notification, without an answer; dropped when the
  // remote side is not there. On the thread of the event loop only.
  void SendNotification(std::vector<char>& message);

 private:
  std::unique_ptr<DbusLink> m_link;
};

#endif
