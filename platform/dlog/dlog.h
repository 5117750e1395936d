/*
 * SPDX-FileCopyrightText: 2026 The AppList authors
 * SPDX-License-Identifier: MIT
 *
 * The platform log, as this library uses it. A device brings its own header of this name; this one
 * and dlog.cpp beside it serve any Linux machine.
 */
#ifndef APPLIST_DLOG_H
#define APPLIST_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

/* Which log. There is one; others are taken for it. */
typedef enum { LOG_ID_MAIN = 0 } log_id_t;

/* In order of urgency. */
typedef enum { DLOG_DEBUG = 3, DLOG_INFO = 4, DLOG_WARN = 5, DLOG_ERROR = 6 } log_priority;

/*
 * Writes one line: to the journal where standard error is connected to it, else to standard error,
 * as "TIME PRIORITY TAG: TEXT". Any thread may call; a line is written whole, whatever other
 * threads log. Control characters, those that turn the direction of the text, and bytes that are no
 * UTF-8 are shown as escapes (`\n`, `\t`, `\x1B`); a line feed at the end of the text ends the
 * line. A null tag or format counts as empty, a null string argument is shown as "(null)". errno is
 * left as it was.
 *
 * In the journal the line is a record: MESSAGE is the text, PRIORITY and SYSLOG_IDENTIFIER (the
 * tag) go with it, and the place in the source that the library's lines start with is not in the
 * text but in CODE_FILE, CODE_LINE and CODE_FUNC.
 *
 * A line below the threshold is dropped before it is formatted. The environment variable
 * APPLIST_LOG, read at the first call, sets it: debug, info, warn (also without the variable, and
 * for any other value), error, off. A priority outside the enumeration counts as the nearest in it.
 *
 * Returns the number of bytes written (of the fields, in the journal), or 0 when the line was
 * dropped. A line that cannot be written is dropped. Where standard error is a pipe that nobody
 * reads, SIGPIPE comes as from any other write to it.
 */
int __dlog_print(int logId, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5), visibility("default")));

#ifdef __cplusplus
}
#endif

#endif
