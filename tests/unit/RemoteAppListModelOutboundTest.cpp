// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The operations that change the list, the selection or the click state and tell the remote side.
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ModelTest.h"

namespace applist_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RemoteAppListModelOutbound : public ModelTest {};

TEST_F(RemoteAppListModelOutbound, SelectingAnItemSendsIt) {
  model->AddItems({&a, &b});
  EXPECT_THAT(RecordOf([&] { model->SetSelection(&b); }),
              ElementsAre(Debug("SetSelection: %p", At(b)), "lock", Serialized(b),
                          Debug("Selected item name: %s, uniqueId: %s", "Beta", "b"), "unlock",
                          Length(7), Sent("Beta\nb\n", 2000)));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelOutbound, AnItemThatIsNotInTheListCanBeSelected) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] { model->SetSelection(&otherA); }),
              ElementsAre(Debug("SetSelection: %p", At(otherA)), "lock", Serialized(otherA),
                          Debug("Selected item name: %s, uniqueId: %s", "Other", "a"), "unlock",
                          Length(8), Sent("Other\na\n", 2000)));
  EXPECT_EQ(model->GetSelection(), &otherA);
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelOutbound, SelectingTheSelectedItemSendsItAgain) {
  model->SetSelection(&a);
  const std::vector<std::string> record = RecordOf([&] { model->SetSelection(&a); });
  EXPECT_EQ(record.back(), Sent("Alpha\na\n", 2000));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelOutbound, SelectingANullItemKeepsTheSelection) {
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model->SetSelection(nullptr); }),
              ElementsAre(Debug("SetSelection: %p", static_cast<void*>(nullptr)), "lock", "unlock",
                          Length(0)));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelOutbound, SelectingAnItemWithoutAnIdentifierKeepsTheSelection) {
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model->SetSelection(&noId); }),
              ElementsAre(Debug("SetSelection: %p", At(noId)), "lock", "unlock", Length(0)));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelOutbound, AnIdentifierOfAZeroByteIsNotEmpty) {
  TestItem zero("Zero", std::string(1, '\0'));
  const std::vector<std::string> record = RecordOf([&] { model->SetSelection(&zero); });
  EXPECT_EQ(record.back(), Sent(std::string("Zero\n\0\n", 7), 2000));
  EXPECT_EQ(model->GetSelection(), &zero);
}

TEST_F(RemoteAppListModelOutbound, ClickingAnItemSendsItWithoutTheLock) {
  EXPECT_THAT(RecordOf([&] { model->SetClicked(&a); }),
              ElementsAre(Debug("SetClicked: %p", At(a)), Serialized(a), Length(8),
                          "send " + std::string("Alpha\na\n\xD6\x07\0\0", 12)));
  EXPECT_EQ(model->GetSelection(), nullptr);
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_F(RemoteAppListModelOutbound, ClickingANullItemLogsTheCallOnly) {
  EXPECT_THAT(RecordOf([&] { model->SetClicked(nullptr); }),
              ElementsAre(Debug("SetClicked: %p", static_cast<void*>(nullptr))));
}

TEST_F(RemoteAppListModelOutbound, AnItemWithoutAnIdentifierCanBeClicked) {
  EXPECT_THAT(RecordOf([&] { model->SetClicked(&noId); }),
              ElementsAre(Debug("SetClicked: %p", At(noId)), Serialized(noId), Length(10),
                          Sent("Nameless\n\n", 2006)));
}

TEST_F(RemoteAppListModelOutbound, AddingItemsAppendsAndSendsThemInOrder) {
  EXPECT_THAT(
      RecordOf([&] {
        model->AddItems({&b, &a});
      }),
      ElementsAre(Debug("AddItems number of items: %d", 2), "lock",
                  Debug("Adding remote items. Items count: %d", 2),
                  Debug("Number of items to serialize: %d", 2), Listed(b), Serialized(b), Listed(a),
                  Serialized(a), "unlock", Length(15), Sent("Beta\nb\nAlpha\na\n", 2004)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&b, &a));
}

TEST_F(RemoteAppListModelOutbound, AddingItemsSkipsDuplicatesButSendsThem) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] {
                model->AddItems({&a, &b, &otherA});
              }),
              ElementsAre(Debug("AddItems number of items: %d", 3), "lock",
                          Debug("Adding remote items. Items count: %d", 3),
                          Debug("Number of items to serialize: %d", 2), Listed(a), Serialized(a),
                          Listed(b), Serialized(b), Listed(otherA), Serialized(otherA), "unlock",
                          Length(23), Sent("Alpha\na\nBeta\nb\nOther\na\n", 2004)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
}

