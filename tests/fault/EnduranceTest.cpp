// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Nothing is done when there is nothing to do, and nothing is left over after much was done.
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

class EnduranceTest : public FaultTest {
 protected:
  // How often the process has gone to sleep, once it sleeps.
  std::string Sleeps() {
    EXPECT_TRUE(WaitOutsideLoop(
        [&] { return StatusOf(daemon->Pid(), "State").find('S') != std::string::npos; }));
    return StatusOf(daemon->Pid(), "voluntary_ctxt_switches");
  }

  // How many messages to send in each direction.
  static size_t Messages() {
    const char* const wanted = std::getenv("APPLIST_FAULT_MESSAGES");
    return wanted != nullptr ? std::stoul(wanted) : Rounds(2000, 1000000);
  }

  // Each message has an event for its answer.
  void Soak(size_t messages) {
    const int heard = ui->clicked + ui->changed;
    for (size_t k = 0; k < messages; ++k) {
      if (k % 3 == 0) {
        Timed([&] { ui->model.AddItemAtEnd(Item(20)); });
      } else if (k % 3 == 1) {
        Timed([&] { ui->model.SetClicked(Item(20)); });
      } else {
        Timed([&] { ui->model.RemoveItem(Item(20)); });
      }
      loop.Dispatch();
    }
    const int all = heard + static_cast<int>(messages);
    EXPECT_TRUE(WaitFor([&] { return ui->clicked + ui->changed >= all; }));
    EXPECT_EQ(ui->clicked + ui->changed, all);
  }
};

TEST_F(EnduranceTest, NeitherSideWakesUpWithNothingToDo) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  Work(20);
  ASSERT_NO_FATAL_FAILURE(ExpectEqual());
  CatchUp();
  loop.Dispatch();
  const std::string before = Sleeps();
  pollfd ready = {loop.Fd(), POLLIN, 0};
  EXPECT_EQ(poll(&ready, 1, 5000), 0) << "the user interface has woken up";
  EXPECT_EQ(Sleeps(), before) << "the remote side has woken up";
}

TEST_F(EnduranceTest, ModelsThatComeAndGoUnderTrafficLeaveNothing) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  const Footprint with = Measure(daemon->Pid(), watch->Peer());
  const size_t memory = ResidentBytes(getpid());
  for (size_t k = 0; k < Rounds(30, 1000); ++k) {
    NewUserInterface();
    Work(Below(20));
    ListenToClicks();
  }
  ASSERT_NO_FATAL_FAILURE(ExpectEqual());
  WaitFor([&] { return Measure(daemon->Pid(), watch->Peer()) == with; });
  EXPECT_EQ(Measure(daemon->Pid(), watch->Peer()), with);
  EXPECT_LT(ResidentBytes(getpid()), memory + kMemoryBound);
  ui.reset();
  EXPECT_TRUE(WaitFor([&] { return watch->Peer().OwnerOf(kUiName).empty(); }));
  EXPECT_TRUE(WaitFor([&] { return watch->Peer().OwnerOf(kUiCallsName).empty(); }));
  EXPECT_LT(Measure(daemon->Pid(), watch->Peer()).descriptors, with.descriptors);
}

TEST_F(EnduranceTest, ManyMessagesEachWayLeaveNothing) {
  constexpr size_t kBound = kMemoryBound / 4;
  ASSERT_NO_FATAL_FAILURE(Begin());
  // It would have to read what nobody asks it for.
  const auto measured = [&] {
    BusPeer peer(bus.Address());
    return Measure(daemon->Pid(), peer);
  };
  watch.reset();
  Soak(std::min<size_t>(Messages(), 20000));
  const Footprint before = measured();
  const size_t own = ResidentBytes(getpid());
  const size_t remote = ResidentBytes(daemon->Pid());
  Soak(Messages());
  EXPECT_EQ(measured(), before);
  std::cout << Messages() << " messages each way; resident memory in KiB: " << own / 1024 << " -> "
            << ResidentBytes(getpid()) / 1024 << ", remote side " << remote / 1024 << " -> "
            << ResidentBytes(daemon->Pid()) / 1024 << std::endl;
  EXPECT_LT(ResidentBytes(getpid()), own + kBound);
  EXPECT_LT(ResidentBytes(daemon->Pid()), remote + kBound);
  EXPECT_EQ(RemoteHolds(), ui->Holds());
}

}  // namespace
}  // namespace applist_test
