// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The daemon among other programs: its bus, its name, its end, and how quiet it is.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "apps/applistd/ApplistdFixture.h"
#include "fault/Footprint.h"

namespace applist_test {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

using DaemonTest = ApplistdTest;

TEST_F(DaemonTest, IsReadyWhenItHasItsNameAndSaysWhatItWaitsFor) {
  StartReady();
  EXPECT_FALSE(tool.OwnerOf(kRemoteName).empty());
  ui = std::make_unique<UserInterface>();
  EXPECT_TRUE(WaitForTold("STATUS=A user interface is there"));
  ui.reset();
  EXPECT_TRUE(WaitForTold("STATUS=Waiting for a user interface"));
}

class EndingSignalTest : public ApplistdTest, public ::testing::WithParamInterface<int> {};

TEST_P(EndingSignalTest, EndsTheDaemonCleanly) {
  StartReady();
  daemon->Signal(GetParam());
  EXPECT_EQ(WaitForEnd(), 0);
  EXPECT_TRUE(WaitForTold("STOPPING=1"));
  EXPECT_EQ(Said(), "");
  EXPECT_TRUE(WaitFor([&] { return tool.OwnerOf(kRemoteName).empty(); }));
}

INSTANTIATE_TEST_SUITE_P(DaemonTest, EndingSignalTest, ::testing::Values(SIGTERM, SIGINT),
                         [](const auto& parameter) {
                           return parameter.param == SIGTERM ? "Terminate" : "Interrupt";
                         });

TEST_F(DaemonTest, ASignalEndsADaemonThatWaitsForTheBus) {
  bus.Stop();
  Start();
  ASSERT_TRUE(WaitForTold("STATUS=Waiting for the bus"));
  StopDaemon();
}

TEST_F(DaemonTest, WaitsForABusThatIsNotThereYet) {
  bus.Stop();
  Start();
  ASSERT_TRUE(WaitForTold("STATUS=Waiting for the bus"));
  EXPECT_FALSE(daemon->Poll());
  bus.Start();
  EXPECT_TRUE(WaitForTold("READY=1"));
  EXPECT_FALSE(BusPeer(bus.Address()).OwnerOf(kRemoteName).empty());
}

TEST_F(DaemonTest, SaysThatItWaitsForABusThatIsGone) {
  StartReady();
  bus.Stop();
  EXPECT_TRUE(WaitForTold("STATUS=Waiting for the bus"));
  bus.Start();
  EXPECT_TRUE(WaitForTold("STATUS=Waiting for a user interface"));
}

TEST_F(DaemonTest, FailsAtOnceWhereItsNameIsTakenAndSaysByWhom) {
  ASSERT_EQ(tool.Own(kRemoteName), applist::NameAnswer::Owner);
  Start();
  EXPECT_EQ(WaitForEnd(), 1);
  EXPECT_EQ(CountSaid("applistd: another remote side is running: "), 1U);
  EXPECT_THAT(Said(), HasSubstr("(process " + std::to_string(getpid()) + ", " + tool.UniqueName()));
}

TEST_F(DaemonTest, AWrongCommandLineIsOneLineAndUsageStatus) {
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{"--lunch"}, "The following argument was not expected: --lunch"},
      {{"--launch=1"}, "The following argument was not expected: --launch=1"},
      {{"-x"}, "The following argument was not expected: -x"},
      {{"word"}, "The following argument was not expected: word"},
      {{"--address"}, "--address: 1 required ADDRESS missing"},
      {{"--address="}, "--address: 1 required ADDRESS missing"},
      {{"--session", "--system"}, "only one of --system, --session and --address can be used"}};
  std::string said;
  for (const auto& [arguments, error] : lines) {
    Start(arguments);
    EXPECT_EQ(WaitForEnd(), 2);
    said += "applistd: " + error + "; see applistd --help\n";
    EXPECT_EQ(Said(), said);
  }
}

TEST_F(DaemonTest, ShowsItsOptionsAndItsVersion) {
  const std::string shown = folder / "shown";
  for (const char* option : {"-h", "--help", "--version"}) {
    daemon = std::make_unique<applist::ChildProcess>(std::vector<std::string>{
        "/bin/sh", "-c", "exec \"$0\" \"$1\" >\"$2\"", DaemonCommand().front(), option, shown});
    EXPECT_EQ(WaitForEnd(), 0) << option;
    EXPECT_THAT(TextOf(shown),
                ContainsRegex(option == std::string("--version")
                                  ? "^applistd [0-9]+[.][0-9]+[.][0-9]+\n$"
                                  : "\nUsage: applistd (.*\n)+.*--launch +Start the application"));
  }
}

// The daemon as it is installed, below a prefix that nobody knew when it was built.
TEST_F(DaemonTest, FindsTheProgramThatLaunchesWhereBothAreInstalled) {
  const std::filesystem::path built = DaemonCommand().front();
  const std::filesystem::path installed = folder / "prefix/bin/applistd";
  const std::filesystem::path helper =
      (installed.parent_path() / LAUNCH_FOLDER / "applist-launch").lexically_normal();
  std::filesystem::create_directories(installed.parent_path());
  std::filesystem::copy_file(built, installed);
  std::vector<std::string> command = Command({"--launch"});
  command[5] = installed;
  daemon = std::make_unique<applist::ChildProcess>(command);
  EXPECT_EQ(WaitForEnd(), 1);
  EXPECT_EQ(Said(), "applistd: " + helper.string() + ": No such file or directory\n");

  std::filesystem::create_directories(helper.parent_path());
  std::filesystem::copy_file(built.parent_path() / "applist-launch", helper);
  const std::vector<std::string> notify = {"NOTIFY_SOCKET=" + folder / "notify"};
  daemon = std::make_unique<applist::ChildProcess>(command, notify);
  EXPECT_TRUE(WaitForTold("READY=1")) << Said();
}

