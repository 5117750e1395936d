/*
 * SPDX-FileCopyrightText: 2026 The AppList authors
 * SPDX-License-Identifier: MIT
 *
 * The log header of a device.
 */
#ifndef DEVICE_DLOG_H
#define DEVICE_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

enum { LOG_ID_MAIN, LOG_ID_RADIO };
enum { DLOG_VERBOSE, DLOG_DEBUG, DLOG_INFO, DLOG_WARN, DLOG_ERROR };
int __dlog_print(int logId, int priority, const char* tag, const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif
