// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What others do to both ends on a bus with the limits of a system bus and the shipped policy: one
// whom the bus keeps away, and one who is the user of the partner and is let through. Then it is
// the ends that refuse.
#include <poll.h>

#include <filesystem>
#include <sstream>

#include "bus/BusPeer.h"
#include "bus/SystemBus.h"
#include "common/AppListRemoteControl.h"
#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

using applist::ChildProcess;
using applist::NameAnswer;

constexpr uid_t kRoot = 0;
constexpr size_t kTooLarge = size_t{33} << 20;
constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";

constexpr const char* kNames[] = {kUiName, kUiCallsName, kRemoteName, kRemoteCallsName};

// A real user interface in this process, which acts as its user, and the daemon under its own. The
// parameter is who disturbs them.
class SystemBusFaultTest : public ::testing::TestWithParam<uid_t> {
 protected:
  void SetUp() override {
    const std::string obstacle = SystemBus::Obstacle();
    if (!obstacle.empty()) {
      GTEST_SKIP() << obstacle;
    }
    bus = std::make_unique<SystemBus>();
    bus->UseAsSystemBus();
    unsetenv("APPLIST_CALL_TIMEOUT_MS");
    // A copy: the daemon's user need not be able to look into the folder where it was built.
    std::filesystem::copy_file(APPLISTD_PATH, DaemonPath());
    control = std::make_unique<applist::ControlClient>(bus->Address());
    m_ofUi = Connect(kUiUser);
    m_ofRemote = Connect(kRemoteUser);
  }

  // A connection of this user. Not while another thread does something.
  std::unique_ptr<BusPeer> Connect(uid_t user) {
    const ActingAs acting(user);
    return std::make_unique<BusPeer>(bus->Address());
  }

