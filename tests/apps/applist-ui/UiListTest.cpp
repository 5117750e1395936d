// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What is in the list: the applications of the machine, as they come and go.
#include <cstdio>

#include "apps/applist-ui/UiFixture.h"

namespace applist_test {
namespace {

using UiListTest = UiTest;

TEST_F(UiListTest, ApplicationsComeAndGoByThemselves) {
  InstallAll({"Alarm", "Browser"});
  StartRemote();
  StartUi();
  ExpectBoth({"Alarm", "Browser"}, "Alarm");
  Install("new", "A new one");
  ExpectBoth({"Alarm", "Browser", "A new one"}, "Alarm");
  Uninstall("a");
  ExpectBoth({"Browser", "A new one"}, "");
  Press({"Down"});
  ExpectBoth({"Browser", "A new one"}, "Browser");
  Install("b", "Browser 2");
  ExpectBoth({"Browser 2", "A new one"}, "Browser 2");
}

TEST_F(UiListTest, WhatTheUserDidStaysWhenOthersComeAndGo) {
  InstallAll({"Alarm", "Browser", "Camera"});
  StartRemote();
  StartUi();
  ExpectBoth({"Alarm", "Browser", "Camera"}, "Alarm");
  Press({"d", "r", "C-u", "W", "e", "b", "Enter"});
  ExpectBoth({"Web", "Camera"}, "Web");
  Install("b", "Browser 2");
  Install("new", "New");
  ExpectBoth({"Web", "Camera", "New"}, "Web");
  Uninstall("a");
  Uninstall("c");
  ExpectBoth({"Web", "New"}, "Web");
  // What is gone from the machine is not added again.
  Press({"a"});
  ExpectStatus("Nothing was removed");
  ExpectBoth({"Web", "New"}, "Web");
}

TEST_F(UiListTest, ANewFolderOfApplicationsIsSeen) {
  std::remove((folder + "/data/applications").c_str());
  StartRemote();
  StartUi();
  ExpectStatus(" connected, ");
  EXPECT_EQ(Here().names, Names());
  ASSERT_EQ(std::system(("mkdir " + folder + "/data/applications").c_str()), 0);
  Install("a", "Alarm");
  ExpectBoth({"Alarm"}, "");
}

TEST_F(UiListTest, HiddenEntriesAreLeftOutAndNamesAreLocalised) {
  Install("a", "Alarm", "Name[de]=Wecker\n");
  Install("b", "Browser", "NoDisplay=true\n");
  Install("c", "Camera", "Hidden=true\n");
  Install("d", "Desk", "OnlyShowIn=Nowhere;\n");
  Install("e", "Editor", "TryExec=/nonexistent/program\n");
  Install("f", "Files");
  StartRemote();
  Start start;
  start.environment = {"LANGUAGE=de"};
  StartUi(start);
  ExpectBoth({"Files", "Wecker"}, "Files");
}

// Each row is as wide as it should be, whatever is in it.
TEST_F(UiListTest, OddNames) {
  std::string wide;
  for (int k = 0; k < 150; ++k) {
    wide += "\u65e5";
  }
  Install("b", "Ae\u0301\u0308\u0301\u0301\u0301\u0301 marks");
  Install("c", "B \u05e2\u05d1\u05e8\u05d9\u05ea \u0627\u0644\u0639\u0631\u0628\u064a\u0629");
  Install("d", "C a\x1b[31m\\tb\\nc");
  Install("e", "D \u202eright to left");
  Install("f", "E " + std::string(300, 'x'));
  Install("g", wide);
  StartRemote();
  StartUi();
  const auto held = [this] {
    const auto state = Remote();
    return state && state->items.size() == 6 && !state->selection.empty();
  };
  ASSERT_TRUE(WaitFor(held));
  ExpectOnScreen("in step");
  for (const SeenList& list : {Here(), There()}) {
    ASSERT_EQ(list.names.size(), 6U);
    EXPECT_THAT(list.names[0], ::testing::EndsWith(" marks"));
    EXPECT_EQ(list.names[1],
              "B \u05e2\u05d1\u05e8\u05d9\u05ea \u0627\u0644\u0639\u0631\u0628\u064a\u0629");
    EXPECT_EQ(list.names[2], "C a\\x1b[31m\\x09b\\x0ac");
    EXPECT_EQ(list.names[3], "D \\u202eright to left");
    EXPECT_THAT(list.names[4], ::testing::EndsWith("x\u2026"));
    EXPECT_THAT(list.names[5], ::testing::EndsWith("\u65e5\u2026"));
  }
  // The divider is in one column.
  const std::vector<std::string> rows = terminal->Rows();
  for (size_t row = 1; row < 22; ++row) {
    EXPECT_EQ(ColumnOfDivider(rows[row]), 39) << rows[row];
  }
  // An empty name can only be given here.
  Press({"r", "C-u", "Enter"});
  ExpectOnScreen("(no name)");
  EXPECT_TRUE(WaitFor([this] {
    const auto state = Remote();
    return state && !state->items.empty() && state->items.front().second.empty();
  }));
}

// As many as fit into the time of a test: a sanitizer takes its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kMany = 2000;
#else
constexpr int kMany = 10000;
#endif

std::string EntryName(int number) {
  const std::string digits = std::to_string(number);
  return "Entry " + std::string(5 - digits.size(), '0') + digits;
}

TEST_F(UiListTest, ManyEntries) {
  for (int k = 0; k < kMany; ++k) {
    Install("e" + std::to_string(k), EntryName(k));
  }
  StartRemote();
  StartUi();
  ExpectOnScreen("Remote side: " + std::to_string(kMany) + ", in step");
  Press({"End"});
  const auto selected = [this](const std::string& name) {
    return WaitFor([&] { return Here().selected == name && There().selected == name; });
  };
  EXPECT_TRUE(selected(EntryName(kMany - 1))) << Screen();
  terminal->Type("/y 0132");
  EXPECT_TRUE(selected("Entry 01320")) << Screen();
  Press({"Escape", "PageDown", "PageUp", "Up"});
  EXPECT_TRUE(selected("Entry 01319")) << Screen();
  Press({"d"});
  ExpectOnScreen("Remote side: " + std::to_string(kMany - 1) + ", in step");
  EXPECT_TRUE(selected("Entry 01320")) << Screen();
  Press({"x", "y"});
  ExpectOnScreen("Remote side: 0, in step");
  Press({"a"});
  ExpectOnScreen("Remote side: " + std::to_string(kMany - 1) + ", in step");
}

}  // namespace
}  // namespace applist_test
