// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Who owns an event loop and what it watches.
#ifndef APPLIST_DBUS_EVENTSOURCE_H
#define APPLIST_DBUS_EVENTSOURCE_H

#include <cstdint>
#include <memory>

struct sd_event;
struct sd_event_source;

namespace applist {

struct EventUnref {
  void operator()(sd_event* event) const;
};
using EventPtr = std::unique_ptr<sd_event, EventUnref>;

struct SourceUnref {
  void operator()(sd_event_source* source) const;
};
using SourcePtr = std::unique_ptr<sd_event_source, SourceUnref>;

using DescriptorHandler = int (*)(sd_event_source* source, int fd, uint32_t events, void* userdata);

// Watches `fd`, which belongs to the source from then on; it is closed at once where there can be
// no source. Returns null then, with an errno value below zero in `result`. An `fd` below zero is
// one that could not be had, for the reason that errno holds.
SourcePtr WatchDescriptor(sd_event* event, int fd, uint32_t events, DescriptorHandler handler,
                          void* userdata, int& result);

// A source that Signal makes ready, from any thread. The handler has to call Drain.
SourcePtr NewWakeUp(sd_event* event, DescriptorHandler handler, void* userdata, int& result);
void Signal(sd_event_source* wakeUp);
void Drain(int fd);

}  // namespace applist

#endif
