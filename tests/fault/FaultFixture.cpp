// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fault/FaultFixture.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <sstream>
#include <thread>

#include "support/Seed.h"

using std::chrono::microseconds;

namespace applist_test {

namespace {

constexpr std::chrono::milliseconds kSlow(250);
constexpr size_t kItems = 40;
constexpr int kLongestList = 60;

// How long an operation held up its caller at most, and in which test.
struct Hold {
  std::chrono::steady_clock::duration time = std::chrono::steady_clock::duration(0);
  std::string test = "none";
};
Hold& Longest() {
  static Hold longest;
  return longest;
}

std::string CurrentTest() {
  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  return std::string(test->test_suite_name()) + "." + test->name();
}

class PrintLongest : public ::testing::Environment {
 public:
  void TearDown() override {
    std::cout << "the longest that one operation held up its caller: "
              << std::chrono::duration_cast<microseconds>(Longest().time).count() << " us, in "
              << Longest().test << std::endl;
  }
};

const ::testing::Environment* const kPrintLongest =
    ::testing::AddGlobalTestEnvironment(new PrintLongest);

}  // namespace

bool IsLong() {
  const char* const wanted = std::getenv("APPLIST_FAULT_LONG");
  return wanted != nullptr && std::string(wanted) == "1";
}

FaultTest::FaultTest() : BusTest(CallsWait::AsUsual), m_random(Seed()) {
  watch = std::make_unique<ClickWatch>(bus.Address());
  for (size_t k = 0; k < 2 * kItems; ++k) {
    const std::string id = std::to_string(k % kItems);
    m_items.emplace_back((k < kItems ? "Name of " : "Other name of ") + id, id);
  }
}

FaultTest::~FaultTest() {
  ui.reset();
}

unsigned FaultTest::Below(unsigned limit) {
  return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_random);
}

microseconds FaultTest::Duration(microseconds from, microseconds to) {
  std::uniform_real_distribution<double> exponent(std::log(from.count()), std::log(to.count()));
  return microseconds(static_cast<microseconds::rep>(std::exp(exponent(m_random))));
}

AppListItem* FaultTest::Item(size_t number) {
  return &m_items.at(number);
}

void FaultTest::Note(std::chrono::steady_clock::duration blocked) {
  if (blocked > Longest().time) {
    Longest() = {blocked, CurrentTest()};
  }
  m_slow += blocked > kSlow ? 1 : 0;
}

void FaultTest::Click() {
  TestItem item("A click", std::to_string(++m_clicked));
  Timed([&] { ui->model.SetClicked(&item); });
}

std::vector<AppListItem*> FaultTest::SomeItems() {
  std::vector<AppListItem*> items;
  for (unsigned count = 1 + Below(4); count > 0; --count) {
    items.push_back(Item(Below(2 * kItems)));
  }
  return items;
}

void FaultTest::Operate() {
  AppListItem* const item = Item(Below(2 * kItems));
  RemoteAppListModel& model = ui->model;
  const unsigned choice = model.GetItemsCount() > kLongestList ? 0 : Below(16);
  if (choice == 0) {
    Timed([&] { model.RemoveAllItems(); });
  } else if (choice < 4) {
    const std::vector<AppListItem*> items = SomeItems();
    Timed([&] { model.AddItems(items); });
  } else if (choice < 7) {
    Timed([&] { model.AddItemAtEnd(item); });
  } else if (choice < 9) {
    Timed([&] { model.RemoveItem(item); });
  } else if (choice < 11) {
    AppListItem* const other = Item(Below(2 * kItems));
    Timed([&] { model.ModifyItem(item, other); });
  } else if (choice < 14) {
    // Something that is not in an otherwise empty list could not be selected on the other side.
    const std::vector<AppListItem*> items = model.GetAllItems();
    if (!items.empty()) {
      AppListItem* const selection = items[Below(static_cast<unsigned>(items.size()))];
      Timed([&] { model.SetSelection(selection); });
    }
  } else {
    Click();
  }
}

void FaultTest::Work(size_t operations) {
  for (; operations > 0; --operations) {
    Operate();
    loop.Dispatch();
  }
}

void FaultTest::WorkUntilReady(const std::future<void>& done) {
  constexpr size_t kMost = 200;
  size_t operations = 0;
  EXPECT_TRUE(WaitFor([&] {
    if (++operations < kMost) {
      Operate();
    }
    return done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }));
}

bool FaultTest::IsEqual() {
  const auto state = Remote();
  return state && state->connected && Contents{state->items, state->selection} == ui->Holds();
}

// With a direct line, both sides can be equal before they are back on the bus.
bool FaultTest::AreOnTheBus() {
  const auto isOwned = [&](const char* name) { return !watch->Peer().OwnerOf(name).empty(); };
  return isOwned(kUiName) && isOwned(kUiCallsName) && isOwned(kRemoteName) &&
         isOwned(kRemoteCallsName);
}

