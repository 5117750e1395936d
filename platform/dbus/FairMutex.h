// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A mutex that nobody overtakes anybody at.
#ifndef APPLIST_DBUS_FAIRMUTEX_H
#define APPLIST_DBUS_FAIRMUTEX_H

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace applist {

// Threads get it in the order in which they ask. A thread that gives back std::mutex and asks again
// mostly gets it before those that wait, which then wait for as long as others go on.
class FairMutex {
 public:
  void lock() {
    std::unique_lock<std::mutex> lock(m_mutex);
    const uint64_t ticket = m_next++;
    m_turn.wait(lock, [&] { return ticket == m_now; });
  }

  bool try_lock() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool free = m_next == m_now;
    m_next += free ? 1 : 0;
    return free;
  }

  void unlock() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_now;
    m_turn.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_turn;
  // The ticket of the next one that asks, and of the one whose turn it is.
  uint64_t m_next = 0;
  uint64_t m_now = 0;
};

}  // namespace applist

#endif
