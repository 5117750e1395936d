// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What an end of the link says about itself.
#ifndef APPLIST_SUPPORT_LINKPROPERTIES_H
#define APPLIST_SUPPORT_LINKPROPERTIES_H

#include <systemd/sd-bus.h>

#include <optional>
#include <string>

namespace applist {

// The properties of org.javamw.Link1. An end of an older release may not have all of them.
struct LinkProperties {
  // The unique name of the other end, empty for none.
  std::optional<std::string> partner;
  std::optional<bool> hung;
  // Whether frames travel on a direct line.
  std::optional<bool> direct;

  // Takes over those that are in `dictionary`, an a{sv}, and reads it to its end. Passes over what
  // is of another type.
  void Take(sd_bus_message* dictionary);
};

}  // namespace applist

#endif
