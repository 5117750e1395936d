// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <iomanip>
#include <ios>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "support/Seed.h"
#include "support/Slot.h"
#include "support/TestItem.h"

namespace applist_test {
namespace {

RemoteAppListItem Item(const std::string& name, const std::string& id) {
  TestItem item(name, id);
  return RemoteAppListItem(item);
}

std::string Encoded(const std::string& name, const std::string& id) {
  std::ostringstream out;
  out << Item(name, id);
  return out.str();
}

void ExpectItem(RemoteAppListItem& item, const std::string& name, const std::string& id) {
  EXPECT_EQ(item.GetVisibleName(), name);
  EXPECT_EQ(item.GetUnigueId(), id);
}

// Two copies back to back come back as they were, and nothing behind them is looked for.
void ExpectRoundTrip(const std::string& name, const std::string& id) {
  std::stringstream stream;
  stream << Item(name, id) << Item(name, id);
  for (int k = 0; k < 2; ++k) {
    RemoteAppListItem item;
    ASSERT_TRUE(stream >> item);
    EXPECT_TRUE(stream.good());
    ExpectItem(item, name, id);
  }
  EXPECT_EQ(stream.peek(), std::char_traits<char>::eof());
}

std::string AllBytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

TEST(RemoteAppListItemValue, IsEmptyAtFirst) {
  RemoteAppListItem item;
  ExpectItem(item, "", "");
}

TEST(RemoteAppListItemValue, TakesTheNameAndTheIdentifierOfAnyItemOnce) {
  TestItem source("name", "id");
  RemoteAppListItem item(source);
  source.name = "changed";
  source.id = "changed";
  ExpectItem(item, "name", "id");
  EXPECT_EQ(source.nameCalls, 1);
  EXPECT_EQ(source.idCalls, 1);
}

TEST(RemoteAppListItemValue, CanBeCopiedAndAssigned) {
  RemoteAppListItem item = Item("name", "id");
  RemoteAppListItem copy(item);
  RemoteAppListItem assigned;
  assigned = copy;
  item = Item("other", "other");
  ExpectItem(copy, "name", "id");
  ExpectItem(assigned, "name", "id");
}

TEST(RemoteAppListItemValue, SurvivesTheGrowthOfAVector) {
  std::vector<RemoteAppListItem> items;
  for (int k = 0; k < 100; ++k) {
    items.push_back(Item(std::string(static_cast<size_t>(k), 'n'), std::to_string(k)));
  }
  for (int k = 0; k < 100; ++k) {
    ExpectItem(items[static_cast<size_t>(k)], std::string(static_cast<size_t>(k), 'n'),
               std::to_string(k));
  }
}

TEST(RemoteAppListItemValue, IsAnItemWithTheSlotsOfAnItem) {
  EXPECT_TRUE((std::is_convertible_v<RemoteAppListItem*, AppListItem*>));
  EXPECT_FALSE((std::is_constructible_v<RemoteAppListItem, const AppListItem&>));
  EXPECT_EQ(Slot(&RemoteAppListItem::GetVisibleName), 0);
  EXPECT_EQ(Slot(&RemoteAppListItem::GetUnigueId), 1);
  EXPECT_EQ(Slots<RemoteAppListItem>(), 4);
}

TEST(RemoteAppListItemEncoding, IsTheNameAndTheIdentifierOnALineEach) {
  EXPECT_EQ(Encoded("Mail", "org.mail"), "Mail\norg.mail\n");
  EXPECT_EQ(Encoded("", ""), "\n\n");
  EXPECT_EQ(Encoded(" spaces ", "\ttab\r"), " spaces \n\ttab\r\n");
}

TEST(RemoteAppListItemEncoding, EscapesLineFeedsAndBackslashesOnly) {
  EXPECT_EQ(Encoded("two\nlines", "\n"), "two\\nlines\n\\n\n");
  EXPECT_EQ(Encoded("back\\slash", "\\n"), "back\\\\slash\n\\\\n\n");
  std::string expected = AllBytes();
  expected.replace(expected.find('\\'), 1, "\\\\");
  expected.replace(expected.find('\n'), 1, "\\n");
  EXPECT_EQ(Encoded(AllBytes(), AllBytes()), expected + "\n" + expected + "\n");
}

TEST(RemoteAppListItemEncoding, IgnoresTheFormattingOfTheStream) {
  std::ostringstream out;
  out << std::setw(40) << std::setfill('*') << std::left << std::hex << std::showbase
      << Item("name", "id");
  EXPECT_EQ(out.str(), "name\nid\n");
}

TEST(RemoteAppListItemEncoding, WritesNothingToAStreamThatHasFailed) {
  std::ostringstream out;
  out.setstate(std::ios_base::failbit);
  out << Item("name", "id");
  EXPECT_EQ(out.str(), "");
}

TEST(RemoteAppListItemEncoding, ComesBackAsItWas) {
  const std::string strings[] = {
      "",     "plain", "\n",     "\n\n", "\\",  "\\\\",   "\\n", "\n\\n\\\n", "ends in \\",
      "\xFF", "\xC3",  "\r\n\t", " ",    "  x", "nul\\0", "n",   "\\\nn",
  };
  for (const std::string& name : strings) {
    for (const std::string& id : strings) {
      ExpectRoundTrip(name, id);
    }
  }
  const std::string zeroBytes("\0a\0\0", 4);
  ExpectRoundTrip(zeroBytes, zeroBytes);
  ExpectRoundTrip(AllBytes(), AllBytes());
}

TEST(RemoteAppListItemEncoding, CarriesAMebibyte) {
  const size_t mebibyte = 1U << 20;
  ExpectRoundTrip(std::string(mebibyte, 'n'), std::string(mebibyte, '\n'));
}

TEST(RemoteAppListItemEncoding, RandomBytesComeBackAsTheyWere) {
  std::mt19937 random(Seed());
  const std::string frequent = std::string("\\\nn\0", 4);
  const auto randomString = [&] {
    std::string text(random() % 40, '\0');
    for (char& byte : text) {
      byte = random() % 2 == 0 ? frequent[random() % frequent.size()] : static_cast<char>(random());
    }
    return text;
  };
  for (int k = 0; k < 20000 && !HasFailure(); ++k) {
    ExpectRoundTrip(randomString(), randomString());
  }
}

TEST(RemoteAppListItemDecoding, OverwritesBothStrings) {
  std::istringstream in("name\nid\n\n\n");
  RemoteAppListItem item = Item("old name", "old id");
  ASSERT_TRUE(in >> item);
  ExpectItem(item, "name", "id");
  ASSERT_TRUE(in >> item);
  ExpectItem(item, "", "");
}

TEST(RemoteAppListItemDecoding, SkipsNoWhiteSpaceWhateverTheFlags) {
  for (const bool skip : {true, false}) {
    std::istringstream in(" \t name \n  id\r\n");
    in.setf(skip ? std::ios_base::skipws : std::ios_base::fmtflags{}, std::ios_base::skipws);
    in >> std::setw(2);
    RemoteAppListItem item;
    ASSERT_TRUE(in >> item);
    ExpectItem(item, " \t name ", "  id\r");
  }
}

struct BadEncoding {
  std::string bytes;
  bool atEnd;
};

void PrintTo(const BadEncoding& encoding, std::ostream* out) {
  *out << ::testing::PrintToString(encoding.bytes);
}

class RemoteAppListItemBadEncoding : public ::testing::TestWithParam<BadEncoding> {};

TEST_P(RemoteAppListItemBadEncoding, FailsAndLeavesTheItemAsItWas) {
  std::istringstream in(GetParam().bytes);
  RemoteAppListItem item = Item("old name", "old id");
  in >> item;
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.bad());
  EXPECT_EQ(in.eof(), GetParam().atEnd);
  ExpectItem(item, "old name", "old id");
}

INSTANTIATE_TEST_SUITE_P(CutShort, RemoteAppListItemBadEncoding,
                         ::testing::Values(BadEncoding{"", true}, BadEncoding{"name", true},
                                           BadEncoding{"name\n", true},
                                           BadEncoding{"name\nid", true},
                                           BadEncoding{"name\nid\\", true},
                                           BadEncoding{"\n", true}));

INSTANTIATE_TEST_SUITE_P(Malformed, RemoteAppListItemBadEncoding,
                         ::testing::Values(BadEncoding{"na\\me\nid\n", false},
                                           BadEncoding{"name\nid\\\n", false},
                                           BadEncoding{"name\\\nid\n", false},
                                           BadEncoding{"name\n\\N\n", false},
                                           BadEncoding{"\\\\\\\nid\n", false},
                                           BadEncoding{std::string("\\\0\nid\n", 6), false},
                                           BadEncoding{"\\n\\\\\\r\nid\n", false}));

TEST(RemoteAppListItemDecoding, ReadsNothingFromAStreamThatHasFailed) {
  std::istringstream in("name\nid\n");
  in.setstate(std::ios_base::failbit);
  RemoteAppListItem item = Item("old name", "old id");
  EXPECT_FALSE(in >> item);
  ExpectItem(item, "old name", "old id");
}

TEST(RemoteAppListItemDecoding, ThrowsWhereTheStreamIsToldToAndLeavesTheItemAsItWas) {
  std::istringstream in("name\n\\x\n");
  in.exceptions(std::ios_base::failbit);
  RemoteAppListItem item = Item("old name", "old id");
  EXPECT_THROW(in >> item, std::ios_base::failure);
  ExpectItem(item, "old name", "old id");
}

}  // namespace
}  // namespace applist_test
