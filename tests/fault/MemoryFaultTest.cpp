// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side when memory runs out: at each single allocation of decoding, and of whatever the
// user interface sends, without a bus.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "LocalAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "dbus/DbusLink.h"
#include "dbus/LinkRefusal.h"
#include "fuzz/LocalTransport.h"
#include "support/FailingAllocation.h"
#include "support/PlainItem.h"

namespace applist_test {
namespace {

using Items = std::vector<PlainItem>;

// More than any pass takes.
constexpr int kMost = 1000;

// Texts that do not fit into a string itself.
PlainItem Named(const std::string& id) {
  return {"The name of the application " + id, "the identifier of the application " + id};
}

std::string Id(int number) {
  const unsigned value = static_cast<unsigned>(number);
  return {static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8 & 0xFFU), 0, 0};
}

// Each allocation in turn is the one that fails, until a pass of `attempt` has none that does.
// `attempt` is told the number. Returns how many failed.
int ForEachAllocation(const std::function<bool(int number)>& attempt) {
  for (int number = 1; number < kMost; ++number) {
    if (!attempt(number) || ::testing::Test::HasFailure()) {
      return number - 1;
    }
  }
  ADD_FAILURE() << "there is always one more allocation";
  return kMost;
}

// Reads items off the stream until it has no more.
Items ReadAll(std::istream& in) {
  Items items;
  RemoteAppListItem item;
  while (in >> item) {
    items.push_back(Plain(item));
  }
  return items;
}

TEST(ItemMemoryTest, AnItemThatCannotBeReadStaysAsItWas) {
  const PlainItem before = Named("before");
  const PlainItem after = {"Escaped \\ and\nwritten in two lines", "escaped\\\n too, and as long"};
  const std::string encoding = Encode(after);
  EXPECT_GT(ForEachAllocation([&](int number) {
              std::istringstream in(encoding);
              std::istringstream old(Encode(before));
              RemoteAppListItem item;
              old >> item;
              FailAllocation(number);
              const bool read = static_cast<bool>(in >> item);
              const bool failed = StopFailing();
              EXPECT_NE(read, failed) << number;
              EXPECT_EQ(Plain(item), read ? after : before) << number;
              EXPECT_EQ(in.bad(), failed) << number << ": it is not the data that is wrong";
              return failed;
            }),
            0);
}

TEST(ItemMemoryTest, AnItemThatCannotBeReadEndsAListBehindWholeItems) {
  const Items all = {Named("a"), Named("b"), Named("c")};
  const std::string encoding = Encode(all);
  EXPECT_GT(ForEachAllocation([&](int number) {
              std::istringstream in(encoding);
              Items items;
              bool thrown = false;
              FailAllocation(number);
              try {
                items = ReadAll(in);
              } catch (const std::bad_alloc&) {
                thrown = true;
              }
              const bool failed = StopFailing();
              if (!thrown) {
                EXPECT_EQ(items.size() == all.size(), !failed) << number;
                EXPECT_TRUE(std::equal(items.begin(), items.end(), all.begin())) << number;
              }
              return failed;
            }),
            0);
}

// What one side holds.
struct State {
  Items items;
  std::optional<PlainItem> selection;
};
bool operator==(const State& a, const State& b) {
  return a.items == b.items && a.selection == b.selection;
}

// What a message is, and what the user interface holds when it sends it.
struct Case {
  const char* name;
  int messageId;
  Items payload;
  State user;
  std::string reply;
  std::string refusal;
};
std::ostream& operator<<(std::ostream& out, const Case& tested) {
  return out << tested.name;
}

const PlainItem kA = Named("a");
const PlainItem kB = Named("b");
const PlainItem kC = Named("c");
const PlainItem kNew = Named("new");
const Items kList = {kA, kB, kC};
const State kStart = {kList, kB};

class HandlingMemoryTest : public ::testing::TestWithParam<Case> {
 protected:
  struct Answer {
    std::string reply;
    std::string error;
  };

  // Both sides know each other and hold the same.
  void Begin() {
    m_model.reset();
    m_model = std::make_unique<LocalAppListModel>();
    m_model->Observe([this](LocalAppListModel::Change) { m_observed.assign(100, 'x'); });
    applist_fuzz::LiveTransport().HandleConnectionReady(true, "org.javamw.Applist.Ui");
    Push(kStart);
    m_model->Link().CatchUp();
    ASSERT_EQ(Held(), kStart);
    applist_fuzz::TakeNotifications();
  }

