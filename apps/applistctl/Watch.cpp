// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// watch: what happens, told by the bus and by the remote side.
#include <cstdio>
#include <deque>
#include <utility>

#include "Bus.h"
#include "BusText.h"
#include "Commands.h"
#include "ItemChanges.h"
#include "Output.h"
#include "ShownText.h"

using applist::ControlClient;
using nlohmann::ordered_json;

namespace {

constexpr const char* kBusName = "org.freedesktop.DBus";

// The remote side tells that its list has changed, but not how: the list is read again, and
// compared with what it was. The answer is behind everything that the remote side said before it
// answered, and in front of nothing of it: so what comes while an answer is awaited is held back
// until then, and everything is told in its order.
class Watcher {
 public:
  Watcher(sd_bus* bus, const FollowOptions& options, Format format)
      : m_bus(bus), m_format(format), m_follower(options) {}

  void Run() {
    AddMatches();
    m_ui = OwnerOf(m_bus, Link().partner.incoming).uniqueName;
    m_remote = OwnerOf(m_bus, Link().own.incoming).uniqueName;
    m_follower.Attach(m_bus);
    if (!m_remote.empty()) {
      ReadItems();
    }
    m_follower.Run();
  }

 private:
  struct Event {
    const char* name;
    // What it is about, and in words.
    std::string object;
    std::string words;
    ordered_json fields;
  };

  void AddMatches() {
    AddMatch(std::string("type='signal',sender='") + kBusName +
                 "',member='NameOwnerChanged',arg0namespace='" + Link().Namespace() + "'",
             Callback<&Watcher::OnOwnerChanged>);
    AddMatch("type='signal',sender='" + Link().own.incoming + "',path='" + Link().objectPath +
                 "',interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',arg0='" +
                 ControlClient::kInterface + "'",
             Callback<&Watcher::OnPropertiesChanged>);
    AddMatch("type='signal',sender='" + Link().own.incoming + "',path='" + Link().objectPath +
                 "',interface='" + ControlClient::kInterface + "',member='Launched'",
             Callback<&Watcher::OnLaunched>);
  }

  void AddMatch(const std::string& rule, sd_bus_message_handler_t then) {
    sd_bus_slot* slot = nullptr;
    const int r = sd_bus_add_match(m_bus, &slot, rule.c_str(), then, this);
    if (r < 0) {
      throw Failure(Status::Refused, std::string("cannot watch the bus: ") +
                                         applist::BusError().Text(r) + "; see its log");
    }
    m_slots.emplace_back(slot);
  }

  template <void (Watcher::*Handler)(sd_bus_message*)>
  static int Callback(sd_bus_message* message, void* data, sd_bus_error* /*error*/) {
    auto* watcher = static_cast<Watcher*>(data);
    return watcher->m_follower.Safely([&] { (watcher->*Handler)(message); });
  }

  // ---- What happens

  static bool IsFrom(sd_bus_message* message, const std::string& sender) {
    const char* actual = sd_bus_message_get_sender(message);
    return actual != nullptr && sender == actual;
  }

  void OnOwnerChanged(sd_bus_message* message) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (!IsFrom(message, kBusName) ||
        sd_bus_message_read(message, "sss", &name, &before, &after) < 0) {
      return;
    }
    if (name == Link().partner.incoming) {
      TakeOwner(m_ui, after, "user-interface-gone", "user-interface-appeared");
    } else if (name == Link().own.incoming && after != m_remote) {
      StopReading();
      m_items.clear();
      m_selection = "";
      TakeOwner(m_remote, after, "remote-side-gone", "remote-side-appeared");
      if (!m_remote.empty()) {
        m_known = true;
        ReadItems();
      }
    }
  }

  void TakeOwner(std::string& owner, const std::string& after, const char* gone,
                 const char* appeared) {
    if (after == owner) {
      return;
    }
    if (!owner.empty()) {
      Tell({gone, owner, {}, {{"owner", owner}}});
    }
    owner = after;
    if (!owner.empty()) {
      Tell({appeared, owner, {}, {{"owner", owner}}});
    }
  }

  void OnPropertiesChanged(sd_bus_message* message) {
    if (!IsFrom(message, m_remote) || sd_bus_message_skip(message, "s") < 0 ||
        sd_bus_message_enter_container(message, 'a', "{sv}") < 0) {
      return;
    }
    std::vector<std::pair<std::string, std::string>> texts;
    const char* property = nullptr;
    const char* text = nullptr;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0 &&
           sd_bus_message_read(message, "s", &property) > 0) {
      const std::string name = property;
      if ((name == "Selection" || name == "LastClicked") &&
          sd_bus_message_read(message, "v", "s", &text) > 0) {
        texts.emplace_back(name, text);
      } else {
        sd_bus_message_skip(message, "v");
      }
      sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    ReadIfInvalidated(message);
    for (const auto& [name, id] : texts) {
      name == "Selection" ? TakeSelection(id) : Tell(About("clicked", id));
    }
  }

