// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side is killed, stopped or replaced.
#include <atomic>
#include <thread>

#include "fault/FaultFixture.h"
#include "fault/ScriptedRemote.h"

namespace applist_test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class RemoteFaultTest : public FaultTest {
 protected:
  static constexpr size_t kFill = 20;

  // The remote side selects its first item, if it has one.
  bool SelectsTheFirst() {
    const Contents held = RemoteHolds();
    try {
      if (!held.items.empty()) {
        control.Select(held.items.front().first);
      }
    } catch (const applist::ControlError&) {
      return false;
    }
    return !held.items.empty();
  }

  // Fills the list, kills the remote side behind so many messages, and starts it again before the
  // others or behind them.
  void FillAndKillAfter(size_t messages, bool atOnce) {
    Timed([&] { ui->model.RemoveAllItems(); });
    for (size_t k = 0; k < kFill; ++k) {
      if (k == messages) {
        KillDaemon();
      }
      if (k == messages && atOnce) {
        StartDaemon();
      }
      Timed([&] { ui->model.AddItemAtEnd(Item(k)); });
    }
    if (messages >= kFill) {
      KillDaemon();
    }
    if (daemon == nullptr) {
      StartDaemon();
    }
  }

  // An item that has the daemon killed, a little later, when it is asked for its name.
  std::unique_ptr<TestItem> KillingItem(std::atomic<bool>& armed, std::thread& killer) {
    auto item = std::make_unique<TestItem>("Deadly", "deadly");
    item->onGetVisibleName = [this, &armed, &killer] {
      if (armed.exchange(false)) {
        killer = std::thread([pid = daemon->Pid(), later = microseconds(Below(500))] {
          std::this_thread::sleep_for(later);
          kill(pid, SIGKILL);
        });
      }
    };
    return item;
  }
};

TEST_F(RemoteFaultTest, KilledAfterEachMessageOfAFill) {
  const size_t step = IsLong() ? 1 : 5;
  size_t round = 0;
  RunSeries(2 * (kFill / step + 1), [&] {
    FillAndKillAfter(round / 2 * step, round % 2 == 0);
    ++round;
  });
}

TEST_F(RemoteFaultTest, KilledWhileTheListIsPushed) {
  std::atomic<bool> armed = false;
  std::thread killer;
  const auto item = KillingItem(armed, killer);
  RunSeries(Rounds(5, 200), [&] {
    ui->model.RemoveAllItems();
    ui->model.AddItems({Item(0), Item(1)});
    ui->model.AddItemAtEnd(item.get());
    // As the selection, it is asked once more behind the list.
    ui->model.SetSelection(Below(2) == 0 ? item.get() : Item(0));
    KillDaemon();
    armed = true;
    StartDaemon();
    ASSERT_TRUE(WaitFor([&] { return daemon->Poll().has_value(); }));
    killer.join();
    StartDaemon();
  });
  ui.reset();
}

TEST_F(RemoteFaultTest, StoppedAndContinuedWhileTheUserInterfaceWorks) {
  RunSeries(Rounds(6, 1000), [&] {
    Work(Below(10));
    WorkUntilReady(StopDaemonFor(Duration(milliseconds(1), milliseconds(3000))));
    Work(Below(10));
  });
  ExpectEveryClick();
}

TEST_F(RemoteFaultTest, AThousandItemsForAStoppedRemoteSideCostOneTimeOut) {
  constexpr size_t kCount = 1000;
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_EQ(SlowOperations(), 0U);
  daemon->Signal(SIGSTOP);
  for (size_t k = 0; k < kCount; ++k) {
    Timed([&] { ui->model.AddItemAtEnd(Item(k % 40)); });
  }
  EXPECT_LE(SlowOperations(), 1U);
  daemon->Signal(SIGCONT);
  ASSERT_NO_FATAL_FAILURE(ExpectEqual());
  EXPECT_EQ(RemoteHolds().items.size(), kCount + 5);
}

TEST_F(RemoteFaultTest, ReplacedByAnotherProcessAtOnce) {
  RunSeries(Rounds(5, 200), [&] {
    Work(Below(10));
    KillDaemon();
    StartDaemon();
    Work(Below(10));
  });
}

// The names pass from one connection to the other without a moment with no owner.
TEST_F(RemoteFaultTest, ReplacedInOneStepByOneThatWaitsForTheName) {
  RunSeries(Rounds(3, 200), [&] {
    {
      ScriptedRemote next(bus.Address(), ScriptedRemote::Names::Queued);
      KillDaemon();
      next.WaitForNames();
      next.Announce();
      ASSERT_TRUE(WaitFor([&] { return next.Heard(APPLIST_SET_SELECTION_FNC) > 0; }));
      EXPECT_GE(next.Heard(APPLIST_ADD_ITEMS_FNC), 1U);
      Timed([&] { ui->model.AddItemAtEnd(Item(7)); });
      EXPECT_EQ(next.Heard(APPLIST_ADD_ITEM_AT_END_FNC), 1U);
    }
    StartDaemon();
  });
}

// The last model goes with frames that the remote side has not taken, and the next one meets a
// hang.
TEST_F(RemoteFaultTest, ModelsComeAndGoWhileTheRemoteSideIsStopped) {
  RunSeries(Rounds(2, 50), [&] {
    daemon->Signal(SIGSTOP);
    Work(5);
    NewUserInterface();
    Work(5);
    NewUserInterface();
    daemon->Signal(SIGCONT);
  });
}

TEST_F(RemoteFaultTest, UserInterfaceIsReplacedByAnotherProcess) {
  StartDaemon();
  auto process = StartUiProcess({"first"});
  ASSERT_TRUE(WaitFor([&] { return RemoteHolds().items == Named({"first"}); }));
  const Footprint before = Measure(daemon->Pid(), watch->Peer());
  const size_t memory = ResidentBytes(daemon->Pid());
  for (size_t k = 0; k < Rounds(5, 200); ++k) {
    const std::vector<std::string> ids = {"shared", std::to_string(k), "shared"};
    // A list that holds an identifier twice comes a second time, and is not there for a moment.
    ASSERT_TRUE(WaitFor([&] { return SelectsTheFirst(); })) << k;
    process->Signal(SIGKILL);
    process = StartUiProcess(ids);
    ASSERT_TRUE(WaitFor([&] { return RemoteHolds() == Contents{Named(ids), ""}; })) << k;
    WaitFor([&] { return Measure(daemon->Pid(), watch->Peer()) == before; });
    ASSERT_EQ(Measure(daemon->Pid(), watch->Peer()), before) << k;
  }
  EXPECT_LT(ResidentBytes(daemon->Pid()), memory + kMemoryBound);
}

}  // namespace
}  // namespace applist_test
