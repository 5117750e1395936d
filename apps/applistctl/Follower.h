// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What commands share that go on until something ends them.
#ifndef APPLIST_APPLISTCTL_FOLLOWER_H
#define APPLIST_APPLISTCTL_FOLLOWER_H

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Failure.h"
#include "dbus/BusConnection.h"

struct FollowOptions {
  // After how many lines to end; 0 for never.
  unsigned long count = 0;
  // After how many seconds to end, if at all.
  std::optional<double> timeout;
};

// Writes lines as they come, until there were enough of them, the time is over, SIGINT or SIGTERM
// comes, the reader of standard output goes away, or the bus does.
class Follower {
 public:
  explicit Follower(const FollowOptions& options);
  ~Follower();
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;

  // Has messages of this connection handled while Run runs. The connection must outlive this
  // object.
  void Attach(sd_bus* bus);

  // Writes one line, at once. Nothing any more once there were enough.
  void Print(const std::string& line);

  // Runs the body of a handler of the bus library, through which nothing may be thrown: Run throws
  // it. Returns 0, for the bus library.
  int Safely(const std::function<void()>& body);

  // Returns when the command is done. Throws Failure when the time was over before there were
  // enough lines, when the bus is lost, and what Safely has caught.
  void Run();

 private:
  void End(std::exception_ptr cause);
  void EndOnSignals();
  void EndWithReader();
  void EndInTime(double seconds);

  static int OnSignal(sd_event_source* source, const struct signalfd_siginfo* info, void* follower);
  static int OnReader(sd_event_source* source, int fd, uint32_t events, void* follower);
  static int OnTimeOut(sd_event_source* source, uint64_t now, void* follower);
  static int OnLost(sd_bus_message* message, void* follower, sd_bus_error* error);

  struct EventUnref {
    void operator()(sd_event* event) const { sd_event_unref(event); }
  };

  const FollowOptions m_options;
  unsigned long m_lines = 0;
  bool m_ended = false;
  std::exception_ptr m_failure;
  std::unique_ptr<sd_event, EventUnref> m_event;
  std::vector<sd_bus*> m_attached;
  std::vector<applist::SlotPtr> m_slots;
};

#endif
