// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// list, select and click: the control interface of the remote side.
#include <optional>

#include "Bus.h"
#include "BusText.h"
#include "Commands.h"
#include "Output.h"
#include "ShownText.h"

using applist::ControlClient;
using nlohmann::ordered_json;

namespace {

// An item of the list with its marks. The list may hold an identifier twice: it means the first
// item then.
struct MarkedItem {
  std::string id;
  std::string name;
  bool selected;
  bool clicked;
};

std::vector<MarkedItem> Marked(const ControlClient::State& state) {
  bool selected = state.selection.empty();
  bool clicked = state.lastClicked.empty();
  std::vector<MarkedItem> items;
  items.reserve(state.items.size());
  for (const auto& [id, name] : state.items) {
    const bool isSelected = !selected && id == state.selection;
    const bool isClicked = !clicked && id == state.lastClicked;
    items.push_back({Shown(id), Shown(name), isSelected, isClicked});
    selected = selected || isSelected;
    clicked = clicked || isClicked;
  }
  return items;
}

ordered_json TextOrNull(const std::string& id) {
  return id.empty() ? ordered_json() : ordered_json(Shown(id));
}

void PrintJson(const ControlClient::State& state) {
  ordered_json items = ordered_json::array();
  for (const MarkedItem& item : Marked(state)) {
    items.push_back({{"id", item.id},
                     {"name", item.name},
                     {"selected", item.selected},
                     {"clicked", item.clicked}});
  }
  PrintLine(ordered_json{{"connected", state.connected},
                         {"selection", TextOrNull(state.selection)},
                         {"last_clicked", TextOrNull(state.lastClicked)},
                         {"items", items}});
}

void PrintTable(const ControlClient::State& state) {
  const std::vector<MarkedItem> items = Marked(state);
  std::vector<std::vector<std::string>> rows = {{"IDENTIFIER", "NAME"}};
  for (const MarkedItem& item : items) {
    rows.push_back({item.id, item.name});
  }
  const std::vector<std::string> lines = Aligned(rows);
  PrintLine(Dim("   " + lines.front()));
  for (size_t k = 0; k < items.size(); ++k) {
    const MarkedItem& item = items[k];
    const std::string line =
        std::string(item.selected ? "*" : " ") + (item.clicked ? "!" : " ") + " " + lines[k + 1];
    PrintLine(item.selected ? Bold(line) : line);
  }
  if (IsTerminal()) {
    PrintLine(Dim("\n" + std::to_string(items.size()) + (items.size() == 1 ? " item" : " items") +
                  "; * selected, ! clicked last"));
  }
}

using Method = void (ControlClient::*)(const std::string&);

void CallWith(const std::string& text, const char* verb, Method method, Format format) {
  const std::optional<std::string> id = applist::FromBusText(text);
  if (!id) {
    throw Failure(Status::Usage,
                  "'" + Harmless(text) +
                      "' is no identifier: a backslash is written \\\\, and any other byte can be "
                      "written \\xNN; see applistctl list");
  }
  ControlClient client(Connect());
  try {
    (client.*method)(*id);
  } catch (const applist::ControlError& error) {
    Fail(std::string(verb) + " '" + Shown(*id) + "'", error);
  }
  if (format == Format::Json) {
    PrintLine(ordered_json{{"done", verb}, {"id", Shown(*id)}});
  }
}

}  // namespace

void List(ListContent content, Format format) {
  ControlClient::State state;
  try {
    state = ControlClient(Connect()).Read();
  } catch (const applist::ControlError& error) {
    Fail("list the items", error);
  }
  if (content == ListContent::Identifiers) {
    for (const auto& item : state.items) {
      PrintLine(format == Format::Json ? ordered_json(Shown(item.first)).dump()
                                       : Shown(item.first));
    }
  } else if (format == Format::Json) {
    PrintJson(state);
  } else {
    PrintTable(state);
  }
}

void Select(const std::string& id, Format format) {
  CallWith(id, "select", &ControlClient::Select, format);
}

void Click(const std::string& id, Format format) {
  CallWith(id, "click", &ControlClient::Click, format);
}