TEST_F(RemoteAppListModelOutbound, ALaterItemThatRepeatsAnEarlierOneIsSkipped) {
  model->AddItems({&otherA, &b, &a, &b});
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&otherA, &b));
}

TEST_F(RemoteAppListModelOutbound, AnItemWithoutAnIdentifierCanBeAddedOnce) {
  TestItem second("Nameless too", "");
  model->AddItems({&noId, &second});
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&noId));
}

TEST_F(RemoteAppListModelOutbound, AddingNoItemsSendsNothing) {
  model->AddItems({&a, &b, &c});
  EXPECT_THAT(RecordOf([&] { model->AddItems({}); }),
              ElementsAre(Debug("AddItems number of items: %d", 0), "lock",
                          Debug("Adding remote items. Items count: %d", 0),
                          Debug("Number of items to serialize: %d", 3), "unlock", Length(0)));
  EXPECT_EQ(model->GetItemsCount(), 3);
}

TEST_F(RemoteAppListModelOutbound, TheCountToSerializeIsThatOfTheModel) {
  TestItem d("Delta", "d");
  TestItem e("Epsilon", "e");
  model->AddItems({&a, &b, &c, &d, &e});
  const std::vector<std::string> record = RecordOf([&] { model->AddItems({&d, &a}); });
  EXPECT_EQ(std::vector<std::string>(record.begin() + 3, record.end() - 3),
            (std::vector<std::string>{Debug("Number of items to serialize: %d", 5), Listed(d),
                                      Serialized(d), Listed(a), Serialized(a)}));
}

TEST_F(RemoteAppListModelOutbound, AddingAtTheEndAppendsAndSendsTheItem) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] { model->AddItemAtEnd(&b); }),
              ElementsAre(Debug("AddItemAtEnd: %p", At(b)), "lock", Serialized(b), "unlock",
                          Length(7), Sent("Beta\nb\n", 2005)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
}

TEST_F(RemoteAppListModelOutbound, AnItemCanBeAddedAtTheEndTwice) {
  const std::vector<std::string> once = RecordOf([&] { model->AddItemAtEnd(&a); });
  EXPECT_EQ(RecordOf([&] { model->AddItemAtEnd(&a); }), once);
  EXPECT_EQ(once.back(), Sent("Alpha\na\n", 2005));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &a));
}

TEST_F(RemoteAppListModelOutbound, AddingANullItemAtTheEndChangesNothing) {
  EXPECT_THAT(RecordOf([&] { model->AddItemAtEnd(nullptr); }),
              ElementsAre(Debug("AddItemAtEnd: %p", static_cast<void*>(nullptr)), "lock", "unlock",
                          Length(0)));
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_F(RemoteAppListModelOutbound, RemovingAnItemKeepsTheOrderOfTheRest) {
  model->AddItems({&a, &b, &c});
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model->RemoveItem(&b); }),
              ElementsAre(Debug("RemoveItem: %p", At(b)), "lock",
                          Debug("Removing item name: %s, uniqueId: %s", "Beta", "b"), Serialized(b),
                          "unlock", Length(7), Sent("Beta\nb\n", 2007)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &c));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelOutbound, RemovingTheSelectedItemByAnotherObjectClearsTheSelection) {
  model->AddItems({&a, &b});
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model->RemoveItem(&otherA); }),
              ElementsAre(Debug("RemoveItem: %p", At(otherA)), "lock",
                          Debug("Removing item name: %s, uniqueId: %s", "Alpha", "a"),
                          Debug("Removed item were selected. Removed selection"),
                          Serialized(otherA), "unlock", Length(8), Sent("Other\na\n", 2007)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&b));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelOutbound, ASelectionWithTheRemovedIdentifierButAnotherAddressStays) {
  model->AddItems({&a});
  model->SetSelection(&otherA);
  EXPECT_THAT(RecordOf([&] { model->RemoveItem(&otherA); }),
              ElementsAre(Debug("RemoveItem: %p", At(otherA)), "lock",
                          Debug("Removing item name: %s, uniqueId: %s", "Alpha", "a"),
                          Serialized(otherA), "unlock", Length(8), Sent("Other\na\n", 2007)));
  EXPECT_EQ(model->GetItemsCount(), 0);
  EXPECT_EQ(model->GetSelection(), &otherA);
}

TEST_F(RemoteAppListModelOutbound, RemovingTakesTheFirstOfEqualIdentifiersOnly) {
  model->AddItemAtEnd(&b);
  model->AddItemAtEnd(&a);
  model->AddItemAtEnd(&otherA);
  model->RemoveItem(&otherA);
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&b, &otherA));
}

