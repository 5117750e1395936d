// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/PrivateBus.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace applist {

namespace {

struct Choice {
  BusKind kind;
  const char* name;
  BusDaemon (*start)(const std::string& folder);
};

// The first one is taken where nothing else is asked for.
constexpr Choice kChoices[] = {{BusKind::DbusDaemon, "dbus-daemon", StartDbusDaemon},
                               {BusKind::DbusBroker, "dbus-broker", StartDbusBroker}};

const Choice& Chosen() {
  const char* const asked = std::getenv("APPLIST_TEST_BUS");
  if (asked == nullptr || *asked == '\0') {
    return kChoices[0];
  }
  for (const Choice& choice : kChoices) {
    if (std::strcmp(choice.name, asked) == 0) {
      return choice;
    }
  }
  throw std::runtime_error(std::string("APPLIST_TEST_BUS: no bus is called ") + asked);
}

std::string MakeFolder() {
  std::string folder = "/tmp/applist-bus-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw std::runtime_error(std::string("No folder for a private bus: ") + std::strerror(errno));
  }
  return folder;
}

}  // namespace

BusKind ChosenBusKind() {
  return Chosen().kind;
}

PrivateBus::PrivateBus() : m_folder(MakeFolder()), m_address("unix:path=" + m_folder + "/bus") {
  try {
    Start();
  } catch (...) {
    RemoveFolder();
    throw;
  }
}

PrivateBus::~PrivateBus() {
  m_daemon.process.reset();
  RemoveFolder();
}

void PrivateBus::UseAsSessionBus() const {
  setenv("DBUS_SESSION_BUS_ADDRESS", m_address.c_str(), 1);
}

void PrivateBus::Stop() {
  m_daemon.process->Signal(SIGKILL);
  m_daemon.process->Wait();
  m_daemon = BusDaemon();
}

void PrivateBus::Start() {
  unlink((m_folder + "/bus").c_str());
  m_daemon = Chosen().start(m_folder);
}

void PrivateBus::RemoveFolder() const {
  for (const char* name : {"/bus", "/bus.conf"}) {
    unlink((m_folder + name).c_str());
  }
  rmdir(m_folder.c_str());
}

}  // namespace applist
