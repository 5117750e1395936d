// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What a click starts, and what it does not.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "apps/applistd/ApplistdFixture.h"
#include "fault/Footprint.h"

namespace applist_test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Names = std::vector<std::string>;

constexpr const char* kMark = "org.javamw.sample.Mark.desktop";
constexpr const char* kOther = "org.javamw.sample.Other.desktop";
constexpr const char* kActivated = "org.javamw.sample.Activated.desktop";
constexpr const char* kActivatedName = "org.javamw.sample.Activated";
constexpr const char* kNotStarted = "Cannot start ";

class LaunchTest : public ApplistdTest {
 protected:
  LaunchTest() {
    for (const char* name : {"marks", "data", "elsewhere"}) {
      fs::create_directory(folder / name);
    }
    fs::create_directory(applications);
    for (const auto& sample : fs::directory_iterator(SOURCE_PATH "/samples")) {
      fs::copy_file(sample.path(), applications / sample.path().filename());
    }
    // For the thread sanitizer, where the programs are built with it.
    setenv("TSAN_OPTIONS", "suppressions=" SOURCE_PATH "/tsan.supp", 0);
    setenv("APPLIST_TEST_MARKS", (folder / "marks").c_str(), 1);
    setenv("PATH", SOURCE_PATH "/samples:/usr/bin:/bin", 1);
    setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    setenv("XDG_DATA_DIRS", (folder / "nothing").c_str(), 1);
    EXPECT_GE(sd_bus_match_signal(tool.Bus(), nullptr, kRemoteName, kLinkPath,
                                  "org.javamw.Applist.Control1", "Launched", OnLaunched, this),
              0);
  }

  void ConnectTo(const Names& arguments, const Names& environment = {}) {
    StartReady(arguments, environment);
    Connect();
    // The click of the fixture, by which it knows that they are connected.
    fs::resize_file(folder / "said", 0);
  }

  // The user interface clicks. It may click what is in no list.
  void Click(const std::string& id) { ui->model.SetClicked(ui->NewItem(id)); }

  // The marks that samples of this name have left, each with its process behind a dot.
  Names Marks(const std::string& name = "") {
    std::set<std::string> marks;
    for (const auto& mark : fs::directory_iterator(folder / "marks")) {
      marks.insert(mark.path().filename());
    }
    Names found;
    std::copy_if(marks.begin(), marks.end(), std::back_inserter(found),
                 [&](const std::string& mark) { return mark.rfind(name, 0) == 0; });
    return found;
  }

  const Names& Launched() {
    tool.ProcessAll();
    return m_launched;
  }

  long CountLaunched(const std::string& id) {
    const Names& launched = Launched();
    return std::count(launched.begin(), launched.end(), id);
  }

  // Waits until a sample has left its mark and is announced. Returns its process.
  pid_t WaitForMark(const std::string& name) {
    const std::string id = "org.javamw.sample." + name + ".desktop";
    EXPECT_TRUE(WaitFor([&] { return !Marks(name + ".").empty() && CountLaunched(id) > 0; }))
        << Said();
    const Names marks = Marks(name + ".");
    return marks.empty() ? -1 : std::stoi(marks.front().substr(name.size() + 1));
  }

  // Waits until this many clicks were refused; then nothing else was started, and still can be.
  void ExpectRefused(size_t count) {
    EXPECT_TRUE(WaitFor([&] { return CountSaid(kNotStarted) >= count; })) << Said();
    Click(kOther);
    WaitForMark("Other");
    EXPECT_EQ(CountSaid(kNotStarted), count) << Said();
    EXPECT_THAT(Launched(), ElementsAre(kOther));
    EXPECT_EQ(Marks().size(), 1U);
  }

  const fs::path applications = folder / "data" + "/applications";

 private:
  static int OnLaunched(sd_bus_message* message, void* test, sd_bus_error* /*error*/) {
    const char* id = nullptr;
    EXPECT_GE(sd_bus_message_read(message, "s", &id), 0);
    static_cast<LaunchTest*>(test)->m_launched.emplace_back(id);
    return 0;
  }

  Names m_launched;
};

TEST_F(LaunchTest, AClickOfTheUserInterfaceStartsTheApplication) {
  ConnectTo({"--launch"});
  Click(kMark);
  EXPECT_GT(WaitForMark("Mark"), 0);
  EXPECT_THAT(Launched(), ElementsAre(kMark));
  EXPECT_EQ(Remote()->lastClicked, kMark);
  EXPECT_EQ(Said(), "");
}

TEST_F(LaunchTest, AClickOfTheRemoteSideStartsTheApplication) {
  ConnectTo({"--launch"});
  ui->model.AddItems(ui->NewItems({kMark}));
  EXPECT_EQ(tool.Control("Click", kMark).error, "");
  EXPECT_GT(WaitForMark("Mark"), 0);
}

