// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "command/CommandLine.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace applist {

namespace {

constexpr const char* kSessionAddress = "DBUS_SESSION_BUS_ADDRESS";

std::string ValueOf(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr ? value : "";
}

// Where a login session of systemd has its bus.
std::string SessionAddress() {
  const std::string folder = ValueOf("XDG_RUNTIME_DIR");
  return "unix:path=" + (folder.empty() ? "/run/user/" + std::to_string(getuid()) : folder) +
         "/bus";
}

}  // namespace

CommandLine::CommandLine(const std::string& program, const std::string& description)
    : m_app(description, program) {
  m_app.get_formatter()->column_width(26);
  m_app.set_version_flag("--version", program + " " APPLIST_VERSION, "Show the version");
  m_app.set_help_flag("-h,--help", "Show this text");
  m_app.add_flag("--system", m_system, "Use the system bus");
  m_app.add_flag("--session", m_session, "Use the session bus");
  m_app.add_option("--address", m_address, "Use the bus at this address")->type_name("ADDRESS");
  m_app.footer(
      "Without a choice, it is the session bus where DBUS_SESSION_BUS_ADDRESS is set, and the\n"
      "system bus otherwise.");
}

std::optional<int> CommandLine::Read(int argc, const char* const* argv) {
  try {
    m_app.parse(argc, argv);
    if (m_app.count("--system") + m_app.count("--session") + m_app.count("--address") > 1) {
      throw CLI::ValidationError("only one of --system, --session and --address can be used");
    }
  } catch (const CLI::Success& help) {
    return m_app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "%s: %s; see %s --help\n", m_app.get_name().c_str(), error.what(),
                 m_app.get_name().c_str());
    return kUsageStatus;
  }
  UseBus();
  return std::nullopt;
}

void CommandLine::UseBus() const {
  if (!m_address.empty()) {
    setenv(kSessionAddress, m_address.c_str(), 1);
  } else if (m_system) {
    unsetenv(kSessionAddress);
  } else if (m_session && ValueOf(kSessionAddress).empty()) {
    setenv(kSessionAddress, SessionAddress().c_str(), 1);
  }
}

}  // namespace applist
