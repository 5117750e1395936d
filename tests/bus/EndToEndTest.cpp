// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface and the daemon, from the first item to the last.
#include <csignal>

#include "bus/BusFixture.h"

namespace applist_test {
namespace {

class EndToEndTest : public BusTest {
 protected:
  EndToEndTest() {
    Connect();
    ui->model.AddItems(ui->NewItems({"mail", "maps", "music"}));
    ExpectBoth({Named({"mail", "maps", "music"}), ""});
  }
};

TEST_F(EndToEndTest, AddedItemsAreOnBothSidesAtOnce) {
  ui->model.AddItems(ui->NewItems({"radio", "mail", "clock"}));
  EXPECT_EQ(RemoteHolds().items, Named({"mail", "maps", "music", "radio", "clock"}));
  ExpectBoth({Named({"mail", "maps", "music", "radio", "clock"}), ""});
}

TEST_F(EndToEndTest, AnAppendedItemIsLastOnBothSides) {
  ui->model.AddItemAtEnd(ui->NewItem("radio"));
  EXPECT_EQ(RemoteHolds().items, Named({"mail", "maps", "music", "radio"}));
  ExpectBoth({Named({"mail", "maps", "music", "radio"}), ""});
}

TEST_F(EndToEndTest, AnItemAppendedTwiceIsTwiceOnBothSides) {
  ui->model.AddItemAtEnd(ui->NewItem("maps"));
  ExpectBoth({Named({"mail", "maps", "music", "maps"}), ""});
  ui->model.RemoveItem(ui->NewItem("maps"));
  ExpectBoth({Named({"mail", "music", "maps"}), ""});
}

TEST_F(EndToEndTest, ASelectionIsOnBothSidesAndComesBackAsAnEvent) {
  ui->model.SetSelection(ui->Find("maps"));
  EXPECT_EQ(RemoteHolds().selection, "maps");
  ExpectBoth({Named({"mail", "maps", "music"}), "maps"});
  EXPECT_EQ(ui->selected, 1);
  EXPECT_EQ(ui->model.GetSelection(), ui->Find("maps"));
}

TEST_F(EndToEndTest, AClickReachesTheRemoteSide) {
  const int before = ui->clicked;
  ui->model.SetClicked(ui->Find("music"));
  EXPECT_EQ(control.Read().lastClicked, "music");
  EXPECT_TRUE(WaitFor([&] { return ui->clicked == before + 1; })) << "and comes back as an event";
}

TEST_F(EndToEndTest, AModifiedItemKeepsItsPlaceAndTheSelection) {
  ui->model.SetSelection(ui->Find("maps"));
  ui->model.ModifyItem(ui->Find("maps"), ui->NewItem("charts", "Charts"));
  const ItemList items = {
      {"mail", "Name of mail"}, {"charts", "Charts"}, {"music", "Name of music"}};
  EXPECT_EQ(RemoteHolds().items, items);
  ExpectBoth({items, "charts"});
}

TEST_F(EndToEndTest, ARemovedItemTakesTheSelectionWithIt) {
  ui->model.SetSelection(ui->Find("maps"));
  ui->model.RemoveItem(ui->Find("maps"));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"mail", "music"}), ""}));
  ExpectBoth({Named({"mail", "music"}), ""});
}

TEST_F(EndToEndTest, RemovingAllItemsEmptiesBothSides) {
  ui->model.SetSelection(ui->Find("music"));
  ui->model.RemoveAllItems();
  EXPECT_EQ(RemoteHolds(), Contents());
  ExpectBoth(Contents());
}

