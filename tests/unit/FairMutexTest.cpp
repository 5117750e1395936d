// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A mutex at which threads take turns.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dbus/FairMutex.h"

namespace applist_test {
namespace {

// Whether a thread of this process sleeps.
bool Sleeps(pid_t thread) {
  std::ifstream in("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string text;
  std::getline(in, text);
  const size_t name = text.rfind(") ");
  return name != std::string::npos && text.compare(name + 2, 1, "S") == 0;
}

TEST(FairMutexTest, WhoWaitsIsNotOvertaken) {
  applist::FairMutex mutex;
  std::atomic<pid_t> waiting = 0;
  bool entered = false;
  mutex.lock();
  std::thread other([&] {
    waiting = gettid();
    const std::lock_guard<applist::FairMutex> lock(mutex);
    entered = true;
  });
  while (waiting == 0 || !Sleeps(waiting)) {
    std::this_thread::yield();
  }
  EXPECT_FALSE(mutex.try_lock());
  mutex.unlock();
  mutex.lock();
  EXPECT_TRUE(entered);
  mutex.unlock();
  other.join();
}

TEST(FairMutexTest, IsTriedWithoutWaiting) {
  applist::FairMutex mutex;
  EXPECT_TRUE(mutex.try_lock());
  EXPECT_FALSE(mutex.try_lock());
  mutex.unlock();
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
}

TEST(FairMutexTest, OneAtATime) {
  constexpr int kThreads = 4;
  constexpr int kTimes = 10000;
  applist::FairMutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int k = 0; k < kThreads; ++k) {
    threads.emplace_back([&] {
      for (int n = 0; n < kTimes; ++n) {
        const std::lock_guard<applist::FairMutex> lock(mutex);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, kThreads * kTimes);
}

}  // namespace
}  // namespace applist_test
