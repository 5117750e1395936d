// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What happens around the code under test, in one order: log lines, frames, the lock, listeners,
// and whatever a test adds itself. A test runs an operation and compares the whole record.
#ifndef APPLIST_TESTS_SUPPORT_RECORD_H
#define APPLIST_TESTS_SUPPORT_RECORD_H

#include <string>
#include <vector>

namespace applist_test {

// Adds one entry. Any thread may call.
void Record(std::string entry);

// Hands out the entries since the last call.
std::vector<std::string> TakeRecord();

// Whether entries and log lines are kept.
bool Recording();

// Keeps nothing for as long as it lives. Without the record's own lock, threads under test are not
// put in an order that would hide their races from a sanitizer.
class RecordingOff {
 public:
  RecordingOff();
  ~RecordingOff();
  RecordingOff(const RecordingOff&) = delete;
  RecordingOff& operator=(const RecordingOff&) = delete;
};

}  // namespace applist_test

#endif
