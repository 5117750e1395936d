// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The direct line between the two ends: when it is used and when not, and what becomes of it.
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "bus/BusPeer.h"
#include "bus/LineRemote.h"
#include "bus/LinkEnds.h"
#include "common/AppListRemoteControl.h"
#include "dbus/DbusLink.h"
#include "dbus/DirectLine.h"

namespace applist_test {
namespace {

using Message = std::pair<int, std::string>;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Not;

constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr const char* kBusy = "org.javamw.Link1.Error.Busy";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

// Counts what passes on the bus.
class Monitor {
 public:
  explicit Monitor(const std::string& address) {
    sd_bus* created = nullptr;
    EXPECT_GE(sd_bus_new(&created), 0);
    m_bus.reset(created);
    EXPECT_GE(sd_bus_set_address(created, address.c_str()), 0);
    EXPECT_GE(sd_bus_set_bus_client(created, 1), 0);
    EXPECT_GE(sd_bus_set_monitor(created, 1), 0);
    EXPECT_GE(sd_bus_start(created), 0);
    EXPECT_GE(sd_bus_call_method(created, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus.Monitoring", "BecomeMonitor", nullptr,
                                 nullptr, "asu", 0, 0U),
              0);
    EXPECT_GE(sd_bus_add_filter(created, nullptr, OnMessage, this), 0);
  }

  // How many messages of this name of the link have passed before the bus answered `fence`.
  int Count(const std::string& member, BusPeer& fence) {
    const int fences = m_counts["GetNameOwner"];
    fence.OwnerOf("org.example.Fence");
    while (m_counts["GetNameOwner"] == fences) {
      sd_bus_wait(m_bus.get(), 1000000);
      while (sd_bus_process(m_bus.get(), nullptr) > 0) {
      }
    }
    return m_counts[member];
  }

 private:
  static int OnMessage(sd_bus_message* message, void* monitor, sd_bus_error* /*error*/) {
    const char* member = sd_bus_message_get_member(message);
    if (member != nullptr) {
      ++static_cast<Monitor*>(monitor)->m_counts[member];
    }
    return 1;
  }

  applist::BusPtr m_bus;
  std::map<std::string, int> m_counts;
};

class DirectLineTest : public LinkEndsTest {
 protected:
  explicit DirectLineTest(CallsWait wait = CallsWait::Forever) {
    if (wait == CallsWait::AsUsual) {
      setenv("APPLIST_CALL_TIMEOUT_MS", "50", 1);
    }
    unsetenv("APPLIST_LINE");
  }
  ~DirectLineTest() override { unsetenv("APPLIST_LINE"); }

  static std::string Echo(int id, const std::string& payload) {
    return std::to_string(id) + " " + payload;
  }
  void StartEcho() {
    StartRemote([](RemoteEnd& end) { end.answer = Echo; });
  }

  // The name of the error that a call without arguments is answered by, empty for none.
  std::string ErrorOf(BusPeer& peer, const std::string& destination, const char* member) {
    return WhileLooping([&] {
      applist::BusError error;
      const int r = sd_bus_call_method(peer.Bus(), destination.c_str(), kLinkPath,
                                       applist::kLinkInterface, member, error.Get(), nullptr, "");
      return r < 0 ? error.Name() : std::string();
    });
  }

  // What an end says of itself. Nothing where it does not answer.
  std::string PartnerOf(const std::string& name) {
    char* text = nullptr;
    WhileLooping([&] {
      return sd_bus_get_property_string(Tool().Bus(), name.c_str(), kLinkPath,
                                        applist::kLinkInterface, "Partner", nullptr, &text);
    });
    std::string partner = text != nullptr ? text : "";
    std::free(text);
    return partner;
  }
  bool IsSet(const std::string& name, const char* property) {
    return WhileLooping([&] { return Tool().IsSet(name, property); });
  }
  bool IsDirect(const std::string& name) { return IsSet(name, "Direct"); }
  bool AreDirect() { return IsDirect(kUiName) && IsDirect(kRemoteName); }

  // A connection to the bus as it is now.
  BusPeer& Tool() {
    if (m_tool == nullptr) {
      m_tool = std::make_unique<BusPeer>(bus.Address());
    }
    return *m_tool;
  }
  void StopBus() {
    m_tool.reset();
    bus.Stop();
  }

  void StartDirect() {
    StartUi();
    StartEcho();
    ASSERT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  }

  // The remote side does nothing from now on until Unblock.
  void Block() {
    m_unblock = std::promise<void>();
    std::promise<void> entered;
    m_blocked = thread.Start([&] {
      entered.set_value();
      m_unblock.get_future().wait();
    });
    entered.get_future().wait();
  }
  void Unblock() {
    m_unblock.set_value();
    m_blocked.wait();
  }

  std::vector<int> StatesOf(const std::vector<Message>& states) {
    std::vector<int> ready;
    for (const Message& state : states) {
      ready.push_back(state.first);
    }
    return ready;
  }

