// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// capture: what passes on the link, as a monitor of the bus hears it.
#include <chrono>
#include <cstdio>
#include <map>
#include <utility>

#include "Bus.h"
#include "Commands.h"
#include "FrameText.h"
#include "Output.h"
#include "ShownText.h"
#include "dbus/Frame.h"
#include "support/LinkProperties.h"

using nlohmann::ordered_json;

namespace {

using applist::BusError;
using Clock = std::chrono::steady_clock;

constexpr const char* kBusName = "org.freedesktop.DBus";

std::string Text(const char* text) {
  return text != nullptr ? text : "";
}

// Of answers, those of both ends, and the errors that the bus itself puts in their place.
std::vector<std::string> Rules() {
  std::vector<std::string> rules = {std::string("interface='") + applist::kLinkInterface + "'",
                                    std::string("type='error',sender='") + kBusName + "'",
                                    std::string("type='signal',sender='") + kBusName +
                                        "',member='NameOwnerChanged',arg0namespace='" +
                                        Link().Namespace() + "'"};
  for (const std::string& end : {Link().own.incoming, Link().partner.incoming}) {
    for (const char* type : {"method_return", "error"}) {
      rules.push_back(std::string("type='") + type + "',sender='" + end + "'");
    }
  }
  return rules;
}

class Capturer {
 public:
  Capturer(const FollowOptions& options, Format format)
      : m_format(format),
        m_monitor(ConnectAsMonitor(Rules())),
        m_bus(Connect()),
        m_follower(options) {}

  void Run() {
    sd_bus_slot* slot = nullptr;
    if (sd_bus_add_filter(m_monitor.get(), &slot, OnMessage, this) < 0) {
      FailLost();
    }
    m_filter.reset(slot);
    AddParty("ui", Link().partner);
    AddParty("remote", Link().own);
    m_follower.Attach(m_monitor.get());
    m_follower.Attach(m_bus.get());
    m_follower.Run();
  }

 private:
  // A call that was not answered yet.
  struct Open {
    int identifier;
    Clock::time_point since;
  };

  // One line.
  struct Line {
    const char* kind;
    std::optional<int> identifier;
    DecodedBytes payload;
    std::optional<Clock::duration> latency;
    std::string error;
    std::string errorText;
  };

  void AddParty(const char* party, const applist::LinkEnd& end) {
    for (const std::string& name : {end.incoming, end.calls}) {
      m_parties[name] = party;
      const std::string owner = OwnerOf(m_bus.get(), name).uniqueName;
      if (!owner.empty()) {
        m_parties[owner] = party;
        Hold(name, owner);
      }
    }
  }

  // ---- A direct line, which no monitor hears

  // The user interface's end gives up its line for as long as our connection lasts. One that does
  // not is asked whether it has a line.
  void Hold(const std::string& name, const std::string& owner) {
    if (name == Link().partner.incoming) {
      m_held = owner;
      m_questions.push_back(HoldBus(m_bus.get(), owner, OnBusHeld, this));
    }
  }

  static int OnBusHeld(sd_bus_message* answer, void* data, sd_bus_error* /*error*/) {
    auto* capturer = static_cast<Capturer*>(data);
    return capturer->m_follower.Safely([&] {
      if (!BusError(answer).Name().empty()) {
        capturer->m_questions.push_back(
            GetLinkProperties(capturer->m_bus.get(), capturer->m_held, OnLinkProperties, capturer));
      }
    });
  }

  static int OnLinkProperties(sd_bus_message* answer, void* data, sd_bus_error* /*error*/) {
    auto* capturer = static_cast<Capturer*>(data);
    return capturer->m_follower.Safely([&] { capturer->NoteWhetherDirect(answer); });
  }

  void NoteWhetherDirect(sd_bus_message* answer) {
    applist::LinkProperties link;
    link.Take(answer);
    if (link.direct.value_or(false)) {
      NoteDirectLine();
    }
  }

  void NoteDirectLine() {
    if (!std::exchange(m_directNoted, true)) {
      std::fputs(
          "applistctl: the ends have a direct line: its frames are not on the bus, and are"
          " not shown\n",
          stderr);
    }
  }

  // ---- What passes

  // Nobody else may handle what others say to each other: the bus library would answer it, and a
  // monitor that says anything is cut off.
  static int OnMessage(sd_bus_message* message, void* data, sd_bus_error* /*error*/) {
    if (sd_bus_message_is_signal(message, "org.freedesktop.DBus.Local", nullptr) > 0) {
      return 0;
    }
    auto* capturer = static_cast<Capturer*>(data);
    capturer->m_follower.Safely([&] { capturer->Take(message); });
    return 1;
  }

  void Take(sd_bus_message* message) {
    uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (sd_bus_message_is_signal(message, kBusName, "NameOwnerChanged") > 0) {
      TakeOwner(message);
    } else if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") > 0) {
      TakeCall(message);
    } else if (sd_bus_message_is_signal(message, applist::kLinkInterface, "Notify") > 0) {
      TakeFrame(message, "notification");
    } else if (type == SD_BUS_MESSAGE_METHOD_RETURN || type == SD_BUS_MESSAGE_METHOD_ERROR) {
      TakeAnswer(message);
    }
  }

