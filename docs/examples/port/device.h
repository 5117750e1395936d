// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the device has already, in a few lines: a loop, and a middleware that user interfaces talk
// to by frames. On a device that is another process, behind shared memory, a socket or a bus.
#ifndef PORT_DEVICE_H
#define PORT_DEVICE_H

#include <deque>
#include <functional>
#include <mutex>
#include <vector>

namespace device {

// Work for the thread of the user interface.
class Loop {
 public:
  // Any thread may call.
  void Add(std::function<void()> work);

  // Does what was added, in its order, until there is no more. On the thread of the user interface.
  void Run();

 private:
  std::mutex m_mutex;
  std::deque<std::function<void()>> m_work;
};

Loop& MainLoop();

// The remote side. It knows only the messages that the example sends, and keeps what comes as it
// is; docs/protocol.md tells what else a remote side does.
class Middleware {
 public:
  using Frame = std::vector<char>;

  // A user interface is there, which hears notifications by `hear`. It is asked for its list.
  void Connect(std::function<void(Frame)> hear);
  void Disconnect();

  // The reply to a frame. Any thread may call.
  Frame Answer(const Frame& frame);

 private:
  void Tell(int event);

  std::mutex m_mutex;
  std::function<void(Frame)> m_hear;
  Frame m_selection;
};

Middleware& TheMiddleware();

}  // namespace device

#endif
