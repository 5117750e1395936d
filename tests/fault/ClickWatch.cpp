// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fault/ClickWatch.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace applist_test {

ClickWatch::ClickWatch(const std::string& address) : m_peer(address) {
  const int r = sd_bus_add_match(m_peer.Bus(), nullptr,
                                 "type='signal',interface='org.freedesktop.DBus.Properties',"
                                 "member='PropertiesChanged',arg0='org.javamw.Applist.Control1'",
                                 OnChanged, this);
  if (r < 0) {
    throw std::runtime_error("Cannot watch the clicks");
  }
}

std::vector<int> ClickWatch::Take() {
  m_peer.ProcessAll();
  return std::exchange(m_clicks, {});
}

int ClickWatch::OnChanged(sd_bus_message* message, void* watch, sd_bus_error* /*error*/) {
  const char* name = nullptr;
  const char* text = nullptr;
  sd_bus_message_skip(message, "s");
  sd_bus_message_enter_container(message, 'a', "{sv}");
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    sd_bus_message_read(message, "s", &name);
    if (std::strcmp(name, "LastClicked") == 0 &&
        sd_bus_message_read(message, "v", "s", &text) > 0) {
      static_cast<ClickWatch*>(watch)->m_clicks.push_back(std::stoi(text));
    } else {
      sd_bus_message_skip(message, "v");
    }
    sd_bus_message_exit_container(message);
  }
  return 0;
}

}  // namespace applist_test
