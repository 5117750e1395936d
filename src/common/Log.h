// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The log line of this library. Every line starts with where it was written: file, function and
// line, then function and line again, which is the form that the log viewers on a device cut.
#ifndef APPLIST_COMMON_LOG_H
#define APPLIST_COMMON_LOG_H

#include <dlog.h>

namespace applist {

// The part of a path behind its last slash.
constexpr const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/') {
      name = at + 1;
    }
  }
  return name;
}

}  // namespace applist

// Writes one line of the given priority. `text` is a string literal.
#define APPLIST_LOG(priority, text) \
  __dlog_print(LOG_ID_MAIN, priority, "applist", APPLIST_LOG_FORMAT(text), APPLIST_LOG_ORIGIN)

// The same for a text with conversions, followed by their arguments.
#define APPLIST_LOGF(priority, text, ...)                                                      \
  __dlog_print(LOG_ID_MAIN, priority, "applist", APPLIST_LOG_FORMAT(text), APPLIST_LOG_ORIGIN, \
               __VA_ARGS__)

// What a line is made of: the origin, then the text.
#define APPLIST_LOG_FORMAT(text) "%s: %s(%d) > [%s:%d] " text "\n"

// What the first conversions of APPLIST_LOG_FORMAT are for.
#define APPLIST_LOG_ORIGIN applist::BaseName(__FILE__), __func__, __LINE__, __func__, __LINE__

#endif