 private:
  std::unique_ptr<BusPeer> m_tool;
  std::promise<void> m_unblock;
  std::future<void> m_blocked;
};

// Which way

struct WayCase {
  const char* line;
  bool direct;
};
void PrintTo(const WayCase& way, std::ostream* out) {
  *out << way.line;
}

class WayTest : public DirectLineTest, public ::testing::WithParamInterface<WayCase> {};

TEST_P(WayTest, EverythingTakesIt) {
  setenv("APPLIST_LINE", GetParam().line, 1);
  StartUi();
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected() && AreDirect() == GetParam().direct; }));
  Monitor monitor(bus.Address());
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(uiEnd->Send(k, "call"), Echo(k, "call"));
    thread.Run([&] { remote->SendNotification(k, "event"); });
  }
  ASSERT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 3; }));
  EXPECT_EQ(AreDirect(), GetParam().direct);
  EXPECT_EQ(monitor.Count("Send", Tool()), GetParam().direct ? 0 : 3);
  EXPECT_EQ(monitor.Count("Notify", Tool()), GetParam().direct ? 0 : 3);
  // The other direction has no line.
  uiEnd->SendNotification(7, "event");
  EXPECT_EQ(WhileLooping([&] { return remote->Send(8, "call"); }), "");
  ASSERT_TRUE(WaitFor([&] { return remote->NotificationCount() == 1; }));
  EXPECT_THAT(uiEnd->Messages(), ElementsAre(Message(8, "call")));
  EXPECT_EQ(monitor.Count("Send", Tool()), GetParam().direct ? 1 : 4);
  EXPECT_EQ(monitor.Count("Notify", Tool()), GetParam().direct ? 1 : 4);
}

INSTANTIATE_TEST_SUITE_P(Ways, WayTest,
                         ::testing::Values(WayCase{"", true}, WayCase{"direct", true},
                                           WayCase{"bus", false}),
                         [](const auto& parameter) {
                           return *parameter.param.line == 0 ? "unset" : parameter.param.line;
                         });

TEST_F(DirectLineTest, APartnerThatKnowsNoLinesIsServedOverTheBus) {
  LineRemote other(bus.Address(), LineRemote::Gives::Nothing);
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
  EXPECT_EQ(uiEnd->Send(1, ""), "bus");
  other.NotifyOnBus(Frame(1, "event"));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
  EXPECT_FALSE(IsDirect(kUiName));
}

// Writing to such a one would end the process.
TEST_F(DirectLineTest, APartnerThatGivesNoSocketsIsServedOverTheBus) {
  LineRemote other(bus.Address(), LineRemote::Gives::DeadPipes);
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return other.LinesGiven() == 1; }));
  other.NotifyOnBus(Frame(1, "event"));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
  EXPECT_EQ(uiEnd->Send(1, ""), "bus");
  EXPECT_FALSE(IsDirect(kUiName));
  EXPECT_EQ(other.LinesGiven(), 1);
}

// For as long as it lives, this process can open no more descriptors.
class NoRoom {
 public:
  NoRoom() {
    const int free = dup(STDERR_FILENO);
    close(free);
    getrlimit(RLIMIT_NOFILE, &m_before);
    const rlimit limit = {static_cast<rlim_t>(free), m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoRoom() { setrlimit(RLIMIT_NOFILE, &m_before); }
  NoRoom(const NoRoom&) = delete;
  NoRoom& operator=(const NoRoom&) = delete;

 private:
  rlimit m_before = {};
};

// The message that brings the sockets would cost the connection to the bus.
TEST_F(DirectLineTest, WithoutRoomForItsSocketsThereIsNone) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs descriptors of its own to look at an object";
#endif
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kUiName).empty(); }));
  StartDaemon();
  ASSERT_TRUE(WaitOutsideLoop([&] { return !Tool().OwnerOf(kRemoteName).empty(); }));
  {
    const NoRoom none;
    ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
    uiEnd->Send(APPLIST_SET_CLICKED_FNC, "name\nid\n");
    EXPECT_TRUE(WaitFor([&] {
      const std::vector<Message> heard = uiEnd->Notifications();
      return !heard.empty() && heard.back().first == APPLIST_ITEM_CLICKED_EVENT;
    }));
  }
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1));
  EXPECT_FALSE(IsDirect(kUiName));
}

TEST_F(DirectLineTest, OnlyThePartnerGetsALine) {
  StartDirect();
  BusPeer stranger(bus.Address());
  EXPECT_EQ(ErrorOf(stranger, kRemoteName, "OpenLine"), kAccessDenied);
  EXPECT_EQ(ErrorOf(stranger, kUiName, "OpenLine"), kAccessDenied);
  EXPECT_TRUE(AreDirect());
}

// A user interface of the test's own, which waits for every answer.
class ScriptedUi {
 public:
  explicit ScriptedUi(const std::string& address) : peer(address) {
    EXPECT_EQ(peer.Own(kUiCallsName), applist::NameAnswer::Owner);
    EXPECT_EQ(peer.Own(kUiName), applist::NameAnswer::Owner);
  }

