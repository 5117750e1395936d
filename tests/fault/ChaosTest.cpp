// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// All faults in any order.
#include <algorithm>
#include <array>

#include "fault/FaultFixture.h"
#include "fault/ScriptedRemote.h"

namespace applist_test {
namespace {

using std::chrono::milliseconds;

constexpr size_t kTooLarge = size_t{33} << 20;

class ChaosTest : public FaultTest {
 protected:
  void RestartRemoteSide() {
    KillDaemon();
    Work(Below(5));
    StartDaemon();
  }
  void HangRemoteSide() {
    WorkUntilReady(StopDaemonFor(Duration(milliseconds(1), milliseconds(1500))));
  }
  void KillWhileItHangs() {
    daemon->Signal(SIGSTOP);
    Work(Below(10));
    RestartRemoteSide();
  }
  void RestartBus() {
    StopBus();
    Work(Below(5));
    StartBus();
  }
  void RestartBusWhileItHangs() {
    const std::future<void> stopped = StopDaemonFor(Duration(milliseconds(1), milliseconds(700)));
    Work(Below(5));
    RestartBus();
    WorkUntilReady(stopped);
  }
  void ReplaceUserInterface() { NewUserInterface(); }
  void RestartBoth() {
    KillDaemon();
    NewUserInterface();
    StartDaemon();
  }
  // What can be selected or clicked may be gone, or the remote side not there yet.
  void ActRemotely() {
    BusPeer peer(bus.Address());
    const std::string id = std::to_string(Below(40));
    const BusPeer::Answer answer = peer.Control("Select", id);
    ++(answer.error.empty() ? m_selected : m_refused);
  }
  void Stranger() {
    BusPeer stranger(bus.Address());
    const std::string owner = stranger.OwnerOf(kUiName);
    if (!owner.empty()) {
      stranger.Notify(owner, Frame(4));
      stranger.ForgeOwnerChange(owner, kRemoteName, "", stranger.UniqueName());
    }
  }

  // A burst, with a turn of the loop now and then; frames of any bytes, and one that is too large.
  void StrangerInFullFlow() {
    BusPeer stranger(bus.Address());
    for (unsigned k = Below(2000); k > 0; --k) {
      const char* const end = k % 2 == 0 ? kUiName : kRemoteName;
      stranger.Notify(end, k % 8 < 4 ? Frame(static_cast<int>(Below(5))) : RandomBytes());
      if (k % 64 == 0) {
        sd_bus_flush(stranger.Bus());
        stranger.ProcessAll();
        Work(1);
      }
    }
    // Neither is answered otherwise when its name has no owner.
    EXPECT_NE(stranger.Send(kRemoteName, RandomBytes()).error, "");
    EXPECT_NE(stranger.Send(kRemoteName, std::string(kTooLarge, 'x')).error, "");
  }
  std::string RandomBytes() {
    std::string bytes(Below(64), '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(Below(256)); });
    return bytes;
  }

  // What is absent at the start comes in any order, the bus too.
  void StartInAnyOrder() {
    ui.reset();
    daemon.reset();
    StopBus();
    std::array<void (ChaosTest::*)(), 3> parts = {&ChaosTest::StartBus, &ChaosTest::StartDaemonHere,
                                                  &ChaosTest::NewUserInterface};
    for (size_t left = parts.size(); left > 0; --left) {
      std::swap(parts[left - 1], parts[Below(static_cast<unsigned>(left))]);
      (this->*parts[left - 1])();
      loop.Dispatch();
    }
  }
  void StartDaemonHere() { StartDaemon(); }

  // The remote side is restarted while somebody else has one of its names.
  void SquatNameOfRemoteSide() {
    const char* const name = Below(2) == 0 ? kRemoteName : kRemoteCallsName;
    BusPeer squatter(bus.Address());
    KillDaemon();
    ASSERT_TRUE(WaitFor([&] { return squatter.Own(name) == applist::NameAnswer::Owner; }));
    StartDaemon();
    Work(Below(5));
    EXPECT_EQ(WhileLooping([&] { return daemon->Wait(); }), 1);
    Work(Below(5));
    squatter.Release(name);
    StartDaemon();
  }

  // Something else is the remote side for a while, which answers badly, late or not at all.
  void BadRemoteSide() {
    KillDaemon();
    {
      ScriptedRemote remote(bus.Address(), ScriptedRemote::Names::Queued);
      remote.WaitForNames();
      const unsigned choice = Below(4);
      if (choice == 0) {
        remote.AnswerWith(ScriptedRemote::Error("org.freedesktop.DBus.Error.Failed"));
      } else if (choice == 1) {
        remote.AnswerWith(ScriptedRemote::OfType("s"));
      } else if (choice == 2) {
        remote.AnswerWith(ScriptedRemote::Bytes(RandomBytes()));
      } else {
        remote.Hold();
      }
      remote.Announce();
      Work(Below(10));
      remote.Notify(APPLIST_ITEM_SELECTION_EVENT, 1 + Below(3));
      remote.NotifyBytes(RandomBytes());
      Work(Below(10));
      if (choice == 3 && Below(2) == 0) {
        remote.AnswerHeld(ScriptedRemote::Bytes("late"));
        Work(Below(10));
      }
    }
    StartDaemon();
  }

  void Fault() {
    static constexpr void (ChaosTest::*kFaults[])() = {&ChaosTest::RestartRemoteSide,
                                                       &ChaosTest::HangRemoteSide,
                                                       &ChaosTest::KillWhileItHangs,
                                                       &ChaosTest::RestartBus,
                                                       &ChaosTest::ReplaceUserInterface,
                                                       &ChaosTest::RestartBoth,
                                                       &ChaosTest::ActRemotely,
                                                       &ChaosTest::Stranger,
                                                       &ChaosTest::RestartBusWhileItHangs,
                                                       &ChaosTest::StrangerInFullFlow,
                                                       &ChaosTest::StartInAnyOrder,
                                                       &ChaosTest::SquatNameOfRemoteSide,
                                                       &ChaosTest::BadRemoteSide};
    (this->*kFaults[Below(std::size(kFaults))])();
  }

  int m_selected = 0;
  int m_refused = 0;
};

TEST_F(ChaosTest, BothSidesHoldTheSameAfterWhatever) {
  RunSeries(Rounds(20, 2000), [&] {
    for (unsigned faults = 1 + Below(3); faults > 0; --faults) {
      ASSERT_NO_FATAL_FAILURE(Fault());
      Work(Below(10));
    }
  });
}

}  // namespace
}  // namespace applist_test
