// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/EventSource.h"

#include <sys/eventfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cerrno>

namespace applist {

void EventUnref::operator()(sd_event* event) const {
  sd_event_unref(event);
}

void SourceUnref::operator()(sd_event_source* source) const {
  sd_event_source_disable_unref(source);
}

SourcePtr WatchDescriptor(sd_event* event, int fd, uint32_t events, DescriptorHandler handler,
                          void* userdata, int& result) {
  if (fd < 0) {
    result = -errno;
    return nullptr;
  }
  sd_event_source* created = nullptr;
  result = sd_event_add_io(event, &created, fd, events, handler, userdata);
  if (result < 0) {
    close(fd);
    return nullptr;
  }
  sd_event_source_set_io_fd_own(created, 1);
  return SourcePtr(created);
}

SourcePtr NewWakeUp(sd_event* event, DescriptorHandler handler, void* userdata, int& result) {
  return WatchDescriptor(event, eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), EPOLLIN, handler, userdata,
                         result);
}

void Signal(sd_event_source* wakeUp) {
  const int fd = wakeUp == nullptr ? -1 : sd_event_source_get_io_fd(wakeUp);
  if (fd >= 0) {
    eventfd_write(fd, 1);
  }
}

void Drain(int fd) {
  eventfd_t count = 0;
  eventfd_read(fd, &count);
}

}  // namespace applist
