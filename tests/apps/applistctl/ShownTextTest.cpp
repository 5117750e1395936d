// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "BusText.h"
#include "ShownText.h"

namespace {

using testing::ElementsAre;

class ShownTextTest : public ::testing::Test {
 protected:
  ShownTextTest() { setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(ShownTextTest, WhatShowsItselfStays) {
  for (const char* text : {"", "mail", "two words", "\"'$`", "\xC3\xA4", "\xE3\x82\xAB",
                           "e\xCC\x81", "\xD7\xA9\xD7\x9C", "\xF0\x9F\x98\x80", "\xE2\x80\x8D"}) {
    EXPECT_EQ(Shown(text), text);
  }
}

TEST_F(ShownTextTest, WhatActsIsAnEscape) {
  EXPECT_EQ(Shown("\x1b[31m"), "\\x1b[31m");
  EXPECT_EQ(Shown("a\nb\tc\x7F"), "a\\x0ab\\x09c\\x7f");
  EXPECT_EQ(Shown("\xC2\x9B"), "\\xc2\\x9b") << "a control character beyond ASCII";
  EXPECT_EQ(Shown("\xE2\x80\xAE"), "\\xe2\\x80\\xae") << "turns the text behind it";
  EXPECT_EQ(Shown("\xE2\x81\xA6"), "\\xe2\\x81\\xa6") << "isolates the text behind it";
  EXPECT_EQ(Shown("\xE2\x80\xA8"), "\\xe2\\x80\\xa8") << "ends a line";
  EXPECT_EQ(Shown(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(Shown("\xFF\xC3"), "\\xff\\xc3");
  EXPECT_EQ(Shown("a\\b"), "a\\\\b");
}

// Each single byte, and each pair, can be given to the program again.
TEST_F(ShownTextTest, LeadsBackToTheBytes) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(applist::FromBusText(Shown(bytes)), bytes);
    }
  }
}

TEST_F(ShownTextTest, HarmlessKeepsTheBackslashes) {
  EXPECT_EQ(Harmless("a\\q\\"), "a\\q\\");
  EXPECT_EQ(Harmless("\\\x1b\\"), "\\\\x1b\\");
  EXPECT_EQ(Harmless(""), "");
}

TEST_F(ShownTextTest, WidthCountsColumns) {
  EXPECT_EQ(Width(""), 0u);
  EXPECT_EQ(Width("abc"), 3u);
  EXPECT_EQ(Width("\xE3\x82\xAB\xE3\x83\xA1"), 4u) << "wide";
  EXPECT_EQ(Width("e\xCC\x81"), 1u) << "combining";
}

TEST_F(ShownTextTest, ColumnsLineUp) {
  EXPECT_THAT(Aligned({{"a", "b"}, {"\xE3\x82\xAB\xE3\x83\xA1", "c"}, {"e\xCC\x81", ""}}),
              ElementsAre("a     b", "\xE3\x82\xAB\xE3\x83\xA1  c", "e\xCC\x81     "));
}

TEST_F(ShownTextTest, ALongCellDoesNotWidenTheOthers) {
  const std::string longest(kWidestColumn, 'x');
  EXPECT_THAT(Aligned({{"a", "b"}, {longest + "x", "c"}}), ElementsAre("a  b", longest + "x  c"));
  EXPECT_THAT(Aligned({{"a", "b"}, {longest, "c"}}),
              ElementsAre("a" + std::string(kWidestColumn + 1, ' ') + "b", longest + "  c"));
}

TEST_F(ShownTextTest, RowsMayBeShorter) {
  EXPECT_THAT(Aligned({{"title"}, {"a", "b", "c"}}), ElementsAre("title", "a      b  c"));
  EXPECT_TRUE(Aligned({}).empty());
}

}  // namespace
