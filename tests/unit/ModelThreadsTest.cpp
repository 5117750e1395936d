// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The model under several threads: meant for the thread sanitizer, and true without it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "support/Record.h"
#include "support/RecordingTransport.h"
#include "support/Seed.h"
#include "support/TestItem.h"

namespace applist_test {
namespace {

constexpr int kTurns = 5000;

// Counts calls, and asks the model as a user interface would.
class CountingListener : public ItemSelectionListener,
                         public ItemChangeListener,
                         public ItemClickListener {
 public:
  void ItemSelected(AppListModel* model) override { Count(selected, model); }
  void ItemChanged(AppListModel* model) override { Count(changed, model); }
  void ItemClicked(AppListModel* model) override { Count(clicked, model); }

  std::atomic<int> selected{0};
  std::atomic<int> changed{0};
  std::atomic<int> clicked{0};

 private:
  static void Count(std::atomic<int>& count, AppListModel* model) {
    count.fetch_add(1, std::memory_order_relaxed);
    model->GetAllItems();
    model->GetSelection();
  }
};

class ModelThreads : public ::testing::Test {
 protected:
  ModelThreads() {
    for (int k = 0; k < 8; ++k) {
      items.emplace_back("Name " + std::to_string(k), std::to_string(k));
    }
    AnswerWith([this](const std::string& frame) { return Answer(frame); });
  }
  ~ModelThreads() override { AnswerWith(nullptr); }

  // Counts the frame by its identifier. A question for the selection is answered with each item in
  // turn, and now and then with none.
  std::string Answer(const std::string& frame) {
    for (size_t k = 0; k < frames.size(); ++k) {
      const int messageId = APPLIST_SET_SELECTION_FNC + static_cast<int>(k);
      const std::string trailer = Frame("", messageId);
      if (frame.size() >= trailer.size() &&
          frame.compare(frame.size() - trailer.size(), trailer.size(), trailer) == 0) {
        const int count = frames[k].fetch_add(1, std::memory_order_relaxed);
        const std::string id = std::to_string(count % 9);
        return messageId == APPLIST_GET_SELECTION_FNC ? "Any name\n" + id + "\n" : "";
      }
    }
    strangeFrames.fetch_add(1, std::memory_order_relaxed);
    return "";
  }

  int Frames(int messageId) const {
    return frames[static_cast<size_t>(messageId - APPLIST_SET_SELECTION_FNC)];
  }

  // Runs all tasks at the same time, kTurns times each.
  static void Run(const std::vector<std::function<void(int turn)>>& tasks) {
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> threads;
    for (const auto& task : tasks) {
      threads.emplace_back([&task, started] {
        started.wait();
        for (int turn = 0; turn < kTurns; ++turn) {
          task(turn);
        }
      });
    }
    start.set_value();
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  static void Notify(int event) {
    std::vector<char> data = Bytes(Frame("", event));
    LiveTransports().back()->HandleNotification(data);
  }

  const RecordingOff off;
  std::deque<TestItem> items;
  std::vector<std::atomic<int>> frames = std::vector<std::atomic<int>>(9);
  std::atomic<int> strangeFrames{0};
  RemoteAppListModel model;
};

TEST_F(ModelThreads, NoAdditionIsLost) {
  const auto add = [this](int turn) {
    model.AddItemAtEnd(&items[static_cast<size_t>(turn) % items.size()]);
  };
  Run({add, add});
  EXPECT_EQ(model.GetItemsCount(), 2 * kTurns);
  EXPECT_EQ(Frames(APPLIST_ADD_ITEM_AT_END_FNC), 2 * kTurns);
}

TEST_F(ModelThreads, OperationsEventsAndQuestionsGoTogether) {
  CountingListener listener;
  model.AddItemSelectionListener(&listener);
  model.AddItemChangeListener(&listener);
  model.AddItemClickedListener(&listener);
  int removals = 0;
  std::mt19937 random(Seed());

  const auto userInterface = [&](int turn) {
    TestItem& item = items[random() % items.size()];
    TestItem& other = items[random() % items.size()];
    switch (turn % 8) {
      case 0:
        return model.AddItems({&item, &other});
      case 1:
        return model.SetSelection(&item);
      case 2:
        return model.AddItemAtEnd(&item);
      case 3:
        return model.ModifyItem(&item, &other);
      case 4:
        return model.SetClicked(&item);
      case 5:
        return model.RemoveItem(&item);
      case 6:
        return model.SetSelection(&other);
      default:
        if (random() % 8 == 0) {
          ++removals;
          model.RemoveAllItems();
        }
    }
  };
  const auto remoteSide = [](int turn) { Notify(1 + turn % 4); };
  std::atomic<int> strangers{0};
  const auto reader = [&](int) {
    const auto known = [&](AppListItem* wanted) {
      return std::any_of(items.begin(), items.end(),
                         [wanted](TestItem& item) { return &item == wanted; });
    };
    for (AppListItem* const item : model.GetAllItems()) {
      strangers += known(item) ? 0 : 1;
    }
    AppListItem* const selection = model.GetSelection();
    strangers += selection == nullptr || known(selection) ? 0 : 1;
    strangers += model.GetItemsCount() >= 0 ? 0 : 1;
  };
  Run({userInterface, remoteSide, reader});

  EXPECT_EQ(strangers, 0);
  EXPECT_EQ(strangeFrames, 0);
  EXPECT_EQ(listener.selected, kTurns / 4);
  EXPECT_EQ(listener.changed, kTurns / 4);
  EXPECT_EQ(listener.clicked, kTurns / 4);
  EXPECT_EQ(Frames(APPLIST_GET_SELECTION_FNC), kTurns / 4);
  EXPECT_EQ(Frames(APPLIST_REMOVE_ALL_ITEMS_FNC), removals);
  EXPECT_EQ(Frames(APPLIST_ADD_ITEM_AT_END_FNC), kTurns / 8);
  EXPECT_EQ(Frames(APPLIST_SET_CLICKED_FNC), kTurns / 8);
  EXPECT_GE(Frames(APPLIST_SET_SELECTION_FNC), kTurns / 4);
  EXPECT_EQ(Frames(APPLIST_GET_ALL_ITEMS_FNC), 0);
}

}  // namespace
}  // namespace applist_test