  // Unique names are not used twice: who was an end stays known.
  void TakeOwner(sd_bus_message* message) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (Text(sd_bus_message_get_sender(message)) == kBusName &&
        sd_bus_message_read(message, "sss", &name, &before, &after) > 0) {
      const auto party = m_parties.find(name);
      if (party != m_parties.end() && *after != '\0') {
        m_parties[after] = party->second;
        Hold(name, after);
      }
      if (*before != '\0') {
        m_open.erase(m_open.lower_bound({before, 0}), m_open.upper_bound({before, UINT64_MAX}));
      }
    }
  }

  void TakeCall(sd_bus_message* call) {
    const std::optional<int> identifier = TakeFrame(call, "call");
    uint64_t serial = 0;
    if (identifier && sd_bus_message_get_expect_reply(call) > 0 &&
        sd_bus_message_get_cookie(call, &serial) >= 0) {
      m_open[{Text(sd_bus_message_get_sender(call)), serial}] = {*identifier, Clock::now()};
    }
  }

  std::optional<int> TakeFrame(sd_bus_message* message, const char* kind) {
    Line line = {kind, {}, {}, {}, {}, {}};
    std::vector<char> frame;
    if (applist::ReadFrame(message, frame) < 0) {
      line.payload.trouble = "it holds no array of bytes that can be a frame";
    } else {
      line.payload = DecodeFrame({frame.begin(), frame.end()});
      line.identifier = line.payload.identifier;
    }
    Print(message, line);
    return line.identifier;
  }

  void TakeAnswer(sd_bus_message* answer) {
    uint64_t serial = 0;
    sd_bus_message_get_reply_cookie(answer, &serial);
    const auto call = m_open.find({Text(sd_bus_message_get_destination(answer)), serial});
    if (call == m_open.end()) {
      return;
    }
    Line line = {"reply", call->second.identifier, {}, Clock::now() - call->second.since, {}, {}};
    m_open.erase(call);
    const sd_bus_error* error = sd_bus_message_get_error(answer);
    std::vector<char> payload;
    if (error != nullptr) {
      line.kind = "error";
      line.error = Harmless(Text(error->name));
      line.errorText = Harmless(Text(error->message));
    } else if (applist::ReadFrame(answer, payload) < 0) {
      line.payload.trouble = "it holds no array of bytes that can be a payload";
    } else {
      line.payload = DecodePayload({payload.begin(), payload.end()});
    }
    Print(answer, line);
  }

  // ---- Lines

  // One of the two ends, or the name of a stranger.
  std::string PartyOf(const char* name) const {
    const auto party = m_parties.find(Text(name));
    return party != m_parties.end() ? party->second : Harmless(Text(name));
  }

  static long long Microseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
  }

  void Print(sd_bus_message* message, const Line& line) {
    const uint64_t now = NowMicroseconds();
    const char* sender = sd_bus_message_get_sender(message);
    const char* destination = sd_bus_message_get_destination(message);
    if (m_format == Format::Text) {
      m_follower.Print(TimeOfDay(now, 6) + "  " + PartyOf(sender) + " -> " + PartyOf(destination) +
                       "  " + InWords(line));
      return;
    }
    ordered_json json = {
        {"time", Timestamp(now)},           {"kind", line.kind},
        {"from", PartyOf(sender)},          {"to", PartyOf(destination)},
        {"sender", Harmless(Text(sender))}, {"destination", Harmless(Text(destination))}};
    AddJson(json, line);
    m_follower.Print(json.dump());
  }

  static void AddJson(ordered_json& json, const Line& line) {
    json["identifier"] = line.identifier ? ordered_json(*line.identifier) : ordered_json();
    json["message"] = line.identifier ? MessageName(*line.identifier) : ordered_json();
    json["items"] = ItemsJson(line.payload.items);
    if (line.latency) {
      json["latency_us"] = Microseconds(*line.latency);
    }
    if (!line.error.empty()) {
      json["error"] = line.error;
      json["error_text"] = line.errorText;
    }
    if (!line.payload.trouble.empty()) {
      json["trouble"] = line.payload.trouble;
    }
  }

  static std::string InWords(const Line& line) {
    std::string words = line.kind;
    if (line.identifier) {
      words += " " + MessageText(*line.identifier);
    }
    if (line.latency) {
      char latency[32];
      std::snprintf(latency, sizeof(latency), " after %.3f ms",
                    static_cast<double>(Microseconds(*line.latency)) / 1000);
      words += latency;
    }
    const char* separator = ": ";
    for (RemoteAppListItem item : line.payload.items) {
      words += separator + Shown(item.GetUnigueId()) + " \"" + Shown(item.GetVisibleName()) + '"';
      separator = ", ";
    }
    if (!line.error.empty()) {
      words += ": " + line.error + ": " + line.errorText;
    }
    if (!line.payload.trouble.empty()) {
      words += "; malformed: " + line.payload.trouble;
    }
    return words;
  }

  const Format m_format;
  applist::BusPtr m_monitor;
  applist::BusPtr m_bus;
  // By unique and by other names.
  std::map<std::string, std::string> m_parties;
  // By the caller's unique name and the number of its message.
  std::map<std::pair<std::string, uint64_t>, Open> m_open;
  // The user interface's end that was asked last to keep to the bus.
  std::string m_held;
  bool m_directNoted = false;
  Follower m_follower;
  applist::SlotPtr m_filter;
  std::vector<applist::SlotPtr> m_questions;
};

}  // namespace

void Capture(const FollowOptions& options, Format format) {
  Capturer(options, format).Run();
}
