// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "dbus/BusConnection.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "common/Log.h"
#include "dbus/HeldSignals.h"

namespace applist {

namespace {

constexpr std::chrono::milliseconds kCallTimeout(500);

const char* EnvironmentOr(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : fallback;
}

}  // namespace

std::string BusAddress() {
  const char* system =
      EnvironmentOr("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/dbus/system_bus_socket");
  return EnvironmentOr("DBUS_SESSION_BUS_ADDRESS", system);
}

std::chrono::microseconds CallTimeout() {
  const char* text = EnvironmentOr("APPLIST_CALL_TIMEOUT_MS", "");
  const char* end = text + std::strlen(text);
  int milliseconds = 0;
  const auto [last, error] = std::from_chars(text, end, milliseconds);
  const bool valid = error == std::errc() && last == end && milliseconds > 0;
  return valid ? std::chrono::milliseconds(milliseconds) : kCallTimeout;
}

bool MayUseDirectLine() {
  return std::strcmp(EnvironmentOr("APPLIST_LINE", ""), "bus") != 0;
}

std::string BusError::Text(int result) const {
  if (!sd_bus_error_is_set(&m_error)) {
    return std::strerror(-result);
  }
  return std::string(m_error.name) + ": " + (m_error.message != nullptr ? m_error.message : "");
}

BusPtr StartConnection(const char* description, std::chrono::microseconds timeout, Socket socket,
                       int& result) {
  sd_bus* created = nullptr;
  result = sd_bus_new(&created);
  BusPtr bus(created);
  if (result >= 0) {
    result = sd_bus_set_description(created, description);
  }
  if (result >= 0) {
    result = sd_bus_set_address(created, BusAddress().c_str());
  }
  if (result >= 0) {
    result = sd_bus_set_bus_client(created, 1);
  }
  if (result >= 0) {
    result = sd_bus_set_connected_signal(created, 1);
  }
  if (result >= 0) {
    result = sd_bus_set_method_call_timeout(created, static_cast<uint64_t>(timeout.count()));
  }
  if (result >= 0) {
    result = sd_bus_set_watch_bind(created, socket == Socket::Awaited ? 1 : 0);
  }
  if (result >= 0) {
    result = sd_bus_start(created);
  }
  return result < 0 ? nullptr : std::move(bus);
}

int MatchLocal(sd_bus* bus, const char* member, sd_bus_message_handler_t handler, void* userdata,
               SlotPtr* slot) {
  sd_bus_slot* created = nullptr;
  const int r =
      sd_bus_match_signal(bus, slot == nullptr ? nullptr : &created, kLocalSender,
                          "/org/freedesktop/DBus/Local", kLocalSender, member, handler, userdata);
  if (slot != nullptr) {
    slot->reset(created);
  }
  return r;
}

bool IsFrom(sd_bus_message* message, const std::string& sender) {
  const char* actual = sd_bus_message_get_sender(message);
  return !sender.empty() && actual != nullptr && sender == actual;
}

NameAnswer ReadNameAnswer(sd_bus_message* answer) {
  uint32_t number = 0;
  if (sd_bus_message_is_method_error(answer, nullptr) > 0 ||
      sd_bus_message_read(answer, "u", &number) < 0) {
    return NameAnswer::Refused;
  }
  return static_cast<NameAnswer>(number);
}

std::optional<std::string> ReadOwner(sd_bus_message* answer) {
  const char* owner = nullptr;
  if (BusError(answer).Is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
    return std::string();
  }
  if (sd_bus_message_is_method_error(answer, nullptr) > 0 ||
      sd_bus_message_read(answer, "s", &owner) < 0) {
    return std::nullopt;
  }
  return owner;
}

NameAnswer RequestName(sd_bus* bus, const std::string& name, BusError& error) {
  const HeldSignals held;
  sd_bus_message* answered = nullptr;
  const int r = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "RequestName", error.Get(), &answered,
                                   "su", name.c_str(), kDoNotQueue);
  const MessagePtr answer(answered);
  return r < 0 ? NameAnswer::Refused : ReadNameAnswer(answered);
}

void LogNameAnswer(const std::string& name, NameAnswer answer, const BusError& error) {
  switch (answer) {
    case NameAnswer::Owner:
      APPLIST_LOGF(DLOG_INFO, "Own the name %s", name.c_str());
      break;
    case NameAnswer::AlreadyOwner:
      APPLIST_LOGF(DLOG_INFO, "Own the name %s already", name.c_str());
      break;
    case NameAnswer::Queued:
      APPLIST_LOGF(DLOG_INFO, "In the queue for the name %s", name.c_str());
      break;
    case NameAnswer::Taken:
      APPLIST_LOGF(DLOG_INFO, "Somebody else has the name %s", name.c_str());
      break;
    case NameAnswer::Refused:
      APPLIST_LOGF(DLOG_ERROR, "The bus refuses the name %s: %s", name.c_str(),
                   error.Text(-EACCES).c_str());
      break;
  }
}

std::string NameOwner::Text() const {
  return command + " (process " + std::to_string(process) + ", " + uniqueName + ")";
}

std::optional<NameOwner> AskForNameOwner(sd_bus* bus, const std::string& name) {
  const HeldSignals held;
  sd_bus_creds* creds = nullptr;
  uint64_t timeout = 0;
  sd_bus_get_method_call_timeout(bus, &timeout);
  sd_bus_set_method_call_timeout(bus, static_cast<uint64_t>(CallTimeout().count()));
  const int r = sd_bus_get_name_creds(
      bus, name.c_str(),
      SD_BUS_CREDS_AUGMENT | SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_UNIQUE_NAME,
      &creds);
  sd_bus_set_method_call_timeout(bus, timeout);
  if (r == -ENXIO) {
    return std::nullopt;
  }
  NameOwner owner;
  const char* text = nullptr;
  if (sd_bus_creds_get_comm(creds, &text) >= 0) {
    owner.command = text;
  }
  if (sd_bus_creds_get_unique_name(creds, &text) >= 0) {
    owner.uniqueName = text;
  }
  pid_t process = 0;
  if (sd_bus_creds_get_pid(creds, &process) >= 0) {
    owner.process = process;
  }
  sd_bus_creds_unref(creds);
  return owner;
}

}  // namespace applist
