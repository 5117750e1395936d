// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The daemon before a user interface that the test plays itself, message by message.
#ifndef APPLIST_TESTS_BUS_REMOTEPEERTEST_H
#define APPLIST_TESTS_BUS_REMOTEPEERTEST_H

#include <sstream>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "bus/BusFixture.h"
#include "bus/BusPeer.h"
#include "common/AppListRemoteControl.h"

namespace applist_test {

class RemotePeerTest : public BusTest {
 protected:
  using Answer = BusPeer::Answer;

  // One connection has both names, so that everything from the daemon comes in one order. Stops
  // right behind the daemon's announcement, before the question that comes after it is answered.
  RemotePeerTest() {
    EXPECT_EQ(peer.Own(kUiCallsName), applist::NameAnswer::Owner);
    EXPECT_EQ(peer.Own(kUiName), applist::NameAnswer::Owner);
    StartDaemon();
    WaitForAnnouncement();
  }

  // Works off messages up to the last of these events, and none behind it.
  void WaitForEvents(const std::vector<int>& expected) {
    while (peer.Notifications().size() < expected.size()) {
      ASSERT_TRUE(peer.ProcessOne()) << "no event";
    }
    EXPECT_EQ(TakeHeard(), expected);
  }
  void WaitForAnnouncement() { WaitForEvents({APPLIST_LOCAL_CREATED_EVENT}); }

  // Answers what the daemon has asked behind its announcement: the list, if any, has been sent.
  void CatchUp() {
    peer.Ping(kRemoteName);
    peer.ProcessAll();
    peer.Ping(kRemoteName);
    EXPECT_TRUE(peer.Notifications().empty());
  }

  static std::string Item(const std::string& id, const std::string& name) {
    TestItem item(name, id);
    std::ostringstream out;
    out << RemoteAppListItem(item);
    return out.str();
  }
  static std::string Item(const std::string& id) { return Item(id, "Name of " + id); }
  static std::string Items(const std::vector<std::string>& ids) {
    std::string payload;
    for (const std::string& id : ids) {
      payload += Item(id);
    }
    return payload;
  }

  Answer Send(int messageId, const std::string& payload = "") {
    return peer.Send(kRemoteName, Frame(messageId, payload));
  }

  // Sends a message that is to be applied. Returns what the daemon announced before its reply.
  std::vector<int> Apply(int messageId, const std::string& payload = "") {
    const Answer answer = Send(messageId, payload);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.reply, "");
    return TakeEvents();
  }

  // The identifiers of the events that have come in.
  std::vector<int> TakeEvents() {
    peer.ProcessAll();
    return TakeHeard();
  }

  // The first list, as a user interface sends it.
  void Fill(const std::vector<std::string>& ids) {
    Send(APPLIST_ADD_ITEMS_FNC, Items(ids));
    CatchUpAfter(APPLIST_ITEM_CHANGE_EVENT);
  }
  void CatchUpAfter(int event) {
    EXPECT_EQ(TakeEvents(), std::vector<int>{event});
    CatchUp();
  }

  BusPeer peer{bus.Address()};

 private:
  std::vector<int> TakeHeard() {
    std::vector<int> events;
    for (const std::string& frame : peer.Notifications()) {
      EXPECT_EQ(frame.size(), 4U) << "an event has no payload";
      events.push_back(frame.at(0));
      EXPECT_EQ(frame, Frame(events.back()));
    }
    peer.Notifications().clear();
    return events;
  }
};

}  // namespace applist_test

#endif
