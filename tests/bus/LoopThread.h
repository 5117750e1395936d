// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A thread that runs an event loop of its own.
#ifndef APPLIST_TESTS_BUS_LOOPTHREAD_H
#define APPLIST_TESTS_BUS_LOOPTHREAD_H

#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace applist_test {

class LoopThread {
 public:
  // The loop is there when the constructor returns.
  LoopThread();
  ~LoopThread();
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

  // Runs `task` on the thread, between two turns of its loop. The result is ready when it has run.
  std::future<void> Start(std::function<void()> task);
  void Run(std::function<void()> task) { Start(std::move(task)).get(); }

 private:
  void Loop();
  bool RunTasks();

  int m_wake;
  std::mutex m_mutex;
  std::vector<std::packaged_task<void()>> m_tasks;
  bool m_end = false;
  std::thread m_thread;
};

}  // namespace applist_test

#endif