  // Returns the name of the error, if any.
  std::string OpenLine() {
    applist::BusError error;
    sd_bus_message* answered = nullptr;
    const int r = sd_bus_call_method(peer.Bus(), kRemoteName, kLinkPath, applist::kLinkInterface,
                                     "OpenLine", error.Get(), &answered, "");
    const applist::MessagePtr answer(answered);
    int fds[2] = {-1, -1};
    if (r < 0 || sd_bus_message_read(answered, "hh", &fds[0], &fds[1]) < 0) {
      return r < 0 ? error.Name() : "no sockets";
    }
    calls = Client(fds[0]);
    events = Client(fds[1]);
    EXPECT_GE(sd_bus_add_filter(events.get(), nullptr, OnEvent, this), 0);
    return "";
  }

  // Works off what comes in until `condition` holds.
  void ProcessUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      for (sd_bus* bus : {peer.Bus(), calls.get(), events.get()}) {
        while (bus != nullptr && sd_bus_process(bus, nullptr) > 0) {
        }
      }
    }
    EXPECT_TRUE(condition());
  }

  BusPeer peer;
  applist::BusPtr calls;
  applist::BusPtr events;
  // The members of what has come in on the line.
  std::vector<std::string> heard;

 private:
  static applist::BusPtr Client(int fd) {
    sd_bus* created = nullptr;
    EXPECT_GE(sd_bus_new(&created), 0);
    const int own = dup(fd);
    EXPECT_GE(sd_bus_set_fd(created, own, own), 0);
    EXPECT_GE(sd_bus_set_anonymous(created, 1), 0);
    EXPECT_GE(sd_bus_start(created), 0);
    return applist::BusPtr(created);
  }

  static int OnEvent(sd_bus_message* message, void* ui, sd_bus_error* /*error*/) {
    const char* member = sd_bus_message_get_member(message);
    static_cast<ScriptedUi*>(ui)->heard.emplace_back(member != nullptr ? member : "");
    return 0;
  }
};

class ScriptedUiTest : public DirectLineTest {
 protected:
  void SetUp() override {
    StartEcho();
    other = std::make_unique<ScriptedUi>(bus.Address());
    other->ProcessUntil([&] { return !remote->States().empty(); });
  }

  std::unique_ptr<ScriptedUi> other;
};

TEST_F(ScriptedUiTest, GetsOneLineAtATime) {
  EXPECT_EQ(other->OpenLine(), "");
  EXPECT_EQ(other->OpenLine(), kBusy);
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1));
}

TEST_F(ScriptedUiTest, GetsAnotherLineAtOnceWhenItHasClosedTheFirst) {
  for (int k = 1; k <= 3; ++k) {
    EXPECT_EQ(other->OpenLine(), "");
    EXPECT_EQ(remote->States().size(), static_cast<size_t>(2 * k - 1));
    other->events.reset();
    other->calls.reset();
  }
  EXPECT_EQ(other->OpenLine(), "");
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1, 0, 1, 0, 1, 0, 1));
}

TEST_F(ScriptedUiTest, ThatClosesEitherSocketIsPartedFromAndFoundAgain) {
  ASSERT_EQ(other->OpenLine(), "");
  other->calls.reset();
  other->ProcessUntil([&] { return remote->States().size() == 3; });
  ASSERT_EQ(other->OpenLine(), "");
  other->events.reset();
  other->ProcessUntil([&] { return remote->States().size() == 5; });
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1, 0, 1, 0, 1));
  EXPECT_EQ(other->peer.Send(kRemoteName, Frame(1)).reply, Echo(1, ""));
}

TEST_F(ScriptedUiTest, IsAskedOnTheLineWhereTheBusTookTheQuestionAlong) {
  bool hasCaughtUp = false;
  std::atomic<int> connections = 0;
  // Nobody answers the first question: the peer is not processed.
  thread.Run([&] {
    remote->Link().WhenPartnerHasCaughtUp([&] { hasCaughtUp = true; });
    remote->Link().OnConnection([&](sd_bus*) { ++connections; });
  });
  ASSERT_EQ(other->OpenLine(), "");
  bus.Stop();
  EXPECT_TRUE(WaitOutsideLoop([&] { return connections == 2; })) << "it has heard of the loss";
  thread.Run([&] { EXPECT_FALSE(hasCaughtUp); });
  other->ProcessUntil([&] {
    bool now = false;
    thread.Run([&] { now = hasCaughtUp; });
    return now;
  });
  EXPECT_THAT(other->heard, Contains("Ping"));
  thread.Run([&] { remote->Link().OnConnection(nullptr); });
}

// The bus goes, the line stays

TEST_F(DirectLineTest, ABusThatComesBackDoesNotDisturb) {
  StartDirect();
  for (int round = 0; round < 3; ++round) {
    StopBus();
    EXPECT_EQ(uiEnd->Send(round, "down"), Echo(round, "down"));
    const size_t before = uiEnd->NotificationCount();
    thread.Run([&] { remote->SendNotification(round, "down"); });
    EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == before + 1; }));
    bus.Start();
    // Other unique names than before.
    std::vector<std::unique_ptr<BusPeer>> others;
    for (int k = 0; k <= round; ++k) {
      others.push_back(std::make_unique<BusPeer>(bus.Address()));
    }
    EXPECT_TRUE(WaitFor([&] {
      const std::string remoteSide = Tool().OwnerOf(kRemoteName);
      const std::string userInterface = Tool().OwnerOf(kUiName);
      return !remoteSide.empty() && PartnerOf(kUiName) == remoteSide && !userInterface.empty() &&
             PartnerOf(kRemoteName) == userInterface;
    }));
    EXPECT_TRUE(AreDirect());
    EXPECT_EQ(uiEnd->Send(round, "up"), Echo(round, "up"));
  }
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1));
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1));
  EXPECT_EQ(remote->Messages().size(), 6U) << "what was sent here, and nothing else";
  EXPECT_EQ(uiEnd->NotificationCount(), 3U);
}