TEST_F(LaunchTest, WithoutTheFlagAClickIsOnlyRemembered) {
  ConnectTo({});
  Click(kMark);
  EXPECT_EQ(Remote()->lastClicked, kMark);
  // One that launches, and starts what is clicked there alone.
  StopDaemon();
  StartReady({"--launch"});
  ASSERT_TRUE(WaitFor([&] { return RemoteIsConnected(); }));
  Click(kOther);
  WaitForMark("Other");
  EXPECT_THAT(Launched(), ElementsAre(kOther));
  EXPECT_EQ(Marks().size(), 1U);
}

// The signals of a set in /proc/PID/status, but for those that the C library keeps for itself.
unsigned long SignalsOf(pid_t process, const char* set) {
  return std::stoul(StatusOf(process, set), nullptr, 16) & 0x7FFFFFFFUL;
}

TEST_F(LaunchTest, TheApplicationIsOnItsOwnAndOutlivesTheDaemon) {
  std::signal(SIGHUP, SIG_IGN);
  ConnectTo({"--launch"});
  std::signal(SIGHUP, SIG_DFL);
  Click(kMark);
  const pid_t application = WaitForMark("Mark");
  ASSERT_GT(application, 0);
  EXPECT_NE(SignalsOf(daemon->Pid(), "SigIgn"), 0U);
  EXPECT_EQ(SignalsOf(application, "SigIgn"), 0U);
  EXPECT_NE(SignalsOf(daemon->Pid(), "SigBlk"), 0U);
  // A shell blocks them now and then for a moment.
  EXPECT_TRUE(WaitFor([&] { return SignalsOf(application, "SigBlk") == 0; }));
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(application) + "/fd/0"), "/dev/null");
  EXPECT_NE(getsid(application), getsid(daemon->Pid()));
  EXPECT_NE(getpgid(application), getpgid(daemon->Pid()));
  StopDaemon();
  const std::ofstream end(folder / "marks" + "/end");
  const std::string ended = "/marks/Mark." + std::to_string(application) + ".ended";
  EXPECT_TRUE(WaitFor([&] { return fs::exists(folder.Path() + ended); })) << "it went on";
}

// The environment of a process, a line for each variable.
std::string EnvironmentOf(pid_t process) {
  std::string text = '\0' + TextOf("/proc/" + std::to_string(process) + "/environ");
  std::replace(text.begin(), text.end(), '\0', '\n');
  return text;
}

class EnvironmentTest : public LaunchTest,
                        public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(EnvironmentTest, TheApplicationHasTheSessionsAndNotTheDaemonsOwn) {
  applist::PrivateBus session;
  const std::string address = "DBUS_SESSION_BUS_ADDRESS=" + session.Address();
  Names arguments = GetParam();
  if (arguments.back() == "--address") {
    arguments.push_back(bus.Address());
  }
  ConnectTo(arguments, {address, "DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address(),
                        "DBUS_STARTER_ADDRESS=" + bus.Address()});
  Click(kMark);
  const std::string environment = EnvironmentOf(WaitForMark("Mark"));
  EXPECT_THAT(environment, HasSubstr("\n" + address + "\n"));
  EXPECT_THAT(environment, Not(HasSubstr("\nNOTIFY_SOCKET=")));
  EXPECT_THAT(environment, Not(HasSubstr("\nDBUS_STARTER_")));
}

INSTANTIATE_TEST_SUITE_P(LaunchTest, EnvironmentTest,
                         ::testing::Values(Names{"--launch", "--system"},
                                           Names{"--launch", "--address"}),
                         [](const auto& parameter) { return parameter.param.back().substr(2); });

// Activation over D-Bus

class ActivationTest : public LaunchTest {
 protected:
  // An application that is on the bus already, and answers by an error if there is one.
  void ServeApplication(const char* error = nullptr) {
    m_error = error;
    ASSERT_GE(sd_bus_add_object(m_application.Bus(), nullptr, "/org/javamw/sample/Activated",
                                OnCall, this),
              0);
    ASSERT_EQ(m_application.Own(kActivatedName), applist::NameAnswer::Owner);
  }

  bool WaitForActivation() {
    return WaitFor([&] {
      m_application.ProcessAll();
      return m_activations == 1;
    });
  }

 private:
  static int OnCall(sd_bus_message* call, void* test, sd_bus_error* /*error*/) {
    auto* self = static_cast<ActivationTest*>(test);
    if (sd_bus_message_is_method_call(call, "org.freedesktop.Application", "Activate") <= 0) {
      return 0;
    }
    ++self->m_activations;
    return self->m_error != nullptr
               ? sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "%s", self->m_error)
               : sd_bus_reply_method_return(call, nullptr);
  }

  BusPeer m_application{bus.Address()};
  const char* m_error = nullptr;
  int m_activations = 0;
};

TEST_F(ActivationTest, AnApplicationThatIsActivatedOverTheBusIsCalledByItsName) {
  ServeApplication();
  ConnectTo({"--launch"});
  Click(kActivated);
  EXPECT_TRUE(WaitForActivation()) << Said();
  EXPECT_TRUE(WaitFor([&] { return !Launched().empty(); })) << Said();
  EXPECT_THAT(Launched(), ElementsAre(kActivated));
  EXPECT_THAT(Marks(), IsEmpty()) << "it is not started as a program";
}

