// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the remote side does with each message, and what it announces.
#include "bus/RemotePeerTest.h"

namespace applist_test {
namespace {

using Events = std::vector<int>;
using ::testing::IsEmpty;

constexpr int kChanged = APPLIST_ITEM_CHANGE_EVENT;
constexpr int kSelected = APPLIST_ITEM_SELECTION_EVENT;
constexpr int kClicked = APPLIST_ITEM_CLICKED_EVENT;

class LocalAppListModelTest : public RemotePeerTest {
 protected:
  LocalAppListModelTest() { Fill({"a", "b", "c"}); }
};

TEST_F(LocalAppListModelTest, GivesItsWholeListInOrder) {
  EXPECT_EQ(Send(APPLIST_GET_ALL_ITEMS_FNC).reply, Items({"a", "b", "c"}));
  EXPECT_THAT(TakeEvents(), IsEmpty());
}

TEST_F(LocalAppListModelTest, AnEmptyListIsAnEmptyPayload) {
  Apply(APPLIST_REMOVE_ALL_ITEMS_FNC);
  const Answer answer = Send(APPLIST_GET_ALL_ITEMS_FNC);
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.reply, "");
}

TEST_F(LocalAppListModelTest, GivesItsSelectionAndNothingWhenThereIsNone) {
  const Answer none = Send(APPLIST_GET_SELECTION_FNC);
  EXPECT_EQ(none.error, "");
  EXPECT_EQ(none.reply, "");
  EXPECT_EQ(Apply(APPLIST_SET_SELECTION_FNC, Item("b")), Events{kSelected});
  EXPECT_EQ(Send(APPLIST_GET_SELECTION_FNC).reply, Item("b"));
  EXPECT_THAT(TakeEvents(), IsEmpty());
}

TEST_F(LocalAppListModelTest, ASelectionIsTheItemOfTheListNotTheOneThatWasSent) {
  EXPECT_EQ(Apply(APPLIST_SET_SELECTION_FNC, Item("b", "Another name")), Events{kSelected});
  EXPECT_EQ(Send(APPLIST_GET_SELECTION_FNC).reply, Item("b"));
}

TEST_F(LocalAppListModelTest, ASelectionIsAnnouncedAlsoWhenItIsTheSame) {
  EXPECT_EQ(Apply(APPLIST_SET_SELECTION_FNC, Item("b")), Events{kSelected});
  EXPECT_EQ(Apply(APPLIST_SET_SELECTION_FNC, Item("b")), Events{kSelected});
}

TEST_F(LocalAppListModelTest, RemovesAllItemsAndTheSelection) {
  EXPECT_EQ(Apply(APPLIST_REMOVE_ALL_ITEMS_FNC), Events{kChanged}) << "nothing was selected";
  EXPECT_THAT(Apply(APPLIST_REMOVE_ALL_ITEMS_FNC), IsEmpty()) << "nothing was left";
  Apply(APPLIST_ADD_ITEMS_FNC, Items({"a"}));
  Apply(APPLIST_SET_SELECTION_FNC, Item("a"));
  EXPECT_EQ(Apply(APPLIST_REMOVE_ALL_ITEMS_FNC), (Events{kChanged, kSelected}));
  EXPECT_EQ(RemoteHolds(), Contents());
}

TEST_F(LocalAppListModelTest, SkipsWhatIsInTheListWhenItemsAreAdded) {
  const std::string payload =
      Item("d") + Item("b", "Another name") + Item("d", "Twice") + Item("e");
  EXPECT_EQ(Apply(APPLIST_ADD_ITEMS_FNC, payload), Events{kChanged});
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c", "d", "e"}));
}

TEST_F(LocalAppListModelTest, AnnouncesNothingWhenAllAddedItemsAreThere) {
  EXPECT_THAT(Apply(APPLIST_ADD_ITEMS_FNC, Items({"c", "a"})), IsEmpty());
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c"}));
}

TEST_F(LocalAppListModelTest, AppendsAnItemThatIsInTheListAgain) {
  EXPECT_EQ(Apply(APPLIST_ADD_ITEM_AT_END_FNC, Item("a")), Events{kChanged});
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c", "a"}));
}

TEST_F(LocalAppListModelTest, KeepsWhatWasClickedWhetherOrNotItIsInTheList) {
  EXPECT_EQ(Apply(APPLIST_SET_CLICKED_FNC, Item("b")), Events{kClicked});
  EXPECT_EQ(control.Read().lastClicked, "b");
  EXPECT_EQ(Apply(APPLIST_SET_CLICKED_FNC, Item("elsewhere")), Events{kClicked});
  EXPECT_EQ(control.Read().lastClicked, "elsewhere");
  EXPECT_EQ(Apply(APPLIST_SET_CLICKED_FNC, Item("", "")), Events{kClicked});
  EXPECT_EQ(control.Read().lastClicked, "");
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b", "c"}), ""}));
}

TEST_F(LocalAppListModelTest, RemovesTheFirstMatchAlone) {
  Apply(APPLIST_ADD_ITEM_AT_END_FNC, Item("a", "Again"));
  EXPECT_EQ(Apply(APPLIST_REMOVE_ITEM_FNC, Item("a", "Any name")), Events{kChanged});
  const ItemList left = {{"b", "Name of b"}, {"c", "Name of c"}, {"a", "Again"}};
  EXPECT_EQ(RemoteHolds().items, left);
}

TEST_F(LocalAppListModelTest, IgnoresTheRemovalOfWhatIsNotThere) {
  EXPECT_THAT(Apply(APPLIST_REMOVE_ITEM_FNC, Item("elsewhere")), IsEmpty());
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c"}));
}

TEST_F(LocalAppListModelTest, ASelectedItemThatIsRemovedLeavesNoSelection) {
  Apply(APPLIST_SET_SELECTION_FNC, Item("b"));
  EXPECT_EQ(Apply(APPLIST_REMOVE_ITEM_FNC, Item("b")), (Events{kChanged, kSelected}));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "c"}), ""}));
}

