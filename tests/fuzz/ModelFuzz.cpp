// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The user interface's model, fed events and answers of a remote side that says anything. The input
// is a list of items and then one step after another.
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "fuzz/Fuzz.h"
#include "support/PlainItem.h"
#include "support/Record.h"
#include "support/RecordingTransport.h"
#include "support/TestItem.h"

namespace applist_test {
namespace {

using applist_fuzz::Expect;
using applist_fuzz::Input;

// What the model did in one step.
struct Doings {
  std::vector<std::string> sent;
  std::vector<int> heard;  // The events that its listeners heard.
};

class Listener : public ItemSelectionListener, public ItemChangeListener, public ItemClickListener {
 public:
  explicit Listener(std::vector<int>& heard) : m_heard(heard) {}
  void ItemSelected(AppListModel* /*model*/) override { m_heard.push_back(2); }
  void ItemChanged(AppListModel* /*model*/) override { m_heard.push_back(1); }
  void ItemClicked(AppListModel* /*model*/) override { m_heard.push_back(3); }

 private:
  std::vector<int>& m_heard;
};

class Session {
 public:
  explicit Session(Input& input) : m_input(input), m_listener(m_done.heard) {
    AnswerWith([this](const std::string& frame) {
      m_done.sent.push_back(frame);
      return m_reply;
    });
    m_model.AddItemSelectionListener(&m_listener);
    m_model.AddItemChangeListener(&m_listener);
    m_model.AddItemClickedListener(&m_listener);
    for (unsigned count = input.Byte() % 8; count > 0; --count) {
      const std::string name = input.Piece();
      m_model.AddItemAtEnd(&m_items.emplace_back(name, input.Piece()));
    }
  }
  ~Session() { AnswerWith(nullptr); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Step() {
    const unsigned what = m_input.Byte();
    m_done = Doings();
    Doings expected;
    if (what >= 0x80) {
      SelectHere(what % 8);
      return;
    }
    m_reply = m_input.Piece();
    const std::string frame =
        what < 8 ? Frame(m_input.Piece(), static_cast<int>(what)) : m_input.Piece();
    for (int event = 1; event <= 4; ++event) {
      if (frame.size() >= 4 && frame.substr(frame.size() - 4) == Frame("", event)) {
        expected = Reckon(event);
      }
    }
    std::vector<char> data = Bytes(frame);
    LiveTransports().back()->HandleNotification(data);
    Expect(m_done.sent == expected.sent, "the model sends what it should");
    Expect(m_done.heard == expected.heard, "the listeners hear what they should");
    ExpectState();
  }

 private:
  void SelectHere(size_t at) {
    if (at < m_items.size()) {
      m_model.SetSelection(&m_items[at]);
      m_selected = m_items[at].id.empty() ? m_selected : &m_items[at];
    }
    ExpectState();
  }

  Doings Reckon(int event) {
    if (event == APPLIST_LOCAL_CREATED_EVENT) {
      return {Pushed(), {}};
    }
    if (event != APPLIST_ITEM_SELECTION_EVENT) {
      return {{}, {event}};
    }
    m_selected = Named(DecodeFirst(m_reply));
    return {{Frame("", APPLIST_GET_SELECTION_FNC)}, {event}};
  }

  std::vector<std::string> Pushed() {
    std::vector<std::string> frames;
    std::string list;
    for (const TestItem& item : m_items) {
      list += Encode(PlainItem{item.name, item.id});
    }
    if (!m_items.empty()) {
      frames.push_back(Frame(list, APPLIST_ADD_ITEMS_FNC));
    }
    if (m_selected != nullptr && !m_selected->id.empty()) {
      const PlainItem item = {m_selected->name, m_selected->id};
      frames.push_back(Frame(Encode(item), APPLIST_SET_SELECTION_FNC));
    }
    return frames;
  }

  TestItem* Named(const std::optional<PlainItem>& wanted) {
    for (TestItem& item : m_items) {
      if (wanted && item.id == wanted->id) {
        return &item;
      }
    }
    return nullptr;
  }

  void ExpectState() {
    std::vector<AppListItem*> list;
    for (TestItem& item : m_items) {
      list.push_back(&item);
    }
    Expect(m_model.GetAllItems() == list, "the list stays as it is");
    Expect(m_model.GetSelection() == m_selected, "the selection is what it should be");
  }

  Input& m_input;
  Doings m_done;
  Listener m_listener;
  std::string m_reply;
  std::deque<TestItem> m_items;
  TestItem* m_selected = nullptr;
  RemoteAppListModel m_model;
};

}  // namespace
}  // namespace applist_test

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const applist_test::RecordingOff off;
  applist_fuzz::Input input(data, size);
  applist_test::Session session(input);
  while (!input.IsEmpty()) {
    session.Step();
  }
  return 0;
}
