// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "common/PTMutex.h"

namespace {

// Whether another thread can take the mutex.
bool IsFree(PTMutex& mutex) {
  bool taken = false;
  std::thread([&] {
    taken = mutex.TryLock();
    if (taken) {
      mutex.Unlock();
    }
  }).join();
  return taken;
}

TEST(PTMutex, IsFreeAtFirst) {
  PTMutex mutex;
  EXPECT_TRUE(IsFree(mutex));
}

TEST(PTMutex, LockTakesItAndUnlockGivesItBack) {
  PTMutex mutex;
  mutex.Lock();
  EXPECT_FALSE(IsFree(mutex));
  mutex.Unlock();
  EXPECT_TRUE(IsFree(mutex));
}

TEST(PTMutex, TryLockTakesAFreeMutexOnly) {
  PTMutex mutex;
  EXPECT_TRUE(mutex.TryLock());
  EXPECT_FALSE(mutex.TryLock()) << "it is not recursive";
  EXPECT_FALSE(IsFree(mutex));
  mutex.Unlock();
  EXPECT_TRUE(IsFree(mutex));
}

TEST(PTMutex, LockWaitsForTheHolder) {
  PTMutex mutex;
  bool given = false;  // Guarded by the mutex.
  std::atomic<bool> waiting{false};
  bool seen = false;
  mutex.Lock();
  std::thread waiter([&] {
    waiting = true;
    mutex.Lock();
    seen = given;
    mutex.Unlock();
  });
  while (!waiting) {
    std::this_thread::yield();
  }
  given = true;
  mutex.Unlock();
  waiter.join();
  EXPECT_TRUE(seen);
}

TEST(PTMutex, LetsOneThreadInAtATime) {
  PTMutex mutex;
  int inside = 0;
  int count = 0;
  bool overlapped = false;
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 20000; ++turn) {
        const PTAutoLock lock(mutex);
        overlapped = overlapped || ++inside != 1;
        ++count;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(count, 80000);
}

TEST(PTMutex, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<PTMutex>);
  EXPECT_FALSE(std::is_copy_assignable_v<PTMutex>);
  EXPECT_FALSE(std::is_copy_constructible_v<PTAutoLock>);
  EXPECT_FALSE(std::is_copy_assignable_v<PTAutoLock>);
}

TEST(PTAutoLock, HoldsTheMutexForAsLongAsItLives) {
  PTMutex mutex;
  {
    const PTAutoLock lock(mutex);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(PTAutoLock, GivesTheMutexBackWhenAnExceptionPasses) {
  PTMutex mutex;
  EXPECT_THROW(
      {
        const PTAutoLock lock(mutex);
        throw std::runtime_error("passes");
      },
      std::runtime_error);
  EXPECT_TRUE(IsFree(mutex));
}

}  // namespace
