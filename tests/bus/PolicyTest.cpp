// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The policy for the system bus: what the bus itself keeps away from the two ends, and what it lets
// through. The ends of most tests are bare connections, which hear whatever the bus delivers.
#include <poll.h>

#include <csignal>
#include <filesystem>
#include <map>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"
#include "bus/SystemBus.h"
#include "common/AppListRemoteControl.h"
#include "dbus/LinkNames.h"

namespace applist_test {
namespace {

using applist::ChildProcess;
using applist::kLinkInterface;
using applist::NameAnswer;

constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr const char* kControlInterface = "org.javamw.Applist.Control1";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kIntrospectableInterface = "org.freedesktop.DBus.Introspectable";
constexpr const char* kPeerInterface = "org.freedesktop.DBus.Peer";

constexpr uid_t kRoot = 0;

const std::map<std::string, uid_t>& OwnersOfNames() {
  static const std::map<std::string, uid_t> owners = {{kUiName, kUiUser},
                                                      {kUiCallsName, kUiUser},
                                                      {kRemoteName, kRemoteUser},
                                                      {kRemoteCallsName, kRemoteUser}};
  return owners;
}

// A connection of a user, with all that it has heard from other connections.
class UserPeer : public BusPeer {
 public:
  UserPeer(const SystemBus& bus, uid_t user) : UserPeer(bus, ActingAs(user)) {}

  // What has come in from `sender` when all has come in that the bus has worked off by now.
  std::vector<std::string> HeardFrom(BusPeer& sender) {
    sender.OwnerOf(kUiName);
    OwnerOf(kUiName);
    ProcessAll();
    return m_heard[sender.UniqueName()];
  }

  // The name of the error that a call without arguments is answered by, empty for none.
  std::string ErrorOf(const std::string& destination, const char* interface, const char* member) {
    applist::BusError error;
    const int r = sd_bus_call_method(Bus(), destination.c_str(), kLinkPath, interface, member,
                                     error.Get(), nullptr, "");
    return r < 0 ? (error.Get()->name != nullptr ? error.Get()->name : error.Text(r)) : "";
  }

  // Sends a signal of an interface that has nothing to do with the link.
  void Signal(const std::string& destination, const char* interface) {
    sd_bus_message* created = nullptr;
    ASSERT_GE(sd_bus_message_new_signal(Bus(), &created, kLinkPath, interface, "Hint"), 0);
    const applist::MessagePtr signal(created);
    if (!destination.empty()) {
      ASSERT_GE(sd_bus_message_set_destination(created, destination.c_str()), 0);
    }
    ASSERT_GE(sd_bus_send(Bus(), created, nullptr), 0);
  }

  void SubscribeToAllSignals() {
    ASSERT_GE(sd_bus_add_match(Bus(), nullptr, "type='signal'", nullptr, nullptr), 0);
  }

 private:
  UserPeer(const SystemBus& bus, const ActingAs& /*user*/) : BusPeer(bus.Address()) {
    EXPECT_GE(sd_bus_add_filter(Bus(), nullptr, OnAny, this), 0);
  }

  static int OnAny(sd_bus_message* message, void* peer, sd_bus_error* /*error*/) {
    const char* const sender = sd_bus_message_get_sender(message);
    const char* const member = sd_bus_message_get_member(message);
    if (sender != nullptr && member != nullptr) {
      static_cast<UserPeer*>(peer)->m_heard[sender].emplace_back(member);
    }
    return 0;
  }

  std::map<std::string, std::vector<std::string>> m_heard;
};

class PolicyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string obstacle = SystemBus::Obstacle();
    if (!obstacle.empty()) {
      GTEST_SKIP() << obstacle;
    }
    bus = std::make_unique<SystemBus>(AlsoAllowed());
  }

  virtual std::string AlsoAllowed() const { return std::string(); }

  std::unique_ptr<UserPeer> Connect(uid_t user) { return std::make_unique<UserPeer>(*bus, user); }

