// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "bus/BusPeer.h"

#include <cstdlib>
#include <stdexcept>

#include "bus/BusFixture.h"
#include "dbus/LinkNames.h"

using applist::BusError;
using applist::MessagePtr;

namespace applist_test {

namespace {

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

void Check(int result, const char* what, const BusError& error = BusError()) {
  if (result < 0) {
    throw std::runtime_error(std::string(what) + ": " + error.Text(result));
  }
}

std::string ReadBytes(sd_bus_message* message) {
  const void* bytes = nullptr;
  size_t size = 0;
  Check(sd_bus_message_read_array(message, 'y', &bytes, &size), "an array of bytes");
  return std::string(static_cast<const char*>(bytes), size);
}

void AppendBytes(sd_bus_message* message, const std::string& bytes) {
  Check(sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size()), "a frame");
}

MessagePtr NewSend(sd_bus* bus, const std::string& destination) {
  sd_bus_message* call = nullptr;
  Check(sd_bus_message_new_method_call(bus, &call, destination.c_str(), kLinkPath,
                                       applist::kLinkInterface, "Send"),
        "a call");
  return MessagePtr(call);
}

MessagePtr NewSignal(sd_bus* bus, const std::string& destination, const char* path,
                     const char* interface, const char* member) {
  sd_bus_message* signal = nullptr;
  Check(sd_bus_message_new_signal(bus, &signal, path, interface, member), "a signal");
  MessagePtr owned(signal);
  if (!destination.empty()) {
    Check(sd_bus_message_set_destination(signal, destination.c_str()), "a destination");
  }
  return owned;
}

}  // namespace

std::string Frame(int messageId, const std::string& payload) {
  std::string frame = payload;
  for (int shift = 0; shift < 32; shift += 8) {
    frame += static_cast<char>(static_cast<unsigned>(messageId) >> shift & 0xFFU);
  }
  return frame;
}

BusPeer::BusPeer(const std::string& address) {
  sd_bus* created = nullptr;
  Check(sd_bus_new(&created), "a connection");
  m_bus.reset(created);
  Check(sd_bus_set_address(created, address.c_str()), "a connection");
  Check(sd_bus_set_bus_client(created, 1), "a connection");
  Check(sd_bus_start(created), "a connection");
  const char* uniqueName = nullptr;
  Check(sd_bus_get_unique_name(created, &uniqueName), "a unique name");
  m_uniqueName = uniqueName;
  Check(sd_bus_add_filter(created, nullptr, OnMessage, this), "a filter");
}

applist::NameAnswer BusPeer::Own(const std::string& name) {
  BusError error;
  return applist::RequestName(Bus(), name, error);
}

void BusPeer::Release(const std::string& name) {
  Check(sd_bus_release_name(Bus(), name.c_str()), "giving a name back");
}

std::string BusPeer::OwnerOf(const std::string& name) {
  BusError error;
  sd_bus_message* answer = nullptr;
  const int r = sd_bus_call_method(Bus(), kBusName, kBusPath, kBusName, "GetNameOwner", error.Get(),
                                   &answer, "s", name.c_str());
  const MessagePtr owned(answer);
  return r < 0 ? std::string() : applist::ReadOwner(answer).value_or("");
}

bool BusPeer::IsSet(const std::string& name, const char* property) {
  int value = 0;
  sd_bus_get_property_trivial(Bus(), name.c_str(), kLinkPath, applist::kLinkInterface, property,
                              nullptr, 'b', &value);
  return value != 0;
}

std::vector<std::string> BusPeer::Connections() {
  char** acquired = nullptr;
  Check(sd_bus_list_names(Bus(), &acquired, nullptr), "the names on the bus");
  std::vector<std::string> names;
  for (char** name = acquired; *name != nullptr; ++name) {
    if (**name == ':') {
      names.emplace_back(*name);
    }
    std::free(*name);
  }
  std::free(acquired);
  return names;
}

BusPeer::Answer BusPeer::Call(sd_bus_message* call) {
  BusError error;
  sd_bus_message* answer = nullptr;
  const int r = sd_bus_call(Bus(), call, 0, error.Get(), &answer);
  const MessagePtr owned(answer);
  if (r < 0) {
    return {error.Get()->name != nullptr ? error.Get()->name : error.Text(r), ""};
  }
  return {"", sd_bus_message_has_signature(answer, "ay") > 0 ? ReadBytes(answer) : ""};
}

BusPeer::Answer BusPeer::Send(const std::string& destination, const std::string& frame) {
  const MessagePtr call = NewSend(Bus(), destination);
  AppendBytes(call.get(), frame);
  return Call(call.get());
}

BusPeer::Answer BusPeer::SendText(const std::string& destination, const std::string& text) {
  const MessagePtr call = NewSend(Bus(), destination);
  Check(sd_bus_message_append(call.get(), "s", text.c_str()), "a text");
  return Call(call.get());
}

BusPeer::Answer BusPeer::Control(const char* method, const std::string& text) {
  sd_bus_message* created = nullptr;
  Check(sd_bus_message_new_method_call(Bus(), &created, kRemoteName, kLinkPath,
                                       "org.javamw.Applist.Control1", method),
        "a call");
  const MessagePtr call(created);
  Check(sd_bus_message_append(created, "s", text.c_str()), "a text");
  return Call(created);
}

void BusPeer::Ping(const std::string& destination) {
  BusError error;
  Check(sd_bus_call_method(Bus(), destination.c_str(), kLinkPath, "org.freedesktop.DBus.Peer",
                           "Ping", error.Get(), nullptr, ""),
        "Ping", error);
}

void BusPeer::Notify(const std::string& destination, const std::string& frame) {
  const MessagePtr signal =
      NewSignal(Bus(), destination, kLinkPath, applist::kLinkInterface, "Notify");
  AppendBytes(signal.get(), frame);
  Check(sd_bus_send(Bus(), signal.get(), nullptr), "a notification");
}

void BusPeer::NotifyText(const std::string& destination, const std::string& text) {
  const MessagePtr signal =
      NewSignal(Bus(), destination, kLinkPath, applist::kLinkInterface, "Notify");
  Check(sd_bus_message_append(signal.get(), "s", text.c_str()), "a text");
  Check(sd_bus_send(Bus(), signal.get(), nullptr), "a notification");
}

void BusPeer::ForgeOwnerChange(const std::string& destination, const std::string& name,
                               const std::string& before, const std::string& after) {
  const MessagePtr signal = NewSignal(Bus(), destination, kBusPath, kBusName, "NameOwnerChanged");
  Check(sd_bus_message_append(signal.get(), "sss", name.c_str(), before.c_str(), after.c_str()),
        "an owner change");
  Check(sd_bus_send(Bus(), signal.get(), nullptr), "an owner change");
}

bool BusPeer::ProcessOne() {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (std::chrono::steady_clock::now() < deadline) {
    const int r = sd_bus_process(Bus(), nullptr);
    Check(r, "working off a message");
    if (r > 0) {
      return true;
    }
    Check(sd_bus_wait(Bus(), 1000000), "waiting for a message");
  }
  return false;
}

void BusPeer::ProcessAll() {
  while (sd_bus_process(Bus(), nullptr) > 0) {
  }
}

int BusPeer::OnMessage(sd_bus_message* message, void* peer, sd_bus_error* /*error*/) {
  if (sd_bus_message_is_signal(message, applist::kLinkInterface, "Notify") > 0) {
    static_cast<BusPeer*>(peer)->m_notifications.push_back(ReadBytes(message));
    return 1;
  }
  return 0;
}

}  // namespace applist_test