  void StartDaemon() {
    const ActingAs root(kRoot);
    const std::string user = std::to_string(kRemoteUser);
    daemon = std::make_unique<ChildProcess>(
        std::vector<std::string>{"setpriv", "--reuid", user, "--regid", user, "--clear-groups",
                                 "--pdeathsig", "KILL", DaemonPath()});
  }
  void StartUi() {
    m_acting = std::make_unique<ActingAs>(kUiUser);
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems({"mail", "maps", "music"}));
    ui->model.SetSelection(ui->Find("maps"));
  }
  void StopBoth() {
    m_acting.reset();
    ui.reset();
    daemon.reset();
  }

  // What was heard before is forgotten.
  void StartBoth() {
    StartDaemon();
    StartUi();
    ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    ui->changed = ui->selected = ui->clicked = 0;
    m_owners = Owners();
  }

  bool WaitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    do {
      loop.Dispatch();
      if (condition()) {
        return true;
      }
      pollfd ready = {loop.Fd(), POLLIN, 0};
      poll(&ready, 1, 5);
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
  }

  // Runs the loop while another thread works.
  void WhileLooping(const std::function<void()>& work) {
    auto done = std::async(std::launch::async, work);
    while (done.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      loop.Dispatch();
      pollfd ready = {loop.Fd(), POLLIN, 0};
      poll(&ready, 1, 5);
    }
    done.get();
  }

  // Has each end work off what the bus has worked off.
  void CatchUp() {
    WhileLooping([&] {
      m_ofRemote->Ping(kUiName);
      m_ofUi->Ping(kRemoteName);
    });
  }

  bool IsEqual() {
    try {
      const applist::ControlClient::State state = control->Read();
      return state.connected && Contents{state.items, state.selection} == ui->Holds();
    } catch (const std::runtime_error&) {
      return false;
    }
  }
  // What both hold, for a failure.
  std::string Situation() {
    std::ostringstream out;
    out << "here: " << ui->Holds() << "\nthere: ";
    try {
      const applist::ControlClient::State state = control->Read();
      out << (state.connected ? "connected, " : "not connected, ")
          << Contents{state.items, state.selection};
    } catch (const std::runtime_error& e) {
      out << e.what();
    }
    return out.str();
  }
  void ExpectEqual() {
    ASSERT_TRUE(WaitFor([&] { return IsEqual(); })) << Situation();
    ASSERT_NO_FATAL_FAILURE(CatchUp());
    ASSERT_TRUE(WaitFor([&] { return IsEqual(); }));
  }

  std::vector<std::string> Owners() {
    std::vector<std::string> owners;
    for (const char* name : kNames) {
      owners.push_back(m_ofUi->OwnerOf(name));
    }
    return owners;
  }

  // Neither end lost its connection, told its listeners, or began anew: a list that is pushed again
  // is a change.
  void ExpectThatNothingWasHeard() {
    ASSERT_NO_FATAL_FAILURE(CatchUp());
    EXPECT_EQ(Owners(), m_owners);
    EXPECT_EQ(ui->changed, 0);
    EXPECT_EQ(ui->selected, 0);
    EXPECT_EQ(ui->clicked, 0);
    EXPECT_TRUE(IsEqual());
  }

  // In both directions.
  void ExpectThatThePartnerIsStillHeard() {
    const std::string selection = ui->Holds().selection == "mail" ? "music" : "mail";
    control->Select(selection);
    EXPECT_TRUE(WaitFor([&] { return ui->Holds().selection == selection; }));
    ui->model.AddItemAtEnd(ui->NewItem("more"));
    ui->model.RemoveItem(ui->Find("more"));
    ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    ui->changed = ui->selected = ui->clicked = 0;
  }

  // Everything that only a partner or the bus may say, to both ends, and what nobody may.
  static void Bother(BusPeer& peer, const std::string& end) {
    for (int event = 0; event <= APPLIST_LOCAL_CREATED_EVENT; ++event) {
      peer.Notify(end, Frame(event));
    }
    for (const char* name : kNames) {
      peer.ForgeOwnerChange(end, name, "", peer.UniqueName());
      peer.ForgeOwnerChange(end, name, peer.OwnerOf(name), "");
    }
    peer.Notify(end, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC));
    EXPECT_EQ(peer.Send(end, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
    EXPECT_EQ(peer.Send(end, Frame(APPLIST_SET_SELECTION_FNC, "Mail\nmail\n")).error, kDenied);
  }

  static void SendMalformed(BusPeer& peer, const std::string& end) {
    peer.NotifyText(end, "text");
    EXPECT_EQ(peer.SendText(end, "text").error, kDenied);
    for (const std::string& frame :
         {std::string(), std::string("x"), std::string("xyz"), std::string(4096, '\xFF'),
          Frame(APPLIST_ADD_ITEMS_FNC, "Mail\n"), Frame(-1), Frame(1 << 30)}) {
      peer.Notify(end, frame);
      EXPECT_EQ(peer.Send(end, frame).error, kDenied);
    }
  }

  // What is refused is answered, and the answers have to be taken.
  static void SendBurst(BusPeer& peer, const std::string& end, size_t count) {
    for (size_t k = 0; k < count; ++k) {
      peer.Notify(end, Frame(APPLIST_ITEM_CHANGE_EVENT));
      if (k % 64 == 0) {
        sd_bus_flush(peer.Bus());
        peer.ProcessAll();
      }
    }
    peer.OwnerOf(end);
  }

  std::unique_ptr<SystemBus> bus;
  EventLoop loop;
  std::unique_ptr<applist::ControlClient> control;
  std::unique_ptr<ChildProcess> daemon;
  std::unique_ptr<UserInterface> ui;

 private:
  std::string DaemonPath() const { return bus->Folder() + "/applistd"; }

  std::unique_ptr<BusPeer> m_ofUi;
  std::unique_ptr<BusPeer> m_ofRemote;
  std::vector<std::string> m_owners;
  // The last one, so that it is root who ends the daemon.
  std::unique_ptr<ActingAs> m_acting;
};

INSTANTIATE_TEST_SUITE_P(From, SystemBusFaultTest,
                         ::testing::Values(kStranger, kUiUser, kRemoteUser),
                         [](const ::testing::TestParamInfo<uid_t>& user) {
                           return user.param == kStranger ? "AStranger"
                                  : user.param == kUiUser ? "TheUserOfTheUserInterface"
                                                          : "TheUserOfTheRemoteSide";
                         });