  std::unique_ptr<UserPeer> ConnectOwner(const std::string& name) {
    auto owner = Connect(OwnersOfNames().at(name));
    EXPECT_EQ(owner->Own(name), NameAnswer::Owner) << name;
    owner->SubscribeToAllSignals();
    return owner;
  }

  std::unique_ptr<SystemBus> bus;
};

// What is refused does not depend on the rest of the bus: another policy may allow everything.
class RefusalTest : public PolicyTest, public ::testing::WithParamInterface<const char*> {
 protected:
  std::string AlsoAllowed() const override { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(UsualBus, RefusalTest, ::testing::Values(""));
INSTANTIATE_TEST_SUITE_P(LaxBus, RefusalTest,
                         ::testing::Values("<allow own=\"*\"/><allow send_type=\"method_call\"/>"));

TEST_P(RefusalTest, OnlyTheTwoUsersOwnTheirNames) {
  for (const uid_t user : {kRoot, kStranger, kUiUser, kRemoteUser}) {
    for (const auto& [name, owner] : OwnersOfNames()) {
      const auto peer = Connect(user);
      EXPECT_EQ(peer->Own(name), user == owner ? NameAnswer::Owner : NameAnswer::Refused)
          << user << " " << name;
    }
  }
}

// dbus-broker lets who may own a name own what is below it as well; dbus-daemon does not.
TEST_F(PolicyTest, NobodyOwnsOtherNamesNextToThem) {
  for (const uid_t user : {kRoot, kStranger, kUiUser, kRemoteUser}) {
    const auto peer = Connect(user);
    EXPECT_EQ(peer->Own("org.javamw.Applist"), NameAnswer::Refused) << user;
    EXPECT_EQ(peer->Own("org.javamw.Applist.Other"), NameAnswer::Refused) << user;
    if (user != kUiUser || applist::ChosenBusKind() == applist::BusKind::DbusDaemon) {
      EXPECT_EQ(peer->Own("org.javamw.Applist.Ui.Calls.More"), NameAnswer::Refused) << user;
    }
  }
}

// Each refusal below is the bus's: the error comes from it, and the end hears nothing.
TEST_P(RefusalTest, CallsOfOthersDoNotArrive) {
  for (const auto& [name, user] : OwnersOfNames()) {
    const auto end = ConnectOwner(name);
    for (const uid_t other : {kStranger, kRoot}) {
      const auto caller = Connect(other);
      for (const std::string& destination : {name, end->UniqueName()}) {
        EXPECT_EQ(caller->Send(destination, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
        EXPECT_EQ(caller->ErrorOf(destination, kPeerInterface, "Ping"), kDenied);
        EXPECT_EQ(caller->ErrorOf(destination, nullptr, "Send"), kDenied);
      }
      EXPECT_THAT(end->HeardFrom(*caller), ::testing::IsEmpty()) << name << " from " << other;
    }
  }
}

TEST_P(RefusalTest, SignalsOfOthersDoNotArrive) {
  for (const auto& [name, user] : OwnersOfNames()) {
    const auto end = ConnectOwner(name);
    for (const uid_t other : {kStranger, kRoot}) {
      const auto sender = Connect(other);
      for (const std::string& destination : {name, end->UniqueName(), std::string()}) {
        sender->Notify(destination, Frame(APPLIST_LOCAL_CREATED_EVENT));
        sender->ForgeOwnerChange(destination, kUiName, "", sender->UniqueName());
        sender->Signal(destination, kControlInterface);
        sender->Signal(destination, kPropertiesInterface);
      }
      EXPECT_THAT(end->HeardFrom(*sender), ::testing::IsEmpty()) << name << " from " << other;
    }
  }
}

// What a connection hears is told apart from what it does not: the same signals, to somebody else.
TEST_F(PolicyTest, SignalsBetweenOthersDoArrive) {
  const auto receiver = Connect(kStranger);
  receiver->SubscribeToAllSignals();
  const auto sender = Connect(kRoot);
  sender->Notify(receiver->UniqueName(), Frame(APPLIST_LOCAL_CREATED_EVENT));
  sender->Signal("", kControlInterface);
  EXPECT_THAT(receiver->HeardFrom(*sender), ::testing::ElementsAre("Notify", "Hint"));
}

// The gap that the policy's comment tells of, and that the ends close by themselves.
TEST_F(PolicyTest, AConnectionWithoutItsNameIsNotProtectedFromSignals) {
  const auto end = Connect(kUiUser);
  const auto stranger = Connect(kStranger);
  stranger->Notify(end->UniqueName(), Frame(APPLIST_LOCAL_CREATED_EVENT));
  EXPECT_EQ(stranger->Send(end->UniqueName(), Frame(1)).error, kDenied);
  EXPECT_THAT(end->HeardFrom(*stranger), ::testing::ElementsAre("Notify"));
}

TEST_F(PolicyTest, TheEndsHearEachOthersSignals) {
  const auto ui = ConnectOwner(kUiName);
  const auto remote = ConnectOwner(kRemoteName);
  remote->Notify(ui->UniqueName(), Frame(APPLIST_LOCAL_CREATED_EVENT));
  remote->Notify(kUiName, Frame(APPLIST_LOCAL_CREATED_EVENT));
  EXPECT_THAT(ui->HeardFrom(*remote), ::testing::ElementsAre("Notify", "Notify"));
  ui->Notify(remote->UniqueName(), Frame(1));
  EXPECT_THAT(remote->HeardFrom(*ui), ::testing::ElementsAre("Notify"));
}

TEST_P(RefusalTest, TheUserInterfaceHasNoPartInTheControlInterface) {
  const auto remote = ConnectOwner(kRemoteName);
  const auto ui = Connect(kUiUser);
  EXPECT_EQ(ui->Control("Select", "a").error, kDenied);
  EXPECT_EQ(ui->ErrorOf(kRemoteName, kPropertiesInterface, "GetAll"), kDenied);
  remote->Signal("", kPropertiesInterface);
  EXPECT_THAT(remote->HeardFrom(*ui), ::testing::IsEmpty());
  EXPECT_THAT(ui->HeardFrom(*remote), ::testing::IsEmpty());
}

TEST_P(RefusalTest, OnlyRootHearsWhatTheEndsTellEverybody) {
  for (const std::string name : {kUiName, kRemoteName}) {
    const auto end = ConnectOwner(name);
    const auto root = Connect(kRoot);
    root->SubscribeToAllSignals();
    end->Signal("", kPropertiesInterface);
    end->Signal("", kControlInterface);
    EXPECT_THAT(root->HeardFrom(*end), ::testing::ElementsAre("Hint", "Hint"));
    for (const uid_t user : {kStranger, kUiUser, kRemoteUser}) {
      const auto other = Connect(user);
      other->SubscribeToAllSignals();
      end->Signal("", kPropertiesInterface);
      end->Signal("", kControlInterface);
      // Save the user interface's user, of its own link.
      const bool own = name == kUiName && user == kUiUser;
      EXPECT_EQ(other->HeardFrom(*end).size(), own ? 1U : 0U) << name << " by " << user;
    }
  }
}

// By whom the ends may be called: see what answers where there is an end.
TEST_P(RefusalTest, OnlyRootHoldsTheBusAndOnlyTheUserInterfaceGetsALine) {
  const auto ui = ConnectOwner(kUiName);
  const auto remote = ConnectOwner(kRemoteName);
  for (const uid_t user : {kStranger, kUiUser, kRemoteUser}) {
    const auto other = Connect(user);
    EXPECT_EQ(other->ErrorOf(kUiName, kLinkInterface, "HoldBus"), kDenied) << user;
    EXPECT_EQ(other->ErrorOf(kUiName, kLinkInterface, "OpenLine"), kDenied) << user;
    EXPECT_THAT(ui->HeardFrom(*other), ::testing::IsEmpty()) << user;
  }
  for (const uid_t user : {kStranger, kRoot, kRemoteUser}) {
    const auto other = Connect(user);
    EXPECT_EQ(other->ErrorOf(kRemoteName, kLinkInterface, "OpenLine"), kDenied) << user;
    EXPECT_EQ(other->ErrorOf(kRemoteName, kLinkInterface, "HoldBus"), kDenied) << user;
    EXPECT_THAT(remote->HeardFrom(*other), ::testing::IsEmpty()) << user;
  }
}

// The daemon under its own user, and a user interface in this process, which acts as another.
class PolicyWithProgramsTest : public PolicyTest {
 protected:
  void SetUp() override {
    PolicyTest::SetUp();
    if (IsSkipped()) {
      return;
    }
    bus->UseAsSystemBus();
    setenv("APPLIST_CALL_TIMEOUT_MS", "300000", 1);
    // A copy: the daemon's user need not be able to look into the folder where it was built.
    std::filesystem::copy_file(APPLISTD_PATH, DaemonPath());
    control = std::make_unique<applist::ControlClient>(bus->Address());
    StartDaemon();
    m_acting = std::make_unique<ActingAs>(kUiUser);
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems({"mail", "maps", "music"}));
    ASSERT_TRUE(WaitForRemote({Named({"mail", "maps", "music"}), ""}));
  }

  void StartDaemon() {
    const std::string user = std::to_string(kRemoteUser);
    daemon = std::make_unique<ChildProcess>(
        std::vector<std::string>{"setpriv", "--reuid", user, "--regid", user, "--clear-groups",
                                 "--pdeathsig", "KILL", DaemonPath()});
  }

  void RestartDaemon() {
    const ActingAs root(kRoot);
    daemon->Signal(SIGKILL);
    daemon->Wait();
    StartDaemon();
  }

  bool WaitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      pollfd ready = {loop.Fd(), POLLIN, 0};
      poll(&ready, 1, 5);
      loop.Dispatch();
    }
    return true;
  }

  bool WaitForRemote(const Contents& expected) {
    return WaitFor([&] { return RemoteHolds() == expected; });
  }

  // Nothing while it is not there or not connected: what it holds then does not last.
  Contents RemoteHolds() {
    try {
      const applist::ControlClient::State state = control->Read();
      return state.connected ? Contents{state.items, state.selection} : Contents();
    } catch (const std::runtime_error&) {
      return Contents();
    }
  }

  // While the loop runs, so that the user interface can answer.
  template <class Work>
  auto WhileLooping(Work work) {
    auto result = std::async(std::launch::async, work);
    EXPECT_TRUE(WaitFor(
        [&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return result.get();
  }

  // The name of the error that reading Direct is answered by, or whether it is set.
  std::string Direct(UserPeer& reader, const std::string& end) {
    return WhileLooping([&] {
      applist::BusError error;
      int value = 0;
      const int r = sd_bus_get_property_trivial(reader.Bus(), end.c_str(), kLinkPath,
                                                kLinkInterface, "Direct", error.Get(), 'b', &value);
      return r < 0 ? error.Name() : std::string(value != 0 ? "yes" : "no");
    });
  }

  EventLoop loop;
  std::unique_ptr<applist::ControlClient> control;
  std::unique_ptr<ChildProcess> daemon;
  std::unique_ptr<UserInterface> ui;

 private:
  std::string DaemonPath() const { return bus->Folder() + "/applistd"; }

  // The last one, so that it is root who ends the daemon.
  std::unique_ptr<ActingAs> m_acting;
};

TEST_F(PolicyWithProgramsTest, TheWholeExchangeIsLetThrough) {
  ui->model.SetSelection(ui->Find("maps"));
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"mail", "maps", "music"}), "maps"}));
  EXPECT_TRUE(WaitFor([&] { return ui->selected == 1; })) << "and it comes back as an event";
  control->Select("music");
  EXPECT_TRUE(WaitFor([&] { return ui->Holds().selection == "music"; }));
  control->Click("mail");
  EXPECT_TRUE(WaitFor([&] { return ui->clicked == 1; }));
  ui->model.RemoveAllItems();
  EXPECT_EQ(control->Read().items, ItemList());
}