  void ReadIfInvalidated(sd_bus_message* message) {
    const char* property = nullptr;
    if (sd_bus_message_enter_container(message, 'a', "s") < 0) {
      return;
    }
    while (sd_bus_message_read(message, "s", &property) > 0) {
      if (property == std::string("Items")) {
        ReadItems();
      }
    }
  }

  // It is also announced where it stays what it is.
  void TakeSelection(const std::string& text) {
    if (text != m_selection) {
      m_selection = text;
      Event event = About("selected", text);
      if (text.empty()) {
        event.object = "nothing";
        event.fields["id"] = nullptr;
      }
      Tell(event);
    }
  }

  void OnLaunched(sd_bus_message* message) {
    const char* id = nullptr;
    if (IsFrom(message, m_remote) && sd_bus_message_read(message, "s", &id) > 0) {
      Tell(About("launched", id));
    }
  }

  // ---- The list

  void ReadItems() {
    if (m_reading != nullptr) {
      return;
    }
    const applist::MessagePtr question = ControlClient::Question(m_bus);
    sd_bus_slot* slot = nullptr;
    const int r =
        sd_bus_call_async(m_bus, &slot, question.get(), Callback<&Watcher::OnItems>, this, 0);
    if (r < 0) {
      throw applist::ControlError(applist::BusError().Text(r), "", r);
    }
    m_reading.reset(slot);
    m_changed = NowMicroseconds();
  }

  void OnItems(sd_bus_message* answer) {
    m_reading.reset();
    try {
      TakeItems(ControlClient::StateIn(answer));
    } catch (const applist::ControlError& error) {
      std::fprintf(stderr,
                   "applistctl: cannot read the list at %s: %s; trying again when it changes\n",
                   Link().own.incoming.c_str(), Harmless(error.what()).c_str());
    }
    StopReading();
  }

  void TakeItems(const ControlClient::State& state) {
    const ItemTexts before = std::exchange(m_items, state.items);
    if (!std::exchange(m_known, true)) {
      if (!m_selection) {
        m_selection = applist::ToBusText(state.selection);
      }
      return;
    }
    for (const ItemChange& change : ChangesBetween(before, m_items)) {
      Write(InWords(change), m_changed);
    }
  }

  static Event InWords(const ItemChange& change) {
    const std::string id = Shown(change.id);
    const std::string name = Shown(change.name);
    ordered_json fields = {{"id", id}, {"name", name}, {"place", change.place}};
    switch (change.kind) {
      case ItemChange::Kind::Removed:
        return {"removed", id, '"' + name + '"', fields};
      case ItemChange::Kind::Added:
        return {"added", id, '"' + name + '"', fields};
      case ItemChange::Kind::Moved:
        return {"moved", id, "to place " + std::to_string(change.place), fields};
      case ItemChange::Kind::Renamed:
        break;
    }
    fields["name_before"] = Shown(change.nameBefore);
    return {"renamed", id, '"' + Shown(change.nameBefore) + "\" to \"" + name + '"', fields};
  }

  void StopReading() {
    m_reading.reset();
    for (const auto& [event, time] : std::exchange(m_held, {})) {
      Write(event, time);
    }
  }

  // ---- Lines

  // An event about an item, with the text of its identifier on the bus.
  static Event About(const char* name, const std::string& text) {
    const std::optional<std::string> id = applist::FromBusText(text);
    const std::string shown = id ? Shown(*id) : Harmless(text);
    return {name, shown, {}, {{"id", shown}}};
  }

  void Tell(const Event& event) {
    const uint64_t now = NowMicroseconds();
    if (m_reading != nullptr) {
      m_held.emplace_back(event, now);
    } else {
      Write(event, now);
    }
  }

  void Write(const Event& event, uint64_t time) {
    if (m_format == Format::Json) {
      ordered_json json = {{"time", Timestamp(time)}, {"event", event.name}};
      json.update(event.fields);
      m_follower.Print(json.dump());
      return;
    }
    std::string line = TimeOfDay(time, 3) + "  " + event.name + " ";
    constexpr size_t kEventColumns = 15 + sizeof("user-interface-appeared");
    line.append(line.size() < kEventColumns ? kEventColumns - line.size() : 0, ' ');
    line += event.object + (event.words.empty() ? "" : "  " + event.words);
    m_follower.Print(line);
  }

  sd_bus* const m_bus;
  const Format m_format;
  std::string m_ui;
  std::string m_remote;
  // Whether the list of this remote side has been read before, and what it held.
  bool m_known = false;
  ItemTexts m_items;
  // When the change was announced that has it read again.
  uint64_t m_changed = 0;
  // As text of the bus; nothing when not known.
  std::optional<std::string> m_selection;
  std::deque<std::pair<Event, uint64_t>> m_held;
  Follower m_follower;
  applist::SlotPtr m_reading;
  std::vector<applist::SlotPtr> m_slots;
};

}  // namespace

void Watch(const FollowOptions& options, Format format) {
  const applist::BusPtr bus = Connect();
  Watcher(bus.get(), options, format).Run();
}
