// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What one end of a link sends, and what the other end hears.
#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <stdexcept>

#include "bus/LinkEnds.h"
#include "dbus/LinkRefusal.h"

namespace applist_test {
namespace {

using Message = std::pair<int, std::string>;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using LinkTest = LinkEndsTest;

TEST_F(LinkTest, AMessageReachesTheRemoteSideAndItsReplyComesBack) {
  StartBoth();
  AnswerRemotely(
      [](int id, const std::string& payload) { return std::to_string(id) + " " + payload; });
  EXPECT_EQ(uiEnd->Send(2000, "payload"), "2000 payload");
  const std::string zeros("\0\xFF\0", 3);
  EXPECT_EQ(uiEnd->Send(-1, zeros), "-1 " + zeros);
  EXPECT_THAT(remote->Messages(), ElementsAre(Message(2000, "payload"), Message(-1, zeros)));
}

TEST_F(LinkTest, AMessageReachesTheUserInterfaceAndItsReplyComesBack) {
  StartBoth();
  uiEnd->answer = [](int id, const std::string& payload) {
    return std::to_string(id) + " " + payload;
  };
  EXPECT_EQ(WhileLooping([&] { return remote->Send(7, "payload"); }), "7 payload");
  EXPECT_THAT(uiEnd->Messages(), ElementsAre(Message(7, "payload")));
}

TEST_F(LinkTest, AMessageWithoutAPayloadHasAnEmptyOne) {
  StartBoth();
  EXPECT_EQ(uiEnd->Send(2001, ""), "");
  EXPECT_THAT(remote->Messages(), ElementsAre(Message(2001, "")));
}

TEST_F(LinkTest, AHandlerMayReplyWithNothing) {
  StartBoth();
  EXPECT_EQ(uiEnd->Send(2000, "payload"), "");
  EXPECT_EQ(WhileLooping([&] { return remote->Send(7, "payload"); }), "");
  EXPECT_EQ(remote->Messages().size(), 1U);
  EXPECT_EQ(uiEnd->Messages().size(), 1U);
}

TEST_F(LinkTest, AReplyMayBeLong) {
  StartBoth();
  const std::string reply(1 << 20, 'r');
  AnswerRemotely([&](int, const std::string&) { return reply; });
  EXPECT_TRUE(uiEnd->Send(2000, "") == reply);
}

// Signals every now and then, to whichever thread takes them.
class Signals {
 public:
  Signals() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++g_count; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, &m_before);
    const itimerval often = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~Signals() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &m_before, nullptr);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  static int Count() { return g_count; }

 private:
  static inline std::atomic<int> g_count = 0;
  struct sigaction m_before = {};
};

TEST_F(LinkTest, ASignalDoesNotInterruptACall) {
  StartBoth();
  AnswerRemotely([](int id, const std::string&) {
    const int before = Signals::Count();
    while (Signals::Count() < before + 3) {
      std::this_thread::yield();
    }
    return std::to_string(id);
  });
  const Signals signals;
  for (int k = 0; k < 20; ++k) {
    EXPECT_EQ(uiEnd->Send(k, ""), std::to_string(k));
  }
}

TEST_F(LinkTest, NotificationsArriveInOrder) {
  constexpr int kCount = 1000;
  StartBoth();
  std::vector<Message> sent;
  for (int k = 0; k < kCount; ++k) {
    sent.emplace_back(k, "number " + std::to_string(k));
  }
  thread.Run([&] {
    for (const auto& [id, payload] : sent) {
      remote->SendNotification(id, payload);
    }
  });
  for (const auto& [id, payload] : sent) {
    uiEnd->SendNotification(id, payload);
  }
  EXPECT_TRUE(WaitFor([&] {
    return uiEnd->NotificationCount() >= kCount && remote->NotificationCount() >= kCount;
  }));
  EXPECT_EQ(uiEnd->Notifications(), sent);
  EXPECT_EQ(remote->Notifications(), sent);
}

TEST_F(LinkTest, ANotificationSentBeforeTheReplyIsHeardAfterTheCall) {
  StartBoth();
  AnswerRemotely([&](int, const std::string&) {
    remote->SendNotification(1, "");
    return "reply";
  });
  EXPECT_EQ(uiEnd->Send(2000, ""), "reply");
  EXPECT_THAT(uiEnd->Notifications(), IsEmpty()) << "nothing is heard outside the loop";
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 1; }));
}

struct Thrower {
  const char* name;
  void (*thrown)();
};

void PrintTo(const Thrower& thrower, std::ostream* out) {
  *out << thrower.name;
}

