// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/RecordingLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "support/Record.h"

namespace applist_test {

const char* const kLogPrefix = "%s: %s(%d) > [%s:%d] ";

namespace {

std::mutex mutex;
std::vector<LogLine> lines;

std::string Format(const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  std::string text(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

std::string Entry(int priority, const std::string& text) {
  switch (priority) {
    case DLOG_DEBUG:
      return "debug: " + text;
    case DLOG_INFO:
      return "info: " + text;
    case DLOG_ERROR:
      return "error: " + text;
    default:
      return "priority " + std::to_string(priority) + ": " + text;
  }
}

}  // namespace

std::vector<LogLine> TakeLogLines() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(lines, {});
}

std::string Debug(const char* text, ...) {
  va_list args;
  va_start(args, text);
  const std::string formatted = Format(text, args);
  va_end(args);
  return Entry(DLOG_DEBUG, formatted);
}

std::string Info(const std::string& text) {
  return Entry(DLOG_INFO, text);
}

std::string Error(const std::string& text) {
  return Entry(DLOG_ERROR, text);
}

}  // namespace applist_test

extern "C" int __dlog_print(int logId, int priority, const char* tag, const char* format, ...) {
  using namespace applist_test;
  if (!Recording()) {
    return 0;
  }
  LogLine line{logId, priority, tag, format, "", "", 0, "", 0, ""};
  std::string text = format;
  const std::string prefix = kLogPrefix;
  va_list args;
  va_start(args, format);
  if (text.compare(0, prefix.size(), prefix) == 0) {
    line.file = va_arg(args, const char*);
    line.function = va_arg(args, const char*);
    line.line = va_arg(args, int);
    line.functionAgain = va_arg(args, const char*);
    line.lineAgain = va_arg(args, int);
    text.erase(0, prefix.size());
  }
  line.text = Format(text.c_str(), args);
  va_end(args);
  if (!line.text.empty() && line.text.back() == '\n') {
    line.text.pop_back();
  }
  Record(Entry(priority, line.text));
  const std::lock_guard<std::mutex> lock(mutex);
  lines.push_back(line);
  return static_cast<int>(line.text.size());
}