TEST_F(ActivationTest, AnApplicationThatCannotBeActivatedIsNotLaunched) {
  ConnectTo({"--launch"});
  Click(kActivated);
  ExpectRefused(1);
  EXPECT_THAT(Said(), HasSubstr(kActivatedName));
}

TEST_F(ActivationTest, AnApplicationThatRefusesIsNotLaunched) {
  ServeApplication("not today");
  ConnectTo({"--launch"});
  Click(kActivated);
  EXPECT_TRUE(WaitForActivation());
  ExpectRefused(1);
  EXPECT_THAT(Said(), HasSubstr("not today"));
}

// What is clicked twice

// A loaded machine may let any time pass between two clicks. So only two that the daemon is known
// to have handled within the window say something, and are tried until there are two such.
TEST_F(LaunchTest, ADoubleClickStartsOnce) {
  ConnectTo({"--launch"}, {"APPLIST_LOG=info"});
  std::string name;
  std::string id;
  bool soon = false;
  for (int attempt = 1; !soon; ++attempt) {
    ASSERT_LT(attempt, 20) << "the machine is too slow to tell";
    name = "Attempt" + std::to_string(attempt);
    id = name + ".desktop";
    std::ofstream(applications / id) << "[Desktop Entry]\nType=Application\nName=Mark\n"
                                     << "Exec=leave-mark " << name << "\n";
    const auto before = std::chrono::steady_clock::now();
    Click(id);
    Click(id);
    // A click is handled when the call returns.
    soon = std::chrono::steady_clock::now() - before < std::chrono::milliseconds(500);
  }
  EXPECT_EQ(CountSaid("Not started again by a second click: '" + id + "'"), 1U) << Said();
  EXPECT_TRUE(WaitFor([&] { return !Marks(name + ".").empty() && CountLaunched(id) > 0; }));
  Click(kOther);
  WaitForMark("Other");
  EXPECT_EQ(Marks(name + ".").size(), 1U);
  EXPECT_EQ(CountLaunched(id), 1);
}

TEST_F(LaunchTest, ALaterClickStartsAgain) {
  ConnectTo({"--launch"});
  EXPECT_TRUE(WaitFor([&] {
    Click(kMark);
    return Marks("Mark.").size() >= 2;
  })) << Said();
  EXPECT_TRUE(WaitFor([&] { return Launched().size() >= 2; }));
}

// What is not started

TEST_F(LaunchTest, AnIdentifierThatIsNoDesktopIdIsRefused) {
  const std::string mark = kMark;
  const Names odd = {"",
                     "../x",
                     "/bin/sh",
                     "sh",
                     "leave-mark Mark",
                     "-x.desktop",
                     "--help",
                     ".desktop",
                     "..desktop",
                     "a/b.desktop",
                     "../applications/" + mark,
                     (applications / mark).string(),
                     "file://" + (applications / mark).string(),
                     "org.javamw.sample.Mark",
                     mark + "/",
                     mark + " ",
                     mark + '\0',
                     mark + '\0' + ".desktop",
                     "\n" + mark,
                     "\x7F" + mark,
                     std::string(248, 'a') + ".desktop",
                     std::string(65536, 'a'),
                     std::string(65536, 'a') + ".desktop"};
  ConnectTo({"--launch"});
  for (const std::string& id : odd) {
    Click(id);
  }
  EXPECT_EQ(CountSaid("it is not the identifier of a desktop entry"), odd.size()) << Said();
  EXPECT_EQ(CountSaid("\n"), odd.size()) << "one line each";
  ExpectRefused(odd.size());
}

TEST_F(LaunchTest, WhatNoApplicationDirectoryHasIsNotStarted) {
  fs::copy_file(applications / kMark, folder / "elsewhere" + "/org.javamw.sample.Outside.desktop");
  fs::create_directory(applications / "sub");
  fs::copy_file(applications / kMark, folder / "data" + "/org.javamw.sample.Above.desktop");
  fs::current_path(folder / "elsewhere");
  const Names ids = {"org.javamw.sample.Outside.desktop",
                     "org.javamw.sample.Above.desktop",
                     "$(leave-mark Mark).desktop",
                     "`leave-mark Mark`.desktop",
                     ";leave-mark Mark;.desktop",
                     "*.desktop",
                     "%f.desktop",
                     "a b\\c'\"d.desktop",
                     "\xFF.desktop",
                     std::string(247, 'a') + ".desktop"};
  ConnectTo({"--launch"});
  for (const std::string& id : ids) {
    Click(id);
  }
  ExpectRefused(ids.size());
  fs::current_path("/");
}

class UnstartableTest : public LaunchTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(UnstartableTest, IsNotStarted) {
  ConnectTo({"--launch"});
  Click(std::string("org.javamw.sample.") + GetParam() + ".desktop");
  ExpectRefused(1);
}

INSTANTIATE_TEST_SUITE_P(LaunchTest, UnstartableTest,
                         ::testing::Values("Hidden", "TryExecMissing", "ExecMissing"),
                         [](const auto& parameter) { return std::string(parameter.param); });

}  // namespace
}  // namespace applist_test
