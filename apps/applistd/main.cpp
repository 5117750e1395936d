// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applistd: the remote side of the application list, as a daemon on the bus.
#include <systemd/sd-event.h>

#include <csignal>
#include <cstdio>
#include <optional>

#include "Control.h"
#include "LocalAppListModel.h"
#include "command/CommandLine.h"
#include "dbus/DbusLink.h"
#include "dbus/EventLoop.h"

namespace {

int Serve() {
  EventLoop loop;
  int status = 0;
  // The signals are blocked before anything else, and then come from the loop.
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  sd_event* event = nullptr;
  sd_event_default(&event);
  const auto end = [](sd_event_source*, const struct signalfd_siginfo*, void* stopped) {
    static_cast<EventLoop*>(stopped)->Stop();
    return 0;
  };
  sd_event_add_signal(event, nullptr, SIGINT, end, &loop);
  sd_event_add_signal(event, nullptr, SIGTERM, end, &loop);
  {
    LocalAppListModel model;
    Control control(model);
    model.Link().OnNameTaken([&](const std::string& owner) {
      std::fprintf(stderr, "applistd: another remote side is running: %s\n", owner.c_str());
      status = 1;
      loop.Stop();
    });
    loop.Run();
  }
  sd_event_unref(event);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  applist::CommandLine commandLine(
      "applistd", "Keeps the application list of a user interface, and serves it on the bus.");
  const std::optional<int> status = commandLine.Read(argc, argv);
  return status ? *status : Serve();
}
