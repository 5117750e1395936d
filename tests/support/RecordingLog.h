// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A platform log that keeps its lines. Each line is also an entry of the record, in the form that
// Debug(), Info() and Error() give.
#ifndef APPLIST_TESTS_SUPPORT_RECORDINGLOG_H
#define APPLIST_TESTS_SUPPORT_RECORDINGLOG_H

#include <dlog.h>

#include <string>
#include <vector>

namespace applist_test {

// What every line starts with.
extern const char* const kLogPrefix;

struct LogLine {
  int logId;
  int priority;
  std::string tag;
  std::string format;  // As it was passed, the prefix and the line feed included.

  // The arguments of the prefix; empty and 0 when the format does not start with it.
  std::string file;
  std::string function;
  int line;
  std::string functionAgain;
  int lineAgain;

  std::string text;  // What is behind the prefix, with its arguments, without the line feed.
};

// Hands out the lines since the last call.
std::vector<LogLine> TakeLogLines();

// The entry that a line of the text makes in the record.
std::string Debug(const char* text, ...) __attribute__((format(printf, 1, 2)));
std::string Info(const std::string& text);
std::string Error(const std::string& text);

}  // namespace applist_test

#endif