TEST_P(SystemBusFaultTest, NothingThatIsSaidIsHeard) {
  ASSERT_NO_FATAL_FAILURE(StartBoth());
  for (size_t round = 0; round < Rounds(5, 200); ++round) {
    SCOPED_TRACE(round);
    const auto peer = Connect(GetParam());
    for (const char* end : {kUiName, kRemoteName}) {
      WhileLooping([&] {
        Bother(*peer, end);
        Bother(*peer, peer->OwnerOf(end));
      });
    }
    ASSERT_NO_FATAL_FAILURE(ExpectThatNothingWasHeard());
    ASSERT_NO_FATAL_FAILURE(ExpectThatThePartnerIsStillHeard());
  }
}

TEST_P(SystemBusFaultTest, MalformedFramesAreRefused) {
  ASSERT_NO_FATAL_FAILURE(StartBoth());
  for (size_t round = 0; round < Rounds(5, 200); ++round) {
    SCOPED_TRACE(round);
    const auto peer = Connect(GetParam());
    for (const char* end : {kUiName, kRemoteName}) {
      WhileLooping([&] { SendMalformed(*peer, end); });
    }
    ASSERT_NO_FATAL_FAILURE(ExpectThatNothingWasHeard());
    ASSERT_NO_FATAL_FAILURE(ExpectThatThePartnerIsStillHeard());
  }
}

// The bus ends the connection of whoever sends that. An end does not let it come to that.
TEST_P(SystemBusFaultTest, FramesThatAreTooLargeAreRefused) {
  ASSERT_NO_FATAL_FAILURE(StartBoth());
  for (size_t round = 0; round < Rounds(1, 20); ++round) {
    SCOPED_TRACE(round);
    for (const char* end : {kUiName, kRemoteName}) {
      const auto peer = Connect(GetParam());
      WhileLooping([&] { EXPECT_NE(peer->Send(end, std::string(kTooLarge, 'x')).error, ""); });
    }
    TestItem large(std::string(kTooLarge, 'x'), "large");
    ui->model.AddItemAtEnd(&large);
    ui->model.RemoveItem(&large);
    ASSERT_NO_FATAL_FAILURE(ExpectThatNothingWasHeard());
    ASSERT_NO_FATAL_FAILURE(ExpectThatThePartnerIsStillHeard());
  }
}

TEST_P(SystemBusFaultTest, ABurstOfNotificationsIsNotHeard) {
  ASSERT_NO_FATAL_FAILURE(StartBoth());
  const auto peer = Connect(GetParam());
  for (const char* end : {kUiName, kRemoteName}) {
    WhileLooping([&] { SendBurst(*peer, end, Rounds(5000, 100000)); });
    ASSERT_NO_FATAL_FAILURE(ExpectThatNothingWasHeard());
    ASSERT_NO_FATAL_FAILURE(ExpectThatThePartnerIsStillHeard());
  }
}

// Only who may own a name can take it before its end does.
TEST_P(SystemBusFaultTest, ANameThatIsSquattedBeforeTheStartComesFree) {
  for (size_t round = 0; round < Rounds(1, 20); ++round) {
    for (const char* name : kNames) {
      SCOPED_TRACE(name);
      const bool ofRemote = std::string(name).rfind(kRemoteName, 0) == 0;
      const bool isAllowed = GetParam() == (ofRemote ? kRemoteUser : kUiUser);
      const auto squatter = Connect(GetParam());
      ASSERT_EQ(squatter->Own(name), isAllowed ? NameAnswer::Owner : NameAnswer::Refused);
      StartUi();
      StartDaemon();
      if (isAllowed && ofRemote) {
        EXPECT_EQ(daemon->Wait(), 1);
      }
      ui->model.AddItemAtEnd(ui->NewItem("more"));
      if (isAllowed) {
        squatter->Release(name);
      }
      if (daemon->Poll()) {
        StartDaemon();
      }
      ASSERT_NO_FATAL_FAILURE(ExpectEqual());
      StopBoth();
    }
  }
}

}  // namespace
}  // namespace applist_test
