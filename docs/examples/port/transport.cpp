// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The transport of the device: what ipc/javamw-dbus-remote.h declares, over what device.h has.
#include <dlog.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "device.h"
#include "ipc/javamw-dbus-remote.h"

// All that the transport keeps. The core knows the name of this class and nothing else of it.
class DbusLink {
 public:
  explicit DbusLink(JavaMWDbusRemote* end) : m_end(std::make_shared<JavaMWDbusRemote*>(end)) {}

  // Has the loop call the model. Not at once: an upcall comes neither from within a call, nor while
  // the model is still being made. And not once the model is gone.
  void Later(std::function<void(JavaMWDbusRemote&)> upcall) {
    const std::weak_ptr<JavaMWDbusRemote*> end = m_end;
    device::MainLoop().Add([end, upcall = std::move(upcall)] {
      if (const auto there = end.lock()) {
        Call(**there, upcall);
      }
    });
  }

 private:
  // What a listener of the user interface throws ends here.
  static void Call(JavaMWDbusRemote& end, const std::function<void(JavaMWDbusRemote&)>& upcall) {
    try {
      upcall(end);
    } catch (...) {
      __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "transport", "A handler has thrown\n");
    }
  }

  std::shared_ptr<JavaMWDbusRemote*> m_end;
};

JavaMWDbusRemote::JavaMWDbusRemote(std::string serviceName)
    : m_link(std::make_unique<DbusLink>(this)) {
  m_link->Later([serviceName](auto& end) { end.HandleConnectionReady(true, serviceName); });
  device::TheMiddleware().Connect([this](std::vector<char> frame) {
    m_link->Later([frame](auto& end) mutable { end.HandleNotification(frame); });
  });
}

JavaMWDbusRemote::~JavaMWDbusRemote() {
  device::TheMiddleware().Disconnect();
}

// Waits for the reply. Where another process has to give it, with a time-out: the caller may be
// what draws the screen.
std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& message) {
  return device::TheMiddleware().Answer(message);
}

// The model sends none.
void JavaMWDbusRemote::SendNotification(std::vector<char>& /*message*/) {}
