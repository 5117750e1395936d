// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A mutex that nobody overtakes anybody at.
#ifndef APPLIST_DBUS_FAIRMUTEX_H
#define APPLIST_DBUS_FAIRMUTEX_H

#include <condition_variable>
#include <mutex>

namespace applist {

// Threads get it in the order in which they ask. A thread that gives back std::mutex and asks again
// mostly gets it before those that wait, which then wait for as long as others go on.
class FairMutex {
 public:
  void lock() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_taken) {
      m_taken = true;
      return;
    }
    Waiter own;
    (m_first == nullptr ? m_first : m_last->next) = &own;
    m_last = &own;
    own.turn.wait(lock, [&] { return own.hasTurn; });
  }

  bool try_lock() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !m_taken && (m_taken = true);
  }

  // Hands it to the first that waits. That one is gone as soon as it knows.
  void unlock() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_taken = m_first != nullptr;
    if (m_taken) {
      Waiter& first = *m_first;
      m_first = first.next;
      first.hasTurn = true;
      first.turn.notify_one();
    }
  }

 private:
  // On the stack of a thread that waits.
  struct Waiter {
    std::condition_variable turn;
    bool hasTurn = false;
    Waiter* next = nullptr;
  };

  std::mutex m_mutex;
  bool m_taken = false;
  Waiter* m_first = nullptr;
  Waiter* m_last = nullptr;
};

}  // namespace applist

#endif
