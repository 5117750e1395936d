// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// status: both ends of the link, each asked by itself, all at the same time.
#include <optional>

#include "Bus.h"
#include "Commands.h"
#include "Output.h"
#include "ShownText.h"
#include "support/LinkProperties.h"

using applist::BusError;
using applist::ControlClient;
using nlohmann::ordered_json;

namespace {

struct End {
  const char* title;
  const char* key;
  applist::LinkEnd names;
  Owner incoming;
  Owner calls;
  // Whether it answers; nothing when it was not asked, or the bus does not let us.
  std::optional<bool> answers;
  applist::LinkProperties link;
  bool asked = false;
  applist::SlotPtr question;
};

// The list of the remote side.
struct Held {
  std::optional<ControlClient::State> state;
  std::optional<applist::ControlError> error;
  bool asked = false;
  applist::SlotPtr question;
};

int OnLinkState(sd_bus_message* answer, void* data, sd_bus_error* /*error*/) {
  End& end = *static_cast<End*>(data);
  end.asked = false;
  const BusError error(answer);
  if (IsTimeOut(0, error.Name())) {
    end.answers = false;
  } else if (!error.Is(SD_BUS_ERROR_ACCESS_DENIED)) {
    end.answers = true;
  }
  if (error.Name().empty()) {
    end.link.Take(answer);
  }
  return 0;
}

int OnHeld(sd_bus_message* answer, void* data, sd_bus_error* /*error*/) {
  Held& held = *static_cast<Held*>(data);
  held.asked = false;
  try {
    held.state = ControlClient::StateIn(answer);
  } catch (const applist::ControlError& error) {
    held.error = error;
  }
  return 0;
}

void Ask(sd_bus* bus, End& end) {
  end.incoming = OwnerOf(bus, end.names.incoming);
  end.calls = OwnerOf(bus, end.names.calls);
  if (!end.incoming.uniqueName.empty()) {
    end.question = GetLinkProperties(bus, end.incoming.uniqueName, OnLinkState, &end);
    end.asked = true;
  }
}

void Ask(sd_bus* bus, Held& held) {
  const applist::MessagePtr question = ControlClient::Question(bus);
  sd_bus_slot* slot = nullptr;
  held.asked = sd_bus_call_async(bus, &slot, question.get(), OnHeld, &held, 0) >= 0;
  held.question.reset(slot);
}

// The questions end by themselves: with an answer or with their time-out, whose handling does not
// count as something that was processed.
void AwaitAnswers(sd_bus* bus, const End& one, const End& other, const Held& held) {
  const auto asked = [&] { return one.asked || other.asked || held.asked; };
  while (asked()) {
    int r = sd_bus_process(bus, nullptr);
    if (r == 0 && asked()) {
      r = sd_bus_wait(bus, UINT64_MAX);
    }
    if (r < 0) {
      FailLost();
    }
  }
}

// ---- JSON

ordered_json Json(const std::optional<std::string>& text) {
  return text && !text->empty() ? ordered_json(Shown(*text)) : ordered_json();
}

ordered_json Json(std::optional<bool> flag) {
  return flag ? ordered_json(*flag) : ordered_json();
}

ordered_json Json(const std::string& name, const Owner& owner) {
  const bool known = owner.process != 0;
  return {{"name", name},
          {"owner", Json(owner.uniqueName)},
          {"process", known ? ordered_json(owner.process) : ordered_json()},
          {"command", Json(owner.command)}};
}

ordered_json Json(const End& end) {
  ordered_json partner = Json(end.link.partner);
  if (end.link.partner && end.link.partner->empty()) {
    partner = "";
  }
  return {{"incoming", Json(end.names.incoming, end.incoming)},
          {"calls", Json(end.names.calls, end.calls)},
          {"answers", Json(end.answers)},
          {"partner", partner},
          {"hung", Json(end.link.hung)},
          {"direct", Json(end.link.direct)}};
}

ordered_json Json(const Held& held) {
  if (!held.state) {
    return nullptr;
  }
  return {{"connected", held.state->connected},
          {"items", held.state->items.size()},
          {"selection", Json(held.state->selection)},
          {"last_clicked", Json(held.state->lastClicked)}};
}

// ---- Text

using Rows = std::vector<std::vector<std::string>>;

std::string InWords(std::optional<bool> flag, const char* yes = "yes", const char* no = "no") {
  return flag ? (*flag ? yes : no) : "-";
}

std::vector<std::string> Row(const char* what, const std::string& name, const Owner& owner) {
  if (owner.uniqueName.empty()) {
    return {what, name, "-"};
  }
  return {what, name, owner.uniqueName,
          owner.process == 0
              ? "-"
              : Shown(owner.command) + " (process " + std::to_string(owner.process) + ")"};
}

std::string StateOf(const End& end) {
  if (end.incoming.uniqueName.empty()) {
    return "not running";
  }
  return InWords(end.answers, "running", "does not answer");
}

std::string PartnerOf(const applist::LinkProperties& link) {
  return link.partner ? (link.partner->empty() ? "none" : Shown(*link.partner)) : "-";
}

void AddRows(Rows& rows, const End& end) {
  rows.push_back({end.title, StateOf(end)});
  rows.push_back(Row("  name", end.names.incoming, end.incoming));
  rows.push_back(Row("  calls", end.names.calls, end.calls));
  rows.push_back({"  partner", PartnerOf(end.link)});
  rows.push_back({"  hung", InWords(end.link.hung)});
  rows.push_back({"  way", InWords(end.link.direct, "direct line", "bus")});
}

void AddRows(Rows& rows, const Held& held) {
  const auto text = [](const std::string& id) { return id.empty() ? "none" : Shown(id); };
  const auto& state = held.state;
  rows.push_back({"list", state ? std::to_string(state->items.size()) +
                                      (state->items.size() == 1 ? " item" : " items")
                                : "-"});
  rows.push_back({"  connected", state ? InWords(state->connected) : "-"});
  rows.push_back({"  selection", state ? text(state->selection) : "-"});
  rows.push_back({"  last click", state ? text(state->lastClicked) : "-"});
}

void FailUnless(const End& end) {
  if (end.answers == false) {
    throw Failure(Status::TimeOut, std::string("the ") + end.title + " at " + end.names.incoming +
                                       " does not answer; see whether process " +
                                       std::to_string(end.incoming.process) + " is stopped");
  }
}

}  // namespace

void ShowStatus(Format format) {
  const applist::BusPtr bus = Connect();
  End ui = {"user interface", "user_interface", Link().partner, {}, {}, {}, {}, false, nullptr};
  End remote = {"remote side", "remote_side", Link().own, {}, {}, {}, {}, false, nullptr};
  Held held;
  Ask(bus.get(), ui);
  Ask(bus.get(), remote);
  Ask(bus.get(), held);
  AwaitAnswers(bus.get(), ui, remote, held);
  if (format == Format::Json) {
    PrintLine(ordered_json{{ui.key, Json(ui)}, {remote.key, Json(remote)}, {"list", Json(held)}});
  } else {
    Rows rows;
    AddRows(rows, ui);
    AddRows(rows, remote);
    AddRows(rows, held);
    for (const std::string& line : Aligned(rows)) {
      PrintLine(line.front() == ' ' ? line : Bold(line));
    }
  }
  FailUnless(ui);
  FailUnless(remote);
  // A remote side of another kind than applistd does its part without showing what it holds.
  if (held.error && !HasNoControl(*held.error)) {
    Fail("read the list", *held.error);
  }
}