TEST_F(DirectLineTest, AnotherRemoteSideOnTheNextBusEndsTheLine) {
  StartDirect();
  Block();
  StopBus();
  bus.Start();
  LineRemote other(bus.Address(), LineRemote::Gives::Nothing);
  EXPECT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kUiName).empty(); }));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1)) << "nobody has said whose the line is";
  Unblock();
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 3; }));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1, 0, 1));
  EXPECT_EQ(uiEnd->Send(1, ""), "bus");
  EXPECT_TRUE(WaitFor([&] { return StatesOf(remote->States()).back() == 0; }));
}

int NumberOf(const std::string& uniqueName) {
  return std::stoi(uniqueName.substr(uniqueName.rfind('.') + 1));
}

// The unique names of a bus begin anew with the bus.
TEST_F(DirectLineTest, AnotherRemoteSideWithTheSameUniqueNameEndsTheLineToo) {
  std::vector<std::unique_ptr<BusPeer>> others;
  for (int k = 0; k < 20; ++k) {
    others.push_back(std::make_unique<BusPeer>(bus.Address()));
  }
  LineRemote first(bus.Address(), LineRemote::Gives::Lines);
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return IsDirect(kUiName); }));
  EXPECT_EQ(uiEnd->Send(1, ""), "line");
  others.clear();
  StopBus();
  bus.Start();
  while (others.empty() ||
         NumberOf(others.back()->UniqueName()) + 1 < NumberOf(first.UniqueName())) {
    others.push_back(std::make_unique<BusPeer>(bus.Address()));
  }
  auto second = std::make_unique<LineRemote>(bus.Address(), LineRemote::Gives::Lines);
  ASSERT_EQ(second->UniqueName(), first.UniqueName());
  ASSERT_TRUE(WaitFor([&] { return first.NamesAsked() > 0 && !Tool().OwnerOf(kUiName).empty(); }));
  ASSERT_EQ(PartnerOf(kUiName), first.UniqueName());
  first.CallItself("");
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 3; }));
  EXPECT_TRUE(WaitFor([&] { return IsDirect(kUiName) && second->LinesGiven() == 1; }));
  EXPECT_EQ(uiEnd->Send(1, ""), "line");
}

TEST_F(DirectLineTest, AnotherUserInterfaceOnTheNextBusEndsTheLine) {
  StartDirect();
  StopBus();
  bus.Start();
  {
    BusPeer other(bus.Address());
    ASSERT_EQ(other.Own(kUiCallsName), applist::NameAnswer::Owner);
    ASSERT_EQ(other.Own(kUiName), applist::NameAnswer::Owner);
    EXPECT_TRUE(WaitFor([&] { return remote->States().size() == 3; }));
    EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1, 0, 1));
    EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 2; }));
    EXPECT_EQ(uiEnd->Send(1, ""), "") << "it works locally";
  }
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 3 && AreDirect(); }));
  EXPECT_EQ(uiEnd->Send(1, ""), Echo(1, ""));
}

// What this end does not send while another process has its name, its partner has to miss, even
// where it never hears of the other process.
TEST_F(DirectLineTest, AnotherProcessWithTheNameOfThisEndForAWhileEndsTheLine) {
  StartDirect();
  Block();
  StopBus();
  bus.Start();
  // Another process: one in this process would be taken for a connection of the link's own.
  const auto other = StartUiProcess({"a"});
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 2; }));
  EXPECT_EQ(uiEnd->Send(1, ""), "") << "it works locally";
  other->Signal(SIGKILL);
  other->Wait();
  EXPECT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kUiName).empty(); }));
  Unblock();
  EXPECT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  EXPECT_THAT(StatesOf(remote->States()), AllOf(Contains(0), ::testing::SizeIs(Ge(3))));
}

// Who wants the bus

TEST_F(DirectLineTest, IsOnTheBusForAsLongAsSomebodyHoldsIt) {
  StartDirect();
  {
    BusPeer holder(bus.Address());
    BusPeer another(bus.Address());
    EXPECT_EQ(ErrorOf(holder, kUiName, "HoldBus"), "");
    EXPECT_EQ(ErrorOf(another, kUiName, "HoldBus"), "");
    EXPECT_FALSE(IsDirect(kUiName));
    EXPECT_TRUE(WaitFor([&] {
      return StatesOf(uiEnd->States()) == std::vector<int>{1, 0, 1} &&
             StatesOf(remote->States()) == std::vector<int>{1, 0, 1};
    }));
    Monitor monitor(bus.Address());
    EXPECT_EQ(uiEnd->Send(1, "seen"), Echo(1, "seen"));
    thread.Run([&] { remote->SendNotification(1, "seen"); });
    EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
    EXPECT_EQ(monitor.Count("Send", Tool()), 1);
    EXPECT_EQ(monitor.Count("Notify", Tool()), 1);
    EXPECT_FALSE(IsDirect(kRemoteName));
  }
  EXPECT_TRUE(WaitFor([&] { return AreDirect(); }));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1, 0, 1)) << "nothing is lost on the way back";
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1, 0, 1));
}

