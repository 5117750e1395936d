// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Names of any bytes as what a terminal can show, and a line that is edited.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

#include "LineEditor.h"
#include "Text.h"

using applist_ui::CellsOf;
using applist_ui::Decode;
using applist_ui::Encode;
using applist_ui::FirstCells;
using applist_ui::Key;
using applist_ui::LastCells;
using applist_ui::LineEditor;
using applist_ui::Printable;
using applist_ui::Wrapped;
using ::testing::ElementsAre;

namespace {

class UiText : public ::testing::Test {
 protected:
  UiText() { Use("C.UTF-8"); }
  static void Use(const char* locale) { ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr); }
};

TEST_F(UiText, DecodesWhatItEncodes) {
  const std::wstring text = L"a\u00e4\u20ac\U0001F600";
  EXPECT_EQ(Encode(text), "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
  EXPECT_EQ(Decode(Encode(text)), text);
}

TEST_F(UiText, ShowsAMarkForEachByteThatIsNoCharacter) {
  EXPECT_EQ(Decode("a\xff"
                   "b"),
            L"a\uFFFDb");
  EXPECT_EQ(Decode("\xc3"), L"\uFFFD");
  EXPECT_EQ(Decode("\xc0\x80"), L"\uFFFD\uFFFD");
  EXPECT_EQ(Decode("\xed\xa0\x80"), L"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(Decode("\xf4\x90\x80\x80").size(), 4U);
  EXPECT_EQ(Decode(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST_F(UiText, WritesWhatActsOnTheTerminalAsEscapes) {
  EXPECT_EQ(Printable(L"a\x1b[31mb\n\x7f"), L"a\\x1b[31mb\\x0a\\x7f");
  EXPECT_EQ(Printable(L"\x85\x9b"), L"\\x85\\x9b");
  EXPECT_EQ(Printable(L"a\u202eb\u2066c\u2028"), L"a\\u202eb\\u2066c\\u2028");
}

TEST_F(UiText, KeepsMarksOnlyOnACharacter) {
  EXPECT_EQ(Printable(L"e\u0301"), L"e\u0301");
  EXPECT_EQ(CellsOf(Printable(L"e\u0301")), 1);
  EXPECT_EQ(Printable(L"\u0301e"), L"\u25cc\u0301e");
  EXPECT_EQ(Printable(L"e" + std::wstring(50, L'\u0301')).size(), 5U);
}

TEST_F(UiText, LeavesOutWhatJoins) {
  EXPECT_EQ(Printable(L"a\u200d\ufe0fb"), L"ab");
}

TEST_F(UiText, CountsCells) {
  EXPECT_EQ(CellsOf(L"abc"), 3);
  EXPECT_EQ(CellsOf(L"\u65e5\u672c"), 4);
  EXPECT_EQ(CellsOf(Printable(L"\u05e2\u05d1")), 2);
}

TEST_F(UiText, CutsAtCells) {
  EXPECT_EQ(FirstCells(L"abcdef", 6), L"abcdef");
  EXPECT_EQ(FirstCells(L"abcdef", 4), L"abc\u2026");
  EXPECT_EQ(FirstCells(L"\u65e5\u672c\u8a9e", 4), L"\u65e5\u2026");
  EXPECT_EQ(FirstCells(L"\u65e5\u672c\u8a9e", 1), L"\u2026");
  EXPECT_EQ(FirstCells(L"abc", 0), L"");
  EXPECT_EQ(LastCells(L"abcdef", 3), L"def");
  EXPECT_EQ(LastCells(L"\u65e5\u672c\u8a9e", 5), L"\u672c\u8a9e");
  EXPECT_EQ(LastCells(L"e\u0301x", 1), L"x");
}

TEST_F(UiText, WrapsAtBlanksWhereItCan) {
  EXPECT_THAT(Wrapped(L"", 5), ElementsAre(L""));
  EXPECT_THAT(Wrapped(L"one two three", 8), ElementsAre(L"one two", L"three"));
  EXPECT_THAT(Wrapped(L"abcdefgh", 3), ElementsAre(L"abc", L"def", L"gh"));
  EXPECT_THAT(Wrapped(L"  indented text", 10), ElementsAre(L"  indented", L"text"));
  EXPECT_THAT(Wrapped(L"\u65e5\u672c\u8a9e", 3), ElementsAre(L"\u65e5", L"\u672c", L"\u8a9e"));
  EXPECT_THAT(Wrapped(L"\u65e5\u672c", 1), ElementsAre(L"\u65e5", L"\u672c"));
}

TEST_F(UiText, WritesAQuestionMarkForWhatTheLocaleLacks) {
  Use("C");
  EXPECT_EQ(Printable(L"a\u00e4\u65e5b"), L"a??b");
  EXPECT_EQ(Printable(L"a\x1b"), L"a\\x1b");
  EXPECT_EQ(FirstCells(L"abcdef", 4), L"abc~");
}

LineEditor Edited(const std::wstring& text, const std::vector<Key>& keys) {
  LineEditor editor(text);
  for (const Key key : keys) {
    editor.Press(key);
  }
  return editor;
}

TEST_F(UiText, EditsALine) {
  EXPECT_EQ(Edited(L"ab", {Key{'c'}}).Text(), L"abc");
  EXPECT_EQ(Edited(L"ab", {Key::Left, Key{'c'}}).Text(), L"acb");
  EXPECT_EQ(Edited(L"ab", {Key::Home, Key{'c'}, Key::End, Key{'d'}}).Text(), L"cabd");
  EXPECT_EQ(Edited(L"abc", {Key::Left, Key::Backspace}).Text(), L"ac");
  EXPECT_EQ(Edited(L"abc", {Key::Left, Key::Delete}).Text(), L"ab");
  EXPECT_EQ(Edited(L"one two ", {Key::ControlW}).Text(), L"one ");
  EXPECT_EQ(Edited(L"abc", {Key::Left, Key::ControlU}).Text(), L"c");
  EXPECT_EQ(Edited(L"abc", {Key::ControlA, Key::Right, Key::ControlK}).Text(), L"a");
  EXPECT_EQ(Edited(L"abc", {Key::Up, Key::Unknown, Key::Escape, Key::Tab}).Text(), L"abc");
}

TEST_F(UiText, EditsMarksWithTheirCharacter) {
  EXPECT_EQ(Edited(L"xe\u0301", {Key::Backspace}).Text(), L"x");
  EXPECT_EQ(Edited(L"e\u0301x", {Key::Home, Key::Delete}).Text(), L"x");
  EXPECT_EQ(Edited(L"e\u0301x", {Key::Home, Key::Right}).BeforeCursor(), L"e\u0301");
}

TEST_F(UiText, StaysWithinTheLine) {
  EXPECT_EQ(Edited(L"", {Key::Left, Key::Backspace, Key::Delete, Key::ControlW, Key{'a'},
                         Key::Right, Key::Right, Key{'b'}})
                .Text(),
            L"ab");
}

}  // namespace
