// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A bus of the test's own with a user interface in the test process and a remote side in the
// daemon.
#ifndef APPLIST_TESTS_BUS_BUSFIXTURE_H
#define APPLIST_TESTS_BUS_BUSFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"
#include "support/ChildProcess.h"
#include "support/ControlClient.h"
#include "support/PrivateBus.h"
#include "support/TestItem.h"

namespace applist_test {

constexpr const char* kUiName = "org.javamw.Applist.Ui";
constexpr const char* kUiCallsName = "org.javamw.Applist.Ui.Calls";
constexpr const char* kRemoteName = "org.javamw.Applist.Local";
constexpr const char* kRemoteCallsName = "org.javamw.Applist.Local.Calls";

// How long a test waits for anything. Nothing depends on it but how long a failure takes.
constexpr std::chrono::seconds kDeadline(60);

// Identifier and visible name of each item, in order.
using ItemList = std::vector<std::pair<std::string, std::string>>;

// Items with the names that NewItem gives them.
ItemList Named(const std::vector<std::string>& ids);

// What one side holds; the selection by its identifier, empty for none.
struct Contents {
  ItemList items;
  std::string selection;
};
bool operator==(const Contents& a, const Contents& b);
std::ostream& operator<<(std::ostream& out, const Contents& contents);

// A model with items, and a count of what it tells its listeners.
class UserInterface : private ItemSelectionListener,
                      private ItemChangeListener,
                      private ItemClickListener {
 public:
  UserInterface();

  // An item that is kept for as long as the user interface, not in the list yet.
  TestItem* NewItem(const std::string& id, const std::string& name);
  TestItem* NewItem(const std::string& id) { return NewItem(id, "Name of " + id); }
  std::vector<AppListItem*> NewItems(const std::vector<std::string>& ids);

  // The first item of the list with this identifier, null when there is none.
  AppListItem* Find(const std::string& id);

  Contents Holds();

 private:
  void ItemSelected(AppListModel* /*model*/) override { ++selected; }
  void ItemChanged(AppListModel* /*model*/) override { ++changed; }
  void ItemClicked(AppListModel* /*model*/) override { ++clicked; }

  std::deque<TestItem> m_items;

 public:
  int selected = 0;
  int changed = 0;
  int clicked = 0;
  RemoteAppListModel model;
};

class BusTest : public ::testing::Test {
 protected:
  // How long a call waits for its reply: for longer than a test may run, which makes a wait for the
  // time-out a failure, or for as long as everywhere else.
  enum class CallsWait { Forever, AsUsual };
  explicit BusTest(CallsWait wait = CallsWait::Forever);

  // Runs the loop until `condition` holds. Returns whether it came to hold.
  bool WaitFor(const std::function<bool()>& condition);

  // Waits for what others do, without a turn of the loop.
  static bool WaitOutsideLoop(const std::function<bool()>& condition);

  // Runs the loop while `work` runs on a thread of its own, and returns what it returns.
  template <class Work>
  auto WhileLooping(Work work) {
    auto result = std::async(std::launch::async, work);
    EXPECT_TRUE(WaitFor(
        [&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return result.get();
  }

  void StartDaemon() { daemon = std::make_unique<applist::ChildProcess>(DaemonCommand()); }
  void StopDaemon();
  static std::vector<std::string> DaemonCommand();

  // Starts what is not there yet of the user interface and the daemon, and waits until each knows
  // the other.
  void Connect();

  // Another user interface, in a process of its own. Returns when it has its list, and its name.
  std::unique_ptr<applist::ChildProcess> StartUiProcess(std::vector<std::string> ids);

  // What the remote side holds; nothing when it does not answer.
  std::optional<applist::ControlClient::State> Remote();
  Contents RemoteHolds();
  bool RemoteIsConnected();

  // Waits until everything that the remote side has told the user interface is heard: clicks an
  // item that is in no list, and waits for the answer to that, which comes behind all else.
  void Settle();

  // A click on the remote side, which Settle has to know of.
  void ClickRemotely(const std::string& id);

  // Waits until both sides hold this, and still do when all is heard.
  void ExpectBoth(const Contents& expected);

  applist::PrivateBus bus;
  EventLoop loop;
  applist::ControlClient control{bus.Address()};
  std::unique_ptr<applist::ChildProcess> daemon;
  std::unique_ptr<UserInterface> ui;

 private:
  TestItem m_settled{"Not in the list", "not in the list"};
  int m_clicks = 0;
};

}  // namespace applist_test

#endif