TEST_F(RemoteAppListModelOutbound, RemovingWhatIsNotInTheListChangesNothing) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] { model->RemoveItem(&b); }),
              ElementsAre(Debug("RemoveItem: %p", At(b)), "lock", "unlock", Length(0)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelOutbound, RemovingANullItemChangesNothing) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] { model->RemoveItem(nullptr); }),
              ElementsAre(Debug("RemoveItem: %p", static_cast<void*>(nullptr)), "lock", "unlock",
                          Length(0)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelOutbound, ModifyingTheSelectedItemSelectsTheNewOneInItsPlace) {
  model->AddItems({&c, &a});
  model->AddItemAtEnd(&noId);
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model->ModifyItem(&otherA, &b); }),
              ElementsAre(Debug("ModifyItem oldItem: %p, newItem: %p", At(otherA), At(b)), "lock",
                          Debug("Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                                "Alpha", "a", "Beta", "b"),
                          Debug("Item that is being modified were selected. Modified selection"),
                          Serialized(otherA), Serialized(b), "unlock", Length(15),
                          Sent("Other\na\nBeta\nb\n", 2008)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&c, &b, &noId));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelOutbound, ModifyingAnotherItemKeepsTheSelection) {
  model->AddItems({&a, &c});
  model->SetSelection(&c);
  EXPECT_THAT(RecordOf([&] { model->ModifyItem(&a, &b); }),
              ElementsAre(Debug("ModifyItem oldItem: %p, newItem: %p", At(a), At(b)), "lock",
                          Debug("Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                                "Alpha", "a", "Beta", "b"),
                          Serialized(a), Serialized(b), "unlock", Length(15),
                          Sent("Alpha\na\nBeta\nb\n", 2008)));
  EXPECT_EQ(model->GetSelection(), &c);
}

TEST_F(RemoteAppListModelOutbound, ModifyingTakesTheFirstOfEqualIdentifiersOnly) {
  model->AddItemAtEnd(&a);
  model->AddItemAtEnd(&otherA);
  model->SetSelection(&otherA);
  model->ModifyItem(&otherA, &b);
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&b, &otherA));
  EXPECT_EQ(model->GetSelection(), &otherA);
}

TEST_F(RemoteAppListModelOutbound, AnItemCanBeModifiedIntoOneThatIsThereAlready) {
  model->AddItems({&a, &b});
  model->ModifyItem(&a, &b);
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&b, &b));
}

