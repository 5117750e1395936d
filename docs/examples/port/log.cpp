// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The log of the device. One that has a dlog.h of its own has this function already, in a library.
#include <dlog.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

static int Write(const char* tag, const char* format, va_list arguments) {
  char text[1024] = "";
  std::vsnprintf(text, sizeof(text), format, arguments);
  return std::max(0, std::printf("log: %s: %s", tag, text));
}

extern "C" int __dlog_print(int /*logId*/, int priority, const char* tag, const char* format, ...) {
  if (priority < DLOG_WARN) {
    return 0;
  }
  va_list arguments;
  va_start(arguments, format);
  const int written = Write(tag, format, arguments);
  va_end(arguments);
  return written;
}
