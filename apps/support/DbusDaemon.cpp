// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "support/BusDaemon.h"

namespace applist {

namespace {

// Waits for the address that the daemon prints once it listens.
bool PrintsAddress(int fd) {
  char line[512];
  ssize_t length = 0;
  while ((length = read(fd, line, sizeof(line))) < 0 && errno == EINTR) {
  }
  return length > 0;
}

}  // namespace

std::string WriteBusConfiguration(const std::string& folder, const std::string& elements) {
  std::string path = folder + "/bus.conf";
  std::ofstream(path)
      << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig>\n"
         "  <listen>unix:path="
      << folder << "/bus</listen>\n"
      << elements << "</busconfig>\n";
  return path;
}

BusDaemon StartDbusDaemon(const std::string& folder) {
  return StartDbusDaemonWith(folder,
                             "  <type>session</type>\n"
                             "  <policy context=\"default\">\n"
                             "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                             "    <allow eavesdrop=\"true\"/>\n"
                             "    <allow own=\"*\"/>\n"
                             "  </policy>\n");
}

BusDaemon StartDbusDaemonWith(const std::string& folder, const std::string& elements) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) {
    throw std::runtime_error(std::string("No pipe to a private bus: ") + std::strerror(errno));
  }
  const Descriptor printed(ends[0]);
  Descriptor theirs(ends[1]);
  const std::vector<std::string> command = {
      "dbus-daemon", "--nofork", "--syslog-only",
      "--config-file=" + WriteBusConfiguration(folder, elements),
      "--print-address=" + std::to_string(theirs.Get())};
  BusDaemon daemon;
  daemon.process =
      std::make_unique<ChildProcess>(command, std::vector<std::string>(), theirs.Get());
  theirs.Close();
  if (!PrintsAddress(printed.Get())) {
    throw std::runtime_error("The private bus did not start");
  }
  return daemon;
}

}  // namespace applist
