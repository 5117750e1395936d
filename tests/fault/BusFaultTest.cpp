// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The bus is killed and started again, or is the last to appear.
#include <algorithm>
#include <array>

#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

using std::chrono::milliseconds;

class BusFaultTest : public FaultTest {
 protected:
  // Lets a moment pass, with the loop running.
  void LoopFor(milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    WaitFor([&] { return std::chrono::steady_clock::now() >= end; });
  }

  enum class Part { Bus, Remote, Ui };
  void Start(Part part) {
    if (part == Part::Bus) {
      StartBus();
    } else if (part == Part::Remote) {
      StartDaemon();
    } else {
      NewUserInterface();
    }
  }
};

TEST_F(BusFaultTest, KilledAndStartedAgainAtTheSameAddress) {
  RunSeries(Rounds(4, 200), [&] {
    Work(Below(10));
    StopBus();
    Work(Below(10));
    LoopFor(milliseconds(Below(50)));
    StartBus();
    Work(Below(10));
  });
}

TEST_F(BusFaultTest, KilledAndStartedAgainWhileTheRemoteSideIsStopped) {
  RunSeries(Rounds(3, 200), [&] {
    const std::future<void> stopped = StopDaemonFor(Duration(milliseconds(1), milliseconds(1500)));
    Work(Below(5));
    StopBus();
    Work(Below(5));
    StartBus();
    WorkUntilReady(stopped);
  });
}

TEST_F(BusFaultTest, ModelsComeAndGoWhileThereIsNoBus) {
  RunSeries(Rounds(3, 50), [&] {
    StopBus();
    Work(Below(5));
    NewUserInterface();
    Work(Below(5));
    NewUserInterface();
    StartBus();
  });
}

TEST_F(BusFaultTest, EveryOrderOfStartingLeadsToTheSame) {
  std::array<Part, 3> order = {Part::Bus, Part::Remote, Part::Ui};
  RunSeries(6 * Rounds(1, 50), [&] {
    ui.reset();
    daemon.reset();
    StopBus();
    for (const Part part : order) {
      Start(part);
      LoopFor(milliseconds(Below(30)));
    }
    std::next_permutation(order.begin(), order.end());
  });
}

}  // namespace
}  // namespace applist_test
