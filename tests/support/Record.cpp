// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/Record.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace applist_test {
namespace {

std::mutex mutex;
std::vector<std::string> entries;
std::atomic<bool> recording{true};

}  // namespace

void Record(std::string entry) {
  if (Recording()) {
    const std::lock_guard<std::mutex> lock(mutex);
    entries.push_back(std::move(entry));
  }
}

std::vector<std::string> TakeRecord() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(entries, {});
}

bool Recording() {
  return recording.load(std::memory_order_relaxed);
}

RecordingOff::RecordingOff() {
  recording.store(false, std::memory_order_relaxed);
}

RecordingOff::~RecordingOff() {
  recording.store(true, std::memory_order_relaxed);
}

}  // namespace applist_test
