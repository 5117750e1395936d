// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fuzz/LocalTransport.h"

#include <utility>

#include "dbus/DbusLink.h"

namespace applist_fuzz {
namespace {

JavaMWDbusLocal* live = nullptr;
std::vector<std::string> notifications;

}  // namespace

JavaMWDbusLocal& LiveTransport() {
  return *live;
}

std::vector<std::string> TakeNotifications() {
  return std::exchange(notifications, {});
}

}  // namespace applist_fuzz

JavaMWDbusLocal::JavaMWDbusLocal(std::string /*serviceName*/)
    : m_link(std::make_unique<DbusLink>()) {
  applist_fuzz::live = this;
}

JavaMWDbusLocal::~JavaMWDbusLocal() {
  applist_fuzz::live = nullptr;
}

void JavaMWDbusLocal::SendNotification(std::vector<char>& message) {
  applist_fuzz::notifications.emplace_back(message.begin(), message.end());
}
