// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Every size and kind of terminal.
#include "apps/applist-ui/UiFixture.h"

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

namespace applist_test {
namespace {

class UiScreenTest : public UiTest {
 protected:
  const Names names = {"Alarm", "Browser", "Camera", "Mail", "Maps"};

  void SetUp() override {
    InstallAll(names);
    StartRemote();
  }

  // The job in short.
  void Work() const {
    ExpectBoth(names, "Alarm");
    Press({"End", "Enter"});
    ExpectBoth(names, "Maps");
    ExpectClicked("e.desktop");
    ExpectStatus(" connected, ");
    Press({"Home"});
    ExpectBoth(names, "Alarm");
  }
};

TEST_F(UiScreenTest, FortyByTen) {
  Start start;
  start.columns = 40;
  start.rows = 10;
  StartUi(start);
  Work();
  // More entries than rows: the selection is always seen.
  for (const char* id : {"f", "g", "h", "i", "j", "k"}) {
    Install(id, std::string("More ") + id);
  }
  ExpectOnScreen("Applications: 11");
  Press({"End"});
  EXPECT_TRUE(WaitFor([this] {
    const std::string here = Here().selected;
    return here.rfind("More ", 0) == 0 && There().selected == here;
  })) << Screen();
  Press({"Home"});
  EXPECT_TRUE(WaitFor([this] { return Here().selected == "Alarm"; })) << Screen();
  Press({"?", "End"});
  ExpectOnScreen("Esc or q leaves this page.");
}

TEST_F(UiScreenTest, FollowsTheSizeOfTheTerminal) {
  StartUi();
  ExpectBoth(names, "Alarm");
  for (const auto& size : {std::pair(40, 10), std::pair(310, 60), std::pair(31, 8)}) {
    const int columns = size.first;
    const int rows = size.second;
    SCOPED_TRACE(columns);
    terminal->Resize(columns, rows);
    EXPECT_TRUE(WaitFor([&, width = (columns - 1) / 2] {
      const std::vector<std::string> seen = terminal->Rows();
      return seen.size() == static_cast<size_t>(rows) && ColumnOfDivider(seen[1]) == width &&
             seen.back().rfind("? help", 0) == 0;
    })) << Screen();
  }
  // Too small for anything, and back.
  for (const auto& [columns, rows] : {std::pair(20, 4), std::pair(3, 2), std::pair(1, 1)}) {
    terminal->Resize(columns, rows);
    Press({"Down", "r", "x", "Escape", "Up"});
  }
  terminal->Resize(80, 24);
  Work();
}

TEST_F(UiScreenTest, WideTerminalsShowIdentifiers) {
  Start start;
  start.columns = 310;
  StartUi(start);
  ExpectOnScreen("a.desktop");
  ExpectOnScreen("in step");
}

TEST_F(UiScreenTest, AsciiLocale) {
  Install("f", "Z\u00fcrich \u65e5\u672c");
  Start start;
  start.environment = {"LC_ALL=C"};
  StartUi(start);
  ExpectOnScreen("Remote side: 6, in step");
  Press({"End"});
  const auto selected = [this] { return There().selected == "Z?rich ??"; };
  EXPECT_TRUE(WaitFor(selected)) << Screen();
  const auto held = Remote();
  ASSERT_TRUE(held);
  EXPECT_EQ(held->items.back().second, "Z\u00fcrich \u65e5\u672c");
  // What cannot be shown survives being edited.
  Press({"r", "!", "Enter"});
  EXPECT_TRUE(WaitFor([this] {
    return There().selected ==
           "Z?rich ?"
           "?!";
  })) << Screen();
  EXPECT_EQ(Remote()->items.back().second, "Z\u00fcrich \u65e5\u672c!");
}

TEST_F(UiScreenTest, ColoursWhereTheyAreWanted) {
  StartUi();
  ExpectBoth(names, "Alarm");
  EXPECT_THAT(terminal->Styled(), HasSubstr("\x1b[32m"));
}

TEST_F(UiScreenTest, NoColours) {
  for (const char* setting : {"NO_COLOR=1", "TERM=vt100", "TERM=xterm-mono"}) {
    SCOPED_TRACE(setting);
    Start start;
    start.environment = {setting};
    StartUi(start);
    Work();
    EXPECT_THAT(terminal->Styled(), Not(ContainsRegex("[[;][34][0-7]m")));
    Press({"q"});
    EXPECT_EQ(UiStatus(), "0");
    terminal.reset();
  }
}

}  // namespace
}  // namespace applist_test
