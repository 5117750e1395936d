// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/ControlClient.h"

#include <cstring>
#include <stdexcept>

#include "BusText.h"

namespace applist {

namespace {

constexpr const char* kName = "org.javamw.Applist.Local";
constexpr const char* kPath = "/org/javamw/Applist";
constexpr const char* kInterface = "org.javamw.Applist.Control1";
constexpr uint64_t kTimeoutMicroseconds = 5000000;

void Check(int result, const char* what, const BusError& error = BusError()) {
  if (result < 0) {
    throw std::runtime_error(std::string(what) + ": " + error.Text(result));
  }
}

std::string Bytes(const char* text) {
  const std::optional<std::string> bytes = FromBusText(text);
  if (!bytes) {
    throw std::runtime_error(std::string("The remote side answers with a malformed text: ") + text);
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
  BusError error;
  sd_bus_message* answer = nullptr;
  const int r = sd_bus_call_method(m_bus.get(), kName, kPath, "org.freedesktop.DBus.Properties",
                                   "GetAll", error.Get(), &answer, "s", kInterface);
  const MessagePtr owned(answer);
  Check(r, "Asking the remote side", error);
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
  BusError error;
  const int r = sd_bus_call_method(m_bus.get(), kName, kPath, kInterface, method, error.Get(),
                                   nullptr, "s", ToBusText(id).c_str());
  Check(r, method, error);
}

}  // namespace applist