TEST_F(DirectLineTest, ComesBackHoweverShortlyTheBusWasHeld) {
  StartDirect();
  for (int k = 0; k < 20; ++k) {
    BusPeer holder(bus.Address());
    EXPECT_EQ(ErrorOf(holder, kUiName, "HoldBus"), "");
  }
  EXPECT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  EXPECT_EQ(uiEnd->Send(1, ""), Echo(1, ""));
}

TEST_F(DirectLineTest, ALineThatComesWhileTheBusIsHeldIsNotUsed) {
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kRemoteName).empty(); }));
  Block();
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
  BusPeer holder(bus.Address());
  EXPECT_EQ(ErrorOf(holder, kUiName, "HoldBus"), "");
  Unblock();
  EXPECT_TRUE(WaitFor([&] { return remote->States().size() == 3; })) << "it was closed unused";
  EXPECT_EQ(uiEnd->Send(1, ""), Echo(1, ""));
  EXPECT_FALSE(IsDirect(kUiName));
  EXPECT_FALSE(IsDirect(kRemoteName));
}

TEST_F(DirectLineTest, TheRemoteSideSaysWhoCanHoldTheBus) {
  StartDirect();
  BusPeer holder(bus.Address());
  EXPECT_EQ(ErrorOf(holder, kRemoteName, "HoldBus"), "org.freedesktop.DBus.Error.NotSupported");
  EXPECT_TRUE(AreDirect());
}

TEST_F(DirectLineTest, ListsAreEqualWhileTheBusIsHeldAndAfterwards) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a", "b", "c"}));
  ui->model.SetSelection(ui->Find("b"));
  ExpectBoth({Named({"a", "b", "c"}), "b"});
  EXPECT_TRUE(WaitFor([&] { return AreDirect(); }));
  {
    BusPeer holder(bus.Address());
    EXPECT_EQ(ErrorOf(holder, kUiName, "HoldBus"), "");
    ui->model.RemoveItem(ui->Find("a"));
    ui->model.SetSelection(ui->Find("c"));
    // A click is lost while the two find each other again.
    EXPECT_TRUE(WaitFor([&] { return RemoteIsConnected() && RemoteHolds() == ui->Holds(); }));
    ExpectBoth({Named({"b", "c"}), "c"});
  }
  EXPECT_TRUE(WaitFor([&] { return AreDirect(); }));
  ExpectBoth({Named({"b", "c"}), "c"});
}

// Lines that break

struct BreakCase {
  const char* name;
  LineRemote::Gives gives;
  LineRemote::Socket socket;
  std::string bytes;  // None: the socket is closed.
};
void PrintTo(const BreakCase& breakCase, std::ostream* out) {
  *out << breakCase.name;
}

// The head of a message of 1000 bytes that do not come.
std::string HeadOfAMessage() {
  const char head[] = {'l', 4, 0, 1, static_cast<char>(0xE8), 3, 0, 0, 1, 0, 0, 0, 16, 0, 0, 0};
  return std::string(head, sizeof(head));
}

class BrokenLineTest : public DirectLineTest, public ::testing::WithParamInterface<BreakCase> {};

TEST_P(BrokenLineTest, LeavesTheLinkAtWorkOnTheBus) {
  const BreakCase& how = GetParam();
  LineRemote other(bus.Address(), how.gives);
  StartUi();
  const bool works = how.gives == LineRemote::Gives::Lines;
  ASSERT_TRUE(WaitFor([&] { return other.LinesGiven() == 1 && IsDirect(kUiName) == works; }));
  if (works) {
    EXPECT_EQ(uiEnd->Send(1, ""), "line");
    other.NotifyOnLine(Frame(5, "line"));
    EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
  }
  if (!how.bytes.empty()) {
    other.Write(how.socket, how.bytes);
  }
  if (how.bytes.empty() || how.bytes == HeadOfAMessage()) {
    other.Close(how.socket);
  }
  // Where only the socket for calls is broken, a call finds out.
  EXPECT_TRUE(WaitFor([&] { return uiEnd->Send(2, "") == "bus" && uiEnd->States().size() == 3; }));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1, 0, 1));
  EXPECT_FALSE(IsDirect(kUiName));
  const size_t before = uiEnd->NotificationCount();
  other.NotifyOnBus(Frame(6, "bus"));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == before + 1; }));
  EXPECT_EQ(other.LinesGiven(), 1) << "it is not asked again";
}

