// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Control.h"

#include <systemd/sd-event.h>

#include <exception>
#include <iterator>
#include <optional>

#include "BusText.h"
#include "common/Log.h"
#include "dbus/DbusLink.h"

using applist::ToBusText;

namespace {

constexpr const char* kInterface = "org.javamw.Applist.Control1";

// How many messages may wait to be written to the bus before changes are announced together, and
// for how many microseconds then.
constexpr uint64_t kMostUnwritten = 100;
constexpr uint64_t kPause = 10000;

// What is longer is not shown, a text or a list with all of its texts: a bus cuts the connection of
// whoever sends more than its limit, 32 MiB on a system bus.
constexpr size_t kLongestText = size_t{4} * 1024 * 1024;
constexpr size_t kLongestList = 4 * kLongestText;

std::string IdOf(std::optional<RemoteAppListItem> item) {
  return item ? item->GetUnigueId() : std::string();
}

// Runs the body of a callback of the D-Bus library, through which nothing may be thrown.
template <class Body>
int Guarded(sd_bus_error* error, Body body) {
  try {
    return body();
  } catch (const std::exception& e) {
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
  }
}

// A byte is four there at most.
bool IsShown(const std::string& bytes) {
  return bytes.size() <= kLongestText / 4 || ToBusText(bytes).size() <= kLongestText;
}

int AppendText(sd_bus_message* reply, const std::string& bytes, sd_bus_error* error) {
  if (!IsShown(bytes)) {
    return sd_bus_error_setf(error, SD_BUS_ERROR_LIMITS_EXCEEDED,
                             "An identifier of %zu bytes is too long to be shown", bytes.size());
  }
  return sd_bus_message_append(reply, "s", ToBusText(bytes).c_str());
}

// Has the model do something with the item that `call` names.
template <class Action>
int OnItem(sd_bus_message* call, sd_bus_error* error, Action action) {
  return Guarded(error, [&] {
    const char* text = nullptr;
    const int r = sd_bus_message_read(call, "s", &text);
    if (r < 0) {
      return r;
    }
    const std::optional<std::string> id = applist::FromBusText(text);
    if (!id) {
      return sd_bus_reply_method_errorf(
          call, SD_BUS_ERROR_INVALID_ARGS,
          "'%s' is no identifier: a backslash is written \\\\, any other byte \\xNN", text);
    }
    if (!action(*id)) {
      return sd_bus_reply_method_errorf(call, "org.javamw.Applist.Control1.Error.NotInList",
                                        "The list has no item '%s'", text);
    }
    return sd_bus_reply_method_return(call, nullptr);
  });
}

}  // namespace

