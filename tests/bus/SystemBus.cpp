// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "bus/SystemBus.h"

#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

using applist::BusDaemon;
using applist::BusKind;
using applist::ChildProcess;
using applist::Descriptor;

namespace applist_test {

namespace {

constexpr const char* kSystemConfiguration = "/usr/share/dbus-1/system.conf";

void Check(int result, const std::string& what) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Takes each piece of `text` from `begin` up to and with `end` out of it, and returns them.
std::string TakeOut(std::string& text, const std::string& begin, const std::string& end) {
  std::string taken;
  size_t from = 0;
  while ((from = text.find(begin, from)) != std::string::npos) {
    const size_t length = text.find(end, from) + end.size() - from;
    taken += text.substr(from, length) + '\n';
    text.erase(from, length);
  }
  return taken;
}

std::string Replaced(std::string text, const std::string& before, const std::string& after) {
  const size_t at = text.find(before);
  if (at == std::string::npos) {
    throw std::runtime_error("The policy has no " + before);
  }
  return text.replace(at, before.size(), after);
}

// The shipped policy, for the users of the test.
void WritePolicy(const std::string& path) {
  std::string policy = ReadFile(POLICY_PATH);
  policy = Replaced(policy, "<policy user=\"applist-ui\">",
                    "<policy user=\"" + std::to_string(kUiUser) + "\">");
  policy = Replaced(policy, "<policy user=\"applist\">",
                    "<policy user=\"" + std::to_string(kRemoteUser) + "\">");
  std::ofstream(path) << policy;
}

// What the system bus allows by itself and its limits; then, as there, the policies of services.
std::string Elements(const std::string& alsoAllowed, const std::string& policy) {
  std::string system = ReadFile(kSystemConfiguration);
  TakeOut(system, "<!--", "-->");
  return "<type>system</type>\n<auth>EXTERNAL</auth>\n" + TakeOut(system, "<policy", "</policy>") +
         TakeOut(system, "<limit", "</limit>") + "<policy context=\"default\">" + alsoAllowed +
         "</policy>\n<include>" + policy + "</include>\n";
}

// The launcher takes the listening socket as systemd hands it over, as descriptor 3, and writes its
// log to the journal: to a socket of ours, at the journal's place in a /run of its own.
constexpr const char* kLaunch =
    "mount -t tmpfs none /run && mkdir /run/systemd && ln -s \"$1\" /run/systemd/journal && "
    "exec 3<&\"$2\" && LISTEN_FDS=1 LISTEN_PID=$$ DBUS_SYSTEM_BUS_ADDRESS=\"unix:path=$1/bus\" "
    "exec dbus-broker-launch --scope=system --config-file=\"$1/bus.conf\"";

BusDaemon LaunchDbusBroker(const std::string& folder, const std::string& elements) {
  applist::WriteBusConfiguration(folder, elements);
  const Descriptor socket = applist::SocketAt(folder + "/bus", SOCK_STREAM);
  const std::vector<std::string> command = {
      "unshare", "--mount", "bash", "-c", kLaunch, "bash", folder, std::to_string(socket.Get())};
  BusDaemon broker;
  broker.process =
      std::make_unique<ChildProcess>(command, std::vector<std::string>(), socket.Get());
  return broker;
}

// Ends the process where it cannot: a test must not go on as the wrong user.
void Become(uid_t user) {
  if (seteuid(0) < 0 || setegid(user) < 0 || seteuid(user) < 0) {
    std::perror("Acting as another user");
    std::abort();
  }
}

bool Runs(const std::vector<std::string>& command) {
  try {
    return ChildProcess(command).Wait() == 0;
  } catch (const std::system_error&) {
    return false;
  }
}

std::string MakeFolder() {
  std::string folder = "/tmp/applist-system-bus-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    Check(-1, folder);
  }
  Check(chmod(folder.c_str(), 0755), folder);
  return folder;
}

}  // namespace

ActingAs::ActingAs(uid_t user) : m_before(geteuid()) {
  Become(user);
}

ActingAs::~ActingAs() {
  Become(m_before);
}

Drain::Drain(const std::string& path)
    : m_socket(applist::SocketAt(path, SOCK_DGRAM)), m_reader([fd = m_socket.Get()] {
        char byte = 0;
        pollfd ready = {fd, POLLIN, 0};
        while (poll(&ready, 1, -1) < 0 || (ready.revents & POLLHUP) == 0) {
          recv(fd, &byte, 1, 0);
        }
      }) {}

Drain::~Drain() {
  shutdown(m_socket.Get(), SHUT_RDWR);
  m_reader.join();
}

std::string SystemBus::Obstacle() {
  if (geteuid() != 0) {
    return "only root can act as several users";
  }
  for (const uid_t user : {kUiUser, kRemoteUser, kStranger}) {
    if (getpwuid(user) == nullptr) {
      return "the system has no user " + std::to_string(user);
    }
  }
  if (access(kSystemConfiguration, R_OK) < 0) {
    return std::string("there is no ") + kSystemConfiguration;
  }
  if (applist::ChosenBusKind() == BusKind::DbusBroker &&
      !Runs({"unshare", "--mount", "mount", "-t", "tmpfs", "none", "/run"})) {
    return "the launcher of dbus-broker cannot be given a /run of its own";
  }
  return std::string();
}

SystemBus::SystemBus(const std::string& alsoAllowed)
    : m_folder(MakeFolder()), m_log(m_folder + "/socket") {
  const std::string policy = m_folder + "/policy.conf";
  WritePolicy(policy);
  const bool broker = applist::ChosenBusKind() == BusKind::DbusBroker;
  m_daemon = (broker ? LaunchDbusBroker : applist::StartDbusDaemonWith)(
      m_folder, Elements(alsoAllowed, policy));
}

// The launcher and its broker, which are one process group, at once: the broker writes to its log
// otherwise, until after the launcher has ended.
SystemBus::~SystemBus() {
  kill(-m_daemon.process->Pid(), SIGKILL);
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

void SystemBus::UseAsSystemBus() const {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", Address().c_str(), 1);
}

}  // namespace applist_test