constexpr LineRemote::Socket kCalls = LineRemote::Socket::Calls;
constexpr LineRemote::Socket kEvents = LineRemote::Socket::Events;
constexpr LineRemote::Gives kWorks = LineRemote::Gives::Lines;
constexpr LineRemote::Gives kBare = LineRemote::Gives::BareSockets;

INSTANTIATE_TEST_SUITE_P(
    Lines, BrokenLineTest,
    ::testing::Values(BreakCase{"CallsClosed", kWorks, kCalls, ""},
                      BreakCase{"EventsClosed", kWorks, kEvents, ""},
                      BreakCase{"GarbageForCalls", kWorks, kCalls, std::string(64, '\xA5')},
                      BreakCase{"GarbageForEvents", kWorks, kEvents, std::string(64, '\xA5')},
                      BreakCase{"CallsCutShort", kWorks, kCalls, HeadOfAMessage()},
                      BreakCase{"EventsCutShort", kWorks, kEvents, HeadOfAMessage()},
                      BreakCase{"CallsClosedInTheHandshake", kBare, kCalls, ""},
                      BreakCase{"EventsClosedInTheHandshake", kBare, kEvents, ""},
                      BreakCase{"CallsRejected", kBare, kCalls, "REJECTED EXTERNAL\r\n"},
                      BreakCase{"EventsRejected", kBare, kEvents, "REJECTED EXTERNAL\r\n"},
                      BreakCase{"NoHandshakeForCalls", kBare, kCalls, std::string(70000, '\xA5')},
                      BreakCase{"NoHandshakeForEvents", kBare, kEvents, std::string(70000, '\n')}),
    [](const auto& parameter) { return parameter.param.name; });

// Nobody calls again, and yet the lost call is missed.
TEST_F(DirectLineTest, APartnerThatHangsUpInsteadOfAnsweringIsPartedFromAndFoundAgain) {
  LineRemote other(bus.Address(), LineRemote::Gives::Lines);
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return IsDirect(kUiName); }));
  other.HangUpAtNextSend();
  EXPECT_EQ(uiEnd->Send(1, ""), "");
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 3; }));
  EXPECT_EQ(uiEnd->Send(1, ""), "bus");
}

TEST_F(DirectLineTest, ALineThatNeverAnswersHoldsNothingUp) {
  LineRemote other(bus.Address(), LineRemote::Gives::BareSockets);
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return other.LinesGiven() == 1; }));
  EXPECT_EQ(uiEnd->Send(1, ""), "bus");
  other.NotifyOnBus(Frame(1));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
  EXPECT_FALSE(IsDirect(kUiName));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1));
}

// Order

class HangTest : public DirectLineTest {
 protected:
  HangTest() : DirectLineTest(CallsWait::AsUsual) {}

  void SendNumbered(int first, int last) {
    for (int k = first; k < last; ++k) {
      uiEnd->Send(k, "");
    }
  }
  // Exactly 0, 1, 2, up to `count`.
  void ExpectInOrder(int count) {
    ASSERT_TRUE(WaitFor([&] { return remote->Messages().size() >= static_cast<size_t>(count); }));
    std::vector<Message> expected;
    for (int k = 0; k < count; ++k) {
      expected.emplace_back(k, "");
    }
    EXPECT_TRUE(remote->Messages() == expected);
  }
};

// It is not handled for ever, and what comes behind it is heard.
TEST_F(HangTest, ANotificationIsHandledAFewTimesWhereThePartnerIsLateEachTime) {
  std::atomic<bool> gaveUp = false;
  int turns = 0;
  bool behind = false;
  StartDirect();
  AnswerRemotely([&](int id, const std::string& payload) {
    while (!gaveUp) {
      std::this_thread::yield();
    }
    return Echo(id, payload);
  });
  uiEnd->onNotification = [&](int id, const std::string&) {
    if (id == 1) {
      ++turns;
      gaveUp = false;
      EXPECT_EQ(uiEnd->Send(5, ""), "");
      gaveUp = true;
    } else {
      behind = true;
    }
  };
  thread.Run([&] {
    remote->SendNotification(1, "");
    remote->SendNotification(2, "");
  });
  EXPECT_TRUE(WaitFor([&] { return behind; }));
  EXPECT_EQ(turns, 4);
}

TEST_F(HangTest, WhatIsSentMeanwhileArrivesInOrderOnTheLine) {
  constexpr int kCount = 1000;
  StartDirect();
  Block();
  SendNumbered(0, kCount);
  EXPECT_TRUE(IsSet(kUiName, "Hung"));
  StopBus();
  Unblock();
  ExpectInOrder(kCount);
  EXPECT_TRUE(WaitFor([&] { return uiEnd->Send(kCount, "") == Echo(kCount, ""); }));
}

// The D-Bus library keeps fewer than these. Both ends hear that something is missed, and start
// over.
TEST_F(HangTest, MoreThanCanWaitPartsTheEnds) {
  StartDirect();
  Block();
  SendNumbered(0, 420000);
  Unblock();
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 3 && remote->States().size() == 3; }));
  EXPECT_THAT(StatesOf(uiEnd->States()), ElementsAre(1, 0, 1));
  EXPECT_THAT(StatesOf(remote->States()), ElementsAre(1, 0, 1));
  EXPECT_FALSE(IsDirect(kUiName));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->Send(7, "") == Echo(7, ""); }));
}

