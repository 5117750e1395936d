// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A JavaMWDbusLocal without a bus, one at a time.
#ifndef APPLIST_TESTS_FUZZ_LOCALTRANSPORT_H
#define APPLIST_TESTS_FUZZ_LOCALTRANSPORT_H

#include <string>
#include <vector>

#include "dbus/JavaMWDbusLocal.h"

namespace applist_fuzz {

// The one alive now. A target makes the upcalls itself.
JavaMWDbusLocal& LiveTransport();

// Hands out the frames of the notifications since the last call.
std::vector<std::string> TakeNotifications();

}  // namespace applist_fuzz

#endif
