// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Others on the bus do whatever they can while both sides work.
#include <stdexcept>

#include "fault/FaultFixture.h"
#include "fault/ScriptedRemote.h"

namespace applist_test {
namespace {

constexpr size_t kTooLarge = size_t{33} << 20;

class StrangerFaultTest : public FaultTest {
 protected:
  // One message of each kind to either side.
  static void Bother(BusPeer& stranger, const std::string& ui, const std::string& remote) {
    for (int event = 0; event <= APPLIST_LOCAL_CREATED_EVENT; ++event) {
      stranger.Notify(ui, Frame(event));
    }
    stranger.Notify(remote, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC));
    stranger.NotifyText(ui, "text");
    stranger.Notify(ui, "x");
    for (const char* name : {kUiName, kUiCallsName, kRemoteName, kRemoteCallsName}) {
      stranger.ForgeOwnerChange(ui, name, "", stranger.UniqueName());
      stranger.ForgeOwnerChange(remote, name, "", stranger.UniqueName());
      stranger.ForgeOwnerChange(ui, name, stranger.UniqueName(), "");
      stranger.ForgeOwnerChange(remote, name, stranger.UniqueName(), "");
    }
    EXPECT_NE(stranger.Send(remote, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, "");
    EXPECT_NE(stranger.SendText(remote, "text").error, "");
    EXPECT_NE(stranger.Send(ui, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, "");
  }

  // Runs on a thread of its own.
  std::future<void> BotherOften(size_t times) {
    return std::async(std::launch::async, [this, times] {
      BusPeer stranger(bus.Address());
      for (size_t k = 0; k < times; ++k) {
        Bother(stranger, stranger.OwnerOf(kUiName), stranger.OwnerOf(kRemoteName));
      }
    });
  }

  // The user interface has its name once it follows who the remote side is.
  void AnnounceAndTakeList(ScriptedRemote& remote) {
    ASSERT_TRUE(WaitFor([&] { return !watch->Peer().OwnerOf(kUiName).empty(); }));
    const size_t before = remote.Heard(APPLIST_SET_SELECTION_FNC);
    remote.Announce();
    ASSERT_TRUE(WaitFor([&] { return remote.Heard(APPLIST_SET_SELECTION_FNC) > before; }));
    EXPECT_EQ(remote.Heard(APPLIST_ADD_ITEMS_FNC), 1U);
  }

  // A burst takes as long as it takes: the deadline is for one notification.
  bool WaitForReady(const std::future<void>& done) {
    const auto isReady = [&] {
      return done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    while (!isReady()) {
      if (!WaitFor([&, heard = ui->changed] { return isReady() || ui->changed > heard; })) {
        return false;
      }
    }
    return true;
  }

  // The bus may end the connection for it, or pass it on to be refused.
  void ExpectTooLarge(const char* name) {
    const std::string error = WhileLooping([&] {
      BusPeer stranger(bus.Address());
      return stranger.Send(name, std::string(kTooLarge, 'x')).error;
    });
    EXPECT_NE(error, "");
  }

  void ExpectEqualWithoutTheOwner(const char* name) {
    BusPeer squatter(bus.Address());
    ASSERT_EQ(squatter.Own(name), applist::NameAnswer::Owner);
    NewUserInterface();
    StartDaemon();
    if (std::string(name).rfind(kRemoteName, 0) == 0) {
      EXPECT_EQ(WhileLooping([&] { return daemon->Wait(); }), 1);
    }
    Work(10);
    squatter.Release(name);
    if (daemon->Poll()) {
      StartDaemon();
    }
    ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    ui.reset();
    StopDaemon();
  }
};

TEST_F(StrangerFaultTest, AStrangerSaysEverythingWhileBothSidesWork) {
  RunSeries(Rounds(3, 200), [&] { WorkUntilReady(BotherOften(5)); });
  ExpectEveryClick();
}

TEST_F(StrangerFaultTest, ABurstOfAStrangersNotificationsIsNotHeard) {
  const size_t count = Rounds(5000, 100000);
  RunSeries(2, [&] {
    ui->changed = 0;
    const auto done = std::async(std::launch::async, [&] {
      BusPeer stranger(bus.Address());
      for (size_t k = 0; k < count; ++k) {
        stranger.Notify(kUiName, Frame(APPLIST_ITEM_CHANGE_EVENT));
        sd_bus_flush(stranger.Bus());
      }
    });
    ASSERT_TRUE(WaitFor(
        [&] { return done.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    CatchUp();
    EXPECT_EQ(ui->changed, 0);
  });
}

TEST_F(StrangerFaultTest, ABurstOfThePartnersNotificationsIsHeardToTheLast) {
  const size_t count = Rounds(5000, 100000);
  ScriptedRemote remote(bus.Address());
  NewUserInterface();
  ASSERT_NO_FATAL_FAILURE(AnnounceAndTakeList(remote));
  const auto done =
      std::async(std::launch::async, [&] { remote.Notify(APPLIST_ITEM_CHANGE_EVENT, count); });
  EXPECT_TRUE(WaitForReady(done));
  WhileLooping([&] { watch->Peer().Ping(kUiName); });
  EXPECT_EQ(ui->changed, static_cast<int>(count));
}

TEST_F(StrangerFaultTest, MalformedNotificationsOfThePartnerChangeNothing) {
  ScriptedRemote remote(bus.Address());
  NewUserInterface();
  ASSERT_NO_FATAL_FAILURE(AnnounceAndTakeList(remote));
  const Contents before = ui->Holds();
  for (size_t k = 0; k < Rounds(200, 10000); ++k) {
    std::string bytes(Below(12), '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(Below(256));
    }
    remote.NotifyBytes(bytes + std::string(bytes.size() % 4, '\xFF'));
    loop.Dispatch();
  }
  WhileLooping([&] { watch->Peer().Ping(kUiName); });
  EXPECT_EQ(ui->Holds(), before);
  remote.Notify(APPLIST_ITEM_CLICKED_EVENT, 1);
  EXPECT_TRUE(WaitFor([&] { return ui->clicked > 0; })) << "the partner is not heard any longer";
}

TEST_F(StrangerFaultTest, FramesThatAreTooLargeAreRefused) {
  RunSeries(Rounds(2, 20), [&] {
    ExpectTooLarge(kRemoteName);
    ExpectTooLarge(kUiName);
    TestItem large(std::string(kTooLarge, 'x'), "large");
    Timed([&] { ui->model.AddItemAtEnd(&large); });
    Timed([&] { ui->model.RemoveItem(&large); });
  });
  ExpectEveryClick();
}

TEST_F(StrangerFaultTest, ANameThatIsSquattedBeforeTheStartComesFree) {
  for (size_t round = 0; round < Rounds(1, 20); ++round) {
    for (const char* name : {kUiName, kUiCallsName, kRemoteName, kRemoteCallsName}) {
      SCOPED_TRACE(name);
      ASSERT_NO_FATAL_FAILURE(ExpectEqualWithoutTheOwner(name));
    }
  }
}

}  // namespace
}  // namespace applist_test