void Control::AddTo(sd_bus* bus) {
  // A list can be long: that it changed is announced, its items are there to be asked for.
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_PROPERTY("Items", "a(ss)", GetItems, 0, SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION),
      SD_BUS_PROPERTY("Selection", "s", GetSelection, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_PROPERTY("LastClicked", "s", GetLastClicked, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_PROPERTY("Connected", "b", GetConnected, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
      SD_BUS_METHOD_WITH_ARGS("Select", SD_BUS_ARGS("s", id), SD_BUS_NO_RESULT, OnSelect,
                              SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD_WITH_ARGS("Click", SD_BUS_ARGS("s", id), SD_BUS_NO_RESULT, OnClick,
                              SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_SIGNAL_WITH_ARGS("Launched", SD_BUS_ARGS("s", id), 0),
      SD_BUS_VTABLE_END};
  m_slot.reset();
  m_bus.reset(sd_bus_ref(bus));
  sd_bus_slot* slot = nullptr;
  const int r = sd_bus_add_object_vtable(bus, &slot, m_model.Link().Names().objectPath.c_str(),
                                         kInterface, kVtable, this);
  m_slot.reset(slot);
  if (r < 0) {
    APPLIST_LOGF(DLOG_ERROR, "No control interface: %s", applist::BusError().Text(r).c_str());
  }
}

// The announcement of a new user interface drops the selection without a change of its own.
unsigned Control::PropertiesOf(LocalAppListModel::Change change) {
  switch (change) {
    case LocalAppListModel::Change::Items:
      return kItems;
    case LocalAppListModel::Change::Selection:
      return kSelection;
    case LocalAppListModel::Change::Click:
      return kLastClicked;
    case LocalAppListModel::Change::Connection:
      break;
  }
  return kConnected | kItems | kSelection;
}

void Control::Announce(LocalAppListModel::Change change) {
  m_changed |= PropertiesOf(change);
  if (m_later == nullptr) {
    AnnounceChanged();
  }
}

// The properties whose values a bus carries.
unsigned Control::Shown() const {
  const unsigned selection = IsShown(IdOf(m_model.Selection())) ? kSelection : 0U;
  const unsigned lastClicked = IsShown(IdOf(m_model.LastClicked())) ? kLastClicked : 0U;
  return kConnected | kItems | selection | lastClicked;
}

void Control::AnnounceChanged() {
  uint64_t unwritten = 0;
  m_later.reset();
  if (sd_bus_is_ready(m_bus.get()) <= 0) {
    m_changed = 0;
    return;
  }
  if (sd_bus_get_n_queued_write(m_bus.get(), &unwritten) >= 0 && unwritten > kMostUnwritten) {
    sd_event_source* timer = nullptr;
    sd_event_add_time_relative(sd_bus_get_event(m_bus.get()), &timer, CLOCK_MONOTONIC, kPause,
                               kPause, OnLater, this);
    m_later.reset(timer);
    return;
  }
  m_changed &= Shown();
  const std::pair<unsigned, const char*> properties[] = {{kConnected, "Connected"},
                                                         {kItems, "Items"},
                                                         {kSelection, "Selection"},
                                                         {kLastClicked, "LastClicked"}};
  const char* changed[std::size(properties) + 1] = {};
  size_t count = 0;
  for (const auto& [property, name] : properties) {
    if ((m_changed & property) != 0) {
      changed[count++] = name;
    }
  }
  m_changed = 0;
  sd_bus_emit_properties_changed_strv(m_bus.get(), m_model.Link().Names().objectPath.c_str(),
                                      kInterface, const_cast<char**>(changed));
}

int Control::OnLater(sd_event_source* /*source*/, uint64_t /*now*/, void* control) {
  static_cast<Control*>(control)->AnnounceChanged();
  return 0;
}

void Control::AnnounceLaunched(const std::string& id) {
  if (sd_bus_is_ready(m_bus.get()) > 0) {
    sd_bus_emit_signal(m_bus.get(), m_model.Link().Names().objectPath.c_str(), kInterface,
                       "Launched", "s", ToBusText(id).c_str());
  }
}

int Control::GetItems(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                      const char* /*property*/, sd_bus_message* reply, void* control,
                      sd_bus_error* error) {
  return Guarded(error, [&] {
    size_t size = 0;
    int r = sd_bus_message_open_container(reply, 'a', "(ss)");
    for (RemoteAppListItem item : static_cast<Control*>(control)->m_model.Items()) {
      const std::string id = ToBusText(item.GetUnigueId());
      const std::string name = ToBusText(item.GetVisibleName());
      size += id.size() + name.size();
      if (size > kLongestList) {
        return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                "The list is too long to be shown: it has more than 16 MiB");
      }
      if (r >= 0) {
        r = sd_bus_message_append(reply, "(ss)", id.c_str(), name.c_str());
      }
    }
    return r < 0 ? r : sd_bus_message_close_container(reply);
  });
}

int Control::GetSelection(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                          const char* /*property*/, sd_bus_message* reply, void* control,
                          sd_bus_error* error) {
  return Guarded(error, [&] {
    return AppendText(reply, IdOf(static_cast<Control*>(control)->m_model.Selection()), error);
  });
}

int Control::GetLastClicked(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                            const char* /*property*/, sd_bus_message* reply, void* control,
                            sd_bus_error* error) {
  return Guarded(error, [&] {
    return AppendText(reply, IdOf(static_cast<Control*>(control)->m_model.LastClicked()), error);
  });
}

int Control::GetConnected(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                          const char* /*property*/, sd_bus_message* reply, void* control,
                          sd_bus_error* /*error*/) {
  const int connected = static_cast<Control*>(control)->m_model.IsConnected() ? 1 : 0;
  return sd_bus_message_append(reply, "b", connected);
}

int Control::OnSelect(sd_bus_message* call, void* control, sd_bus_error* error) {
  return OnItem(call, error, [&](const std::string& id) {
    return static_cast<Control*>(control)->m_model.Select(id);
  });
}

int Control::OnClick(sd_bus_message* call, void* control, sd_bus_error* error) {
  return OnItem(call, error, [&](const std::string& id) {
    return static_cast<Control*>(control)->m_model.Click(id);
  });
}