// The choice of a bus

class BusChoiceTest : public ApplistdTest {
 protected:
  // Whether the daemon gets its name on the other bus, and not on that of the session.
  void ExpectOnTheOther(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {}) {
    StartReady(arguments, environment);
    EXPECT_FALSE(BusPeer(other.Address()).OwnerOf(kRemoteName).empty());
    EXPECT_TRUE(tool.OwnerOf(kRemoteName).empty());
  }

  applist::PrivateBus other;
};

TEST_F(BusChoiceTest, AnAddressIsTakenBeforeTheEnvironment) {
  ExpectOnTheOther({"--address", other.Address()});
}

TEST_F(BusChoiceTest, TheSystemBusIsTakenBesideASession) {
  ExpectOnTheOther({"--system"}, {"DBUS_SYSTEM_BUS_ADDRESS=" + other.Address()});
}

TEST_F(BusChoiceTest, TheSessionBusIsFoundWhereItsAddressIsNotSet) {
  const std::string path = other.Address().substr(std::string("unix:path=").size());
  std::filesystem::create_symlink(path, folder / "bus");
  ExpectOnTheOther({"--session"}, {"DBUS_SESSION_BUS_ADDRESS=", "XDG_RUNTIME_DIR=" + folder.Path(),
                                   "DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address()});
}

TEST_F(BusChoiceTest, WithoutAChoiceItIsTheSessionOrElseTheSystem) {
  ExpectOnTheOther({}, {"DBUS_SESSION_BUS_ADDRESS=" + other.Address(),
                        "DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address()});
  StopDaemon();
  ExpectOnTheOther({}, {"DBUS_SESSION_BUS_ADDRESS=", "DBUS_SYSTEM_BUS_ADDRESS=" + other.Address()});
}

// A bus that takes nothing

class AnnouncementTest : public ApplistdTest {
 protected:
  // With a direct line, on which both sides go on without the bus.
  AnnouncementTest() {
    setenv("APPLIST_LINE", "direct", 1);
    EXPECT_GE(sd_bus_match_signal(tool.Bus(), nullptr, kRemoteName, kLinkPath,
                                  "org.freedesktop.DBus.Properties", "PropertiesChanged",
                                  &AnnouncementTest::OnChanged, this),
              0);
    Connect();
    EXPECT_TRUE(
        WaitFor([&] { return WhileLooping([&] { return tool.IsSet(kUiName, "Direct"); }); }));
  }
  ~AnnouncementTest() override { unsetenv("APPLIST_LINE"); }

  void ClickOften(int clicks) {
    for (int number = 1; number <= clicks; ++number) {
      TestItem item("A click", std::to_string(number));
      ui->model.SetClicked(&item);
      loop.Dispatch();
    }
  }

  // How often the daemon has told what was clicked, and what that was at last.
  int told = 0;
  std::string lastTold;

 private:
  static int OnChanged(sd_bus_message* message, void* test, sd_bus_error* /*error*/) {
    AnnouncementTest* const self = static_cast<AnnouncementTest*>(test);
    const char* text = nullptr;
    sd_bus_message_skip(message, "s");
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      sd_bus_message_read(message, "s", &text);
      if (std::string(text) == "LastClicked" && sd_bus_message_read(message, "v", "s", &text) > 0) {
        ++self->told;
        self->lastTold = text;
      } else {
        sd_bus_message_skip(message, "v");
      }
      sd_bus_message_exit_container(message);
    }
    return 0;
  }
};

TEST_F(AnnouncementTest, ABusThatTakesNothingIsToldLessOftenAndOfTheLastChange) {
  constexpr int kClicks = 40000;  // several times what fits into the socket
  bus.Signal(SIGSTOP);
  ClickOften(kClicks);
  bus.Signal(SIGCONT);
  EXPECT_TRUE(WaitFor([&] {
    tool.ProcessAll();
    return lastTold == std::to_string(kClicks);
  }));
  EXPECT_LT(told, kClicks / 2);
}

// Idleness

class IdleTest : public ApplistdTest,
                 public ::testing::WithParamInterface<std::vector<std::string>> {
 protected:
  // How often the daemon has gone to sleep, or was put to it.
  std::string Switches() const {
    return StatusOf(daemon->Pid(), "voluntary_ctxt_switches") +
           StatusOf(daemon->Pid(), "nonvoluntary_ctxt_switches");
  }

  // How long the daemon is watched: 3 s, or APPLIST_IDLE_SECONDS.
  static std::chrono::seconds Watch() {
    const char* seconds = std::getenv("APPLIST_IDLE_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 3);
  }

  // What is watched is a time in which nothing may happen; what is waited for is that the daemon
  // comes to rest.
  bool ComesToRest() {
    return WaitOutsideLoop([&] {
      const std::string before = Switches();
      EXPECT_FALSE(before.empty());
      std::this_thread::sleep_for(Watch());
      return Switches() == before;
    });
  }
};

TEST_P(IdleTest, AnIdleDaemonDoesNotWakeUp) {
  StartReady(GetParam());
  EXPECT_TRUE(ComesToRest()) << "without a user interface";
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  Settle();
  EXPECT_TRUE(ComesToRest()) << "with a user interface";
}

INSTANTIATE_TEST_SUITE_P(DaemonTest, IdleTest,
                         ::testing::Values(std::vector<std::string>(),
                                           std::vector<std::string>{"--launch"}),
                         [](const auto& parameter) {
                           return parameter.param.empty() ? "Plain" : "Launching";
                         });

}  // namespace
}  // namespace applist_test
