// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/JavaMWDbusLocal.h"

#include "dbus/DbusLink.h"

JavaMWDbusLocal::JavaMWDbusLocal(std::string serviceName)
    : m_link(std::make_unique<DbusLink>(applist::LinkNames::ForRemoteSide(serviceName),
                                        DbusLink::UpcallsTo(this))) {}

JavaMWDbusLocal::~JavaMWDbusLocal() = default;

std::vector<char> JavaMWDbusLocal::SendMessage(std::vector<char>& message) {
  return m_link->Send(message);
}

void JavaMWDbusLocal::SendNotification(std::vector<char>& message) {
  m_link->Notify(message);
}
