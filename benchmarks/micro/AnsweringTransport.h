// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A JavaMWDbusRemote that answers at once, so that nothing but the core is measured.
#ifndef APPLIST_BENCHMARKS_ANSWERINGTRANSPORT_H
#define APPLIST_BENCHMARKS_ANSWERINGTRANSPORT_H

#include <vector>

#include "ipc/javamw-dbus-remote.h"

namespace bench {

// What the next messages are answered with; empty at first.
void AnswerWith(std::vector<char> reply);

}  // namespace bench

#endif
