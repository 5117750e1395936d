// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
/// @file
/// The command line of applistd. It is read by the C library alone: the other programs' way costs a
/// daemon, which is always there, more memory than all the rest of it.
#ifndef APPLIST_APPLISTD_OPTIONS_H
#define APPLIST_APPLISTD_OPTIONS_H

#include <optional>

#include "command/BusChoice.h"

struct Options {
  applist::BusChoice bus;
  /// Whether a click starts the application.
  bool launch = false;
};

/// Reads the arguments into `options`. Returns the status to exit with at once, after the help, the
/// version, or one line of what is wrong was written; nothing when the daemon is to go on.
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

#endif