TEST_F(PolicyWithProgramsTest, ARestartedDaemonIsFilledAgain) {
  RestartDaemon();
  ui->model.SetSelection(ui->Find("mail"));
  EXPECT_TRUE(WaitForRemote({Named({"mail", "maps", "music"}), "mail"}));
}

TEST_F(PolicyWithProgramsTest, TheEndsAnswerEachOthersPing) {
  const auto remote = Connect(kRemoteUser);
  EXPECT_EQ(WhileLooping([&] { return remote->ErrorOf(kUiName, kPeerInterface, "Ping"); }), "");
  EXPECT_EQ(Connect(kUiUser)->ErrorOf(kRemoteName, kPeerInterface, "Ping"), "");
}

TEST_F(PolicyWithProgramsTest, TheEndsHaveADirectLineUnlessRootHoldsTheBus) {
  const auto root = Connect(kRoot);
  const auto areDirect = [&](const char* answer) {
    return WaitFor(
        [&] { return Direct(*root, kUiName) == answer && Direct(*root, kRemoteName) == answer; });
  };
  EXPECT_TRUE(areDirect("yes"));
  auto holder = Connect(kRoot);
  EXPECT_EQ(WhileLooping([&] { return holder->ErrorOf(kUiName, kLinkInterface, "HoldBus"); }), "");
  EXPECT_TRUE(areDirect("no"));
  ui->model.SetSelection(ui->Find("maps"));
  EXPECT_TRUE(WaitForRemote({Named({"mail", "maps", "music"}), "maps"}));
  holder.reset();
  EXPECT_TRUE(areDirect("yes"));
  ui->model.SetSelection(ui->Find("mail"));
  EXPECT_TRUE(WaitForRemote({Named({"mail", "maps", "music"}), "mail"}));
}

