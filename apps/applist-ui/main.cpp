// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applist-ui: the application list as a user interface in the terminal.
#include <sys/epoll.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <memory>
#include <optional>

#include "App.h"
#include "CapturedLog.h"
#include "MainLoop.h"
#include "Screen.h"
#include "command/CommandLine.h"
#include "dbus/EventLoop.h"
#include "desktop/DesktopApplications.h"

namespace {

using applist_ui::App;
using applist_ui::Screen;

// What the callbacks of the event loop act on.
struct Program {
  Screen& screen;
  App& app;
  applist_ui::MainLoop& loop;
  int endedBy = 0;

  void End(int signal) {
    endedBy = signal;
    loop.Stop();
  }
};

constexpr std::initializer_list<int> kEndingSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr std::initializer_list<int> kOtherSignals = {SIGWINCH, SIGTSTP, SIGCONT};

void SetBlocked(int how, std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : signals) {
    sigaddset(&set, number);
  }
  sigprocmask(how, &set, nullptr);
}

// What the signal does to a program that knows nothing of it.
void RaiseAsUsual(int number) {
  std::signal(number, SIG_DFL);
  std::raise(number);
  SetBlocked(SIG_UNBLOCK, {number});
  SetBlocked(SIG_BLOCK, {number});
}

int OnSignal(sd_event_source* /*source*/, const struct signalfd_siginfo* info, void* data) {
  auto* program = static_cast<Program*>(data);
  const int number = static_cast<int>(info->ssi_signo);
  switch (number) {
    case SIGWINCH:
      program->screen.Resize();
      program->app.Redraw();
      break;
    case SIGTSTP:
      program->app.ReadKeys();
      program->screen.Leave();
      RaiseAsUsual(SIGTSTP);
      program->screen.Return();
      program->app.Redraw();
      break;
    case SIGCONT:
      program->screen.Leave();
      program->screen.Return();
      program->app.Redraw();
      break;
    default:
      program->End(number);
  }
  return 0;
}

int OnInput(sd_event_source* /*source*/, int /*fd*/, uint32_t events, void* data) {
  auto* program = static_cast<Program*>(data);
  if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
    program->End(SIGHUP);
  } else {
    program->app.ReadKeys();
  }
  return 0;
}

void Listen(Program& program) {
  sd_event* event = nullptr;
  sd_event_default(&event);
  for (const auto& signals : {kEndingSignals, kOtherSignals}) {
    for (const int number : signals) {
      sd_event_add_signal(event, nullptr, number, OnSignal, &program);
    }
  }
  sd_event_add_io(event, nullptr, STDIN_FILENO, EPOLLIN, OnInput, &program);
  sd_event_unref(event);
}

// Returns the number of the signal that ended the program, or 0.
int Run() {
  EventLoop events;
  Screen screen;
  applist_ui::CapturedLog log;
  App* shown = nullptr;
  applist_ui::MainLoop loop(events, [&shown] { shown->Update(); });
  App app(screen, log, [&loop] { loop.Stop(); });
  shown = &app;
  Program program = {screen, app, loop};
  Listen(program);
  const applist::ApplicationsMonitor monitor([&] {
    app.TakeApplications();
    loop.Turn();
  });
  loop.Turn();
  loop.Run();
  return program.endedBy;
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  applist::CommandLine commandLine("applist-ui",
                                   "Shows the applications of this machine in the terminal, beside "
                                   "what the remote side holds.");
  const std::optional<int> status = commandLine.Read(argc, argv);
  if (status) {
    return *status;
  }
  // Before the first thread: GIO watches folders on one of its own.
  SetBlocked(SIG_BLOCK, kEndingSignals);
  SetBlocked(SIG_BLOCK, kOtherSignals);
  try {
    const int signal = Run();
    if (signal != 0) {
      RaiseAsUsual(signal);
    }
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "applist-ui: %s\n", e.what());
    return 1;
  }
}
