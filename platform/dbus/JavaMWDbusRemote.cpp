// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/DbusLink.h"
#include "ipc/javamw-dbus-remote.h"

JavaMWDbusRemote::JavaMWDbusRemote(std::string serviceName)
    : m_link(std::make_unique<DbusLink>(applist::LinkNames::ForUserInterface(serviceName),
                                        DbusLink::UpcallsTo(this))) {}

JavaMWDbusRemote::~JavaMWDbusRemote() = default;

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& message) {
  return m_link->Send(message);
}

void JavaMWDbusRemote::SendNotification(std::vector<char>& message) {
  m_link->Notify(message);
}
