// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Follower.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>
#include <system_error>

#include "Bus.h"
#include "Output.h"

namespace {

void Check(int result) {
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(), "the event loop");
  }
}

}  // namespace

Follower::Follower(const FollowOptions& options) : m_options(options) {
  sd_event* event = nullptr;
  Check(sd_event_new(&event));
  m_event.reset(event);
  EndOnSignals();
  EndWithReader();
  if (options.timeout) {
    EndInTime(*options.timeout);
  }
}

Follower::~Follower() {
  for (sd_bus* bus : m_attached) {
    sd_bus_detach_event(bus);
  }
}

void Follower::Attach(sd_bus* bus) {
  Check(sd_bus_attach_event(bus, m_event.get(), SD_EVENT_PRIORITY_NORMAL));
  m_attached.push_back(bus);
  sd_bus_slot* slot = nullptr;
  Check(sd_bus_match_signal(bus, &slot, "org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                            "org.freedesktop.DBus.Local", "Disconnected", OnLost, this));
  m_slots.emplace_back(slot);
}

void Follower::Print(const std::string& line) {
  if (m_ended) {
    return;
  }
  PrintLine(line);
  FinishOutput();
  if (++m_lines == m_options.count) {
    End(nullptr);
  }
}

int Follower::Safely(const std::function<void()>& body) {
  try {
    body();
  } catch (...) {
    End(std::current_exception());
  }
  return 0;
}

void Follower::Run() {
  if (!m_ended) {
    Check(sd_event_loop(m_event.get()));
  }
  if (m_failure != nullptr) {
    std::rethrow_exception(m_failure);
  }
}

void Follower::End(std::exception_ptr cause) {
  if (!m_ended) {
    m_ended = true;
    m_failure = cause;
    sd_event_exit(m_event.get(), 0);
  }
}

void Follower::EndOnSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  Check(sd_event_add_signal(m_event.get(), nullptr, SIGINT, OnSignal, this));
  Check(sd_event_add_signal(m_event.get(), nullptr, SIGTERM, OnSignal, this));
}

// A pipe and a terminal tell when nobody is at their other end; a file cannot be watched.
void Follower::EndWithReader() {
  const int r = sd_event_add_io(m_event.get(), nullptr, STDOUT_FILENO, 0, OnReader, this);
  if (r != -EPERM && r != -EBADF) {
    Check(r);
  }
}

void Follower::EndInTime(double seconds) {
  Check(sd_event_add_time_relative(m_event.get(), nullptr, CLOCK_MONOTONIC,
                                   static_cast<uint64_t>(seconds * 1e6), 1, OnTimeOut, this));
}

int Follower::OnSignal(sd_event_source* /*source*/, const struct signalfd_siginfo* /*info*/,
                       void* follower) {
  static_cast<Follower*>(follower)->End(nullptr);
  return 0;
}

// The end that the next line would come to.
int Follower::OnReader(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/,
                       void* follower) {
  raise(SIGPIPE);
  static_cast<Follower*>(follower)->End(nullptr);
  return 0;
}

int Follower::OnTimeOut(sd_event_source* /*source*/, uint64_t /*now*/, void* data) {
  auto* follower = static_cast<Follower*>(data);
  return follower->Safely([follower] {
    const unsigned long count = follower->m_options.count;
    if (count != 0) {
      throw Failure(Status::TimeOut, "the time is over after " + std::to_string(follower->m_lines) +
                                         " of " + std::to_string(count) +
                                         " lines; allow more with --timeout");
    }
    follower->End(nullptr);
  });
}

int Follower::OnLost(sd_bus_message* message, void* data, sd_bus_error* /*error*/) {
  auto* follower = static_cast<Follower*>(data);
  const char* sender = sd_bus_message_get_sender(message);
  if (sender == nullptr || std::strcmp(sender, applist::kLocalSender) != 0) {
    return 0;
  }
  return follower->Safely([] { FailLost(); });
}
