// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A third connection to the bus says what only the partner, or the bus, may say.
#include "bus/BusFixture.h"
#include "bus/BusPeer.h"
#include "common/AppListRemoteControl.h"

namespace applist_test {
namespace {

constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";

class StrangerTest : public BusTest {
 protected:
  StrangerTest() {
    Connect();
    ui->model.AddItems(ui->NewItems({"a", "b"}));
    ui->model.SetSelection(ui->Find("b"));
    ExpectBoth({Named({"a", "b"}), "b"});
    ui->selected = 0;
    ui->changed = 0;
    m_clickedBefore = ui->clicked;
    uiOwner = stranger.OwnerOf(kUiName);
    remoteOwner = stranger.OwnerOf(kRemoteName);
  }

  // Waits until the user interface, or the daemon, has worked off all that the stranger has sent.
  void WaitForUi() {
    WhileLooping([&] { stranger.Ping(uiOwner); });
  }
  void WaitForDaemon() {
    WhileLooping([&] { stranger.Ping(remoteOwner); });
  }

  void ExpectThatNothingWasHeard() {
    EXPECT_EQ(ui->selected, 0);
    EXPECT_EQ(ui->changed, 0);
    EXPECT_EQ(ui->clicked, m_clickedBefore);
    EXPECT_EQ(ui->Holds(), (Contents{Named({"a", "b"}), "b"}));
    EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b"}), "b"}));
    EXPECT_TRUE(RemoteIsConnected());
  }

  // In both directions, and without another start.
  void ExpectThatThePartnerIsStillHeard() {
    control.Select("a");
    ExpectBoth({Named({"a", "b"}), "a"});
    EXPECT_EQ(ui->selected, 1);
    EXPECT_EQ(ui->changed, 0) << "the list was not sent again";
    ui->model.AddItemAtEnd(ui->NewItem("c"));
    ExpectBoth({Named({"a", "b", "c"}), "a"});
  }

  BusPeer stranger{bus.Address()};
  std::string uiOwner;
  std::string remoteOwner;

 private:
  int m_clickedBefore = 0;
};

TEST_F(StrangerTest, ANotificationIsNotHeard) {
  for (const int event : {APPLIST_ITEM_CHANGE_EVENT, APPLIST_ITEM_SELECTION_EVENT,
                          APPLIST_ITEM_CLICKED_EVENT, APPLIST_LOCAL_CREATED_EVENT}) {
    stranger.Notify(uiOwner, Frame(event));
    stranger.Notify(kUiName, Frame(event));
  }
  WaitForUi();
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ANotificationToEverybodyIsNotHeard) {
  stranger.Notify("", Frame(APPLIST_ITEM_CHANGE_EVENT));
  stranger.Notify("", Frame(APPLIST_ITEM_CLICKED_EVENT));
  WaitForUi();
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ANotificationThatIsNoArrayOfBytesIsNotHeard) {
  stranger.NotifyText(uiOwner, "text");
  stranger.Notify(uiOwner, "");
  WaitForUi();
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ANotificationToTheDaemonIsNotHeard) {
  stranger.Notify(remoteOwner, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC));
  stranger.Notify(remoteOwner, Frame(APPLIST_ITEM_CHANGE_EVENT));
  WaitForDaemon();
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, AForgedEndOfThePartnerIsNotBelieved) {
  stranger.ForgeOwnerChange(uiOwner, kRemoteName, remoteOwner, "");
  stranger.ForgeOwnerChange(uiOwner, kRemoteCallsName, remoteOwner, "");
  WaitForUi();
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, AForgedOwnerChangeDoesNotMakeAStrangerThePartner) {
  stranger.ForgeOwnerChange(uiOwner, kRemoteName, remoteOwner, stranger.UniqueName());
  stranger.Notify(uiOwner, Frame(APPLIST_ITEM_CHANGE_EVENT));
  stranger.Notify(uiOwner, Frame(APPLIST_LOCAL_CREATED_EVENT));
  WaitForUi();
  ExpectThatNothingWasHeard();
  EXPECT_TRUE(stranger.Notifications().empty());
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, AForgedOwnerChangeDoesNotMakeAStrangerTheCaller) {
  stranger.ForgeOwnerChange(remoteOwner, kUiCallsName, "", stranger.UniqueName());
  EXPECT_EQ(stranger.Send(remoteOwner, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
  stranger.ForgeOwnerChange(uiOwner, kRemoteCallsName, "", stranger.UniqueName());
  EXPECT_EQ(WhileLooping([&] { return stranger.Send(uiOwner, Frame(7)); }).error, kDenied);
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, AForgedEndOfTheUserInterfaceDoesNotDropTheList) {
  stranger.ForgeOwnerChange(remoteOwner, kUiName, uiOwner, "");
  stranger.ForgeOwnerChange(remoteOwner, kUiName, "", stranger.UniqueName());
  WaitForDaemon();
  ExpectThatNothingWasHeard();
  stranger.ProcessAll();
  EXPECT_TRUE(stranger.Notifications().empty()) << "the daemon has greeted the stranger";
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ACallToTheDaemonIsDenied) {
  for (const char* name : {kRemoteName, remoteOwner.c_str()}) {
    EXPECT_EQ(stranger.Send(name, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
    EXPECT_EQ(stranger.Send(name, Frame(APPLIST_GET_ALL_ITEMS_FNC)).error, kDenied);
  }
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ACallToTheUserInterfaceIsDenied) {
  const auto call = [&] { return stranger.Send(kUiName, Frame(APPLIST_SET_SELECTION_FNC)); };
  EXPECT_EQ(WhileLooping(call).error, kDenied);
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

TEST_F(StrangerTest, ACallOfAnyOtherTypeIsRefusedToo) {
  EXPECT_NE(stranger.SendText(kRemoteName, "text").error, "");
  EXPECT_NE(WhileLooping([&] { return stranger.SendText(kUiName, "text"); }).error, "");
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

// Names are what counts, not the process: the connection that hears is not the one that calls.
TEST_F(StrangerTest, TheNamesOfAnotherServiceGiveNoRights) {
  ASSERT_EQ(stranger.Own("org.javamw.Other.Ui.Calls"), applist::NameAnswer::Owner);
  ASSERT_EQ(stranger.Own("org.javamw.Applist.Ui.CallsToo"), applist::NameAnswer::Owner);
  EXPECT_EQ(stranger.Send(kRemoteName, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
  ExpectThatNothingWasHeard();
  ExpectThatThePartnerIsStillHeard();
}

}  // namespace
}  // namespace applist_test
