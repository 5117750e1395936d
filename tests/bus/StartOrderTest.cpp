// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Either side may start first, end, and come back or be replaced.
#include <csignal>

#include "bus/BusFixture.h"

namespace applist_test {
namespace {

using StartOrderTest = BusTest;

TEST_F(StartOrderTest, TheRemoteSideFirst) {
  StartDaemon();
  ASSERT_TRUE(WaitFor([&] { return Remote().has_value(); }));
  EXPECT_FALSE(control.Read().connected);
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ExpectBoth({Named({"a", "b"}), ""});
}

TEST_F(StartOrderTest, TheUserInterfaceFirst) {
  ui = std::make_unique<UserInterface>();
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ExpectBoth({Named({"a", "b"}), ""});
}

TEST_F(StartOrderTest, ItemsAndSelectionThatAreThereFirstAreSentToTheRemoteSide) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.AddItemAtEnd(ui->NewItem("a", "Again"));
  ui->model.SetSelection(ui->Find("b"));
  EXPECT_EQ(ui->model.GetItemsCount(), 3) << "works without a remote side";
  Connect();
  ExpectBoth({{{"a", "Name of a"}, {"b", "Name of b"}, {"a", "Again"}}, "b"});
}

TEST_F(StartOrderTest, ItemsThatAreAddedBeforeTheLoopRunsReachARemoteSideThatIsThere) {
  StartDaemon();
  ASSERT_TRUE(WaitOutsideLoop([&] { return Remote().has_value(); }));
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.SetSelection(ui->Find("a"));
  Connect();
  ExpectBoth({Named({"a", "b"}), "a"});
}

TEST_F(StartOrderTest, AUserInterfaceThatEndsLeavesItsListAndIsGone) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui.reset();
  ASSERT_TRUE(WaitFor([&] { return Remote() && !RemoteIsConnected(); }));
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
}

TEST_F(StartOrderTest, AnotherUserInterfaceInTheSameProcessBringsItsOwnList) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.SetSelection(ui->Find("b"));
  ui.reset();
  UserInterface next;
  next.model.AddItems(next.NewItems({"c"}));
  EXPECT_TRUE(WaitFor([&] { return RemoteIsConnected() && RemoteHolds() == next.Holds(); }));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"c"}), ""}));
}

TEST_F(StartOrderTest, AnEmptyUserInterfaceAfterAnotherEmptiesTheRemoteSide) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.SetSelection(ui->Find("b"));
  ui.reset();
  ASSERT_TRUE(WaitFor([&] { return Remote() && !RemoteIsConnected(); }));
  UserInterface next;
  EXPECT_TRUE(WaitFor([&] { return RemoteIsConnected(); }));
  EXPECT_EQ(RemoteHolds(), Contents());
}

TEST_F(StartOrderTest, AUserInterfaceIsReplacedByAnotherProcess) {
  auto first = StartUiProcess({"a", "b"});
  StartDaemon();
  ASSERT_TRUE(WaitFor([&] { return RemoteHolds() == Contents{Named({"a", "b"}), ""}; }));
  control.Select("b");
  first->Signal(SIGKILL);
  first->Wait();
  // Its list may be asked for twice, so that it need not stay when it is first there.
  const auto second = StartUiProcess({"b", "c", "b"});
  EXPECT_TRUE(WaitFor([&] { return RemoteHolds() == Contents{Named({"b", "c", "b"}), ""}; }));
}

// The remote side has said that it is there, and the user interface has not heard it yet.
struct Meanwhile {
  const char* name;
  void (*change)(UserInterface& ui);
};

void PrintTo(const Meanwhile& meanwhile, std::ostream* out) {
  *out << meanwhile.name;
}

class MeanwhileTest : public BusTest, public ::testing::WithParamInterface<Meanwhile> {};

TEST_P(MeanwhileTest, EndsInEqualLists) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.AddItemAtEnd(ui->NewItem("a", "Again"));
  ui->model.SetSelection(ui->Find("b"));
  UserInterface& user = *ui;
  // A first remote side shows that the user interface has its names.
  Connect();
  ExpectBoth(user.Holds());
  StopDaemon();
  ASSERT_FALSE(Remote());
  StartDaemon();
  ASSERT_TRUE(WaitOutsideLoop([&] { return RemoteIsConnected(); }));
  ASSERT_EQ(RemoteHolds(), Contents());
  GetParam().change(user);
  const Contents expected = user.Holds();
  ExpectBoth(expected);
}

INSTANTIATE_TEST_SUITE_P(
    StartOrderTest, MeanwhileTest,
    ::testing::Values(
        Meanwhile{"NothingChanged", [](UserInterface&) {}},
        Meanwhile{"AddedAtEnd", [](UserInterface& ui) { ui.model.AddItemAtEnd(ui.NewItem("c")); }},
        Meanwhile{"AddedInOne",
                  [](UserInterface& ui) {
                    ui.model.AddItems(ui.NewItems({"c", "a", "d"}));
                  }},
        Meanwhile{"AddedTwiceInOne",
                  [](UserInterface& ui) {
                    ui.model.AddItems(ui.NewItems({"c", "c", "a"}));
                  }},
        Meanwhile{"Removed", [](UserInterface& ui) { ui.model.RemoveItem(ui.Find("a")); }},
        Meanwhile{"AddedAndRemoved",
                  [](UserInterface& ui) {
                    ui.model.AddItemAtEnd(ui.NewItem("c"));
                    ui.model.RemoveItem(ui.Find("c"));
                    ui.model.RemoveItem(ui.Find("b"));
                  }},
        Meanwhile{"Modified",
                  [](UserInterface& ui) { ui.model.ModifyItem(ui.Find("b"), ui.NewItem("x")); }},
        Meanwhile{"Selected", [](UserInterface& ui) { ui.model.SetSelection(ui.Find("a")); }},
        Meanwhile{"AddedAndSelected",
                  [](UserInterface& ui) {
                    ui.model.AddItemAtEnd(ui.NewItem("c"));
                    ui.model.SetSelection(ui.Find("c"));
                  }},
        Meanwhile{"Emptied", [](UserInterface& ui) { ui.model.RemoveAllItems(); }},
        Meanwhile{"EmptiedAndFilled",
                  [](UserInterface& ui) {
                    ui.model.RemoveAllItems();
                    ui.model.AddItems(ui.NewItems({"x", "x", "y"}));
                    ui.model.AddItemAtEnd(ui.NewItem("x"));
                    ui.model.SetSelection(ui.Find("y"));
                  }}),
    [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace applist_test
