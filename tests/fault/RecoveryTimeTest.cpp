// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// How long it takes until a thousand items are equal again. Prints it, and asserts no speed.
#include <algorithm>
#include <iostream>

#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

class RecoveryTimeTest : public FaultTest {
 protected:
  // `fault` ends with what the time is counted from.
  void Measure(const char* what, const std::function<void()>& fault) {
    std::vector<std::chrono::steady_clock::duration> times;
    ASSERT_NO_FATAL_FAILURE(Begin());
    FillWithAThousand();
    for (size_t k = 0; k < Rounds(3, 200); ++k) {
      fault();
      const auto start = std::chrono::steady_clock::now();
      ASSERT_TRUE(WaitFor([&] { return RemoteIsConnected() && RemoteHolds() == ui->Holds(); }));
      times.push_back(std::chrono::steady_clock::now() - start);
      ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    }
    std::sort(times.begin(), times.end());
    Print(what, "p50", times[times.size() / 2]);
    Print(what, "p99", times[times.size() * 99 / 100]);
  }

 private:
  void FillWithAThousand() {
    ui->model.RemoveAllItems();
    for (size_t k = 0; k < 1000; ++k) {
      ui->model.AddItemAtEnd(Item(k % 40));
    }
  }

  static void Print(const char* what, const char* part, std::chrono::steady_clock::duration time) {
    std::cout << "from " << what << " to equal lists, " << part << ": "
              << std::chrono::duration_cast<std::chrono::microseconds>(time).count() << " us"
              << std::endl;
  }
};

TEST_F(RecoveryTimeTest, ListsAreEqualOnceTheBusIsBack) {
  Measure("the bus is back", [&] {
    StopBus();
    loop.Dispatch();
    StartBus();
  });
}

TEST_F(RecoveryTimeTest, ListsAreEqualOnceTheRemoteSideIsBack) {
  Measure("the remote side is back", [&] {
    KillDaemon();
    StartDaemon();
    WaitOutsideLoop([&] { return !watch->Peer().OwnerOf(kRemoteName).empty(); });
  });
}

}  // namespace
}  // namespace applist_test
