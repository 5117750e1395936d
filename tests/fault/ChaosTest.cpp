// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// All faults in any order.
#include <stdexcept>
#include <thread>

#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

using std::chrono::milliseconds;

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

  void Fault() {
    static constexpr void (ChaosTest::*kFaults[])() = {
        &ChaosTest::RestartRemoteSide,     &ChaosTest::HangRemoteSide,
        &ChaosTest::KillWhileItHangs,      &ChaosTest::RestartBus,
        &ChaosTest::ReplaceUserInterface,  &ChaosTest::RestartBoth,
        &ChaosTest::ActRemotely,           &ChaosTest::Stranger,
        &ChaosTest::RestartBusWhileItHangs};
    (this->*kFaults[Below(std::size(kFaults))])();
  }

  int m_selected = 0;
  int m_refused = 0;
};

TEST_F(ChaosTest, BothSidesHoldTheSameAfterWhatever) {
  RunSeries(Rounds(20, 2000), [&] {
    for (unsigned faults = 1 + Below(3); faults > 0; --faults) {
      Fault();
      Work(Below(10));
    }
  });
}

}  // namespace
}  // namespace applist_test
