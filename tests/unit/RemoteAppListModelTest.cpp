// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <algorithm>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "support/ModelTest.h"
#include "support/Slot.h"

namespace applist_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RemoteAppListModelLife : public ModelTest {};

TEST_F(RemoteAppListModelLife, ConstructionConnectsAndDoesNothingElse) {
  std::unique_ptr<RemoteAppListModel> another;
  EXPECT_THAT(RecordOf([&] { another = std::make_unique<RemoteAppListModel>(); }),
              ElementsAre("make mutex", "connect Applist", Debug("IPCApplist")));
}

TEST_F(RemoteAppListModelLife, ANewModelIsEmpty) {
  EXPECT_EQ(model->GetSelection(), nullptr);
  EXPECT_EQ(model->GetItemsCount(), 0);
  EXPECT_THAT(model->GetAllItems(), IsEmpty());
}

TEST_F(RemoteAppListModelLife, ANewModelHearsNotifications) {
  EXPECT_THAT(RecordOf([&] { Notify(APPLIST_ITEM_CHANGE_EVENT); }),
              ElementsAre(Debug("IPC HandleNotification"),
                          Debug("ItemChageEvent from local model. Listeners :%d", 0)));
}

TEST_F(RemoteAppListModelLife, DestructionUnregistersEmptiesAndDisconnectsInThisOrder) {
  TestListener listener("listener");
  model->AddItemSelectionListener(&listener);
  model->AddItemChangeListener(&listener);
  model->AddItemClickedListener(&listener);
  model->AddItemAtEnd(&a);
  model->SetSelection(&a);
  EXPECT_THAT(RecordOf([&] { model.reset(); }),
              ElementsAre(Info("Unregistered callbackNotificationObject"), "lock", "unlock",
                          "disconnect", "drop mutex"));
}

TEST_F(RemoteAppListModelLife, DestructionThroughTheInterfaceIsWhole) {
  std::unique_ptr<AppListModel> interface = std::move(model);
  EXPECT_THAT(RecordOf([&] { interface.reset(); }),
              ElementsAre(Info("Unregistered callbackNotificationObject"), "lock", "unlock",
                          "disconnect", "drop mutex"));
}

TEST_F(RemoteAppListModelLife, NoItemIsEverFreed) {
  bool destroyed[3] = {};
  TestItem* const items[] = {&a, &b, &c};
  for (int k = 0; k < 3; ++k) {
    items[k]->destroyed = &destroyed[k];
  }
  model->AddItems({&a, &b});
  model->SetSelection(&b);
  model->RemoveItem(&a);
  model->ModifyItem(&b, &c);
  model->RemoveAllItems();
  model->AddItems({&a, &b, &c});
  model.reset();
  EXPECT_THAT(destroyed, ElementsAre(false, false, false));
  EXPECT_EQ(b.GetVisibleName(), "Beta");
}

TEST_F(RemoteAppListModelLife, AConnectionThatFailsLeavesNothingBehind) {
  ConnectWith([] { throw std::runtime_error("no connection"); });
  EXPECT_THAT(RecordOf([] { EXPECT_THROW(RemoteAppListModel(), std::runtime_error); }),
              ElementsAre("make mutex", "connect Applist", "drop mutex"));
}

TEST_F(RemoteAppListModelLife, TheModelHasTheSlotsOfItsInterface) {
  EXPECT_EQ(Slot(&RemoteAppListModel::SetSelection), 0);
  EXPECT_EQ(Slot(&RemoteAppListModel::RemoveItemClickedListener), 15);
  EXPECT_EQ(Slots<RemoteAppListModel>(), Slots<AppListModel>());
}

class RemoteAppListModelAccess : public ModelTest {};

TEST_F(RemoteAppListModelAccess, EachAccessorTakesTheLockAndLogsNothing) {
  EXPECT_THAT(RecordOf([&] { model->GetSelection(); }), ElementsAre("lock", "unlock"));
  EXPECT_THAT(RecordOf([&] { model->GetItemsCount(); }), ElementsAre("lock", "unlock"));
  EXPECT_THAT(RecordOf([&] { model->GetAllItems(); }), ElementsAre("lock", "unlock"));
}

