// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fault/Footprint.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

namespace applist_test {

namespace {

size_t Descriptors(pid_t process) {
  const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

size_t CountRules(sd_bus_message* answer) {
  size_t count = 0;
  const char* rule = nullptr;
  sd_bus_message_enter_container(answer, 'a', "{sas}");
  while (sd_bus_message_enter_container(answer, 'e', "sas") > 0) {
    sd_bus_message_skip(answer, "s");
    sd_bus_message_enter_container(answer, 'a', "s");
    while (sd_bus_message_read(answer, "s", &rule) > 0) {
      ++count;
    }
    sd_bus_message_exit_container(answer);
    sd_bus_message_exit_container(answer);
  }
  return count;
}

std::optional<size_t> Matches(BusPeer& peer) {
  sd_bus_message* answer = nullptr;
  const int r = sd_bus_call_method(peer.Bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus.Debug.Stats", "GetAllMatchRules", nullptr,
                                   &answer, "");
  const applist::MessagePtr owned(answer);
  return r < 0 ? std::nullopt : std::make_optional(CountRules(answer));
}

}  // namespace

bool operator==(const Footprint& a, const Footprint& b) {
  return std::tie(a.descriptors, a.remoteDescriptors, a.connections, a.matches) ==
         std::tie(b.descriptors, b.remoteDescriptors, b.connections, b.matches);
}

std::ostream& operator<<(std::ostream& out, const Footprint& footprint) {
  out << footprint.descriptors << " and " << footprint.remoteDescriptors << " descriptors, "
      << footprint.connections << " connections, ";
  return footprint.matches ? out << *footprint.matches << " match rules"
                           : out << "no word about match rules";
}

Footprint Measure(pid_t remote, BusPeer& peer) {
  return {Descriptors(getpid()), Descriptors(remote), peer.Connections().size(), Matches(peer)};
}

size_t ResidentBytes(pid_t process) {
  std::ifstream in("/proc/" + std::to_string(process) + "/statm");
  size_t pages = 0;
  in >> pages >> pages;
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

std::string StatusOf(pid_t process, const std::string& name) {
  std::ifstream in("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(name + ":", 0) == 0) {
      return line.substr(name.size() + 1);
    }
  }
  return std::string();
}

}  // namespace applist_test