TEST_F(LocalAppListModelTest, AnotherItemThatIsRemovedLeavesTheSelection) {
  Apply(APPLIST_SET_SELECTION_FNC, Item("b"));
  EXPECT_EQ(Apply(APPLIST_REMOVE_ITEM_FNC, Item("a")), Events{kChanged});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"b", "c"}), "b"}));
}

TEST_F(LocalAppListModelTest, ModifiesTheFirstMatchInItsPlace) {
  Apply(APPLIST_ADD_ITEM_AT_END_FNC, Item("a", "Again"));
  EXPECT_EQ(Apply(APPLIST_MODIFY_ITEM_FNC, Item("a", "Any name") + Item("x")), Events{kChanged});
  const ItemList left = {
      {"x", "Name of x"}, {"b", "Name of b"}, {"c", "Name of c"}, {"a", "Again"}};
  EXPECT_EQ(RemoteHolds().items, left);
}

TEST_F(LocalAppListModelTest, IgnoresTheModificationOfWhatIsNotThere) {
  EXPECT_THAT(Apply(APPLIST_MODIFY_ITEM_FNC, Item("elsewhere") + Item("x")), IsEmpty());
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c"}));
}

TEST_F(LocalAppListModelTest, ASelectedItemThatIsModifiedPassesTheSelectionOn) {
  Apply(APPLIST_SET_SELECTION_FNC, Item("b"));
  EXPECT_EQ(Apply(APPLIST_MODIFY_ITEM_FNC, Item("b") + Item("x")), (Events{kChanged, kSelected}));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "x", "c"}), "x"}));
  EXPECT_EQ(Send(APPLIST_GET_SELECTION_FNC).reply, Item("x"));
}

TEST_F(LocalAppListModelTest, AnotherItemThatIsModifiedLeavesTheSelection) {
  Apply(APPLIST_SET_SELECTION_FNC, Item("b"));
  EXPECT_EQ(Apply(APPLIST_MODIFY_ITEM_FNC, Item("a") + Item("x")), Events{kChanged});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"x", "b", "c"}), "b"}));
}