// Somebody wants everything on the bus meanwhile: what is on the line has to arrive first.
TEST_F(HangTest, WhatIsSentMeanwhileIsNotLostWhenTheBusIsHeld) {
  constexpr int kCount = 5000;
  StartDirect();
  Block();
  SendNumbered(0, kCount);
  BusPeer holder(bus.Address());
  EXPECT_EQ(ErrorOf(holder, kUiName, "HoldBus"), "");
  EXPECT_TRUE(IsDirect(kUiName));
  Unblock();
  ExpectInOrder(kCount);
  EXPECT_TRUE(WaitFor([&] { return !IsDirect(kUiName) && !IsDirect(kRemoteName); }));
  EXPECT_TRUE(WaitFor([&] { return uiEnd->Send(kCount, "") == Echo(kCount, ""); }));
}

// The line is there when the partner answers again, but what was sent over the bus goes first.
TEST_F(HangTest, WhatIsSentOnANewLineDoesNotOvertakeTheBus) {
  constexpr int kCount = 3000;
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kRemoteName).empty(); }));
  Block();
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
  SendNumbered(0, kCount);
  Unblock();
  int sent = kCount;
  EXPECT_TRUE(WaitFor([&] {
    SendNumbered(sent, sent + 1);
    ++sent;
    return IsDirect(kUiName);
  }));
  SendNumbered(sent, sent + 100);
  ExpectInOrder(sent + 100);
}

// What was sent over the bus before is lost with it, and a line that went on would hide that.
TEST_F(HangTest, ALineOnWhichNothingIsCalledYetGoesWithTheBus) {
  LineRemote other(bus.Address(), LineRemote::Gives::Lines);
  other.Hang();
  StartUi();
  ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty() && other.IsAskedForLine(); }));
  EXPECT_EQ(uiEnd->Send(1, ""), "");
  EXPECT_TRUE(IsSet(kUiName, "Hung"));
  other.GiveAskedLine();
  ASSERT_TRUE(WaitFor([&] { return other.IsLineReady(); }));
  EXPECT_FALSE(IsDirect(kUiName));
  StopBus();
  EXPECT_EQ(uiEnd->Send(2, ""), "");
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().back().first == 0; })) << "they are parted";
}

TEST_F(DirectLineTest, NotificationsStayInOrderWhenTheLineBegins) {
  StartUi();
  StartRemote([&](RemoteEnd& end) {
    end.onState = [&end](bool) {
      for (int k = 0; k < 500; ++k) {
        end.SendNotification(k, "");
      }
    };
  });
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  int sent = 500;
  EXPECT_TRUE(WaitFor([&] {
    thread.Run([&] { remote->SendNotification(sent, ""); });
    ++sent;
    return AreDirect();
  }));
  thread.Run([&] { remote->SendNotification(sent, ""); });
  ++sent;
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() >= static_cast<size_t>(sent); }));
  std::vector<Message> expected;
  for (int k = 0; k < sent; ++k) {
    expected.emplace_back(k, "");
  }
  EXPECT_TRUE(uiEnd->Notifications() == expected);
}

TEST_F(DirectLineTest, ThreadsThatSendWhenTheLineBeginsGetTheirOwnRepliesInOrder) {
  constexpr int kThreads = 8;
  std::atomic<bool> stop = false;
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return !Tool().OwnerOf(kRemoteName).empty(); }));
  StartUi();
  std::vector<std::future<int>> senders;
  for (int number = 0; number < kThreads; ++number) {
    senders.push_back(std::async(std::launch::async, [&, number] {
      int k = 0;
      while (!stop && uiEnd->Send(number, std::to_string(k)) == Echo(number, std::to_string(k))) {
        ++k;
      }
      return stop ? k : -1;
    }));
  }
  EXPECT_TRUE(WaitFor([&] { return AreDirect(); })) << "no pause is needed for it";
  const size_t before = remote->Messages().size();
  EXPECT_TRUE(WaitFor([&] { return remote->Messages().size() > before + 1000; }));
  stop = true;
  std::map<int, int> next;
  for (std::future<int>& sender : senders) {
    EXPECT_GT(sender.get(), 0);
  }
  for (const auto& [number, payload] : remote->Messages()) {
    ASSERT_EQ(payload, std::to_string(next[number]++)) << "of thread " << number;
  }
  EXPECT_EQ(next.size(), static_cast<size_t>(kThreads));
}

// Properties

// What the ends announce of themselves: "Ui Direct 1".
class Announcements {
 public:
  explicit Announcements(const std::string& address) : m_peer(address) {
    EXPECT_GE(sd_bus_match_signal(m_peer.Bus(), nullptr, nullptr, kLinkPath, kProperties,
                                  "PropertiesChanged", OnChange, this),
              0);
  }
  std::vector<std::string>& Heard() {
    m_peer.ProcessAll();
    return m_heard;
  }

