// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Many threads send while the remote side is replaced or hangs, and the bus goes and comes.
#include <array>
#include <atomic>
#include <cstdlib>
#include <map>
#include <thread>

#include "bus/LinkEnds.h"
#include "fault/FaultFixture.h"

namespace applist_test {
namespace {

constexpr size_t kThreads = 6;

class ThreadsFaultTest : public LinkEndsTest {
 protected:
  ThreadsFaultTest() {
    unsetenv("APPLIST_CALL_TIMEOUT_MS");
    StartUi();
    StartEcho();
    for (size_t number = 0; number < kThreads; ++number) {
      m_workers.emplace_back([this, number] { Work(number); });
    }
  }
  ~ThreadsFaultTest() override { EndWork(); }

  void StartEcho() {
    StartRemote([this](RemoteEnd& end) {
      end.answer = [this](int, const std::string& payload) {
        m_received.push_back(payload);
        return "reply to " + payload;
      };
    });
  }

  void RestartRemoteSide() {
    StopRemote();
    StartEcho();
  }

  // The remote side stands still until somebody has noticed.
  void HangRemoteSide() {
    std::promise<void> noticed;
    const std::future<void> hang =
        thread.Start([future = noticed.get_future().share()] { future.wait(); });
    const int before = m_unanswered;
    EXPECT_TRUE(WaitFor([&] { return m_unanswered > before; }));
    noticed.set_value();
    EXPECT_TRUE(WaitFor(
        [&] { return hang.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  }

  // A direct line does without the bus, but only once calls are made on it.
  void RestartBus() {
    const bool direct = applist::MayUseDirectLine();
    EXPECT_TRUE(!direct || WaitFor([&] { return CallOnLine(); }));
    bus.Stop();
    if (direct) {
      ExpectThatAllAreAnswered();
    } else {
      const int before = m_unanswered;
      EXPECT_TRUE(WaitFor([&] { return m_unanswered > before; }));
    }
    bus.Start();
  }

  bool CallOnLine() {
    return WhileLooping([&] { return BusPeer(bus.Address()).IsSet(kUiName, "Direct"); });
  }

  // Each thread gets a reply to something that it sends from now on.
  void ExpectThatAllAreAnswered() {
    std::array<int, kThreads> before = {};
    for (size_t k = 0; k < kThreads; ++k) {
      before[k] = m_answered[k];
    }
    EXPECT_TRUE(WaitFor([&] {
      for (size_t k = 0; k < kThreads; ++k) {
        // The one that is under way may have been sent before.
        if (m_answered[k] < before[k] + 2) {
          return false;
        }
      }
      return true;
    }));
    EXPECT_EQ(m_wrong, 0) << "a reply that belongs to another message";
  }

  void EndWork() {
    m_end = true;
    for (std::thread& worker : m_workers) {
      worker.join();
    }
    m_workers.clear();
  }

  // Nothing was handled twice, nor after what the same thread sent later.
  void ExpectEachOnceAndInOrder() {
    std::map<std::string, int> last;
    thread.Run([&] {
      for (const std::string& payload : m_received) {
        const size_t dot = payload.find('.');
        const int number = std::stoi(payload.substr(dot + 1));
        int& before = last[payload.substr(0, dot)];
        EXPECT_GT(number, before) << payload;
        before = number;
      }
    });
    EXPECT_EQ(last.size(), kThreads);
  }

 private:
  // With nobody there it rests a little, so as not to fill the queues of a partner that hangs.
  void Work(size_t own) {
    for (int number = 1; !m_end; ++number) {
      const std::string payload = std::to_string(own) + "." + std::to_string(number);
      const std::string reply = uiEnd->Send(2000, payload);
      if (reply == "reply to " + payload) {
        ++m_answered[own];
      } else if (reply.empty()) {
        ++m_unanswered;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      } else {
        ++m_wrong;
      }
    }
  }

  std::atomic<bool> m_end = false;
  std::atomic<int> m_wrong = 0;
  std::atomic<int> m_unanswered = 0;
  std::array<std::atomic<int>, kThreads> m_answered = {};
  std::vector<std::thread> m_workers;
  // Used on the remote side's thread.
  std::vector<std::string> m_received;
};

TEST_F(ThreadsFaultTest, EachGetsItsOwnReplyOrNoneWhateverHappens) {
  ExpectThatAllAreAnswered();
  for (size_t round = 0; round < Rounds(3, 200); ++round) {
    SCOPED_TRACE(round);
    RestartRemoteSide();
    ExpectThatAllAreAnswered();
    HangRemoteSide();
    ExpectThatAllAreAnswered();
    RestartBus();
    ExpectThatAllAreAnswered();
    ASSERT_FALSE(HasFailure());
  }
  EndWork();
  ExpectEachOnceAndInOrder();
}

}  // namespace
}  // namespace applist_test