void FaultTest::CatchUp() {
  watch->Peer().Ping(kRemoteName);
  WhileLooping([&] { watch->Peer().Ping(kUiName); });
}

void FaultTest::ExpectEqual() {
  for (int look = 0; look < 2; ++look) {
    ASSERT_TRUE(WaitFor([&] { return AreOnTheBus() && IsEqual(); })) << Situation();
    ASSERT_NO_THROW(CatchUp());
  }
  ASSERT_TRUE(WaitFor([&] { return IsEqual(); }));
  Click();
  ASSERT_TRUE(WaitFor([&] {
    ListenToClicks();
    return !m_heard.empty() && m_heard.back() == m_clicked;
  })) << "a click was lost";
}

void FaultTest::ListenToClicks() {
  const std::vector<int> heard = watch->Take();
  m_heard.insert(m_heard.end(), heard.begin(), heard.end());
}

std::string FaultTest::Situation() {
  std::ostringstream out;
  for (const char* name : {kUiName, kUiCallsName, kRemoteName, kRemoteCallsName}) {
    out << name << " is owned by \"" << watch->Peer().OwnerOf(name) << "\"\n";
  }
  const auto state = Remote();
  out << (state ? state->connected ? "connected" : "not connected" : "no answer")
      << "\nhere: " << ui->Holds() << "\nthere: " << RemoteHolds();
  return out.str();
}

void FaultTest::ExpectClicksAtMostOnce() {
  const auto twice =
      std::adjacent_find(m_heard.begin(), m_heard.end(), [](int a, int b) { return a >= b; });
  EXPECT_TRUE(twice == m_heard.end()) << "after click " << *twice;
}

void FaultTest::ExpectEveryClick() {
  std::vector<int> all(static_cast<size_t>(m_clicked));
  std::iota(all.begin(), all.end(), 1);
  EXPECT_EQ(m_heard, all);
}

void FaultTest::Begin() {
  NewUserInterface();
  StartDaemon();
  ASSERT_NO_FATAL_FAILURE(ExpectEqual());
}

std::vector<size_t> FaultTest::Memory() const {
  return {ResidentBytes(getpid()), ResidentBytes(daemon->Pid())};
}

void FaultTest::ExpectMemory(const std::vector<size_t>& before) {
  const std::vector<size_t> after = Memory();
  std::cout << "resident memory in KiB: " << before[0] / 1024 << " -> " << after[0] / 1024
            << ", remote side " << before[1] / 1024 << " -> " << after[1] / 1024 << std::endl;
  EXPECT_LT(after[0], before[0] + kMemoryBound);
  EXPECT_LT(after[1], before[1] + kMemoryBound);
}

void FaultTest::RunSeries(size_t rounds, const std::function<void()>& round) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  const Footprint before = Measure(daemon->Pid(), watch->Peer());
  const size_t warm = std::min<size_t>(rounds / 2, 20);
  std::vector<size_t> memory = Memory();
  for (size_t k = 0; k < rounds; ++k) {
    SCOPED_TRACE("round " + std::to_string(k));
    ASSERT_NO_FATAL_FAILURE(round());
    ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    ExpectClicksAtMostOnce();
    WaitFor([&] { return Measure(daemon->Pid(), watch->Peer()) == before; });
    ASSERT_EQ(Measure(daemon->Pid(), watch->Peer()), before);
    ASSERT_FALSE(HasFailure());
    if (k == warm) {
      memory = Memory();
    }
  }
  std::cout << rounds << " rounds; " << before << std::endl;
  ExpectMemory(memory);
}

void FaultTest::NewUserInterface() {
  ui.reset();
  ui = std::make_unique<UserInterface>();
  for (size_t k = 0; k < 5; ++k) {
    Timed([&] { ui->model.AddItemAtEnd(Item(k)); });
  }
  Timed([&] { ui->model.SetSelection(Item(3)); });
}

void FaultTest::KillDaemon() {
  daemon->Signal(SIGKILL);
  daemon->Wait();
  daemon.reset();
}

void FaultTest::StopBus() {
  bus.Stop();
}

void FaultTest::StartBus() {
  bus.Start();
  control = applist::ControlClient(bus.Address());
  watch = std::make_unique<ClickWatch>(bus.Address());
}

std::future<void> FaultTest::StopDaemonFor(microseconds duration) {
  daemon->Signal(SIGSTOP);
  return std::async(std::launch::async, [pid = daemon->Pid(), duration] {
    std::this_thread::sleep_for(duration);
    kill(pid, SIGCONT);
  });
}

}  // namespace applist_test
