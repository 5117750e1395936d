// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface without a screen: a model that does what standard input says, and writes what it
// holds as a line of JSON after each command and each event. Speaks as ui_peer.py does.
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cstddef>
#include <deque>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "dbus/EventLoop.h"

namespace {

std::string Hex(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 0xF];
  }
  return text;
}

std::string FromHex(const std::string& text) {
  std::string bytes;
  for (size_t at = 0; at + 1 < text.size(); at += 2) {
    bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
  }
  return bytes;
}

std::string Json(AppListItem* item) {
  return item == nullptr
             ? "null"
             : "[\"" + Hex(item->GetVisibleName()) + "\", \"" + Hex(item->GetUnigueId()) + "\"]";
}

class Item : public AppListItem {
 public:
  Item(std::string name, std::string id) : m_name(std::move(name)), m_id(std::move(id)) {}
  std::string GetVisibleName() override { return m_name; }
  std::string GetUnigueId() override { return m_id; }

 private:
  const std::string m_name;
  const std::string m_id;
};

class Driver : public ItemSelectionListener, public ItemChangeListener, public ItemClickListener {
 public:
  Driver() {
    m_model.AddItemSelectionListener(this);
    m_model.AddItemChangeListener(this);
    m_model.AddItemClickedListener(this);
  }

  void ItemSelected(AppListModel* /*model*/) override {
    Say("event", APPLIST_ITEM_SELECTION_EVENT);
  }
  void ItemChanged(AppListModel* /*model*/) override { Say("event", APPLIST_ITEM_CHANGE_EVENT); }
  void ItemClicked(AppListModel* /*model*/) override { Say("event", APPLIST_ITEM_CLICKED_EVENT); }

  void Run() {
    sd_event* event = nullptr;
    if (sd_event_default(&event) < 0 ||
        sd_event_add_io(event, nullptr, STDIN_FILENO, EPOLLIN, OnInput, this) < 0) {
      throw std::runtime_error("Cannot read the commands");
    }
    m_loop.Run();
    sd_event_unref(event);
  }

 private:
  template <class Value>
  void Say(const char* what, const Value& value) {
    std::cout << "{\"" << what << "\": " << value << ", \"state\": {\"items\": [";
    const char* separator = "";
    for (AppListItem* item : m_model.GetAllItems()) {
      std::cout << separator << Json(item);
      separator = ", ";
    }
    std::cout << "], \"selection\": " << Json(m_model.GetSelection()) << "}}" << std::endl;
  }

  static int OnInput(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* driver) {
    static_cast<Driver*>(driver)->Read(fd);
    return 0;
  }

  void Read(int fd) {
    char bytes[4096];
    const ssize_t length = read(fd, bytes, sizeof(bytes));
    if (length <= 0) {
      m_loop.Stop();
      return;
    }
    m_input.append(bytes, static_cast<size_t>(length));
    size_t end = 0;
    while ((end = m_input.find('\n')) != std::string::npos) {
      std::istringstream line(m_input.substr(0, end));
      m_input.erase(0, end + 1);
      std::string command;
      line >> command;
      Do(command, line);
      Say("done", '"' + command + '"');
    }
  }

  void Do(const std::string& command, std::istream& arguments) {
    std::vector<AppListItem*> items;
    for (std::string word; arguments >> word;) {
      items.push_back(NewItem(word));
    }
    if (command == "add") {
      m_model.AddItems(items);
    } else if (command == "clear") {
      m_model.RemoveAllItems();
    } else if (command == "append") {
      m_model.AddItemAtEnd(items.at(0));
    } else if (command == "select") {
      m_model.SetSelection(Listed(items.at(0)));
    } else if (command == "click") {
      m_model.SetClicked(items.at(0));
    } else if (command == "remove") {
      m_model.RemoveItem(items.at(0));
    } else if (command == "modify") {
      m_model.ModifyItem(items.at(0), items.at(1));
    } else {
      throw std::runtime_error("Unknown command " + command);
    }
  }

  // An item from NAME:ID in hexadecimal. The model borrows it, so it is kept to the end.
  AppListItem* NewItem(const std::string& word) {
    const size_t colon = word.find(':');
    m_items.emplace_back(FromHex(word.substr(0, colon)), FromHex(word.substr(colon + 1)));
    return &m_items.back();
  }

  // The item of the list with the same identifier, as a user would pick it; `item` where there is
  // none.
  AppListItem* Listed(AppListItem* item) {
    for (AppListItem* listed : m_model.GetAllItems()) {
      if (listed->GetUnigueId() == item->GetUnigueId()) {
        return listed;
      }
    }
    return item;
  }

  std::deque<Item> m_items;
  EventLoop m_loop;
  RemoteAppListModel m_model;
  std::string m_input;
};

}  // namespace

int main() {
  try {
    Driver().Run();
  } catch (const std::exception& e) {
    std::cerr << "model-driver: " << e.what() << std::endl;
    return 1;
  }
  return 0;
}
