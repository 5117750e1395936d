// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// An end may go at any time, also inside its own upcall, and leaves nothing behind.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>

#include "bus/BusPeer.h"
#include "bus/LinkEnds.h"
#include "common/AppListRemoteControl.h"

namespace applist_test {
namespace {

// What each open descriptor is of, in order, the folder's own apart.
std::vector<std::string> OpenDescriptors() {
  std::vector<std::string> open;
  DIR* const folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder)) {
    char of[256] = "";
    if (readlinkat(dirfd(folder), entry->d_name, of, sizeof(of) - 1) > 0 &&
        std::to_string(dirfd(folder)) != entry->d_name) {
      open.emplace_back(of);
    }
  }
  closedir(folder);
  std::sort(open.begin(), open.end());
  return open;
}

class LinkDestructionTest : public LinkEndsTest {
 protected:
  // A remote side that is still in order answers to its name after all that.
  void ExpectThatTheNextEndWorks() {
    StartUi();
    ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
    EXPECT_EQ(uiEnd->Send(2000, ""), "reply");
  }

  void StartAnswering() {
    StartRemote(
        [](RemoteEnd& end) { end.answer = [](int, const std::string&) { return "reply"; }; });
  }
};

TEST_F(LinkDestructionTest, InsideANotification) {
  StartUi();
  uiEnd->onNotification = [&](int, const std::string&) { uiEnd.reset(); };
  StartAnswering();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  thread.Run([&] {
    remote->SendNotification(1, "");
    remote->SendNotification(2, "");
  });
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
  ExpectThatTheNextEndWorks();
}

TEST_F(LinkDestructionTest, InsideAMessageGivesTheCallerAnEmptyReply) {
  StartUi();
  uiEnd->answer = [&](int, const std::string&) {
    uiEnd.reset();
    return "nobody hears this";
  };
  StartAnswering();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  EXPECT_EQ(WhileLooping([&] { return remote->Send(7, ""); }), "");
  EXPECT_EQ(uiEnd, nullptr);
  ExpectThatTheNextEndWorks();
}

TEST_F(LinkDestructionTest, WhenToldThatThePartnerIsThere) {
  StartUi();
  uiEnd->onState = [&](bool) { uiEnd.reset(); };
  StartAnswering();
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
  ExpectThatTheNextEndWorks();
}

// Here the upcall comes from the bus's answer that the name is ours.
TEST_F(LinkDestructionTest, WhenToldThatThePartnerHasBeenThereBefore) {
  StartAnswering();
  BusPeer watcher(bus.Address());
  ASSERT_TRUE(WaitOutsideLoop([&] { return !watcher.OwnerOf(kRemoteName).empty(); }));
  StartUi();
  uiEnd->onState = [&](bool) { uiEnd.reset(); };
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
  ExpectThatTheNextEndWorks();
}

TEST_F(LinkDestructionTest, WhenToldThatThePartnerIsGone) {
  StartUi();
  uiEnd->onState = [&](bool state) {
    if (!state) {
      uiEnd.reset();
    }
  };
  StartAnswering();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  StopRemote();
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
  StartAnswering();
  ExpectThatTheNextEndWorks();
}

// Destroys the model in whichever call of a listener comes first.
class Destroyer : public ItemSelectionListener,
                  public ItemChangeListener,
                  public ItemClickListener {
 public:
  void ItemSelected(AppListModel* /*model*/) override { model.reset(); }
  void ItemChanged(AppListModel* /*model*/) override { model.reset(); }
  void ItemClicked(AppListModel* /*model*/) override { model.reset(); }

  std::unique_ptr<RemoteAppListModel> model = std::make_unique<RemoteAppListModel>();
};

class ModelDestructionTest : public LinkEndsTest, public ::testing::WithParamInterface<int> {};

TEST_P(ModelDestructionTest, InsideAListener) {
  Destroyer destroyer;
  TestItem item("Name", "id");
  destroyer.model->AddItemSelectionListener(&destroyer);
  destroyer.model->AddItemChangeListener(&destroyer);
  destroyer.model->AddItemClickedListener(&destroyer);
  destroyer.model->AddItemAtEnd(&item);
  StartRemote();
  ASSERT_TRUE(WaitFor([&] { return !remote->States().empty(); }));
  thread.Run([&] {
    remote->SendNotification(GetParam(), "");
    remote->SendNotification(GetParam(), "");
  });
  EXPECT_TRUE(WaitFor([&] { return destroyer.model == nullptr; }));
  EXPECT_TRUE(WaitFor([&] { return remote->States().size() == 2; })) << "the remote side hears it";
}

INSTANTIATE_TEST_SUITE_P(LinkDestructionTest, ModelDestructionTest,
                         ::testing::Values(APPLIST_ITEM_CHANGE_EVENT, APPLIST_ITEM_SELECTION_EVENT,
                                           APPLIST_ITEM_CLICKED_EVENT));

TEST_F(LinkDestructionTest, SeveralHundredModelsLeaveNoDescriptor) {
  constexpr int kModels = 400;
  TestItem item("Name", "id");
  const auto live = [&](int turns) {
    RemoteAppListModel model;
    for (int turn = 0; turn < turns; ++turn) {
      loop.Dispatch();
      model.AddItemAtEnd(&item);
    }
  };
  StartAnswering();
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  uiEnd.reset();
  // The remote side, in the same process, would close its end of a direct line some time later.
  setenv("APPLIST_LINE", "bus", 1);
  live(3);
  loop.Dispatch();
  const std::vector<std::string> before = OpenDescriptors();
  for (int k = 0; k < kModels; ++k) {
    live(k % 4);
  }
  loop.Dispatch();
  unsetenv("APPLIST_LINE");
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LinkDestructionTest, SeveralHundredModelsThatMeetTheRemoteSideLeaveNoDescriptor) {
  constexpr int kModels = 200;
  StartAnswering();
  const auto live = [&] {
    StartUi();
    EXPECT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
    EXPECT_EQ(uiEnd->Send(2000, ""), "reply");
    uiEnd.reset();
    EXPECT_TRUE(
        WaitFor([&] { return !remote->States().empty() && remote->States().back().first == 0; }));
  };
  live();
  const std::vector<std::string> before = OpenDescriptors();
  for (int k = 0; k < kModels; ++k) {
    live();
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LinkDestructionTest, WithoutABusLeavesNoDescriptor) {
  const auto live = [&] {
    UserInterface local;
    loop.Dispatch();
    local.model.AddItems(local.NewItems({"a"}));
    loop.Dispatch();
    EXPECT_EQ(local.model.GetItemsCount(), 1);
  };
  bus.Stop();
  live();  // The loop keeps a descriptor for its timers, once it has had one.
  loop.Dispatch();
  const std::vector<std::string> before = OpenDescriptors();
  for (int k = 0; k < 100; ++k) {
    live();
  }
  loop.Dispatch();
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace applist_test