TEST_F(EndToEndTest, EachChangeOfItemsComesBackAsAnEvent) {
  Settle();
  ui->changed = 0;
  ui->model.AddItemAtEnd(ui->NewItem("radio"));
  ui->model.ModifyItem(ui->Find("radio"), ui->NewItem("clock"));
  ui->model.RemoveItem(ui->Find("clock"));
  ui->model.AddItems(ui->NewItems({"notes", "mail"}));
  ui->model.AddItems(ui->NewItems({"notes", "mail"}));
  ui->model.RemoveAllItems();
  Settle();
  EXPECT_EQ(ui->changed, 5) << "one for each message that changed the list";
}

TEST_F(EndToEndTest, TheUserInterfaceFollowsASelectionOnTheRemoteSide) {
  control.Select("music");
  EXPECT_EQ(RemoteHolds().selection, "music");
  ExpectBoth({Named({"mail", "maps", "music"}), "music"});
  EXPECT_EQ(ui->selected, 1);
  ui->model.SetSelection(ui->Find("mail"));
  ExpectBoth({Named({"mail", "maps", "music"}), "mail"});
}

TEST_F(EndToEndTest, TheUserInterfaceHearsAClickOnTheRemoteSide) {
  const int before = ui->clicked;
  ClickRemotely("maps");
  EXPECT_TRUE(WaitFor([&] { return ui->clicked == before + 1; }));
  EXPECT_EQ(control.Read().lastClicked, "maps");
  ExpectBoth({Named({"mail", "maps", "music"}), ""});
}

TEST_F(EndToEndTest, ASelectionThatIsNotInTheListFallsBackToWhatTheRemoteSideHolds) {
  ui->model.SetSelection(ui->Find("maps"));
  ui->model.SetSelection(ui->NewItem("nowhere"));
  ExpectBoth({Named({"mail", "maps", "music"}), "maps"});
}

// What the first daemon said last may not be heard yet when it ends; the second one must not be
// asked what it meant.
TEST_F(EndToEndTest, ARestartedDaemonIsFilledAgain) {
  ui->model.SetSelection(ui->Find("maps"));
  StopDaemon();
  ui->model.AddItemAtEnd(ui->NewItem("radio"));
  ui->model.RemoveItem(ui->Find("mail"));
  EXPECT_EQ(ui->Holds(), (Contents{Named({"maps", "music", "radio"}), "maps"}));
  EXPECT_FALSE(Remote());
  Connect();
  ExpectBoth({Named({"maps", "music", "radio"}), "maps"});
  ui->model.SetSelection(ui->Find("radio"));
  ExpectBoth({Named({"maps", "music", "radio"}), "radio"});
}

TEST_F(EndToEndTest, ADaemonThatWasKilledIsReplacedLikeAnyOther) {
  daemon->Signal(SIGKILL);
  daemon->Wait();
  daemon.reset();
  ui->model.SetSelection(ui->Find("music"));
  Connect();
  ExpectBoth({Named({"mail", "maps", "music"}), "music"});
}

TEST_F(EndToEndTest, AWholeDay) {
  UserInterface& user = *ui;
  user.model.AddItemAtEnd(user.NewItem("radio"));
  ExpectBoth({Named({"mail", "maps", "music", "radio"}), ""});
  user.model.SetSelection(user.Find("radio"));
  ExpectBoth({Named({"mail", "maps", "music", "radio"}), "radio"});
  user.model.ModifyItem(user.Find("radio"), user.NewItem("podcasts"));
  ExpectBoth({Named({"mail", "maps", "music", "podcasts"}), "podcasts"});
  user.model.RemoveItem(user.Find("mail"));
  ExpectBoth({Named({"maps", "music", "podcasts"}), "podcasts"});
  control.Select("maps");
  ExpectBoth({Named({"maps", "music", "podcasts"}), "maps"});
  StopDaemon();
  Connect();
  ExpectBoth({Named({"maps", "music", "podcasts"}), "maps"});
  user.model.RemoveAllItems();
  ExpectBoth(Contents());
  user.model.AddItems(user.NewItems({"mail"}));
  ExpectBoth({Named({"mail"}), ""});
}

}  // namespace
}  // namespace applist_test
