// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A frame inside a D-Bus message: one array of bytes, and nothing else.
#ifndef APPLIST_DBUS_FRAME_H
#define APPLIST_DBUS_FRAME_H

#include <systemd/sd-bus.h>

#include <cstddef>
#include <vector>

namespace applist {

// The smallest frame is an identifier without a payload.
constexpr size_t kSmallestFrame = 4;

// The largest frame. A system bus cuts the connection of whoever sends a message of more than
// 32 MiB; the rest is for the message's own header.
constexpr size_t kLargestFrame = 32 * 1024 * 1024 - 4096;

// Both return an errno value below zero on failure. ReadFrame fails with -EBADMSG, leaving `frame`
// as it was, when the message holds anything but one array of bytes, and both with -EMSGSIZE when
// the frame is too large.
int AppendFrame(sd_bus_message* message, const std::vector<char>& frame);
int ReadFrame(sd_bus_message* message, std::vector<char>& frame);

}  // namespace applist

#endif
