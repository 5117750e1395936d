// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The names of a link on the bus.
#ifndef APPLIST_DBUS_LINKNAMES_H
#define APPLIST_DBUS_LINKNAMES_H

#include <string>

namespace applist {

constexpr const char* kLinkInterface = "org.javamw.Link1";

// One end of a link: the bus name that hears, and the one that calls.
struct LinkEnd {
  std::string incoming;
  std::string calls;
};

// A link as one of its ends sees it.
struct LinkNames {
  LinkEnd own;
  LinkEnd partner;
  std::string objectPath;
  // Whether this end asks for a direct line, which the other one gives out.
  bool asksForLine;

  static LinkNames ForUserInterface(const std::string& service) {
    return {End(service, "Ui"), End(service, "Local"), "/org/javamw/" + service, true};
  }
  static LinkNames ForRemoteSide(const std::string& service) {
    return {End(service, "Local"), End(service, "Ui"), "/org/javamw/" + service, false};
  }

  // The namespace that holds all four bus names, and no others of this system.
  std::string Namespace() const { return own.incoming.substr(0, own.incoming.rfind('.')); }

 private:
  static LinkEnd End(const std::string& service, const char* side) {
    const std::string name = "org.javamw." + service + "." + side;
    return {name, name + ".Calls"};
  }
};

}  // namespace applist

#endif
