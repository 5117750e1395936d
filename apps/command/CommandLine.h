// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the command lines of the programs have in common.
#ifndef APPLIST_COMMAND_COMMANDLINE_H
#define APPLIST_COMMAND_COMMANDLINE_H

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <optional>
#include <string>

#include "command/BusChoice.h"

namespace applist {

// A command line with --help, --version and the choice of a bus: --system, --session or
// --address ADDRESS, of which one at most may be given. Add options, flags and subcommands to
// App().
class CommandLine {
 public:
  CommandLine(const std::string& program, const std::string& description);

  CLI::App& App() { return m_app; }

  // Reads the arguments and takes the chosen bus for this process: it sets or removes
  // DBUS_SESSION_BUS_ADDRESS, by which the link finds its bus. Call it before the first thread is
  // started. Returns the status to exit with at once, after the help or one line of what is wrong
  // was written; nothing when the program is to go on.
  std::optional<int> Read(int argc, const char* const* argv);

 private:
  CLI::App m_app;
  BusChoice m_bus;
};

}  // namespace applist

#endif
