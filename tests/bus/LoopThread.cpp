// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "bus/LoopThread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "dbus/EventLoop.h"

namespace applist_test {

LoopThread::LoopThread()
    : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_thread([this] { Loop(); }) {
  Run([] {});
}

LoopThread::~LoopThread() {
  Start([this] { m_end = true; });
  m_thread.join();
  close(m_wake);
}

std::future<void> LoopThread::Start(std::function<void()> task) {
  std::packaged_task<void()> packaged(std::move(task));
  std::future<void> result = packaged.get_future();
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_tasks.push_back(std::move(packaged));
  eventfd_write(m_wake, 1);
  return result;
}

void LoopThread::Loop() {
  EventLoop loop;
  while (!m_end) {
    loop.Dispatch();
    pollfd ready[] = {{loop.Fd(), POLLIN, 0}, {m_wake, POLLIN, 0}};
    poll(ready, 2, -1);
    eventfd_t count = 0;
    eventfd_read(m_wake, &count);
    while (RunTasks()) {
    }
  }
}

bool LoopThread::RunTasks() {
  std::vector<std::packaged_task<void()>> tasks;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    tasks.swap(m_tasks);
  }
  for (std::packaged_task<void()>& task : tasks) {
    task();
  }
  return !tasks.empty();
}

}  // namespace applist_test