TEST_F(PolicyWithProgramsTest, NobodyElseReadsHowTheLinkIsSaveTheUserInterfaceItsOwn) {
  EXPECT_EQ(Direct(*Connect(kUiUser), kRemoteName), kDenied);
  EXPECT_THAT(Direct(*Connect(kUiUser), kUiName), ::testing::AnyOf("yes", "no"));
  for (const uid_t user : {kStranger, kRemoteUser}) {
    const auto other = Connect(user);
    EXPECT_EQ(Direct(*other, kUiName), kDenied) << user;
    EXPECT_EQ(Direct(*other, kRemoteName), kDenied) << user;
  }
}

TEST_F(PolicyWithProgramsTest, RootUsesTheControlInterface) {
  const auto root = Connect(kRoot);
  EXPECT_EQ(root->Control("Select", "maps").error, "");
  EXPECT_EQ(root->Control("Click", "mail").error, "");
  EXPECT_EQ(root->ErrorOf(kRemoteName, kIntrospectableInterface, "Introspect"), "");
  EXPECT_EQ(control->Read().lastClicked, "mail") << "through org.freedesktop.DBus.Properties";
}

TEST_F(PolicyWithProgramsTest, NobodyElseUsesTheControlInterface) {
  for (const uid_t user : {kStranger, kUiUser, kRemoteUser}) {
    const auto other = Connect(user);
    EXPECT_EQ(other->Control("Select", "mail").error, kDenied) << user;
    EXPECT_EQ(other->Control("Click", "mail").error, kDenied) << user;
    EXPECT_EQ(other->ErrorOf(kRemoteName, kPropertiesInterface, "GetAll"), kDenied) << user;
    EXPECT_EQ(other->ErrorOf(kRemoteName, kIntrospectableInterface, "Introspect"), kDenied) << user;
  }
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"mail", "maps", "music"}), ""}));
  EXPECT_EQ(control->Read().lastClicked, "");
}

}  // namespace
}  // namespace applist_test
