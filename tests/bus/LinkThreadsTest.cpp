// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Sending from any thread, inside an upcall, and without a loop.
#include <algorithm>

#include "bus/BusPeer.h"
#include "bus/LinkEnds.h"

namespace applist_test {
namespace {

using Message = std::pair<int, std::string>;

class LinkThreadsTest : public LinkEndsTest {
 protected:
  static std::string Echo(int id, const std::string& payload) {
    return std::to_string(id) + " " + payload;
  }
  void StartEcho() {
    StartRemote([](RemoteEnd& end) { end.answer = Echo; });
  }
};

TEST_F(LinkThreadsTest, AnUpcallMaySendAndIsNotEnteredAgainMeanwhile) {
  constexpr int kCount = 100;
  int depth = 0;
  int deepest = 0;
  std::vector<std::string> replies;
  StartUi();
  uiEnd->onNotification = [&](int id, const std::string& payload) {
    deepest = std::max(deepest, ++depth);
    replies.push_back(uiEnd->Send(id, payload));
    --depth;
  };
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  std::vector<std::string> expected;
  thread.Run([&] {
    for (int k = 0; k < kCount; ++k) {
      remote->SendNotification(k, "in");
      expected.push_back(std::to_string(k) + " in");
    }
  });
  EXPECT_TRUE(WaitFor([&] { return replies.size() == kCount; }));
  EXPECT_EQ(replies, expected);
  EXPECT_EQ(deepest, 1);
}

TEST_F(LinkThreadsTest, AMessageCanBeSentWithNoLoopRunning) {
  StartEcho();
  BusPeer watcher(bus.Address());
  ASSERT_TRUE(WaitOutsideLoop([&] { return !watcher.OwnerOf(kRemoteName).empty(); }));
  StartUi();
  EXPECT_EQ(uiEnd->Send(2000, "payload"), "2000 payload");
  EXPECT_EQ(uiEnd->Send(2001, ""), "2001 ");
  EXPECT_TRUE(uiEnd->States().empty()) << "nothing is heard without the loop";
}

TEST_F(LinkThreadsTest, UpcallsComeOnTheThreadOfTheLoopAlone) {
  const std::thread::id own = std::this_thread::get_id();
  bool elsewhere = false;
  int heard = 0;
  StartUi();
  uiEnd->onNotification = [&](int, const std::string&) {
    elsewhere = elsewhere || std::this_thread::get_id() != own;
    ++heard;
  };
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  thread.Run([&] { remote->SendNotification(1, ""); });
  std::thread([&] { EXPECT_EQ(uiEnd->Send(2000, ""), "2000 "); }).join();
  EXPECT_EQ(heard, 0) << "not on a thread that sends";
  EXPECT_TRUE(WaitFor([&] { return heard == 1; }));
  EXPECT_FALSE(elsewhere);
}

TEST_F(LinkThreadsTest, EightThreadsGetTheirOwnRepliesWhileNotificationsComeIn) {
  constexpr int kThreads = 8;
  constexpr int kMessages = 100;
  StartUi();
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  std::vector<std::future<int>> senders;
  for (int number = 0; number < kThreads; ++number) {
    senders.push_back(std::async(std::launch::async, [this, number] {
      int right = 0;
      for (int k = 0; k < kMessages; ++k) {
        const std::string payload = std::to_string(k) + std::string(static_cast<size_t>(k), 'x');
        right += uiEnd->Send(number, payload) == Echo(number, payload) ? 1 : 0;
      }
      return right;
    }));
  }
  std::vector<Message> sent;
  for (int k = 0; k < kMessages; ++k) {
    sent.emplace_back(k, "from the remote side");
  }
  const std::future<void> notified = thread.Start([&] {
    for (const auto& [id, payload] : sent) {
      remote->SendNotification(id, payload);
    }
  });
  for (std::future<int>& sender : senders) {
    EXPECT_TRUE(WaitFor(
        [&] { return sender.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_EQ(sender.get(), kMessages);
  }
  notified.wait();
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() >= kMessages; }));
  EXPECT_EQ(uiEnd->Notifications(), sent);
  EXPECT_EQ(remote->Messages().size(), static_cast<size_t>(kThreads * kMessages));
}

TEST_F(LinkThreadsTest, BothEndsCallEachOtherAtTheSameTime) {
  constexpr int kMessages = 100;
  StartUi();
  uiEnd->answer = Echo;
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  const auto sendAll = [](auto& end) {
    int right = 0;
    for (int k = 0; k < kMessages; ++k) {
      right += end.Send(k, "call") == Echo(k, "call") ? 1 : 0;
    }
    return right;
  };
  std::future<int> inward = std::async(std::launch::async, [&] { return sendAll(*remote); });
  EXPECT_EQ(WhileLooping([&] { return sendAll(*uiEnd); }), kMessages);
  EXPECT_TRUE(WaitFor(
      [&] { return inward.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_EQ(inward.get(), kMessages);
}

TEST_F(LinkThreadsTest, ModelOperationsFromManyThreadsEndInEqualLists) {
  constexpr int kThreads = 4;
  constexpr int kItems = 25;
  Connect();
  std::vector<std::vector<AppListItem*>> items(kThreads);
  for (int number = 0; number < kThreads; ++number) {
    for (int k = 0; k < kItems; ++k) {
      items[static_cast<size_t>(number)].push_back(
          ui->NewItem(std::to_string(number) + "." + std::to_string(k)));
    }
  }
  std::vector<std::future<void>> workers;
  for (const std::vector<AppListItem*>& own : items) {
    workers.push_back(std::async(std::launch::async, [this, &own] {
      for (AppListItem* item : own) {
        ui->model.AddItemAtEnd(item);
        ui->model.SetClicked(item);
      }
    }));
  }
  for (std::future<void>& worker : workers) {
    EXPECT_TRUE(WaitFor(
        [&] { return worker.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  }
  // Messages of two threads may overtake each other, so that only the items are the same.
  const ItemList local = ui->Holds().items;
  EXPECT_THAT(RemoteHolds().items, ::testing::UnorderedElementsAreArray(local));
  EXPECT_EQ(local.size(), static_cast<size_t>(kThreads * kItems));
}

}  // namespace
}  // namespace applist_test
