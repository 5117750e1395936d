// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The whole job, by keys.
#include "apps/applist-ui/UiFixture.h"

namespace applist_test {
namespace {

class UiJobTest : public UiTest {
 protected:
  void SetUp() override {
    InstallAll({"Alarm", "Browser", "Camera", "Mail", "Maps"});
    StartRemote();
    StartUi();
    ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
    ExpectStatus(" connected, ");
  }
};

TEST_F(UiJobTest, ArrowsMoveTheSelection) {
  Press({"Down", "Down"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Camera");
  Press({"Up"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Browser");
  Press({"End", "Down"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Maps");
  Press({"Home", "Up"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
  Press({"PageDown"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Maps");
  Press({"PageUp"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
}

TEST_F(UiJobTest, EnterClicks) {
  Press({"Down", "Enter"});
  ExpectClicked("b.desktop");
  ExpectStatus("Clicked on the remote side: Browser");
  EXPECT_EQ(Here().clicked, "Browser");
  EXPECT_TRUE(WaitFor([this] { return There().clicked == "Browser"; })) << Screen();
}

TEST_F(UiJobTest, RenamesTheSelectedEntry) {
  Press({"Down", "r"});
  ExpectPrompt("New name: Browser");
  Press({"C-u"});
  terminal->Type("Welt \u65e5\u672c");
  Press({"Enter"});
  ExpectBoth({"Alarm", "Welt \u65e5\u672c", "Camera", "Mail", "Maps"}, "Welt \u65e5\u672c");
  ExpectStatus("Renamed to Welt \u65e5\u672c");
  Press({"r", "x", "Escape"});
  ExpectPrompt("? help");
  ExpectBoth({"Alarm", "Welt \u65e5\u672c", "Camera", "Mail", "Maps"}, "Welt \u65e5\u672c");
}

TEST_F(UiJobTest, RemovesAndAddsAgain) {
  Press({"d", "d"});
  ExpectBoth({"Camera", "Mail", "Maps"}, "Camera");
  // The remote side answers with events of its own, which are not in the way.
  ExpectStatus("Removed Browser; a adds it again");
  Press({"a"});
  ExpectBoth({"Camera", "Mail", "Maps", "Browser"}, "Browser");
  Press({"a"});
  ExpectBoth({"Camera", "Mail", "Maps", "Browser", "Alarm"}, "Alarm");
  Press({"a"});
  ExpectStatus("Nothing was removed");
  Press({"d"});
  ExpectBoth({"Camera", "Mail", "Maps", "Browser"}, "Browser");
}

TEST_F(UiJobTest, EmptiesAfterAsking) {
  Press({"x"});
  ExpectPrompt("Remove 5 entries? y/n");
  Press({"n"});
  ExpectPrompt("? help");
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
  Press({"x", "y"});
  ExpectBoth({}, "");
  Press({"Down", "Enter", "d", "r", "x", "PageUp", "a"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
}

TEST_F(UiJobTest, FindsWhileTyping) {
  Press({"/"});
  ExpectPrompt("Find:");
  terminal->Type("MA");
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Mail");
  Press({"Tab"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Maps");
  terminal->Type("zz");
  ExpectPrompt("no such name");
  EXPECT_EQ(Here().selected, "Maps");
  Press({"BSpace", "BSpace", "Escape"});
  ExpectPrompt("? help");
  // A letter that is no command starts it as well; in it, commands are letters.
  terminal->Type("cam");
  ExpectPrompt("Find: cam");
  Press({"Enter"});
  ExpectClicked("c.desktop");
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Camera");
  // What is within a name is found where no name begins so.
  terminal->Type("/owser");
  Press({"Down"});
  ExpectPrompt("? help");
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Camera");
}

TEST_F(UiJobTest, FollowsTheRemoteSide) {
  applist::ControlClient control(bus.Address());
  control.Select("d.desktop");
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Mail");
  ExpectStatus("Selected on the remote side: Mail");
  control.Click("e.desktop");
  ExpectStatus("Clicked on the remote side: Maps");
  Press({"Down"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Maps");
}

TEST_F(UiJobTest, TellsOfAnEntryWithoutAName) {
  applist::ControlClient control(bus.Address());
  Press({"r", "C-u", "Enter"});
  ExpectStatus("Renamed to (no name)");
  control.Select("b.desktop");
  ExpectStatus("Selected on the remote side: Browser");
  control.Select("a.desktop");
  ExpectStatus("Selected on the remote side: (no name)");
}

TEST_F(UiJobTest, ShowsHelp) {
  Press({"?"});
  ExpectOnScreen("add again what was removed last");
  Press({"End"});
  ExpectOnScreen("Esc or q leaves this page.");
  Press({"q"});
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
}

TEST_F(UiJobTest, EndsWithQ) {
  Press({"q"});
  EXPECT_EQ(UiStatus(), "0");
  ExpectTerminalRestored();
  // The remote side stays, and keeps what it has.
  const auto held = Remote();
  ASSERT_TRUE(held);
  EXPECT_FALSE(held->connected);
}

}  // namespace
}  // namespace applist_test
