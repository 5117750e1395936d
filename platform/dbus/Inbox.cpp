// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/Inbox.h"

#include <systemd/sd-event.h>

#include <algorithm>
#include <utility>

#include "common/Log.h"
#include "dbus/Guard.h"

namespace applist {

namespace {

constexpr size_t kMostWaiting = 10000;
// How many messages may come in before one that waits gets its turn all the same.
constexpr int kMostUnidle = 64;
// How often one message is delivered, to a partner that hangs each time.
constexpr int kMostTurns = 4;

}  // namespace

Inbox::Inbox(Upcalls upcalls) : m_upcalls(std::move(upcalls)) {}

Inbox::~Inbox() = default;

// The source comes after all that there is to read.
int Inbox::Attach(sd_event* event) {
  sd_event_source* idle = nullptr;
  int r = sd_event_add_defer(event, &idle, OnIdle, this);
  m_idle.reset(idle);
  if (r >= 0) {
    r = sd_event_source_set_priority(idle, SD_EVENT_PRIORITY_NORMAL + 1);
  }
  if (r >= 0) {
    r = sd_event_source_set_enabled(idle, SD_EVENT_OFF);
  }
  return r;
}

bool Inbox::Add(sd_bus_message* message) {
  const bool full = m_waiting.size() >= kMostWaiting;
  if (full && !m_upcalls.mayDeliver()) {
    return false;
  }
  m_waiting.push_back(MessagePtr(sd_bus_message_ref(message)));
  if (full) {
    DeliverFirst();
  } else {
    DeliverLater();
  }
  return true;
}

void Inbox::Clear() {
  m_waiting.clear();
  m_turns = 0;
}

void Inbox::ClearFrom(const sd_bus* bus) {
  const auto isFrom = [bus](const MessagePtr& message) {
    return sd_bus_message_get_bus(message.get()) == bus;
  };
  m_waiting.erase(std::remove_if(m_waiting.begin(), m_waiting.end(), isFrom), m_waiting.end());
  m_turns = 0;
}

void Inbox::CountIncoming() {
  if (++m_unidle == kMostUnidle) {
    sd_event_source_set_priority(m_idle.get(), SD_EVENT_PRIORITY_NORMAL - 1);
  }
}

void Inbox::DeliverLater() {
  if (!m_waiting.empty() && m_upcalls.mayDeliver()) {
    sd_event_source_set_enabled(m_idle.get(), SD_EVENT_ONESHOT);
  }
}

int Inbox::OnIdle(sd_event_source* /*source*/, void* inbox) {
  Inbox* self = static_cast<Inbox*>(inbox);
  Safely([self] { self->TakeTurn(); }, self->m_upcalls.failed);
  return 0;
}

// One at a time: what is delivered may take long, and more may have come in meanwhile.
void Inbox::TakeTurn() {
  const std::weak_ptr<bool> alive = m_alive;
  m_unidle = 0;
  sd_event_source_set_priority(m_idle.get(), SD_EVENT_PRIORITY_NORMAL + 1);
  if (!m_waiting.empty() && m_upcalls.mayDeliver()) {
    DeliverFirst();
  }
  if (!alive.expired()) {
    DeliverLater();
  }
}

void Inbox::DeliverFirst() {
  MessagePtr message = std::move(m_waiting.front());
  m_waiting.pop_front();
  const std::weak_ptr<bool> alive = m_alive;
  const bool again = m_upcalls.deliver(message.get());
  if (alive.expired()) {
    return;
  }
  if (again && ++m_turns < kMostTurns) {
    sd_bus_message_rewind(message.get(), 1);
    m_waiting.push_front(std::move(message));
    return;
  }
  m_turns = 0;
  if (again) {
    APPLIST_LOG(DLOG_WARN, "A notification is given up: a call timed out each time it was handled");
  }
}

}  // namespace applist
