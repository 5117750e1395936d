// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "ServiceStatus.h"

#include <systemd/sd-daemon.h>

#include <stdexcept>

#include "dbus/DbusLink.h"

namespace {

constexpr const char* kBusName = "org.freedesktop.DBus";
// The sender of what the D-Bus library itself says about a connection.
constexpr const char* kLocal = "org.freedesktop.DBus.Local";

bool IsSignal(sd_bus_message* message, const std::string& sender, const char* member) {
  const char* from = sd_bus_message_get_sender(message);
  return from != nullptr && sender == from &&
         sd_bus_message_is_signal(message, sender.c_str(), member) > 0;
}

// Whether the bus says that the connection owns this name now.
bool IsAcquired(sd_bus_message* message, const std::string& name) {
  const char* acquired = nullptr;
  return IsSignal(message, kBusName, "NameAcquired") &&
         sd_bus_message_read(message, "s", &acquired) >= 0 && acquired == name;
}

}  // namespace

ServiceStatus::~ServiceStatus() {
  sd_notify(0, "STOPPING=1\nSTATUS=Ending");
}

void ServiceStatus::Follow(sd_bus* bus) {
  sd_bus_slot* slot = nullptr;
  const int r = sd_bus_add_filter(bus, &slot, OnMessage, this);
  m_slot.reset(slot);
  if (r < 0) {
    throw std::runtime_error("no filter for messages: " + applist::BusError().Text(r));
  }
  m_ownsName = false;
  Tell();
}

void ServiceStatus::Tell() const {
  if (!m_ownsName) {
    sd_notify(0, "STATUS=Waiting for the bus");
  } else if (!m_model.IsConnected()) {
    sd_notify(0, "READY=1\nSTATUS=Waiting for a user interface");
  } else {
    sd_notify(0, "READY=1\nSTATUS=A user interface is there");
  }
}

int ServiceStatus::OnMessage(sd_bus_message* message, void* status, sd_bus_error* /*error*/) {
  auto* self = static_cast<ServiceStatus*>(status);
  if (IsAcquired(message, self->m_model.Link().Names().own.incoming)) {
    self->m_ownsName = true;
    self->Tell();
  } else if (IsSignal(message, kLocal, "Disconnected")) {
    self->m_ownsName = false;
    self->Tell();
  }
  sd_bus_message_rewind(message, 1);
  return 0;
}
