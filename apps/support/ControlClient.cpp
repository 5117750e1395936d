// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/ControlClient.h"

#include <cerrno>
#include <optional>

#include "BusText.h"

namespace applist {

namespace {

constexpr const char* kName = "org.javamw.Applist.Local";
constexpr const char* kPath = "/org/javamw/Applist";
constexpr uint64_t kTimeoutMicroseconds = 5000000;

void Check(int result, const char* what, const BusError& error = BusError()) {
  if (result < 0) {
    throw ControlError(std::string(what) + ": " + error.Text(result), error.Name(), result);
  }
}

std::string Bytes(const char* text) {
  const std::optional<std::string> bytes = FromBusText(text);
  if (!bytes) {
    throw ControlError(std::string("The remote side answers with a malformed text: ") + text, "",
                       -EBADMSG);
  }
  return *bytes;
}

void ReadItems(sd_bus_message* message, ControlClient::State& state) {
  state.items.clear();
  const char* id = nullptr;
  const char* name = nullptr;
  int r = sd_bus_message_enter_container(message, 'a', "(ss)");
  while (r >= 0 && (r = sd_bus_message_read(message, "(ss)", &id, &name)) > 0) {
    state.items.emplace_back(Bytes(id), Bytes(name));
  }
  Check(r, "Reading the items");
  Check(sd_bus_message_exit_container(message), "Reading the items");
}

std::string ReadText(sd_bus_message* message) {
  const char* text = nullptr;
  Check(sd_bus_message_read(message, "s", &text), "Reading a text");
  return Bytes(text);
}

void ReadProperty(sd_bus_message* message, ControlClient::State& state) {
  const char* property = nullptr;
  const char* type = nullptr;
  Check(sd_bus_message_read(message, "s", &property), "Reading a property");
  Check(sd_bus_message_peek_type(message, nullptr, &type), "Reading a property");
  Check(sd_bus_message_enter_container(message, 'v', type), "Reading a property");
  const std::string name = property;
  if (name == "Items") {
    ReadItems(message, state);
  } else if (name == "Selection") {
    state.selection = ReadText(message);
  } else if (name == "LastClicked") {
    state.lastClicked = ReadText(message);
  } else if (name == "Connected") {
    int connected = 0;
    Check(sd_bus_message_read(message, "b", &connected), "Reading a property");
    state.connected = connected != 0;
  } else {
    Check(sd_bus_message_skip(message, type), "Reading a property");
  }
  Check(sd_bus_message_exit_container(message), "Reading a property");
}

MessagePtr NewCall(sd_bus* bus, const char* interface, const char* member) {
  sd_bus_message* created = nullptr;
  Check(sd_bus_message_new_method_call(bus, &created, kName, kPath, interface, member), member);
  MessagePtr call(created);
  Check(sd_bus_message_set_auto_start(created, 0), member);
  return call;
}

}  // namespace

ControlClient::ControlClient(const std::string& address) {
  sd_bus* bus = nullptr;
  Check(sd_bus_new(&bus), "A bus connection");
  m_bus.reset(bus);
  Check(sd_bus_set_address(bus, address.c_str()), "A bus connection");
  Check(sd_bus_set_bus_client(bus, 1), "A bus connection");
  Check(sd_bus_set_method_call_timeout(bus, kTimeoutMicroseconds), "A bus connection");
  Check(sd_bus_start(bus), "A bus connection");
}

ControlClient::State ControlClient::Read() {
  const MessagePtr question = Question(m_bus.get());
  return StateIn(Answer(question.get(), "Asking the remote side").get());
}

MessagePtr ControlClient::Question(sd_bus* bus) {
  MessagePtr question = NewCall(bus, "org.freedesktop.DBus.Properties", "GetAll");
  Check(sd_bus_message_append(question.get(), "s", kInterface), "Asking the remote side");
  return question;
}

ControlClient::State ControlClient::StateIn(sd_bus_message* answer) {
  const BusError error(answer);
  Check(-sd_bus_message_get_errno(answer), "Asking the remote side", error);
  State state;
  state.Take(answer);
  return state;
}

void ControlClient::State::Take(sd_bus_message* dictionary) {
  Check(sd_bus_message_enter_container(dictionary, 'a', "{sv}"), "Reading the properties");
  while (sd_bus_message_enter_container(dictionary, 'e', "sv") > 0) {
    ReadProperty(dictionary, *this);
    Check(sd_bus_message_exit_container(dictionary), "Reading the properties");
  }
  Check(sd_bus_message_exit_container(dictionary), "Reading the properties");
}

void ControlClient::Call(const char* method, const std::string& id) {
  const MessagePtr call = NewCall(m_bus.get(), kInterface, method);
  Check(sd_bus_message_append(call.get(), "s", ToBusText(id).c_str()), method);
  Answer(call.get(), method);
}

MessagePtr ControlClient::Answer(sd_bus_message* call, const char* what) {
  BusError error;
  sd_bus_message* answer = nullptr;
  const int r = sd_bus_call(m_bus.get(), call, 0, error.Get(), &answer);
  MessagePtr owned(answer);
  Check(r, what, error);
  return owned;
}

}  // namespace applist
