// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/Frame.h"

#include <cerrno>

namespace applist {

int AppendFrame(sd_bus_message* message, const std::vector<char>& frame) {
  if (frame.size() > kLargestFrame) {
    return -EMSGSIZE;
  }
  return sd_bus_message_append_array(message, 'y', frame.data(), frame.size());
}

int ReadFrame(sd_bus_message* message, std::vector<char>& frame) {
  if (sd_bus_message_has_signature(message, "ay") <= 0) {
    return -EBADMSG;
  }
  const void* bytes = nullptr;
  size_t size = 0;
  const int r = sd_bus_message_read_array(message, 'y', &bytes, &size);
  if (r < 0) {
    return r;
  }
  if (size > kLargestFrame) {
    return -EMSGSIZE;
  }
  const char* first = static_cast<const char*>(bytes);
  frame.assign(first, first + size);
  return 0;
}

}  // namespace applist
