// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Keys while things go wrong: the list works, nothing is lost, and both sides end up equal.
#include <csignal>
#include <cstddef>
#include <filesystem>

#include "apps/applist-ui/UiFixture.h"

namespace applist_test {
namespace {

class UiFaultTest : public UiTest {
 protected:
  UiFaultTest() { InstallAll({"Alarm", "Browser", "Camera", "Mail", "Maps"}); }

  void StartBoth() {
    StartRemote();
    StartUi();
    ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
  }

  // Rename, remove, select, click: what both sides hold afterwards.
  void PressMany() const {
    Press({"Down", "Down", "r"});
    terminal->Type("!");
    Press({"Enter", "Home", "d", "End", "Up", "Enter"});
  }
  const Names afterMany = {"Browser", "Camera!", "Mail", "Maps"};
};

TEST_F(UiFaultTest, KeysAreNotLostWhileTheRemoteSideIsStopped) {
  StartBoth();
  remote->Signal(SIGSTOP);
  PressMany();
  ExpectHere(afterMany, "Mail");
  ExpectStatus("hung");
  ExpectOnScreen("Remote side: 5, OLD");
  EXPECT_EQ(There().names, (Names{"Alarm", "Browser", "Camera", "Mail", "Maps"}));
  remote->Signal(SIGCONT);
  ExpectBoth(afterMany, "Mail");
  ExpectClicked("d.desktop");
  ExpectStatus(" connected, ");
}

// More than the user sees the effect of at once.
TEST_F(UiFaultTest, ManyKeysAreNotLostWhileTheRemoteSideIsStopped) {
  StartBoth();
  remote->Signal(SIGSTOP);
  for (int round = 0; round < 50; ++round) {
    Press({"Down", "Down", "Down", "Up", "d", "a", "Home", "Down"});
  }
  // Each round takes the third entry to the end, and ends at the second.
  Names names = {"Alarm", "Browser", "Camera", "Mail", "Maps"};
  for (int round = 0; round < 50; ++round) {
    const size_t at = round == 0 ? 2 : 3;
    const std::string moved = names[at];
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(at));
    names.push_back(moved);
  }
  ExpectHere(names, names[1]);
  remote->Signal(SIGCONT);
  ExpectBoth(names, names[1]);
}

TEST_F(UiFaultTest, KeysAreNotLostWhileTheRemoteSideIsGone) {
  StartBoth();
  KillRemote();
  ExpectStatus("waiting for the remote side");
  PressMany();
  ExpectHere(afterMany, "Mail");
  ExpectOnScreen("There is no remote side");
  StartRemote();
  ExpectBoth(afterMany, "Mail");
  ExpectStatus(" connected, ");
}

TEST_F(UiFaultTest, KeysAreNotLostWhileTheBusIsAway) {
  StartBoth();
  bus.Stop();
  ExpectStatus("waiting for a bus");
  PressMany();
  ExpectHere(afterMany, "Mail");
  KillRemote();
  bus.Start();
  StartRemote();
  ExpectBoth(afterMany, "Mail");
}

TEST_F(UiFaultTest, WorksBeforeTheRemoteSideIsThere) {
  StartUi();
  ExpectStatus("waiting for the remote side");
  PressMany();
  ExpectHere(afterMany, "Mail");
  StartRemote();
  ExpectBoth(afterMany, "Mail");
}

TEST_F(UiFaultTest, WorksWithoutABus) {
  Start start;
  start.arguments = "--address unix:path=/nonexistent/bus";
  StartUi(start);
  ExpectStatus("waiting for a bus");
  PressMany();
  ExpectHere(afterMany, "Mail");
  Press({"q"});
  EXPECT_EQ(UiStatus(), "0");
  ExpectTerminalRestored();
}

TEST_F(UiFaultTest, ARemoteSideThatIsStoppedFromTheBeginning) {
  StartRemote();
  ASSERT_TRUE(WaitFor([this] { return Remote().has_value(); }));
  remote->Signal(SIGSTOP);
  StartUi();
  PressMany();
  ExpectHere(afterMany, "Mail");
  ExpectStatus("hung");
  ExpectOnScreen("It has not said yet what it holds");
  remote->Signal(SIGCONT);
  ExpectBoth(afterMany, "Mail");
}

TEST_F(UiFaultTest, ASecondOneSaysSoAndTakesOver) {
  StartRemote();
  std::filesystem::create_directory(folder + "/first");
  auto first = std::make_unique<Terminal>(
      folder + "/first", 80, 24,
      "XDG_DATA_HOME=" + folder + "/data exec " + APPLIST_UI_PATH + " --address " + bus.Address());
  ASSERT_TRUE(WaitFor([this] {
    const auto held = Remote();
    return held && held->connected;
  }));
  StartUi();
  ExpectStatus("another user interface");
  PressMany();
  ExpectHere(afterMany, "Mail");
  first.reset();
  ExpectStatus(" connected, ");
  ExpectBoth(afterMany, "Mail");
}

TEST_F(UiFaultTest, TheLogTellsOfTheHang) {
  Start start;
  start.logInTerminal = true;
  start.environment = {"APPLIST_LOG=debug"};
  StartRemote();
  StartUi(start);
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Alarm");
  remote->Signal(SIGSTOP);
  Press({"Down"});
  ExpectStatus("hung");
  // None of all those lines is on the screen, until it is asked for.
  ExpectHere({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Browser");
  Press({"l", "Home"});
  ExpectOnScreen(" D applist: ");
  Press({"End"});
  ExpectOnScreen("hangs");
  Press({"l"});
  remote->Signal(SIGCONT);
  ExpectBoth({"Alarm", "Browser", "Camera", "Mail", "Maps"}, "Browser");
}

}  // namespace
}  // namespace applist_test
