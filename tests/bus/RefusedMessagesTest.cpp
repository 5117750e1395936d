// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Messages that the remote side answers with an error, and that change nothing.
#include <limits>

#include "bus/RemotePeerTest.h"

namespace applist_test {
namespace {

constexpr const char* kBadPayload = "org.javamw.Link1.Error.BadPayload";
constexpr const char* kBadFrame = "org.javamw.Link1.Error.BadFrame";
constexpr const char* kBadSignature = "org.javamw.Link1.Error.BadSignature";
constexpr const char* kUnknownMessage = "org.javamw.Link1.Error.UnknownMessage";
constexpr const char* kNotInList = "org.javamw.Link1.Error.NotInList";

class RefusedMessagesTest : public RemotePeerTest {
 protected:
  RefusedMessagesTest() {
    Fill({"a", "b"});
    Apply(APPLIST_SET_SELECTION_FNC, Item("b"));
    Apply(APPLIST_SET_CLICKED_FNC, Item("a"));
  }

  void ExpectRefused(const char* error, int messageId, const std::string& payload) {
    SCOPED_TRACE("message " + std::to_string(messageId) + ", payload \"" + payload + "\"");
    EXPECT_EQ(Send(messageId, payload).error, error);
    EXPECT_TRUE(TakeEvents().empty());
    ExpectUnchanged();
  }

  void ExpectUnchanged() {
    EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b"}), "b"}));
    EXPECT_EQ(control.Read().lastClicked, "a");
  }
};

TEST_F(RefusedMessagesTest, MalformedPayloads) {
  const std::string malformed[] = {
      "Name",           // one line, and that without its end
      "Name\n",         // no identifier
      "Name\nid",       // cut short
      "Name\\x\nid\n",  // an unknown escape
      "Name\\\nid\n",   // an escape of nothing
      "Name\ni\\",      // cut short in an escape
  };
  for (const int messageId :
       {APPLIST_SET_SELECTION_FNC, APPLIST_ADD_ITEMS_FNC, APPLIST_ADD_ITEM_AT_END_FNC,
        APPLIST_SET_CLICKED_FNC, APPLIST_REMOVE_ITEM_FNC, APPLIST_MODIFY_ITEM_FNC}) {
    for (const std::string& payload : malformed) {
      ExpectRefused(kBadPayload, messageId, payload);
      ExpectRefused(kBadPayload, messageId, Item("a") + payload);
      ExpectRefused(kBadPayload, messageId, Item("a") + Item("x") + payload);
    }
  }
}

TEST_F(RefusedMessagesTest, EmptyPayloadsWhereItemsAreNeeded) {
  for (const int messageId :
       {APPLIST_SET_SELECTION_FNC, APPLIST_ADD_ITEMS_FNC, APPLIST_ADD_ITEM_AT_END_FNC,
        APPLIST_SET_CLICKED_FNC, APPLIST_REMOVE_ITEM_FNC, APPLIST_MODIFY_ITEM_FNC}) {
    ExpectRefused(kBadPayload, messageId, "");
  }
}

TEST_F(RefusedMessagesTest, PayloadsWhereNoneIsNeeded) {
  for (const int messageId :
       {APPLIST_GET_SELECTION_FNC, APPLIST_GET_ALL_ITEMS_FNC, APPLIST_REMOVE_ALL_ITEMS_FNC}) {
    ExpectRefused(kBadPayload, messageId, Item("a"));
    ExpectRefused(kBadPayload, messageId, "x");
  }
}

TEST_F(RefusedMessagesTest, TooManyItemsOrTooFew) {
  for (const int messageId : {APPLIST_SET_SELECTION_FNC, APPLIST_ADD_ITEM_AT_END_FNC,
                              APPLIST_SET_CLICKED_FNC, APPLIST_REMOVE_ITEM_FNC}) {
    ExpectRefused(kBadPayload, messageId, Items({"a", "b"}));
  }
  ExpectRefused(kBadPayload, APPLIST_MODIFY_ITEM_FNC, Items({"a"}));
  ExpectRefused(kBadPayload, APPLIST_MODIFY_ITEM_FNC, Items({"a", "b", "c"}));
}

TEST_F(RefusedMessagesTest, UnknownIdentifiers) {
  for (const int messageId : {0, 1, 2, 3, 4, 5, -1, 1999, 2009, 2000 << 16,
                              std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    ExpectRefused(kUnknownMessage, messageId, "");
    ExpectRefused(kUnknownMessage, messageId, Item("a"));
  }
}

// The user interface is told to ask what is selected here.
TEST_F(RefusedMessagesTest, ASelectionThatIsNotInTheListIsAnsweredByTheSelectionEventAsWell) {
  for (const std::string& payload : {Item("elsewhere"), Item("", "No identifier")}) {
    EXPECT_EQ(Send(APPLIST_SET_SELECTION_FNC, payload).error, kNotInList);
    EXPECT_EQ(TakeEvents(), std::vector<int>{APPLIST_ITEM_SELECTION_EVENT});
    ExpectUnchanged();
  }
}

TEST_F(RefusedMessagesTest, AnItemWithoutAnIdentifierCannotBeSelected) {
  Apply(APPLIST_ADD_ITEM_AT_END_FNC, Item("", "No identifier"));
  EXPECT_EQ(Send(APPLIST_SET_SELECTION_FNC, Item("", "No identifier")).error, kNotInList);
  EXPECT_EQ(RemoteHolds().selection, "b");
}

TEST_F(RefusedMessagesTest, FramesWithoutAnIdentifier) {
  for (const char* frame : {"", "x", "xyz"}) {
    EXPECT_EQ(peer.Send(kRemoteName, frame).error, kBadFrame);
    EXPECT_TRUE(TakeEvents().empty());
    ExpectUnchanged();
  }
}

TEST_F(RefusedMessagesTest, ArgumentsThatAreNoArrayOfBytes) {
  EXPECT_EQ(peer.SendText(kRemoteName, "text").error, kBadSignature);
  EXPECT_TRUE(TakeEvents().empty());
  ExpectUnchanged();
}

TEST_F(RefusedMessagesTest, WhatComesAfterARefusedMessageIsHeard) {
  EXPECT_EQ(Send(APPLIST_ADD_ITEM_AT_END_FNC, "Name").error, kBadPayload);
  EXPECT_EQ(Apply(APPLIST_ADD_ITEM_AT_END_FNC, Item("c")),
            std::vector<int>{APPLIST_ITEM_CHANGE_EVENT});
  EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "b", "c"}), "b"}));
}

}  // namespace
}  // namespace applist_test
