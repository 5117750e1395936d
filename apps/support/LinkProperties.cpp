// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/LinkProperties.h"

namespace applist {

namespace {

bool ReadFlag(sd_bus_message* message, std::optional<bool>& flag) {
  int value = 0;
  if (sd_bus_message_read(message, "v", "b", &value) <= 0) {
    return false;
  }
  flag = value != 0;
  return true;
}

bool ReadText(sd_bus_message* message, std::optional<std::string>& text) {
  const char* value = nullptr;
  if (sd_bus_message_read(message, "v", "s", &value) <= 0) {
    return false;
  }
  text = value;
  return true;
}

}  // namespace

void LinkProperties::Take(sd_bus_message* dictionary) {
  const char* property = nullptr;
  if (sd_bus_message_enter_container(dictionary, 'a', "{sv}") < 0) {
    return;
  }
  while (sd_bus_message_enter_container(dictionary, 'e', "sv") > 0 &&
         sd_bus_message_read(dictionary, "s", &property) > 0) {
    const std::string name = property;
    const bool taken = (name == "Partner" && ReadText(dictionary, partner)) ||
                       (name == "Hung" && ReadFlag(dictionary, hung)) ||
                       (name == "Direct" && ReadFlag(dictionary, direct));
    if (!taken) {
      sd_bus_message_skip(dictionary, "v");
    }
    sd_bus_message_exit_container(dictionary);
  }
  sd_bus_message_exit_container(dictionary);
}

}  // namespace applist
