// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Whatever either side does, in whatever order: once all is heard, both hold the same.
#include <algorithm>
#include <random>
#include <stdexcept>

#include "bus/BusFixture.h"
#include "support/Seed.h"

namespace applist_test {
namespace {

class RandomisedLinkTest : public BusTest {
 protected:
  RandomisedLinkTest() : m_random(Seed()) {}

  unsigned Below(unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_random);
  }

  // Few identifiers, so that they meet; among them none at all, and one of odd bytes.
  std::string Id() {
    const unsigned number = Below(12);
    return number == 0 ? "" : number == 1 ? std::string("\n\\\0\xFF", 4) : std::to_string(number);
  }

  TestItem* New() { return ui->NewItem(Id(), "Name " + std::to_string(Below(1000))); }

  // An item of the list, mostly.
  AppListItem* Any() {
    const std::vector<AppListItem*> items = ui->model.GetAllItems();
    return items.empty() || Below(8) == 0 ? New()
                                          : items[Below(static_cast<unsigned>(items.size()))];
  }

  std::vector<AppListItem*> Some() {
    std::vector<AppListItem*> items;
    for (unsigned count = Below(5); count > 0; --count) {
      items.push_back(Below(2) == 0 ? New() : Any());
    }
    return items;
  }

  // What is not in the list there is refused, which is fine.
  template <class Action>
  static void Remotely(Action action) {
    try {
      action();
    } catch (const std::runtime_error& e) {
      EXPECT_THAT(e.what(), ::testing::HasSubstr("NotInList"));
    }
  }

  void Step() {
    switch (Below(20)) {
      case 0:
        ui->model.RemoveAllItems();
        break;
      case 1:
      case 2:
      case 3:
        ui->model.AddItems(Some());
        break;
      case 4:
      case 5:
      case 6:
        ui->model.AddItemAtEnd(New());
        break;
      case 7:
      case 8:
        ui->model.RemoveItem(Any());
        break;
      case 9:
      case 10:
      case 11:
        ui->model.ModifyItem(Any(), New());
        break;
      case 12:
      case 13:
      case 14:
        ui->model.SetSelection(Any());
        break;
      case 15:
      case 16:
        Remotely([&] { control.Select(Any()->GetUnigueId()); });
        break;
      case 17:
        Remotely([&] { ClickRemotely(Any()->GetUnigueId()); });
        break;
      default:
        loop.Dispatch();
        break;
    }
  }

  // What became of the user interface's messages is announced; what the user interface does about
  // that needs no further announcement.
  void ExpectEqual() {
    WaitFor([&] { return ui->Holds() == RemoteHolds(); });
    Settle();
    WaitFor([&] { return ui->Holds() == RemoteHolds(); });
    ASSERT_EQ(ui->Holds(), RemoteHolds());
  }

 private:
  std::mt19937 m_random;
};

TEST_F(RandomisedLinkTest, BothSidesHoldTheSameWheneverAllIsHeard) {
  constexpr int kSteps = 2000;
  Connect();
  ui->model.AddItemAtEnd(New());
  int selections = 0;
  size_t longest = 0;
  for (int step = 1; step <= kSteps; ++step) {
    Step();
    if (step % 50 == 0) {
      ASSERT_NO_FATAL_FAILURE(ExpectEqual()) << "step " << step;
      longest = std::max(longest, ui->Holds().items.size());
      selections += ui->Holds().selection.empty() ? 0 : 1;
    }
  }
  EXPECT_GT(longest, 2U) << "the lists were never long enough to tell anything";
  EXPECT_GT(selections, 0) << "nothing was ever selected";
}

TEST_F(RandomisedLinkTest, BothSidesHoldTheSameAfterTheRemoteSideWasRestarted) {
  constexpr int kRestarts = 12;
  Connect();
  ui->model.AddItemAtEnd(New());
  for (int restart = 0; restart < kRestarts; ++restart) {
    for (unsigned steps = Below(20); steps > 0; --steps) {
      Step();
    }
    Settle();
    StopDaemon();
    for (unsigned steps = Below(4); steps > 0; --steps) {
      ui->model.AddItemAtEnd(New());
      ui->model.SetSelection(Any());
    }
    StartDaemon();
    for (unsigned steps = Below(4); steps > 0; --steps) {
      ui->model.ModifyItem(Any(), New());
      ui->model.AddItems(Some());
    }
    Connect();
    ASSERT_NO_FATAL_FAILURE(ExpectEqual()) << "restart " << restart;
  }
}

}  // namespace
}  // namespace applist_test
