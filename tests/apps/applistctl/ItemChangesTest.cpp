// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ItemChanges.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Items whose names are their identifiers in capitals.
ItemTexts Items(const std::string& ids) {
  ItemTexts items;
  for (const char id : ids) {
    items.emplace_back(std::string(1, id), std::string(1, static_cast<char>(id - 'a' + 'A')));
  }
  return items;
}

// "+a1" for a that was added at place 1, "-" for removed, ">" for moved, "=" for renamed.
std::vector<std::string> Changes(const ItemTexts& before, const ItemTexts& after) {
  std::vector<std::string> words;
  for (const ItemChange& change : ChangesBetween(before, after)) {
    const char* sign = change.kind == ItemChange::Kind::Removed ? "-"
                       : change.kind == ItemChange::Kind::Added ? "+"
                       : change.kind == ItemChange::Kind::Moved ? ">"
                                                                : "=";
    words.push_back(sign + change.id + std::to_string(change.place));
  }
  return words;
}

TEST(ItemChangesTest, NothingHappenedToEqualLists) {
  EXPECT_THAT(Changes({}, {}), IsEmpty());
  EXPECT_THAT(Changes(Items("abc"), Items("abc")), IsEmpty());
}

TEST(ItemChangesTest, AddedAndRemoved) {
  EXPECT_THAT(Changes({}, Items("ab")), ElementsAre("+a1", "+b2"));
  EXPECT_THAT(Changes(Items("ab"), {}), ElementsAre("-a1", "-b2"));
  EXPECT_THAT(Changes(Items("abc"), Items("cd")), ElementsAre("-a1", "-b2", "+d2"));
}

TEST(ItemChangesTest, RenamedTellsBothNames) {
  const std::vector<ItemChange> changes = ChangesBetween({{"a", "old"}}, {{"a", "new"}});
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].kind, ItemChange::Kind::Renamed);
  EXPECT_EQ(changes[0].nameBefore, "old");
  EXPECT_EQ(changes[0].name, "new");
}

TEST(ItemChangesTest, AsFewAsPossibleMoved) {
  EXPECT_THAT(Changes(Items("abcd"), Items("dabc")), ElementsAre(">d1"));
  EXPECT_THAT(Changes(Items("abcd"), Items("bcda")), ElementsAre(">a4"));
  EXPECT_THAT(Changes(Items("abcd"), Items("acd")), ElementsAre("-b2")) << "closing up is no move";
}

TEST(ItemChangesTest, EqualIdentifiersAreToldApartByOrder) {
  EXPECT_THAT(Changes(Items("aa"), Items("a")), ElementsAre("-a2"));
  EXPECT_THAT(Changes(Items("ab"), Items("aba")), ElementsAre("+a3"));
}

// Whatever became of a list, the changes lead from the old one to the new one.
TEST(ItemChangesTest, ChangesMakeTheOneIntoTheOther) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    const auto list = [&] {
      ItemTexts items = Items("abcdefg");
      std::shuffle(items.begin(), items.end(), random);
      items.resize(random() % items.size());
      return items;
    };
    const ItemTexts before = list();
    const ItemTexts after = list();
    // What is left where it was, in order, and then what the changes put between.
    ItemTexts made = before;
    const std::vector<ItemChange> changes = ChangesBetween(before, after);
    const auto take = [&](const std::string& id) {
      const auto item = std::find_if(made.begin(), made.end(),
                                     [&](const auto& candidate) { return candidate.first == id; });
      ASSERT_NE(item, made.end());
      made.erase(item);
    };
    for (const ItemChange& change : changes) {
      if (change.kind == ItemChange::Kind::Removed || change.kind == ItemChange::Kind::Moved) {
        take(change.id);
      }
    }
    for (const ItemChange& change : changes) {
      const auto at = [&] { return made.begin() + static_cast<std::ptrdiff_t>(change.place) - 1; };
      if (change.kind == ItemChange::Kind::Added || change.kind == ItemChange::Kind::Moved) {
        ASSERT_LE(change.place, made.size() + 1);
        made.insert(at(), {change.id, change.name});
      }
    }
    ASSERT_EQ(made, after) << "round " << round;
  }
}

}  // namespace
