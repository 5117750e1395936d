// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Starts the applications that are clicked.
#ifndef APPLIST_APPLISTD_LAUNCHER_H
#define APPLIST_APPLISTD_LAUNCHER_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "RepeatedClicks.h"

struct sd_event;
struct sd_event_source;

// The variables of an environment, each as NAME=value.
using Environment = std::vector<std::string>;

// Has each application started by a process of its own, the helper program applist-launch, so that
// the daemon itself needs nothing that only launching needs. The helper runs in a session of its
// own, with the environment that it is given, no signal blocked or ignored, and nothing to read on
// standard input; what it starts inherits that, and outlives the daemon.
//
// Use it on the thread that made it, whose event loop must run, and with SIGCHLD blocked.
class Launcher {
 public:
  // `launched` is called from the loop with the identifier of each application that was started.
  // Throws std::runtime_error when the helper program is missing or there is no event loop.
  Launcher(const Environment& environment, std::function<void(const std::string& id)> launched);
  // What is being started goes on.
  ~Launcher();
  Launcher(const Launcher&) = delete;
  Launcher& operator=(const Launcher&) = delete;

  // Starts the application with this desktop-file id, found in the XDG application directories.
  // Returns at once. A second click, RepeatedClicks::kWindow after a start at most, does nothing.
  // What cannot be started is a line in the log, here or from the helper.
  void Launch(const std::string& id);

 private:
  struct EventUnref {
    void operator()(sd_event* event) const;
  };
  struct SourceUnref {
    void operator()(sd_event_source* source) const;
  };
  using SourcePtr = std::unique_ptr<sd_event_source, SourceUnref>;

  // A helper that has not ended yet.
  struct Start {
    std::string id;
    SourcePtr ended;
  };

  void StartHelper(const std::string& id);
  pid_t Spawn(const std::string& id) const;
  void TakeEnd(pid_t helper, bool succeeded);

  const std::string m_helper;
  Environment m_environment;
  const std::function<void(const std::string&)> m_launched;
  std::unique_ptr<sd_event, EventUnref> m_event;
  RepeatedClicks m_repeated;
  std::map<pid_t, Start> m_starts;
};

#endif
