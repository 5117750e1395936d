// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applistd: the remote side of the application list, as a daemon on the bus.
#include <systemd/sd-event.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "Control.h"
#include "Launcher.h"
#include "LocalAppListModel.h"
#include "Options.h"
#include "ServiceStatus.h"
#include "dbus/DbusLink.h"
#include "dbus/EventLoop.h"

namespace {

// Signals that come from the loop. They are to be blocked before there is one.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM};

void BlockSignals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int number : kEndingSignals) {
    sigaddset(&blocked, number);
  }
  sigaddset(&blocked, SIGCHLD);
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
}

std::string TextOf(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr ? text : "";
}

// Whether the session bus that this process uses has started it itself. What the process that is
// started starts in turn inherits the word of it, but may be on another bus.
bool IsStartedByBus() {
  const std::string starter = TextOf("DBUS_STARTER_ADDRESS");
  return !starter.empty() && starter == TextOf("DBUS_SESSION_BUS_ADDRESS");
}

class Daemon {
 public:
  Daemon() {
    EndOnSignals();
    DbusLink& link = m_model.Link();
    m_model.Observe([this](LocalAppListModel::Change change) { OnChange(change); });
    link.OnConnection([this](sd_bus* bus) {
      m_control.AddTo(bus);
      m_serviceStatus.Follow(bus);
      EndWith(bus);
    });
    link.OnNameTaken([this](const std::string& owner) {
      std::fprintf(stderr, "applistd: another remote side is running: %s\n", owner.c_str());
      End(EXIT_FAILURE);
    });
  }
  ~Daemon() {
    m_model.Observe(nullptr);
    m_model.Link().OnConnection(nullptr);
    m_model.Link().OnNameTaken(nullptr);
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  // From now on a click starts the application, with these variables.
  void LaunchWith(const Environment& environment) {
    m_launcher = std::make_unique<Launcher>(
        environment, [this](const std::string& id) { m_control.AnnounceLaunched(id); });
  }

  // Returns the exit status.
  int Run() {
    m_loop.Run();
    if (!m_status) {
      throw std::runtime_error("the event loop failed");
    }
    return *m_status;
  }

 private:
  void End(int status) {
    m_status = status;
    m_loop.Stop();
  }

  void EndOnSignals() {
    const auto end = [](sd_event_source*, const struct signalfd_siginfo*, void* daemon) {
      static_cast<Daemon*>(daemon)->End(EXIT_SUCCESS);
      return 0;
    };
    sd_event* event = nullptr;
    int r = sd_event_default(&event);
    for (const int number : kEndingSignals) {
      r = r < 0 ? r : sd_event_add_signal(event, nullptr, number, end, this);
    }
    sd_event_unref(event);
    if (r < 0) {
      throw std::system_error(-r, std::generic_category(), "signals cannot be heard");
    }
  }

  // A daemon that the bus itself has started ends with it: nobody else would end it. One that
  // somebody keeps running waits for the bus to come back.
  void EndWith(sd_bus* bus) {
    const auto end = [](sd_bus_message*, void* daemon, sd_bus_error*) {
      static_cast<Daemon*>(daemon)->End(EXIT_SUCCESS);
      return 0;
    };
    if (IsStartedByBus()) {
      sd_bus_match_signal(bus, nullptr, "org.freedesktop.DBus.Local", nullptr,
                          "org.freedesktop.DBus.Local", "Disconnected", end, this);
    }
  }

  void OnChange(LocalAppListModel::Change change) {
    m_control.Announce(change);
    if (change == LocalAppListModel::Change::Connection) {
      m_serviceStatus.Tell();
    } else if (change == LocalAppListModel::Change::Click && m_launcher != nullptr) {
      m_launcher->Launch(RemoteAppListItem(*m_model.LastClicked()).GetUnigueId());
    }
  }

  EventLoop m_loop;  // before the model
  LocalAppListModel m_model;
  Control m_control{m_model};
  ServiceStatus m_serviceStatus{m_model};
  std::unique_ptr<Launcher> m_launcher;
  std::optional<int> m_status;
};

int Run(int argc, char** argv) {
  // As it is before the command line chooses a bus: applications get the session's own.
  Environment environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    environment.emplace_back(*variable);
  }
  Options options;
  if (const std::optional<int> status = ReadOptions(argc, argv, options)) {
    return *status;
  }
  options.bus.Use();
  BlockSignals();
  Daemon daemon;
  if (options.launch) {
    daemon.LaunchWith(environment);
  }
  return daemon.Run();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "applistd: %s\n", e.what());
    return EXIT_FAILURE;
  }
}
