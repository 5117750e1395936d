// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What both connections of a link share: opening one, and asking for a name.
#ifndef APPLIST_DBUS_BUSCONNECTION_H
#define APPLIST_DBUS_BUSCONNECTION_H

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace applist {

// How long a call waits for its answer, the bus's own answers included: 500 ms, or
// APPLIST_CALL_TIMEOUT_MS.
std::chrono::microseconds CallTimeout();

// Whether the link may use a direct line: unless APPLIST_LINE=bus.
bool MayUseDirectLine();

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
// For a reference to a connection that somebody else closes.
struct BusUnref {
  void operator()(sd_bus* bus) const { sd_bus_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusCloser>;

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageUnref>;

struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SlotPtr = std::unique_ptr<sd_bus_slot, SlotUnref>;

// A D-Bus error on its way through a call.
class BusError {
 public:
  BusError() = default;
  // The error that `reply` carries, if it is one.
  explicit BusError(sd_bus_message* reply) {
    sd_bus_error_copy(&m_error, sd_bus_message_get_error(reply));
  }
  ~BusError() { sd_bus_error_free(&m_error); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* Get() { return &m_error; }
  bool Is(const char* name) const { return sd_bus_error_has_name(&m_error, name) > 0; }

  // The name of the error, empty where the bus said nothing.
  std::string Name() const { return m_error.name != nullptr ? m_error.name : ""; }

  // The error in words, or those of the errno value `result` where the bus said nothing.
  std::string Text(int result) const;

 private:
  sd_bus_error m_error = {};
};

// The address of the bus: of the session bus where DBUS_SESSION_BUS_ADDRESS is set and not empty,
// of the system bus otherwise.
std::string BusAddress();

// Starts a connection to the bus at BusAddress(). Does not wait: the bus has yet to answer Hello.
// Answers of the bus time out after `timeout`. Returns null, with an errno value below zero in
// `result`, when there is no bus. A socket that is awaited may appear later.
enum class Socket { Present, Awaited };
BusPtr StartConnection(const char* description, std::chrono::microseconds timeout, Socket socket,
                       int& result);

// The sender of what the D-Bus library itself says about a connection: that it is Connected, or
// Disconnected. Anybody can send signals of these names, so compare.
constexpr const char* kLocalSender = "org.freedesktop.DBus.Local";

// Has `handler` called with such a signal, for as long as the connection lives, or the slot where
// one is asked for.
int MatchLocal(sd_bus* bus, const char* member, sd_bus_message_handler_t handler, void* userdata,
               SlotPtr* slot = nullptr);

// Whether the bus says that `sender` has sent the message. Never so for an empty name.
bool IsFrom(sd_bus_message* message, const std::string& sender);

// What the bus can answer to a request for a name that neither queues nor takes over, with the
// numbers of the D-Bus protocol.
enum class NameAnswer { Refused = 0, Owner = 1, Queued = 2, Taken = 3, AlreadyOwner = 4 };

inline bool IsOwner(NameAnswer answer) {
  return answer == NameAnswer::Owner || answer == NameAnswer::AlreadyOwner;
}

// The flag of a request for a name that stands for "do not queue".
constexpr uint32_t kDoNotQueue = 4;

// The bus's answer to a request for a name.
NameAnswer ReadNameAnswer(sd_bus_message* answer);

// The bus's answer to the question who owns a name: a unique name, empty for nobody. Nothing when
// the bus did not answer.
std::optional<std::string> ReadOwner(sd_bus_message* answer);

// Asks the bus for `name`, without queueing and without taking it over, and waits for the answer.
// `error` is set where the answer is Refused.
NameAnswer RequestName(sd_bus* bus, const std::string& name, BusError& error);

// Writes the answer to the log, one line for each kind. Who has the name instead is for the caller
// to find out: that takes time.
void LogNameAnswer(const std::string& name, NameAnswer answer, const BusError& error);

// Who owns a name, as far as the bus says.
struct NameOwner {
  pid_t process = 0;
  std::string command = "unknown";
  std::string uniqueName = "unknown";

  // In words, for people.
  std::string Text() const;
};

// Asks the bus and waits, for each of its few answers no longer than for a call. Nothing where
// nobody owns the name.
std::optional<NameOwner> AskForNameOwner(sd_bus* bus, const std::string& name);

}  // namespace applist

#endif
