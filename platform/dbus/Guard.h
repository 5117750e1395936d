// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What keeps exceptions out of the C libraries below.
#ifndef APPLIST_DBUS_GUARD_H
#define APPLIST_DBUS_GUARD_H

#include <exception>

#include "common/Log.h"

namespace applist {

// Runs somebody else's code. What it throws is logged, with `name` for what it was.
template <class Code>
void Guard(const char* name, Code code) {
  try {
    code();
  } catch (const std::exception& e) {
    APPLIST_LOGF(DLOG_ERROR, "%s threw: %s", name, e.what());
  } catch (...) {
    APPLIST_LOGF(DLOG_ERROR, "%s threw something that is no exception", name);
  }
}

// Runs the body of a callback. Somebody else's code is guarded by itself, so what is thrown here is
// our own, for lack of memory, and something has been missed: `recover` starts over.
template <class Body, class Recover>
void Safely(Body body, Recover recover) {
  try {
    body();
  } catch (const std::exception& e) {
    Guard("Starting over", [&] { recover(e.what()); });
  }
}

}  // namespace applist

#endif
