// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Which clicks the remote side did, as it announces them to everybody.
#ifndef APPLIST_TESTS_FAULT_CLICKWATCH_H
#define APPLIST_TESTS_FAULT_CLICKWATCH_H

#include <string>
#include <vector>

#include "bus/BusPeer.h"

namespace applist_test {

class ClickWatch {
 public:
  // Sees what is clicked from now on.
  explicit ClickWatch(const std::string& address);
  ClickWatch(const ClickWatch&) = delete;
  ClickWatch& operator=(const ClickWatch&) = delete;

  // The numbers that were clicked and have been announced since this was last asked for.
  std::vector<int> Take();

  // A connection with nothing to do but to ask.
  BusPeer& Peer() { return m_peer; }

 private:
  static int OnChanged(sd_bus_message* message, void* watch, sd_bus_error* error);

  BusPeer m_peer;
  std::vector<int> m_clicks;
};

}  // namespace applist_test

#endif
