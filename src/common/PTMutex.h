// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A plain mutex over POSIX threads, and its scoped guard.
#ifndef APPLIST_COMMON_PTMUTEX_H
#define APPLIST_COMMON_PTMUTEX_H

#include <pthread.h>

#include "common/Export.h"

// Non-recursive: a thread that holds it must not lock it again, and only that thread unlocks it.
// Must not be destroyed while it is held.
class PTMutex {
 public:
  APPLIST_EXPORT PTMutex();
  APPLIST_EXPORT ~PTMutex();
  PTMutex(const PTMutex&) = delete;
  PTMutex& operator=(const PTMutex&) = delete;

  // Blocks until the calling thread holds the mutex.
  APPLIST_EXPORT void Lock();

  // Takes the mutex if it is free. Returns whether the calling thread holds it now.
  APPLIST_EXPORT bool TryLock();

  // Gives the mutex back. The calling thread must hold it.
  APPLIST_EXPORT void Unlock();

 private:
  pthread_mutex_t m_mutex;
};

// Holds a mutex from construction to destruction. The mutex must outlive the guard.
class PTAutoLock {
 public:
  // Blocks until the calling thread holds `mutex`.
  explicit PTAutoLock(PTMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
  ~PTAutoLock() { m_mutex.Unlock(); }
  PTAutoLock(const PTAutoLock&) = delete;
  PTAutoLock& operator=(const PTAutoLock&) = delete;

 private:
  PTMutex& m_mutex;
};

#endif