TEST_F(RemoteAppListModelOutbound, ModifyingWithANullItemChangesNothing) {
  model->AddItems({&a});
  void* const null = nullptr;
  EXPECT_THAT(RecordOf([&] { model->ModifyItem(&a, nullptr); }),
              ElementsAre(Debug("ModifyItem oldItem: %p, newItem: %p", At(a), null), "lock",
                          "unlock", Length(0)));
  EXPECT_THAT(RecordOf([&] { model->ModifyItem(nullptr, &b); }),
              ElementsAre(Debug("ModifyItem oldItem: %p, newItem: %p", null, At(b)), "lock",
                          "unlock", Length(0)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelOutbound, ModifyingWhatIsNotInTheListChangesNothing) {
  model->AddItems({&a});
  EXPECT_THAT(RecordOf([&] { model->ModifyItem(&b, &c); }),
              ElementsAre(Debug("ModifyItem oldItem: %p, newItem: %p", At(b), At(c)), "lock",
                          "unlock", Length(0)));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelOutbound, SpecialBytesAreEscapedOnTheWay) {
  TestItem special("two\nlines", "back\\slash");
  const std::vector<std::string> record = RecordOf([&] { model->AddItemAtEnd(&special); });
  EXPECT_EQ(record.back(), Sent("two\\nlines\nback\\\\slash\n", 2005));
}

// The same for each operation that tells the remote side of an item: `change` on a model that lists
// `a`, and what it has left behind when it is done.
struct Change {
  std::string name;
  std::function<void(AppListModel&, TestItem& a, TestItem& b)> change;
  std::function<bool(AppListModel&, TestItem& a, TestItem& b)> done;
};

void PrintTo(const Change& change, std::ostream* out) {
  *out << change.name;
}

const Change kChanges[] = {
    {"SetSelection", [](AppListModel& model, TestItem& a, TestItem&) { model.SetSelection(&a); },
     [](AppListModel& model, TestItem& a, TestItem&) { return model.GetSelection() == &a; }},
    {"AddItems",
     [](AppListModel& model, TestItem& a, TestItem& b) {
       model.AddItems({&a, &b});
     },
     [](AppListModel& model, TestItem&, TestItem&) { return model.GetItemsCount() == 2; }},
    {"AddItemAtEnd", [](AppListModel& model, TestItem& a, TestItem&) { model.AddItemAtEnd(&a); },
     [](AppListModel& model, TestItem&, TestItem&) { return model.GetItemsCount() == 2; }},
    {"RemoveItem", [](AppListModel& model, TestItem& a, TestItem&) { model.RemoveItem(&a); },
     [](AppListModel& model, TestItem&, TestItem&) { return model.GetItemsCount() == 0; }},
    {"ModifyItem", [](AppListModel& model, TestItem& a, TestItem& b) { model.ModifyItem(&a, &b); },
     [](AppListModel& model, TestItem&, TestItem& b) { return model.GetAllItems()[0] == &b; }},
};

class RemoteAppListModelChange : public ModelTest, public ::testing::WithParamInterface<Change> {
 protected:
  RemoteAppListModelChange() { model->AddItemAtEnd(&a); }
  void Do() { GetParam().change(*model, a, b); }
  bool Done() { return GetParam().done(*model, a, b); }
};

INSTANTIATE_TEST_SUITE_P(Of, RemoteAppListModelChange, ::testing::ValuesIn(kChanges),
                         [](const auto& change) { return change.param.name; });

TEST_P(RemoteAppListModelChange, AsksTheItemsUnderTheLock) {
  std::vector<bool> held;
  a.onGetVisibleName = a.onGetUnigueId = [&] { held.push_back(MutexHeld()); };
  Do();
  EXPECT_FALSE(held.empty());
  EXPECT_THAT(held, Each(true));
}

TEST_P(RemoteAppListModelChange, IsWholeAndUnlockedWhenItIsSent) {
  int frames = 0;
  AnswerWith([&](const std::string&) {
    EXPECT_FALSE(MutexHeld());
    EXPECT_TRUE(Done());
    ++frames;
    return "";
  });
  EXPECT_FALSE(Done());
  Do();
  EXPECT_EQ(frames, 1);
}

TEST_P(RemoteAppListModelChange, DropsTheReplyUnread) {
  AnswerWith([](const std::string&) { return "Other\nc\n"; });
  Do();
  EXPECT_TRUE(Done());
}

TEST_P(RemoteAppListModelChange, IsNotUndoneWhenTheTransportThrows) {
  AnswerWith([](const std::string&) -> std::string { throw std::runtime_error("link"); });
  EXPECT_THROW(Do(), std::runtime_error);
  EXPECT_FALSE(MutexHeld());
  EXPECT_TRUE(Done());
}

TEST_P(RemoteAppListModelChange, LeavesTheLockHeldAndSendsNothingWhenAnItemThrows) {
  a.onGetVisibleName = [] { throw std::runtime_error("item"); };
  const std::vector<std::string> record = RecordOf([&] { EXPECT_THROW(Do(), std::runtime_error); });
  EXPECT_THAT(record, Each(::testing::Not(::testing::StartsWith("send "))));
  EXPECT_TRUE(MutexHeld());
  ReleaseHeldMutex();
}

TEST_P(RemoteAppListModelChange, CallsNoListener) {
  TestListener listener("listener");
  int calls = 0;
  listener.onCall = [&](AppListModel*) { ++calls; };
  model->AddItemSelectionListener(&listener);
  model->AddItemChangeListener(&listener);
  model->AddItemClickedListener(&listener);
  Do();
  EXPECT_EQ(calls, 0);
}

TEST_F(RemoteAppListModelOutbound, ASelectionIsTakenOverBeforeItsItemIsSerialized) {
  a.onGetVisibleName = [] { throw std::runtime_error("item"); };
  EXPECT_THROW(model->SetSelection(&a), std::runtime_error);
  ReleaseHeldMutex();
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelOutbound, AClickedItemIsAskedWithoutTheLock) {
  a.onGetVisibleName = a.onGetUnigueId = [] { EXPECT_FALSE(MutexHeld()); };
  model->SetClicked(&a);
  EXPECT_EQ(a.nameCalls, 1);
  EXPECT_EQ(a.idCalls, 1);
}

TEST_F(RemoteAppListModelOutbound, AClickedItemThatThrowsLeavesTheModelUsable) {
  a.onGetUnigueId = [] { throw std::runtime_error("item"); };
  EXPECT_THAT(RecordOf([&] { EXPECT_THROW(model->SetClicked(&a), std::runtime_error); }),
              ElementsAre(Debug("SetClicked: %p", At(a)), Serialized(a)));
  EXPECT_THAT(model->GetAllItems(), IsEmpty());
}

}  // namespace
}  // namespace applist_test
