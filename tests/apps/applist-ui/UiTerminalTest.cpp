// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The terminal is given back, however the program ends.
#include <csignal>

#include "apps/applist-ui/UiFixture.h"

namespace applist_test {
namespace {

class UiTerminalTest : public UiTest {
 protected:
  void SetUp() override {
    InstallAll({"Alarm", "Browser"});
    StartRemote();
    StartUi();
    ExpectBoth({"Alarm", "Browser"}, "Alarm");
  }
};

TEST_F(UiTerminalTest, CtrlC) {
  Press({"C-c"});
  EXPECT_EQ(UiStatus(), "130");
  ExpectTerminalRestored();
}

TEST_F(UiTerminalTest, CtrlZAndBack) {
  Press({"Down", "C-z"});
  ExpectOnScreen("STOPPED");
  EXPECT_EQ(terminal->Says("#{alternate_on}"), "0");
  terminal->Resize(60, 20);
  Press({"C-j"});
  ExpectBoth({"Alarm", "Browser"}, "Browser");
  Press({"Up"});
  ExpectBoth({"Alarm", "Browser"}, "Alarm");
  Press({"q"});
  EXPECT_EQ(UiStatus(), "0");
  ExpectTerminalRestored();
}

TEST_F(UiTerminalTest, StoppedFromOutside) {
  kill(UiPid(), SIGSTOP);
  ExpectOnScreen("STOPPED");
  Press({"C-j"});
  ExpectBoth({"Alarm", "Browser"}, "Alarm");
  Press({"Down"});
  ExpectBoth({"Alarm", "Browser"}, "Browser");
}

struct Ending {
  int signal;
  const char* name;
};

class UiEndingTest : public UiTerminalTest, public ::testing::WithParamInterface<Ending> {};

TEST_P(UiEndingTest, RestoresTheTerminal) {
  Press({"r"});
  ExpectPrompt("New name:");
  kill(UiPid(), GetParam().signal);
  EXPECT_EQ(UiStatus(), std::to_string(128 + GetParam().signal));
  ExpectTerminalRestored();
}

INSTANTIATE_TEST_SUITE_P(Signals, UiEndingTest,
                         ::testing::Values(Ending{SIGTERM, "SIGTERM"}, Ending{SIGHUP, "SIGHUP"},
                                           Ending{SIGSEGV, "SIGSEGV"}, Ending{SIGABRT, "SIGABRT"},
                                           Ending{SIGBUS, "SIGBUS"}, Ending{SIGQUIT, "SIGQUIT"}),
                         [](const auto& ending) { return std::string(ending.param.name); });

using UiNoTerminalTest = UiTest;

TEST_F(UiNoTerminalTest, SaysSoWithoutATerminal) {
  Start start;
  start.arguments = "</dev/null";
  StartUi(start);
  EXPECT_EQ(UiStatus(), "1");
  EXPECT_EQ(ReadFile("log"),
            "applist-ui: standard input and standard output have to be a terminal");
}

TEST_F(UiNoTerminalTest, SaysSoOnATerminalThatNobodyKnows) {
  Start start;
  start.environment = {"TERM=nothing"};
  StartUi(start);
  EXPECT_EQ(UiStatus(), "1");
  EXPECT_THAT(ReadFile("log"), ::testing::HasSubstr("set TERM"));
}

TEST_F(UiNoTerminalTest, SaysSoOnATerminalThatCannotPlaceTheCursor) {
  Start start;
  start.environment = {"TERM=dumb"};
  StartUi(start);
  EXPECT_EQ(UiStatus(), "1");
  EXPECT_THAT(ReadFile("log"), ::testing::HasSubstr("cannot place the cursor; set TERM"));
  ExpectTerminalRestored();
}

TEST_F(UiNoTerminalTest, RefusesWhatItDoesNotKnow) {
  Start start;
  start.arguments = "--nothing";
  StartUi(start);
  EXPECT_EQ(UiStatus(), "2");
}

}  // namespace
}  // namespace applist_test
