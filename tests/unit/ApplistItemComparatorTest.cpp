// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "applist/ApplistItemComparator.h"
#include "support/Record.h"
#include "support/TestItem.h"

namespace applist_test {
namespace {

using ::testing::ElementsAre;

bool Same(const std::string& reference, const std::string& candidate) {
  TestItem first("one name", reference);
  TestItem second("another name", candidate);
  return ApplistItemComparator(&first)(&second);
}

TEST(ApplistItemComparator, EqualIdentifiersMakeTheSameItemWhateverTheNames) {
  EXPECT_TRUE(Same("id", "id"));
  EXPECT_TRUE(Same("", ""));
}

TEST(ApplistItemComparator, IdentifiersAreComparedByteForByte) {
  EXPECT_FALSE(Same("id", "Id"));
  EXPECT_FALSE(Same("id", "id "));
  EXPECT_FALSE(Same("ida", "idb"));
  EXPECT_FALSE(Same("id", "identifier"));
  EXPECT_FALSE(Same("identifier", "id"));
  EXPECT_FALSE(Same("", "id"));
  EXPECT_FALSE(Same(std::string("a\0b", 3), std::string("a\0c", 3)));
  EXPECT_TRUE(Same(std::string("a\0b", 3), std::string("a\0b", 3)));
}

TEST(ApplistItemComparator, AnItemMatchesItselfByItsIdentifierAndNotByItsAddress) {
  TestItem item("name", "id");
  EXPECT_TRUE(ApplistItemComparator(&item)(&item));
  EXPECT_EQ(item.idCalls, 2);
}

TEST(ApplistItemComparator, NamesAreNotAskedFor) {
  TestItem first("name", "id");
  TestItem second("name", "other");
  EXPECT_FALSE(ApplistItemComparator(&first)(&second));
  EXPECT_EQ(first.nameCalls, 0);
  EXPECT_EQ(second.nameCalls, 0);
}

TEST(ApplistItemComparator, TheReferenceIsAskedAnewBeforeEachCandidate) {
  TestItem reference("", "wanted");
  TestItem first("", "first");
  TestItem second("", "second");
  reference.onGetUnigueId = [] { Record("reference"); };
  first.onGetUnigueId = [] { Record("first"); };
  second.onGetUnigueId = [] { Record("second"); };
  std::vector<AppListItem*> items{&first, &second};
  TakeRecord();
  EXPECT_EQ(std::find_if(items.begin(), items.end(), ApplistItemComparator(&reference)),
            items.end());
  EXPECT_THAT(TakeRecord(), ElementsAre("reference", "first", "reference", "second"));
}

TEST(ApplistItemComparator, ASearchInAnEmptyListAsksNobody) {
  TestItem reference("name", "id");
  std::vector<AppListItem*> items;
  EXPECT_EQ(std::find_if(items.begin(), items.end(), ApplistItemComparator(&reference)),
            items.end());
  EXPECT_EQ(reference.idCalls, 0);
}

TEST(ApplistItemComparator, ASearchFindsTheFirstOfEqualIdentifiers) {
  TestItem other("other", "other");
  TestItem first("first", "id");
  TestItem second("second", "id");
  std::vector<AppListItem*> items{&other, &first, &second};
  EXPECT_EQ(*std::find_if(items.begin(), items.end(), ApplistItemComparator(&second)), &first);
}

TEST(ApplistItemComparator, IsACopyablePointerAndNoMore) {
  EXPECT_FALSE(std::is_polymorphic_v<ApplistItemComparator>);
  EXPECT_TRUE(std::is_copy_constructible_v<ApplistItemComparator>);
  EXPECT_EQ(sizeof(ApplistItemComparator), sizeof(void*));
}

}  // namespace
}  // namespace applist_test
