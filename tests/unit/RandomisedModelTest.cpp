// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Random operations and events, compared after each with a second, simpler reckoning.
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "support/PlainItem.h"
#include "support/Record.h"
#include "support/RecordingTransport.h"
#include "support/Seed.h"
#include "support/TestItem.h"

namespace applist_test {
namespace {

std::string EncodeItem(const TestItem& item) {
  return Encode(PlainItem{item.name, item.id});
}

// The identifier of the first item of a reply, or nothing when there is no such item.
std::optional<std::string> FirstId(const std::string& reply) {
  const std::optional<PlainItem> first = DecodeFirst(reply);
  return first ? std::make_optional(first->id) : std::nullopt;
}

// What the model should hold and what it should have sent.
class Reckoning {
 public:
  using Items = std::vector<AppListItem*>;

  void Select(TestItem* item) {
    if (item != nullptr && !item->id.empty()) {
      selection = item;
      Send(2000, Encode(*item));
    }
  }
  void Click(TestItem* item) {
    if (item != nullptr) {
      Send(2006, Encode(*item));
    }
  }
  void RemoveAll() {
    list.clear();
    selection = nullptr;
    frames.push_back(Frame("", 2003));
  }
  void Add(const std::vector<TestItem*>& items) {
    for (TestItem* const item : items) {
      if (!Find(item->id)) {
        list.push_back(item);
      }
    }
    Send(2004, Encode(items));
  }
  void AddAtEnd(TestItem* item) {
    if (item != nullptr) {
      list.push_back(item);
      Send(2005, Encode(*item));
    }
  }
  void Remove(TestItem* item) {
    if (const std::optional<size_t> at = item != nullptr ? Find(item->id) : std::nullopt) {
      selection = selection == list[*at] ? nullptr : selection;
      list.erase(list.begin() + static_cast<std::ptrdiff_t>(*at));
      Send(2007, Encode(*item));
    }
  }
  void Modify(TestItem* from, TestItem* to) {
    if (from == nullptr || to == nullptr) {
      return;
    }
    if (const std::optional<size_t> at = Find(from->id)) {
      selection = selection == list[*at] ? to : selection;
      list[*at] = to;
      Send(2008, Encode(*from) + Encode(*to));
    }
  }
  void Event(int event, const std::string& reply) {
    if (event == 1 || event == 3) {
      calls.push_back(event);
    } else if (event == 2) {
      frames.push_back(Frame("", 2001));
      const std::optional<std::string> id = FirstId(reply);
      const std::optional<size_t> at = id ? Find(*id) : std::nullopt;
      selection = at ? list[*at] : nullptr;
      calls.push_back(event);
    } else if (event == 4 && !list.empty()) {
      Send(2004, Encode(list));
      if (selection != nullptr && !selection->id.empty()) {
        Send(2000, Encode(*selection));
      }
    }
  }

  Items List() const { return Items(list.begin(), list.end()); }

  std::vector<TestItem*> list;
  TestItem* selection = nullptr;
  std::vector<std::string> frames;
  std::vector<int> calls;  // The events that listeners heard.

 private:
  static std::string Encode(const TestItem& item) { return EncodeItem(item); }
  static std::string Encode(const std::vector<TestItem*>& items) {
    std::string encoding;
    for (const TestItem* const item : items) {
      encoding += Encode(*item);
    }
    return encoding;
  }

  std::optional<size_t> Find(const std::string& id) const {
    for (size_t at = 0; at < list.size(); ++at) {
      if (list[at]->id == id) {
        return at;
      }
    }
    return std::nullopt;
  }

  void Send(int messageId, const std::string& payload) {
    if (!payload.empty()) {
      frames.push_back(Frame(payload, messageId));
    }
  }
};

// Keeps the events that it hears.
class EventKeeper : public ItemSelectionListener,
                    public ItemChangeListener,
                    public ItemClickListener {
 public:
  void ItemChanged(AppListModel*) override { heard.push_back(1); }
  void ItemSelected(AppListModel*) override { heard.push_back(2); }
  void ItemClicked(AppListModel*) override { heard.push_back(3); }
  std::vector<int> heard;
};

class RandomisedModel : public ::testing::Test {
 protected:
  RandomisedModel() {
    for (const std::string id :
         {"", "a", "A", "a ", "b", "bb", "two\nlines", "back\\slash", "\\n", "\n"}) {
      items.emplace_back("Name of " + id, id);
      items.emplace_back("", id);
    }
    items.emplace_back(std::string("zero\0byte", 9), std::string("\0", 1));
    items.emplace_back("\xFF\xFE", std::string("\0\0", 2));
    AnswerWith([this](const std::string& frame) {
      sent.push_back(frame);
      return reply;
    });
    model.AddItemSelectionListener(&keeper);
    model.AddItemChangeListener(&keeper);
    model.AddItemClickedListener(&keeper);
  }
  ~RandomisedModel() override { AnswerWith(nullptr); }

