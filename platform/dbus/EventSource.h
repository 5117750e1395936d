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

// Gives up a reference to an event loop.
struct EventUnref {
  // `event` may be null.
  void operator()(sd_event* event) const;
};

// A reference to an event loop.
using EventPtr = std::unique_ptr<sd_event, EventUnref>;

// Ends what an event loop watches.
struct SourceUnref {
  // `source` may be null.
  void operator()(sd_event_source* source) const;
};

// Something that an event loop watches for as long as this is kept. On the loop's thread only.
using SourcePtr = std::unique_ptr<sd_event_source, SourceUnref>;

// What a source calls, on the loop's thread, when `fd` has `events`, which are those of epoll.
// `userdata` is what the source was made with. Below zero is an errno value, and ends the source.
using DescriptorHandler = int (*)(sd_event_source* source, int fd, uint32_t events, void* userdata);

// Watches `fd`, which belongs to the source from then on; it is closed at once where there can be
// no source. Returns null then, with an errno value below zero in `result`. An `fd` below zero is
// one that could not be had, for the reason that errno holds.
SourcePtr WatchDescriptor(sd_event* event, int fd, uint32_t events, DescriptorHandler handler,
                          void* userdata, int& result);

// A source that Signal makes ready, from any thread. The handler has to call Drain. Null where
// there can be none, with an errno value below zero in `result`.
SourcePtr NewWakeUp(sd_event* event, DescriptorHandler handler, void* userdata, int& result);

// Makes a source of NewWakeUp ready. Any thread, for as long as the source is there.
void Signal(sd_event_source* wakeUp);

// Has the source whose descriptor this is wait for the next Signal.
void Drain(int fd);

}  // namespace applist

#endif
