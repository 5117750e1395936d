// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "command/CommandLine.h"

#include <cstdio>

namespace applist {

CommandLine::CommandLine(const std::string& program, const std::string& description)
    : m_app(description, program) {
  m_app.get_formatter()->column_width(26);
  m_app.set_version_flag("--version", program + " " APPLIST_VERSION, "Show the version");
  m_app.set_help_flag("-h,--help", "Show this text");
  m_app.add_flag("--system", m_bus.system, "Use the system bus");
  m_app.add_flag("--session", m_bus.session, "Use the session bus");
  m_app.add_option("--address", m_bus.address, "Use the bus at this address")->type_name("ADDRESS");
  m_app.footer(
      "Without a choice, it is the session bus where DBUS_SESSION_BUS_ADDRESS is set, and the\n"
      "system bus otherwise.");
}

std::optional<int> CommandLine::Read(int argc, const char* const* argv) {
  try {
    m_app.parse(argc, argv);
    if (m_app.count("--system") + m_app.count("--session") + m_app.count("--address") > 1) {
      throw CLI::ValidationError(kTwoBuses);
    }
  } catch (const CLI::Success& help) {
    return m_app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "%s: %s; see %s --help\n", m_app.get_name().c_str(), error.what(),
                 m_app.get_name().c_str());
    return kUsageStatus;
  }
  m_bus.Use();
  return std::nullopt;
}

}  // namespace applist