  size_t Below(size_t limit) { return random() % limit; }

  TestItem* AnyItem() { return &items[Below(items.size())]; }
  TestItem* AnyItemOrNull() { return Below(20) == 0 ? nullptr : AnyItem(); }

  std::string AnyReply() {
    std::string bytes;
    for (size_t count = Below(4); count > 0; --count) {
      bytes += EncodeItem(*AnyItem());
    }
    switch (Below(6)) {
      case 0:  // Cut short.
        bytes.resize(Below(bytes.size() + 1));
        break;
      case 1:  // One byte spoilt.
        if (!bytes.empty()) {
          bytes[Below(bytes.size())] = "\\\nnx"[Below(4)];
        }
        break;
      case 2:  // Noise.
        for (size_t count = Below(12); count > 0; --count) {
          bytes.insert(0, 1, "\\\nnab"[Below(5)]);
        }
        break;
      case 3:  // Of something that nobody lists.
        bytes = "Name\nunknown\n" + bytes;
        break;
      default:
        break;
    }
    return bytes;
  }

  void Step() {
    switch (Below(16)) {
      case 0:
      case 1:
        return Both(&RemoteAppListModel::SetSelection, &Reckoning::Select, AnyItemOrNull());
      case 2:
        return Both(&RemoteAppListModel::SetClicked, &Reckoning::Click, AnyItemOrNull());
      case 3:
      case 4:
        return Both(&RemoteAppListModel::AddItemAtEnd, &Reckoning::AddAtEnd, AnyItemOrNull());
      case 5:
      case 6:
        return Both(&RemoteAppListModel::RemoveItem, &Reckoning::Remove, AnyItemOrNull());
      case 7:
      case 8:
        return Both(&RemoteAppListModel::ModifyItem, &Reckoning::Modify, AnyItemOrNull(),
                    AnyItemOrNull());
      case 9: {
        std::vector<TestItem*> some(Below(5));
        for (TestItem*& item : some) {
          item = AnyItem();
        }
        model.AddItems({some.begin(), some.end()});
        return reckoning.Add(some);
      }
      case 10:
        if (Below(4) == 0) {
          Both(&RemoteAppListModel::RemoveAllItems, &Reckoning::RemoveAll);
        }
        return;
      default: {
        const int event = static_cast<int>(Below(6));
        std::vector<char> data = Bytes(Frame(AnyReply(), event));
        LiveTransports().back()->HandleNotification(data);
        return reckoning.Event(event, reply);
      }
    }
  }

  template <class ModelMethod, class ReckoningMethod, class... Arguments>
  void Both(ModelMethod onModel, ReckoningMethod onReckoning, Arguments... arguments) {
    (model.*onModel)(arguments...);
    (reckoning.*onReckoning)(arguments...);
  }

  void Compare() {
    ASSERT_EQ(model.GetAllItems(), reckoning.List());
    ASSERT_EQ(model.GetItemsCount(), static_cast<int>(reckoning.list.size()));
    ASSERT_EQ(model.GetSelection(), reckoning.selection);
    ASSERT_EQ(sent, reckoning.frames);
    ASSERT_EQ(keeper.heard, reckoning.calls);
  }

  void Forget() {
    sent.clear();
    reckoning.frames.clear();
    keeper.heard.clear();
    reckoning.calls.clear();
  }

  const RecordingOff off;
  std::mt19937 random{Seed()};
  std::deque<TestItem> items;
  std::string reply;
  std::vector<std::string> sent;
  EventKeeper keeper;
  RemoteAppListModel model;
  Reckoning reckoning;
};

TEST_F(RandomisedModel, AgreesWithTheReckoningAfterEveryStep) {
  for (int step = 0; step < 100000; ++step) {
    reply = AnyReply();
    Step();
    Compare();
    if (HasFatalFailure()) {
      FAIL() << "at step " << step;
    }
    Forget();
  }
}

}  // namespace
}  // namespace applist_test