TEST_F(RemoteAppListModelAccess, AListHandedOutIsASnapshot) {
  model->AddItems({&a, &b});
  const std::vector<AppListItem*> items = model->GetAllItems();
  model->RemoveAllItems();
  EXPECT_THAT(items, ElementsAre(&a, &b));
  model.reset();
  EXPECT_THAT(items, ElementsAre(&a, &b));
}

TEST_F(RemoteAppListModelAccess, AListHandedOutCanBeChangedWithoutTheModel) {
  model->AddItems({&a, &b});
  std::vector<AppListItem*> items = model->GetAllItems();
  items.clear();
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
}

class RemoteAppListModelRemoveAllItems : public ModelTest {
 protected:
  const std::string request = "send " + std::string("\xD3\x07\0\0", 4);
};

TEST_F(RemoteAppListModelRemoveAllItems, EmptiesTheModelAndThenTellsTheRemoteSide) {
  TestListener listener("listener");
  model->AddItemSelectionListener(&listener);
  model->AddItemChangeListener(&listener);
  model->AddItems({&a, &b});
  model->SetSelection(&b);
  EXPECT_THAT(RecordOf([&] { model->RemoveAllItems(); }),
              ElementsAre(Debug("RemoveAllItems"), "lock", "unlock", request));
  EXPECT_EQ(model->GetSelection(), nullptr);
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_F(RemoteAppListModelRemoveAllItems, TellsTheRemoteSideAlsoWhenThereIsNothingToRemove) {
  EXPECT_THAT(RecordOf([&] { model->RemoveAllItems(); }),
              ElementsAre(Debug("RemoveAllItems"), "lock", "unlock", request));
}

TEST_F(RemoteAppListModelRemoveAllItems, TheReplyIsNotRead) {
  AnswerWith([](const std::string&) { return "Alpha\na\n"; });
  model->AddItems({&a});
  model->RemoveAllItems();
  EXPECT_EQ(model->GetSelection(), nullptr);
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_F(RemoteAppListModelRemoveAllItems, IsNotUndoneWhenTheTransportThrows) {
  model->AddItems({&a});
  AnswerWith([](const std::string&) -> std::string { throw std::runtime_error("link"); });
  EXPECT_THROW(model->RemoveAllItems(), std::runtime_error);
  EXPECT_FALSE(MutexHeld());
  EXPECT_EQ(model->GetItemsCount(), 0);
}

// The three registries have one shape; each test below runs over all of them.
struct Registry {
  std::string add;        // The line that a registration logs.
  std::string eventLine;  // The line of the event, with the number of listeners.
  std::string called;     // What a listener records.
  int event;
  void (*addTo)(AppListModel&, TestListener*);
  void (*removeFrom)(AppListModel&, TestListener*);
};

void PrintTo(const Registry& registry, std::ostream* out) {
  *out << registry.add;
}

const Registry kRegistries[] = {
    {"AddItemSelectionListener", "ItemSelectionEvent from local model. Listeners :", "selected ",
     APPLIST_ITEM_SELECTION_EVENT,
     [](AppListModel& model, TestListener* l) { model.AddItemSelectionListener(l); },
     [](AppListModel& model, TestListener* l) { model.RemoveItemSelectionListener(l); }},
    {"AddItemChangeListener", "ItemChageEvent from local model. Listeners :", "changed ",
     APPLIST_ITEM_CHANGE_EVENT,
     [](AppListModel& model, TestListener* l) { model.AddItemChangeListener(l); },
     [](AppListModel& model, TestListener* l) { model.RemoveItemChangeListener(l); }},
    {"AddItemClickedListener", "ItemClickedEvent from local model. Listeners :", "clicked ",
     APPLIST_ITEM_CLICKED_EVENT,
     [](AppListModel& model, TestListener* l) { model.AddItemClickedListener(l); },
     [](AppListModel& model, TestListener* l) { model.RemoveItemClickedListener(l); }},
};

class RemoteAppListModelListeners : public ModelTest,
                                    public ::testing::WithParamInterface<Registry> {
 protected:
  void Add(TestListener& listener) { GetParam().addTo(*model, &listener); }
  void Remove(TestListener& listener) { GetParam().removeFrom(*model, &listener); }

  // The end of what the event makes happen: its line, and what comes after.
  std::vector<std::string> Event(int event = GetParam().event) {
    const std::vector<std::string> record = RecordOf([event] { Notify(event); });
    const auto line = std::find_if(record.begin(), record.end(), [](const std::string& entry) {
      return entry.find(" from local model. Listeners :") != std::string::npos;
    });
    return {line, record.end()};
  }
  static std::string EventLine(int listeners) {
    return Debug("%s%d", GetParam().eventLine.c_str(), listeners);
  }
  static std::string Called(const std::string& listener) { return GetParam().called + listener; }

  TestListener first{"first"};
  TestListener second{"second"};
  TestListener third{"third"};
};

INSTANTIATE_TEST_SUITE_P(OfEachKind, RemoteAppListModelListeners, ::testing::ValuesIn(kRegistries),
                         [](const auto& kind) { return kind.param.add.substr(3); });

TEST_P(RemoteAppListModelListeners, ARegistrationIsLoggedAndTakesNoLock) {
  EXPECT_THAT(RecordOf([&] { Add(first); }), ElementsAre(Debug("%s", GetParam().add.c_str())));
}

TEST_P(RemoteAppListModelListeners, AnUnregistrationLeavesNoTrace) {
  Add(first);
  EXPECT_THAT(RecordOf([&] { Remove(first); }), IsEmpty());
}

TEST_P(RemoteAppListModelListeners, AreCalledInTheOrderOfTheirRegistration) {
  Add(second);
  Add(first);
  Add(third);
  EXPECT_THAT(Event(),
              ElementsAre(EventLine(3), Called("second"), Called("first"), Called("third")));
}

TEST_P(RemoteAppListModelListeners, AreKeptOnceHoweverOftenTheyAreAdded) {
  Add(first);
  EXPECT_THAT(RecordOf([&] { Add(first); }), ElementsAre(Debug("%s", GetParam().add.c_str())));
  EXPECT_THAT(Event(), ElementsAre(EventLine(1), Called("first")));
  Remove(first);
  EXPECT_THAT(Event(), ElementsAre(EventLine(0)));
}

TEST_P(RemoteAppListModelListeners, AreRemovedWithoutChangingTheOrderOfTheRest) {
  Add(first);
  Add(second);
  Add(third);
  Remove(second);
  EXPECT_THAT(Event(), ElementsAre(EventLine(2), Called("first"), Called("third")));
}

TEST_P(RemoteAppListModelListeners, RemovingAStrangerChangesNothing) {
  Add(first);
  EXPECT_THAT(RecordOf([&] { Remove(second); }), IsEmpty());
  EXPECT_THAT(Event(), ElementsAre(EventLine(1), Called("first")));
}

TEST_P(RemoteAppListModelListeners, AreKeptInEachRegistryByItself) {
  for (const Registry& registry : kRegistries) {
    registry.addTo(*model, &first);
  }
  Remove(first);
  for (const Registry& registry : kRegistries) {
    const size_t calls = registry.event == GetParam().event ? 0 : 1;
    EXPECT_EQ(Event(registry.event).size(), 1 + calls);
  }
}

TEST_P(RemoteAppListModelListeners, AreHandedTheModel) {
  AppListModel* heard = nullptr;
  first.onCall = [&](AppListModel* caller) { heard = caller; };
  Add(first);
  Event();
  EXPECT_EQ(heard, model.get());
}

TEST_P(RemoteAppListModelListeners, MayCallBackIntoTheModel) {
  model->AddItems({&a});
  first.onCall = [&](AppListModel* caller) {
    EXPECT_FALSE(MutexHeld());
    EXPECT_EQ(caller->GetItemsCount(), 1);
    caller->SetSelection(&a);
    EXPECT_EQ(caller->GetSelection(), &a);
    caller->AddItemAtEnd(&b);
    caller->RemoveAllItems();
  };
  Add(first);
  Notify(GetParam().event);
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_P(RemoteAppListModelListeners, OneThatThrowsEndsTheWalk) {
  first.onCall = [](AppListModel*) { throw std::runtime_error("listener"); };
  Add(second);
  Add(first);
  Add(third);
  EXPECT_THAT(
      RecordOf([&] { EXPECT_THROW(Notify(GetParam().event), std::runtime_error); }),
      ::testing::AllOf(::testing::Contains(Called("second")), ::testing::Contains(Called("first")),
                       ::testing::Not(::testing::Contains(Called("third")))));
  EXPECT_FALSE(MutexHeld());
  EXPECT_EQ(model->GetItemsCount(), 0);
}

}  // namespace
}  // namespace applist_test
