// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "device.h"

#include <cstdio>
#include <utility>

#include "common/AppListRemoteControl.h"

namespace device {

void Loop::Add(std::function<void()> work) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_work.push_back(std::move(work));
}

void Loop::Run() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!m_work.empty()) {
    const std::function<void()> work = std::move(m_work.front());
    m_work.pop_front();
    lock.unlock();
    work();
    lock.lock();
  }
}

Loop& MainLoop() {
  static Loop loop;
  return loop;
}

void Middleware::Connect(std::function<void(Frame)> hear) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_hear = std::move(hear);
  m_selection.clear();
  Tell(APPLIST_LOCAL_CREATED_EVENT);
}

void Middleware::Disconnect() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_hear = nullptr;
}

// The number of a message is its last four bytes, least significant first. A reply has none.
Middleware::Frame Middleware::Answer(const Frame& frame) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const Frame payload(frame.begin(), frame.end() - 4);
  unsigned message = 0;
  for (auto byte = frame.rbegin(); byte != frame.rbegin() + 4; ++byte) {
    message = message << 8 | static_cast<unsigned char>(*byte);
  }
  std::printf("middleware: message %u with %zu bytes\n", message, payload.size());
  switch (message) {
    case APPLIST_GET_SELECTION_FNC:
      return m_selection;
    case APPLIST_SET_SELECTION_FNC:
      m_selection = payload;
      Tell(APPLIST_ITEM_SELECTION_EVENT);
      break;
    case APPLIST_SET_CLICKED_FNC:
      Tell(APPLIST_ITEM_CLICKED_EVENT);
      break;
    case APPLIST_ADD_ITEMS_FNC:
      Tell(APPLIST_ITEM_CHANGE_EVENT);
      break;
    default:
      break;
  }
  return {};
}

void Middleware::Tell(int event) {
  if (m_hear) {
    m_hear({static_cast<char>(event), 0, 0, 0});
  }
}

Middleware& TheMiddleware() {
  static Middleware middleware;
  return middleware;
}

}  // namespace device
