// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <type_traits>

#include "AppList.h"
#include "support/Slot.h"

namespace applist_test {
namespace {

// Every interface is a virtual table and nothing else.
template <class Interface>
class AppListInterfaces : public ::testing::Test {};

using Interfaces = ::testing::Types<AppListItem, AppListModel, ItemSelectionListener,
                                    ItemChangeListener, ItemClickListener>;
TYPED_TEST_SUITE(AppListInterfaces, Interfaces, );

TYPED_TEST(AppListInterfaces, HaveAVirtualDestructorAndNoData) {
  EXPECT_TRUE(std::has_virtual_destructor_v<TypeParam>);
  EXPECT_EQ(sizeof(TypeParam), sizeof(void*));
}

template <class Listener, void (Listener::*method)(AppListModel*)>
void ExpectListenerShape() {
  EXPECT_EQ(Slot(method), 0);
  EXPECT_EQ(Slots<Listener>(), 3);
}

TEST(AppListSlots, ListenersHaveTheirOperationFirst) {
  ExpectListenerShape<ItemSelectionListener, &ItemSelectionListener::ItemSelected>();
  ExpectListenerShape<ItemChangeListener, &ItemChangeListener::ItemChanged>();
  ExpectListenerShape<ItemClickListener, &ItemClickListener::ItemClicked>();
}

TEST(AppListSlots, ItemsHaveTheNameThenTheIdentifierThenTheDestructor) {
  EXPECT_EQ(Slot(&AppListItem::GetVisibleName), 0);
  EXPECT_EQ(Slot(&AppListItem::GetUnigueId), 1);
  EXPECT_EQ(Slots<AppListItem>(), 4);
}

TEST(AppListSlots, TheModelHasItsOperationsInOrderThenTheDestructor) {
  EXPECT_EQ(Slot(&AppListModel::SetSelection), 0);
  EXPECT_EQ(Slot(&AppListModel::GetSelection), 1);
  EXPECT_EQ(Slot(&AppListModel::GetAllItems), 2);
  EXPECT_EQ(Slot(&AppListModel::SetClicked), 3);
  EXPECT_EQ(Slot(&AppListModel::RemoveAllItems), 4);
  EXPECT_EQ(Slot(&AppListModel::AddItems), 5);
  EXPECT_EQ(Slot(&AppListModel::AddItemAtEnd), 6);
  EXPECT_EQ(Slot(&AppListModel::RemoveItem), 7);
  EXPECT_EQ(Slot(&AppListModel::ModifyItem), 8);
  EXPECT_EQ(Slot(&AppListModel::GetItemsCount), 9);
  EXPECT_EQ(Slot(&AppListModel::AddItemSelectionListener), 10);
  EXPECT_EQ(Slot(&AppListModel::RemoveItemSelectionListener), 11);
  EXPECT_EQ(Slot(&AppListModel::AddItemChangeListener), 12);
  EXPECT_EQ(Slot(&AppListModel::RemoveItemChangeListener), 13);
  EXPECT_EQ(Slot(&AppListModel::AddItemClickedListener), 14);
  EXPECT_EQ(Slot(&AppListModel::RemoveItemClickedListener), 15);
  EXPECT_EQ(Slots<AppListModel>(), 18);
}

// What a user interface may do with its own items: default-construct and copy the base.
class PlainItem : public AppListItem {
 public:
  std::string GetVisibleName() override { return "name"; }
  std::string GetUnigueId() override { return "id"; }
};

TEST(AppListItemInterface, ItemsCanBeDefaultConstructedAndCopied) {
  EXPECT_TRUE(std::is_abstract_v<AppListItem>);
  EXPECT_TRUE(std::is_default_constructible_v<PlainItem>);
  EXPECT_TRUE(std::is_copy_constructible_v<PlainItem>);
  EXPECT_TRUE(std::is_copy_assignable_v<PlainItem>);
}

template <class Interface>
class Counted : public Interface {
 public:
  explicit Counted(int& count) : m_count(count) {}
  ~Counted() override { ++m_count; }

 private:
  int& m_count;
};

class CountedItem : public Counted<PlainItem> {
 public:
  using Counted::Counted;
};

class CountedListener : public Counted<ItemClickListener> {
 public:
  using Counted::Counted;
  void ItemClicked(AppListModel*) override {}
};

TEST(AppListInterface, DestructionThroughAnInterfaceReachesTheObject) {
  int destroyed = 0;
  AppListItem* const item = new CountedItem(destroyed);
  delete item;
  EXPECT_EQ(destroyed, 1);
  ItemClickListener* const listener = new CountedListener(destroyed);
  delete listener;
  EXPECT_EQ(destroyed, 2);
}

}  // namespace
}  // namespace applist_test
