// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/RecordingMutex.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "common/PTMutex.h"
#include "support/Record.h"

namespace {

PTMutex* held = nullptr;

}  // namespace

namespace applist_test {

bool MutexHeld() {
  return held != nullptr;
}

void ReleaseHeldMutex() {
  if (held != nullptr) {
    held->Unlock();
  }
}

}  // namespace applist_test

using applist_test::Record;

PTMutex::PTMutex() {
  pthread_mutex_init(&m_mutex, nullptr);
  Record("make mutex");
}

PTMutex::~PTMutex() {
  EXPECT_NE(held, this) << "destroyed while it is held";
  pthread_mutex_destroy(&m_mutex);
  Record("drop mutex");
}

void PTMutex::Lock() {
  if (!TryLock()) {
    throw std::logic_error("locked twice on one thread");
  }
  Record("lock");
}

bool PTMutex::TryLock() {
  if (pthread_mutex_trylock(&m_mutex) != 0) {
    return false;
  }
  held = this;
  return true;
}

void PTMutex::Unlock() {
  EXPECT_EQ(held, this) << "unlocked while it is not held";
  held = nullptr;
  pthread_mutex_unlock(&m_mutex);
  Record("unlock");
}