  // Hands a message over, as the link does.
  static Answer Deliver(int messageId, const Items& payload) {
    std::vector<char> data = Frame(messageId, payload);
    return Handle(data);
  }

  static std::vector<char> Frame(int messageId, const Items& payload) {
    const std::string frame = Encode(payload) + Id(messageId);
    return std::vector<char>(frame.begin(), frame.end());
  }

  static Answer Handle(std::vector<char>& data) {
    return Answered([&] { return applist_fuzz::LiveTransport().HandleMessage(data); });
  }

  template <class Handling>
  static Answer Answered(Handling handling) {
    try {
      const std::vector<char> reply = handling();
      StopCounting();
      return {std::string(reply.begin(), reply.end()), ""};
    } catch (const LinkRefusal& refusal) {
      StopCounting();
      return {"", refusal.ErrorName()};
    } catch (const std::bad_alloc&) {
      StopCounting();
      return {"", "no memory"};
    }
  }

  static void StopCounting() { failed = StopFailing(); }

  // The user interface does what the remote side asks for, until it asks for nothing.
  void WorkOff(const State& user) {
    for (int turn = 0; turn < 10; ++turn) {
      for (const std::string& event : applist_fuzz::TakeNotifications()) {
        if (event == Id(APPLIST_LOCAL_CREATED_EVENT)) {
          Push(user);
        }
      }
      if (!m_model->Link().CatchUp()) {
        return;
      }
    }
    ADD_FAILURE() << "the remote side keeps asking";
  }

  static void Push(const State& user) {
    if (!user.items.empty()) {
      EXPECT_EQ(Deliver(APPLIST_ADD_ITEMS_FNC, user.items).error, "");
      if (user.selection) {
        EXPECT_EQ(Deliver(APPLIST_SET_SELECTION_FNC, {*user.selection}).error, "");
      }
    }
  }

  State Held() const {
    State state;
    for (const RemoteAppListItem& item : m_model->Items()) {
      state.items.push_back(Plain(item));
    }
    if (m_model->Selection()) {
      state.selection = Plain(*m_model->Selection());
    }
    return state;
  }