 private:
  static int OnChange(sd_bus_message* message, void* announcements, sd_bus_error* /*error*/) {
    Announcements* self = static_cast<Announcements*>(announcements);
    const char* interface = nullptr;
    EXPECT_GE(sd_bus_message_read(message, "s", &interface), 0);
    EXPECT_GE(sd_bus_message_enter_container(message, 'a', "{sv}"), 0);
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      self->Take(message);
      sd_bus_message_exit_container(message);
    }
    return 0;
  }
  void Take(sd_bus_message* message) {
    const char* property = nullptr;
    int flag = 0;
    const char* text = nullptr;
    sd_bus_message_read(message, "s", &property);
    if (std::string(property) == "Partner") {
      EXPECT_GE(sd_bus_message_read(message, "v", "s", &text), 0);
      flag = *text != 0 ? 1 : 0;
    } else {
      EXPECT_GE(sd_bus_message_read(message, "v", "b", &flag), 0);
    }
    m_heard.push_back(std::string(property) + " " + std::to_string(flag));
  }

  BusPeer m_peer;
  std::vector<std::string> m_heard;
};

TEST_F(HangTest, PropertiesAreAnnouncedWhenTheyChange) {
  Announcements announced(bus.Address());
  StartUi();
  const auto hears = [&](const std::string& what, long times) {
    return WaitFor([&] {
      const std::vector<std::string>& heard = announced.Heard();
      return std::count(heard.begin(), heard.end(), what) == times;
    });
  };
  StartEcho();
  EXPECT_TRUE(hears("Direct 1", 2));
  EXPECT_TRUE(hears("Partner 1", 2));
  EXPECT_EQ(PartnerOf(kUiName), Tool().OwnerOf(kRemoteName));
  EXPECT_EQ(PartnerOf(kRemoteName), Tool().OwnerOf(kUiName));
  EXPECT_FALSE(IsSet(kUiName, "Hung"));

  announced.Heard().clear();
  Block();
  EXPECT_EQ(uiEnd->Send(1, ""), "");
  EXPECT_TRUE(hears("Hung 1", 1));
  EXPECT_TRUE(IsSet(kUiName, "Hung"));
  Unblock();
  EXPECT_TRUE(hears("Hung 0", 1));

  announced.Heard().clear();
  StopRemote();
  EXPECT_TRUE(hears("Partner 0", 1));
  EXPECT_TRUE(hears("Direct 0", 1));
  EXPECT_THAT(announced.Heard(), Each(Not("Partner 1")));
  EXPECT_EQ(PartnerOf(kUiName), "");
}

// Destruction in upcalls that come from a line

TEST_F(DirectLineTest, TheUserInterfaceMayGoInsideANotification) {
  StartUi();
  uiEnd->onNotification = [&](int, const std::string&) { uiEnd.reset(); };
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  thread.Run([&] {
    remote->SendNotification(1, "");
    remote->SendNotification(2, "");
  });
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
  StartUi();
  EXPECT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
}

TEST_F(DirectLineTest, TheUserInterfaceMayGoWhenItsLineIsLost) {
  LineRemote other(bus.Address(), LineRemote::Gives::Lines);
  StartUi();
  uiEnd->onState = [&](bool state) {
    if (!state) {
      uiEnd.reset();
    }
  };
  ASSERT_TRUE(WaitFor([&] { return IsDirect(kUiName); }));
  other.Close(LineRemote::Socket::Events);
  EXPECT_TRUE(WaitFor([&] { return uiEnd == nullptr; }));
}

TEST_F(DirectLineTest, TheUserInterfaceMayGoWhenSomebodyHoldsTheBus) {
  StartUi();
  uiEnd->onState = [&](bool state) {
    if (!state) {
      uiEnd.reset();
    }
  };
  StartEcho();
  ASSERT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  BusPeer holder(bus.Address());
  ErrorOf(holder, kUiName, "HoldBus");
  EXPECT_EQ(uiEnd, nullptr);
}

TEST_F(DirectLineTest, TheRemoteSideMayGoInsideAMessage) {
  StartDirect();
  AnswerRemotely([&](int, const std::string&) {
    remote.reset();
    return "nobody hears this";
  });
  EXPECT_EQ(uiEnd->Send(1, ""), "");
  EXPECT_TRUE(WaitFor([&] { return StatesOf(uiEnd->States()).back() == 0; }));
  thread.Run([&] { EXPECT_EQ(remote, nullptr); });
  StartEcho();
  EXPECT_TRUE(WaitFor([&] { return AreConnected() && AreDirect(); }));
  EXPECT_EQ(uiEnd->Send(1, ""), Echo(1, ""));
}

TEST_F(ScriptedUiTest, TheRemoteSideMayGoWhenItsLineIsLost) {
  ASSERT_EQ(other->OpenLine(), "");
  thread.Run([&] {
    remote->onState = [&](bool state) {
      if (!state) {
        remote.reset();
      }
    };
  });
  other->events.reset();
  EXPECT_TRUE(WaitOutsideLoop([&] {
    bool gone = false;
    thread.Run([&] { gone = remote == nullptr; });
    return gone;
  }));
}

}  // namespace
}  // namespace applist_test
