// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface that works while things go wrong, and what has to be true afterwards.
#ifndef APPLIST_TESTS_FAULT_FAULTFIXTURE_H
#define APPLIST_TESTS_FAULT_FAULTFIXTURE_H

#include <chrono>
#include <csignal>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bus/BusFixture.h"
#include "fault/ClickWatch.h"
#include "fault/Footprint.h"

namespace applist_test {

// By how much the resident memory of either process may grow over a series of faults.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kMemoryBound = size_t{1} << 30;  // a sanitizer keeps what is freed
#else
constexpr size_t kMemoryBound = size_t{4} << 20;
#endif

// Whether APPLIST_FAULT_LONG asks for everything, and how often to do something then and otherwise.
bool IsLong();
inline size_t Rounds(size_t few, size_t many) {
  return IsLong() ? many : few;
}

class FaultTest : public BusTest {
 protected:
  FaultTest();
  ~FaultTest() override;

  unsigned Below(unsigned limit);
  // Between the two, each order of magnitude as likely as the others.
  std::chrono::microseconds Duration(std::chrono::microseconds from, std::chrono::microseconds to);

  // An item that is kept for as long as the test.
  AppListItem* Item(size_t number);

  // One operation of a model, or several, with a look at how long it holds up its caller.
  template <class Operation>
  void Timed(Operation operation) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    Note(std::chrono::steady_clock::now() - start);
  }
  // How many took longer than half of the usual time-out.
  size_t SlowOperations() const { return m_slow; }

  // Clicks the next number.
  void Click();

  // A random operation, and so many of them with a turn of the loop behind each.
  void Operate();
  void Work(size_t operations);
  // Works until `done`, in a measured way, so that not too much is left behind.
  void WorkUntilReady(const std::future<void>& done);

  // Runs the loop until both sides know each other and hold the same, and still do when each has
  // worked off what the other sent. Then a click gets through.
  void ExpectEqual();
  // Takes note of the clicks so far.
  void ListenToClicks();
  // Has each side work off what the other has sent.
  void CatchUp();
  bool AreOnTheBus();

  // Every click that the remote side did, it did once and in order; none was lost so far, where
  // nothing was there to lose it.
  void ExpectClicksAtMostOnce();
  void ExpectEveryClick();

  // Starts both, with some items. Then the rounds, and after each of them: equal lists, clicks as
  // they should be, and the footprint of the beginning.
  void Begin();
  void RunSeries(size_t rounds, const std::function<void()>& round);

  void NewUserInterface();
  void KillDaemon();
  void StopBus();
  void StartBus();

  // Stops the remote side; it goes on when the result is ready, after `duration`.
  std::future<void> StopDaemonFor(std::chrono::microseconds duration);

  std::unique_ptr<ClickWatch> watch;

 private:
  void Note(std::chrono::steady_clock::duration blocked);
  void ExpectMemory(const std::vector<size_t>& before);
  std::vector<size_t> Memory() const;
  bool IsEqual();
  // Who is there, and what both hold, for a failure.
  std::string Situation();
  std::vector<AppListItem*> SomeItems();

  std::mt19937 m_random;
  std::deque<TestItem> m_items;
  size_t m_slow = 0;
  int m_clicked = 0;
  std::vector<int> m_heard;
};

}  // namespace applist_test

#endif
