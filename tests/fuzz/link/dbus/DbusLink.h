// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// In the place of the link over D-Bus: what the remote side's model asks of it, without a bus.
#ifndef APPLIST_TESTS_FUZZ_LINK_DBUS_DBUSLINK_H
#define APPLIST_TESTS_FUZZ_LINK_DBUS_DBUSLINK_H

#include <functional>
#include <utility>

class DbusLink {
 public:
  void WhenPartnerHasCaughtUp(std::function<void()> then) { m_then = std::move(then); }

  // The partner has worked off everything. Returns whether anybody waited for it.
  bool CatchUp() {
    const std::function<void()> then = std::exchange(m_then, nullptr);
    if (then) {
      then();
    }
    return then != nullptr;
  }

  // The partner has gone.
  void Lose() { m_then = nullptr; }

 private:
  std::function<void()> m_then;
};

#endif