TEST_F(LocalAppListModelTest, ItsOwnSelectionsAndClicksAreAnnounced) {
  control.Select("b");
  control.Click("c");
  peer.Ping(kRemoteName);
  EXPECT_EQ(TakeEvents(), (Events{kSelected, kClicked}));
  EXPECT_EQ(Send(APPLIST_GET_SELECTION_FNC).reply, Item("b"));
}

// The first list after the announcement.
class FirstListTest : public RemotePeerTest {};

TEST_F(FirstListTest, IsTakenOnce) {
  EXPECT_EQ(Apply(APPLIST_ADD_ITEMS_FNC, Items({"a", "b"})), Events{kChanged});
  CatchUp();
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
}

// It may be a whole list, or an addition to an empty one, of which the user interface has skipped
// what repeats.
TEST_F(FirstListTest, IsAskedForAgainWhenItHoldsAnIdentifierTwiceAndThenTakenAsItIs) {
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "a"}));
  WaitForEvents({kChanged, APPLIST_LOCAL_CREATED_EVENT});
  EXPECT_EQ(Apply(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "a"})), Events{kChanged});
  CatchUp();
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "a"}));
  Apply(APPLIST_ADD_ITEMS_FNC, Items({"c", "c", "b"}));
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "a", "c"})) << "the next one is not";
}

TEST_F(FirstListTest, IsWhatComesTheSecondTimeWhenTheFirstHeldAnIdentifierTwice) {
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "a"}));
  WaitForEvents({kChanged, APPLIST_LOCAL_CREATED_EVENT});
  Fill({"a", "b"});
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
}

TEST_F(FirstListTest, SkipsDuplicatesOnceTheUserInterfaceHasCaughtUp) {
  CatchUp();
  EXPECT_EQ(Apply(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "a"})), Events{kChanged});
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
}

TEST_F(FirstListTest, IsAskedForAgainWhenOtherChangesCameBeforeIt) {
  Send(APPLIST_ADD_ITEM_AT_END_FNC, Item("c"));
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "c"}));
  WaitForEvents({kChanged, kChanged, APPLIST_LOCAL_CREATED_EVENT});
  EXPECT_EQ(RemoteHolds(), Contents());
  Fill({"a", "b", "c"});
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c"}));
}

// The user interface may be about to ask for the selection, and would lose its own.
TEST_F(FirstListTest, KeepsTheSelectionWhileItIsAskedForAgain) {
  Send(APPLIST_ADD_ITEM_AT_END_FNC, Item("c"));
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "c"}));
  Send(APPLIST_SET_SELECTION_FNC, Item("b"));
  WaitForEvents({kChanged, kChanged, kSelected, APPLIST_LOCAL_CREATED_EVENT});
  EXPECT_EQ(Send(APPLIST_GET_SELECTION_FNC).reply, Item("b"));
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "c"}));
  WaitForEvents({kChanged, kSelected});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b", "c"}), "b"}));
}

TEST_F(FirstListTest, DropsTheSelectionWhenItIsNotInTheListThatComesAgain) {
  Send(APPLIST_ADD_ITEM_AT_END_FNC, Item("c"));
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "b", "c"}));
  Send(APPLIST_SET_SELECTION_FNC, Item("b"));
  WaitForEvents({kChanged, kChanged, kSelected, APPLIST_LOCAL_CREATED_EVENT});
  Send(APPLIST_ADD_ITEMS_FNC, Items({"a", "c"}));
  WaitForEvents({kChanged, kSelected});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "c"}), ""}));
}

TEST_F(FirstListTest, OfAnotherUserInterfaceReplacesThatOfTheFirst) {
  Fill({"a", "b"});
  Apply(APPLIST_SET_SELECTION_FNC, Item("a"));
  peer.Release(kUiName);
  ASSERT_TRUE(WaitFor([&] { return Remote() && !RemoteIsConnected(); }));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b"}), "a"}));
  ASSERT_EQ(peer.Own(kUiName), applist::NameAnswer::Owner);
  WaitForAnnouncement();
  EXPECT_EQ(RemoteHolds(), Contents());
  Fill({"c"});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"c"}), ""}));
}

}  // namespace
}  // namespace applist_test
