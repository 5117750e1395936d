// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A platform log that puts each line together, and drops it: what the arguments point to is read.
#include <dlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

int Format(const char* format, va_list arguments) {
  std::array<char, 256> line = {};
  return std::vsnprintf(line.data(), line.size(), format, arguments);
}

}  // namespace

extern "C" int __dlog_print(int /*logId*/, int /*priority*/, const char* /*tag*/,
                            const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = Format(format, arguments);
  va_end(arguments);
  return length;
}
