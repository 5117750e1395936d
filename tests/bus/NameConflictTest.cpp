// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// One user interface and one remote side at a time; and names that somebody else has.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"

namespace applist_test {
namespace {

class NameConflictTest : public BusTest {
 protected:
  ~NameConflictTest() override { unlink(m_path); }

  // Runs one more daemon to its end. Returns its exit status, and keeps what it says.
  int RunDaemon() {
    close(mkstemp(m_path));
    std::vector<std::string> command = {"/bin/sh", "-c", "exec \"$0\" 2>\"$1\""};
    command.push_back(DaemonCommand().front());
    command.push_back(m_path);
    applist::ChildProcess again(command);
    EXPECT_TRUE(WaitFor([&] { return again.Poll().has_value(); })) << "still running";
    std::stringstream text;
    text << std::ifstream(m_path).rdbuf();
    said = text.str();
    return again.Poll().value_or(-1);
  }

  // Starts a user interface, and waits until its link has been told who has its names: it answers
  // once it has asked, and once more behind the bus's answer.
  void StartUi(BusPeer& watcher, std::unique_ptr<UserInterface>& started) {
    const std::vector<std::string> before = watcher.Connections();
    std::vector<std::string> added;
    started = std::make_unique<UserInterface>();
    ASSERT_TRUE(WaitFor([&] {
      added = watcher.Connections();
      added.erase(std::remove_if(added.begin(), added.end(),
                                 [&](const std::string& name) {
                                   return std::find(before.begin(), before.end(), name) !=
                                          before.end();
                                 }),
                  added.end());
      return !added.empty();
    }));
    // The connection for what comes in is opened first, and the bus counts.
    const std::string incoming =
        *std::min_element(added.begin(), added.end(), [](const auto& a, const auto& b) {
          return a.size() != b.size() ? a.size() < b.size() : a < b;
        });
    for (int time = 0; time < 2; ++time) {
      WhileLooping([&] { watcher.Ping(incoming); });
    }
  }

  static std::string Process(pid_t pid) { return "(process " + std::to_string(pid) + ", "; }

  // The name that the system has for a process: where it runs in an emulator, the emulator's.
  static std::string Command(pid_t pid) {
    std::string command;
    std::ifstream("/proc/" + std::to_string(pid) + "/comm") >> command;
    return command;
  }

  std::string said;

 private:
  char m_path[32] = "/tmp/applist-said-XXXXXX";
};

TEST_F(NameConflictTest, ASecondDaemonFailsAtOnceAndSaysWhoHasTheName) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  EXPECT_EQ(RunDaemon(), 1);
  EXPECT_THAT(said, ::testing::HasSubstr("applistd: another remote side is running: " +
                                         Command(daemon->Pid()) + " " + Process(daemon->Pid())));
  EXPECT_FALSE(daemon->Poll()) << "the first one goes on";
  ui->model.SetSelection(ui->Find("b"));
  ExpectBoth({Named({"a", "b"}), "b"});
}

class SquattedRemoteNameTest : public NameConflictTest,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(SquattedRemoteNameTest, TheDaemonFailsAtOnceAndSaysWhoHasTheName) {
  BusPeer stranger(bus.Address());
  ASSERT_EQ(stranger.Own(GetParam()), applist::NameAnswer::Owner);
  EXPECT_EQ(RunDaemon(), 1);
  EXPECT_THAT(said, ::testing::HasSubstr("applistd: another remote side is running: "));
  EXPECT_THAT(said, ::testing::HasSubstr(Process(getpid()) + stranger.UniqueName() + ")"));
  EXPECT_EQ(stranger.OwnerOf(GetParam()), stranger.UniqueName());
  stranger.Release(GetParam());
  Connect();
  ui->model.AddItemAtEnd(ui->NewItem("a"));
  ExpectBoth({Named({"a"}), ""});
}

INSTANTIATE_TEST_SUITE_P(NameConflictTest, SquattedRemoteNameTest,
                         ::testing::Values(kRemoteName, kRemoteCallsName),
                         [](const auto& parameter) {
                           return parameter.param == std::string(kRemoteName) ? "Incoming"
                                                                              : "Calls";
                         });

class SquattedUiNameTest : public NameConflictTest,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(SquattedUiNameTest, TheUserInterfaceWorksLocallyAndTakesTheNameWhenItIsFree) {
  BusPeer stranger(bus.Address());
  ASSERT_EQ(stranger.Own(GetParam()), applist::NameAnswer::Owner);
  StartDaemon();
  ASSERT_TRUE(WaitFor([&] { return Remote().has_value(); }));
  StartUi(stranger, ui);
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  ui->model.SetSelection(ui->Find("b"));
  EXPECT_EQ(stranger.OwnerOf(GetParam()), stranger.UniqueName());
  EXPECT_EQ(ui->Holds(), (Contents{Named({"a", "b"}), "b"}));
  EXPECT_EQ(ui->changed, 0);
  stranger.Release(GetParam());
  ASSERT_TRUE(WaitFor([&] { return RemoteIsConnected(); }));
  ExpectBoth({Named({"a", "b"}), "b"});
}

INSTANTIATE_TEST_SUITE_P(NameConflictTest, SquattedUiNameTest,
                         ::testing::Values(kUiName, kUiCallsName), [](const auto& parameter) {
                           return parameter.param == std::string(kUiName) ? "Incoming" : "Calls";
                         });

TEST_F(NameConflictTest, ASecondUserInterfaceWorksLocallyAndTakesOverWhenTheFirstEnds) {
  auto first = StartUiProcess({"a", "b"});
  StartDaemon();
  ASSERT_TRUE(WaitFor([&] { return RemoteHolds().items == Named({"a", "b"}); }));

  BusPeer watcher(bus.Address());
  StartUi(watcher, ui);
  ui->model.AddItems(ui->NewItems({"c", "d"}));
  ui->model.SetSelection(ui->Find("d"));
  control.Select("a");
  EXPECT_EQ(ui->Holds(), (Contents{Named({"c", "d"}), "d"}));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b"}), "a"}));
  EXPECT_EQ(ui->selected + ui->changed, 0);

  first.reset();
  EXPECT_TRUE(WaitFor([&] { return RemoteHolds() == ui->Holds(); }));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"c", "d"}), "d"}));
  ui->model.RemoveItem(ui->Find("d"));
  ExpectBoth({Named({"c"}), ""});
}

TEST_F(NameConflictTest, TwoModelsInOneProcessTakeTurns) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a"}));
  BusPeer watcher(bus.Address());
  std::unique_ptr<UserInterface> second;
  StartUi(watcher, second);
  second->model.AddItems(second->NewItems({"b"}));
  Settle();
  EXPECT_EQ(RemoteHolds().items, Named({"a"}));
  ui.reset();
  EXPECT_TRUE(WaitFor([&] { return RemoteHolds().items == Named({"b"}); }));
}

}  // namespace
}  // namespace applist_test