  std::unique_ptr<LocalAppListModel> m_model;
  std::string m_observed;
  // Whether an allocation has failed in what was last handled.
  static bool failed;
};
bool HandlingMemoryTest::failed = false;

TEST_P(HandlingMemoryTest, EndsInEqualListsAndTheAnswerTellsHow) {
  const Case& tested = GetParam();
  const int failures = ForEachAllocation([&](int number) {
    SCOPED_TRACE(number);
    Begin();
    std::vector<char> data = Frame(tested.messageId, tested.payload);
    FailAllocation(number);
    const Answer answer = Handle(data);
    const bool ranOut = failed;
    if (answer.error == "no memory") {
      EXPECT_TRUE(ranOut);
      EXPECT_TRUE(m_model->Items().empty()) << "the list is asked for anew";
    } else {
      EXPECT_EQ(answer.error, tested.refusal);
      EXPECT_EQ(answer.reply, tested.reply);
      EXPECT_EQ(Held(), tested.user);
    }
    WorkOff(tested.user);
    EXPECT_EQ(Held(), tested.user);
    return ranOut;
  });
  EXPECT_GT(failures, 0);
}

// Then even the question for the list fails, and is made up for with the next message.
TEST_P(HandlingMemoryTest, EndsInEqualListsWhenMemoryIsShortForLonger) {
  const Case& tested = GetParam();
  ForEachAllocation([&](int number) {
    SCOPED_TRACE(number);
    Begin();
    std::vector<char> data = Frame(tested.messageId, tested.payload);
    FailAllocationsFrom(number);
    Handle(data);
    const bool ranOut = failed;
    Deliver(APPLIST_SET_CLICKED_FNC, {kA});
    WorkOff(tested.user);
    EXPECT_EQ(Held(), tested.user);
    return ranOut;
  });
}

INSTANTIATE_TEST_SUITE_P(
    Messages, HandlingMemoryTest,
    ::testing::Values(
        Case{"SetSelection", 2000, {kC}, {kList, kC}, "", ""},
        Case{"SetSelectionThatIsNotThere",
             2000,
             {kNew},
             kStart,
             "",
             "org.javamw.Link1.Error.NotInList"},
        Case{"GetSelection", 2001, {}, kStart, Encode(kB), ""},
        Case{"GetAllItems", 2002, {}, kStart, Encode(kList), ""},
        Case{"RemoveAllItems", 2003, {}, {}, "", ""},
        Case{"AddItems", 2004, {kA, kNew}, {{kA, kB, kC, kNew}, kB}, "", ""},
        Case{"AddItemAtEnd", 2005, {kNew}, {{kA, kB, kC, kNew}, kB}, "", ""},
        Case{"AddItemAtEndTwice", 2005, {kA}, {{kA, kB, kC, kA}, kB}, "", ""},
        Case{"SetClicked", 2006, {kNew}, kStart, "", ""},
        Case{"RemoveItem", 2007, {kA}, {{kB, kC}, kB}, "", ""},
        Case{"RemoveSelectedItem", 2007, {kB}, {{kA, kC}, std::nullopt}, "", ""},
        Case{"ModifyItem", 2008, {kA, kNew}, {{kNew, kB, kC}, kB}, "", ""},
        Case{"ModifySelectedItem", 2008, {kB, kNew}, {{kA, kNew, kC}, kNew}, "", ""},
        Case{"WithTooManyItems", 2005, kList, kStart, "", "org.javamw.Link1.Error.BadPayload"},
        Case{"Unknown", 2009, {kA}, kStart, "", "org.javamw.Link1.Error.UnknownMessage"}),
    [](const ::testing::TestParamInfo<Case>& tested) { return std::string(tested.param.name); });

TEST_F(HandlingMemoryTest, AClickIsDoneOrNotDone) {
  ForEachAllocation([&](int number) {
    SCOPED_TRACE(number);
    Begin();
    Deliver(APPLIST_SET_CLICKED_FNC, {kA});
    std::vector<char> data = Frame(APPLIST_SET_CLICKED_FNC, {kNew});
    FailAllocation(number);
    const Answer answer = Handle(data);
    const bool ranOut = failed;
    const PlainItem clicked = Plain(*m_model->LastClicked());
    EXPECT_TRUE(clicked == kNew || (clicked == kA && answer.error == "no memory"));
    return ranOut;
  });
}

// Nobody hears of the failure, so it is made up for with the next message at the latest.
TEST_F(HandlingMemoryTest, AUserInterfaceThatAppearsIsAskedForItsList) {
  EXPECT_GT(ForEachAllocation([&](int number) {
              SCOPED_TRACE(number);
              Begin();
              const std::string partner = "org.javamw.Applist.Ui";
              FailAllocation(number);
              Answered([&] {
                applist_fuzz::LiveTransport().HandleConnectionReady(true, partner);
                return std::vector<char>();
              });
              const bool ranOut = failed;
              WorkOff(kStart);
              Deliver(APPLIST_SET_CLICKED_FNC, {kA});
              WorkOff(kStart);
              EXPECT_EQ(Held(), kStart);
              return ranOut;
            }),
            0);
}

// The answer to an earlier question is a chance to ask again, without a message.
TEST_F(HandlingMemoryTest, AListThatCouldNotBeAskedForIsAskedForWhenAnEarlierQuestionIsAnswered) {
  ForEachAllocation([&](int number) {
    SCOPED_TRACE(number);
    Begin();
    applist_fuzz::LiveTransport().HandleConnectionReady(true, "org.javamw.Applist.Ui");
    applist_fuzz::TakeNotifications();
    Push(kStart);
    std::vector<char> data = Frame(APPLIST_REMOVE_ITEM_FNC, {kA});
    FailAllocationsFrom(number);
    Handle(data);
    const bool ranOut = failed;
    const State after = {{kB, kC}, kB};
    WorkOff(after);
    EXPECT_EQ(Held(), after);
    return ranOut;
  });
}

// A list that holds an identifier twice is asked for once more when the user interface has caught
// up.
TEST_F(HandlingMemoryTest, AListInDoubtIsAskedForAgain) {
  const State twice = {{kA, kB, kA}, kB};
  EXPECT_GT(ForEachAllocation([&](int number) {
              SCOPED_TRACE(number);
              Begin();
              applist_fuzz::LiveTransport().HandleConnectionReady(true, "org.javamw.Applist.Ui");
              applist_fuzz::TakeNotifications();
              Push(twice);
              FailAllocation(number);
              Answered([&] {
                m_model->Link().CatchUp();
                return std::vector<char>();
              });
              const bool ranOut = failed;
              WorkOff(twice);
              Deliver(APPLIST_SET_CLICKED_FNC, {kA});
              WorkOff(twice);
              EXPECT_EQ(Held(), twice);
              return ranOut;
            }),
            0);
}

}  // namespace
}  // namespace applist_test