class ThrowingHandlerTest : public LinkEndsTest, public ::testing::WithParamInterface<Thrower> {
 protected:
  static std::string ThrowOnce(int id, const std::string& payload) {
    if (id == 13) {
      GetParam().thrown();
    }
    return "reply to " + payload;
  }
};

TEST_P(ThrowingHandlerTest, GivesAnEmptyReplyAndTheLinkGoesOn) {
  StartBoth();
  AnswerRemotely(ThrowOnce);
  uiEnd->answer = ThrowOnce;
  EXPECT_EQ(uiEnd->Send(13, "one"), "");
  EXPECT_EQ(uiEnd->Send(14, "two"), "reply to two");
  EXPECT_EQ(WhileLooping([&] { return remote->Send(13, "one"); }), "");
  EXPECT_EQ(WhileLooping([&] { return remote->Send(14, "two"); }), "reply to two");
  EXPECT_THAT(remote->Messages(), ElementsAre(Message(13, "one"), Message(14, "two")));
  EXPECT_THAT(uiEnd->Messages(), ElementsAre(Message(13, "one"), Message(14, "two")));
}

TEST_P(ThrowingHandlerTest, OfANotificationIsForgiven) {
  StartUi();
  uiEnd->onNotification = [](int id, const std::string& payload) { ThrowOnce(id, payload); };
  StartRemote();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  thread.Run([&] {
    remote->SendNotification(13, "one");
    remote->SendNotification(14, "two");
  });
  EXPECT_TRUE(WaitFor([&] { return uiEnd->NotificationCount() == 2; }));
  EXPECT_THAT(uiEnd->Notifications(), ElementsAre(Message(13, "one"), Message(14, "two")));
}

TEST_P(ThrowingHandlerTest, OfAConnectionIsForgiven) {
  StartUi();
  uiEnd->onState = [](bool) { GetParam().thrown(); };
  StartRemote();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  EXPECT_EQ(uiEnd->Send(14, "two"), "");
  EXPECT_EQ(remote->Messages().size(), 1U);
  StopRemote();
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 2; }));
}

INSTANTIATE_TEST_SUITE_P(
    LinkTest, ThrowingHandlerTest,
    ::testing::Values(Thrower{"Exception", [] { throw std::runtime_error("thrown by a test"); }},
                      Thrower{"Refusal", [] { throw LinkRefusal("Test", "refused by a test"); }},
                      Thrower{"Number", [] { throw 13; }}),
    [](const auto& parameter) { return parameter.param.name; });

TEST_F(LinkTest, BothEndsHearThatTheOtherIsThereAndGone) {
  StartUi();
  EXPECT_THAT(uiEnd->States(), IsEmpty()) << "told from the loop, not by the constructor";
  StartRemote();
  const bool heard = WaitFor([&] { return AreConnected(); });
  ASSERT_TRUE(heard);
  EXPECT_THAT(uiEnd->States(), ElementsAre(Message(1, kRemoteName)));
  EXPECT_THAT(uiEnd->Ready(), ElementsAre(Message(1, kRemoteName)));
  EXPECT_THAT(remote->States(), ElementsAre(Message(1, kUiName)));
  EXPECT_THAT(remote->Ready(), ElementsAre(Message(1, kUiName)));

  StopRemote();
  EXPECT_TRUE(WaitFor([&] { return uiEnd->States().size() == 2; }));
  EXPECT_THAT(uiEnd->States(), ElementsAre(Message(1, kRemoteName), Message(0, kRemoteName)));
  EXPECT_THAT(uiEnd->Ready(), ElementsAre(Message(1, kRemoteName))) << "only of one that is there";

  StartRemote();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  EXPECT_EQ(uiEnd->States().size(), 3U);
  uiEnd.reset();
  EXPECT_TRUE(WaitFor([&] { return remote->States().size() == 2; }));
  EXPECT_THAT(remote->States(), ElementsAre(Message(1, kUiName), Message(0, kUiName)));
}

TEST_F(LinkTest, WithNobodyThereAMessageHasAnEmptyReplyAtOnce) {
  StartUi();
  EXPECT_EQ(uiEnd->Send(2000, "payload"), "");
  uiEnd->SendNotification(1, "payload");
  StartRemote();
  ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  AnswerRemotely([](int, const std::string&) { return "reply"; });
  EXPECT_EQ(uiEnd->Send(2001, ""), "reply");
  EXPECT_THAT(remote->Messages(), ElementsAre(Message(2001, ""))) << "nothing is sent later";
  EXPECT_THAT(remote->Notifications(), IsEmpty());
  StopRemote();
  EXPECT_EQ(uiEnd->Send(2000, "payload"), "");
}

}  // namespace
}  // namespace applist_test
