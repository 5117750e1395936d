// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The events of the remote side.
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ModelTest.h"

namespace applist_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const char* const kNoSelection =
    "Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL";

// What a selection event makes happen, with `taken` between the length of the reply and the unlock.
std::vector<std::string> SelectionEvent(int replyLength, const std::vector<std::string>& taken,
                                        int listeners = 0) {
  std::vector<std::string> record = {Debug("IPC HandleNotification"),
                                     Debug("Getting remote selection"),
                                     Debug("Get remote selection data"),
                                     "send " + std::string("\xD1\x07\0\0", 4),
                                     "lock",
                                     Debug("Deserialize data length: %d", replyLength)};
  record.insert(record.end(), taken.begin(), taken.end());
  record.push_back("unlock");
  record.push_back(Debug("ItemSelectionEvent from local model. Listeners :%d", listeners));
  return record;
}

std::string Decoded(const char* name, const char* id) {
  return Debug(" - RemoteAppListItem name: %s, uniqueId: %s", name, id);
}

std::string Found(const char* name, const char* id) {
  return Debug("Found selected item on list. Name: %s, uniqueId: %s", name, id);
}

class RemoteAppListModelSelectionEvent : public ModelTest {
 protected:
  RemoteAppListModelSelectionEvent() {
    model->AddItems({&a, &b});
    model->SetSelection(&a);
  }

  static std::vector<std::string> RecordOfEvent(const std::string& reply) {
    RemoteSelectionIs(reply);
    return RecordOf([] { Notify(APPLIST_ITEM_SELECTION_EVENT); });
  }
};

TEST_F(RemoteAppListModelSelectionEvent, SelectsTheLocalItemOfTheRemoteSelection) {
  EXPECT_THAT(RecordOfEvent("Beta\nb\n"),
              ElementsAreArray(SelectionEvent(7, {Decoded("Beta", "b"), Found("Beta", "b")})));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelSelectionEvent, MatchesByTheIdentifierAndLogsTheLocalName) {
  EXPECT_THAT(RecordOfEvent("Remote\nb\n"),
              ElementsAreArray(SelectionEvent(9, {Decoded("Remote", "b"), Found("Beta", "b")})));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelSelectionEvent, AnEmptyReplyClearsTheSelection) {
  EXPECT_THAT(RecordOfEvent(""), ElementsAreArray(SelectionEvent(0, {Debug("%s", kNoSelection)})));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelSelectionEvent, AReplyThatMatchesNothingClearsTheSelection) {
  EXPECT_THAT(RecordOfEvent("Alpha\nA\n"),
              ElementsAreArray(SelectionEvent(8, {Decoded("Alpha", "A")})));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelSelectionEvent, OnlyTheFirstItemOfTheReplyIsLookedFor) {
  EXPECT_THAT(
      RecordOfEvent("Unknown\nx\nBeta\nb\n"),
      ElementsAreArray(SelectionEvent(17, {Decoded("Unknown", "x"), Decoded("Beta", "b")})));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelSelectionEvent, EveryItemOfTheReplyIsDecodedInOrder) {
  EXPECT_THAT(RecordOfEvent("Beta\nb\nAlpha\na\nGamma\nc\n"),
              ElementsAreArray(SelectionEvent(23, {Decoded("Beta", "b"), Decoded("Alpha", "a"),
                                                   Decoded("Gamma", "c"), Found("Beta", "b")})));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelSelectionEvent, AnItemWithoutItsLastLineFeedIsDropped) {
  EXPECT_THAT(RecordOfEvent("Beta\nb\nAlpha\na"),
              ElementsAreArray(SelectionEvent(14, {Decoded("Beta", "b"), Found("Beta", "b")})));
  EXPECT_EQ(model->GetSelection(), &b);
  EXPECT_THAT(RecordOfEvent("Alpha\na"),
              ElementsAreArray(SelectionEvent(7, {Debug("%s", kNoSelection)})));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelSelectionEvent, DecodingEndsAtMalformedBytes) {
  EXPECT_THAT(RecordOfEvent("Beta\nb\nAlpha\na\nbad\\escape\nc\nGamma\nc\n"),
              ElementsAreArray(SelectionEvent(
                  36, {Decoded("Beta", "b"), Decoded("Alpha", "a"), Found("Beta", "b")})));
  EXPECT_THAT(RecordOfEvent("bad\\escape\nb\nBeta\nb\n"),
              ElementsAreArray(SelectionEvent(20, {Debug("%s", kNoSelection)})));
  EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(RemoteAppListModelSelectionEvent, ZeroBytesAndEscapesSurvive) {
  TestItem special(std::string("N\0\n", 3), std::string("\\\0i\n", 4));
  model->AddItemAtEnd(&special);
  RecordOfEvent(std::string("N\0\\n\n\\\\\0i\\n\n", 12));
  EXPECT_EQ(model->GetSelection(), &special);
}

TEST_F(RemoteAppListModelSelectionEvent, AnEmptyIdentifierCanBeTheRemoteSelection) {
  model->AddItemAtEnd(&noId);
  EXPECT_THAT(RecordOfEvent("\n\n"),
              ElementsAreArray(SelectionEvent(2, {Decoded("", ""), Found("Nameless", "")})));
  EXPECT_EQ(model->GetSelection(), &noId);
}

TEST_F(RemoteAppListModelSelectionEvent, TheEarlierOfTwoLocalItemsIsSelected) {
  model->AddItemAtEnd(&otherA);
  RecordOfEvent("Other\na\n");
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelSelectionEvent, CallsTheListenersInEveryOutcome) {
  TestListener first("first");
  TestListener second("second");
  model->AddItemSelectionListener(&first);
  model->AddItemSelectionListener(&second);
  for (const std::string reply : {"", "Beta\nb\n", "Unknown\nx\n", "bad\\\nb\n"}) {
    const std::vector<std::string> record = RecordOfEvent(reply);
    EXPECT_EQ(std::vector<std::string>(record.end() - 4, record.end()),
              (std::vector<std::string>{
                  "unlock", Debug("ItemSelectionEvent from local model. Listeners :%d", 2),
                  "selected first", "selected second"}));
  }
}

TEST_F(RemoteAppListModelSelectionEvent, AListenerFindsTheNewSelection) {
  AppListItem* seen = nullptr;
  TestListener listener("listener");
  listener.onCall = [&](AppListModel* caller) { seen = caller->GetSelection(); };
  model->AddItemSelectionListener(&listener);
  RecordOfEvent("Beta\nb\n");
  EXPECT_EQ(seen, &b);
}

TEST_F(RemoteAppListModelSelectionEvent, AListenerThatThrowsLeavesTheNewSelection) {
  TestListener listener("listener");
  listener.onCall = [](AppListModel*) { throw std::runtime_error("listener"); };
  model->AddItemSelectionListener(&listener);
  EXPECT_THROW(RecordOfEvent("Beta\nb\n"), std::runtime_error);
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelSelectionEvent, TheRemoteSideIsAskedWhileTheOldSelectionStands) {
  AnswerWith([&](const std::string&) {
    EXPECT_FALSE(MutexHeld());
    EXPECT_EQ(model->GetSelection(), &a);
    return "Beta\nb\n";
  });
  Notify(APPLIST_ITEM_SELECTION_EVENT);
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelSelectionEvent, ATransportThatThrowsLeavesTheSelection) {
  AnswerWith([](const std::string&) -> std::string { throw std::runtime_error("link"); });
  EXPECT_THAT(
      RecordOf([] { EXPECT_THROW(Notify(APPLIST_ITEM_SELECTION_EVENT), std::runtime_error); }),
      Each(Not("lock")));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelSelectionEvent, LocalItemsAreAskedUnderTheLock) {
  std::vector<bool> held;
  b.onGetVisibleName = b.onGetUnigueId = [&] { held.push_back(MutexHeld()); };
  RecordOfEvent("Beta\nb\n");
  EXPECT_FALSE(held.empty());
  EXPECT_THAT(held, Each(true));
}

TEST_F(RemoteAppListModelSelectionEvent, AnItemThatThrowsLeavesTheLockHeldAndNothingSelected) {
  TestListener listener("listener");
  model->AddItemSelectionListener(&listener);
  b.onGetUnigueId = [] { throw std::runtime_error("item"); };
  RemoteSelectionIs("Beta\nb\n");
  EXPECT_THAT(
      RecordOf([] { EXPECT_THROW(Notify(APPLIST_ITEM_SELECTION_EVENT), std::runtime_error); }),
      Each(Not("selected listener")));
  EXPECT_TRUE(MutexHeld());
  ReleaseHeldMutex();
  EXPECT_EQ(model->GetSelection(), nullptr);
}

class RemoteAppListModelCreatedEvent : public ModelTest {
 protected:
  static std::vector<std::string> RecordOfEvent() {
    return RecordOf([] { Notify(APPLIST_LOCAL_CREATED_EVENT); });
  }

  // What the event makes happen with `a` and `b` listed, before the lock is given back.
  std::vector<std::string> Pushed(AppListItem* selection) {
    return {Debug("IPC HandleNotification"),
            "lock",
            Debug("LocalCreatedEvent from local model. Number of items to add :%d", 2),
            Debug("Adding remote items. Items count: %d", 2),
            Debug("Number of items to serialize: %d", 2),
            Listed(a),
            Serialized(a),
            Listed(b),
            Serialized(b),
            Debug("Setting remote selection: %p", static_cast<void*>(selection))};
  }

  static std::vector<std::string> Joined(std::vector<std::string> head,
                                         const std::vector<std::string>& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  }

  const std::string list = Sent("Alpha\na\nBeta\nb\n", 2004);
};

TEST_F(RemoteAppListModelCreatedEvent, AnEmptyListSendsNothing) {
  model->SetSelection(&a);
  EXPECT_THAT(
      RecordOfEvent(),
      ElementsAre(Debug("IPC HandleNotification"), "lock",
                  Debug("LocalCreatedEvent from local model. Number of items to add :%d", 0),
                  "unlock", Length(0), Length(0)));
}

TEST_F(RemoteAppListModelCreatedEvent, SendsTheListAndThenTheSelection) {
  model->AddItems({&a, &b});
  model->SetSelection(&b);
  const std::vector<std::string> expected = Joined(
      Pushed(&b), {Serialized(b), "unlock", Length(15), list, Length(7), Sent("Beta\nb\n", 2000)});
  EXPECT_THAT(RecordOfEvent(), ElementsAreArray(expected));
  EXPECT_THAT(RecordOfEvent(), ElementsAreArray(expected)) << "each time again";
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelCreatedEvent, WithoutASelectionOnlyTheListIsSent) {
  model->AddItems({&a, &b});
  EXPECT_THAT(RecordOfEvent(),
              ElementsAreArray(Joined(Pushed(nullptr), {"unlock", Length(15), list, Length(0)})));
}

TEST_F(RemoteAppListModelCreatedEvent, ASelectionWithoutAnIdentifierIsNotSent) {
  model->AddItems({&a, &b});
  TestItem fading("Fading", "id");
  model->SetSelection(&fading);
  fading.id = "";
  EXPECT_THAT(RecordOfEvent(),
              ElementsAreArray(Joined(Pushed(&fading), {"unlock", Length(15), list, Length(0)})));
}

TEST_F(RemoteAppListModelCreatedEvent, ASelectionOutsideTheListIsSent) {
  model->AddItems({&a, &b});
  model->SetSelection(&c);
  EXPECT_THAT(RecordOfEvent(),
              ElementsAreArray(Joined(Pushed(&c), {Serialized(c), "unlock", Length(15), list,
                                                   Length(8), Sent("Gamma\nc\n", 2000)})));
}

TEST_F(RemoteAppListModelCreatedEvent, CallsNoListener) {
  TestListener listener("listener");
  model->AddItemSelectionListener(&listener);
  model->AddItemChangeListener(&listener);
  model->AddItemClickedListener(&listener);
  model->AddItems({&a});
  EXPECT_THAT(RecordOfEvent(), Each(Not(::testing::EndsWith(" listener"))));
}

TEST_F(RemoteAppListModelCreatedEvent, AsksTheItemsUnderTheLockAndSendsWithoutIt) {
  model->AddItems({&a});
  model->SetSelection(&a);
  std::vector<bool> asked;
  std::vector<bool> sent;
  a.onGetVisibleName = a.onGetUnigueId = [&] { asked.push_back(MutexHeld()); };
  AnswerWith([&](const std::string&) {
    sent.push_back(MutexHeld());
    return "Beta\nb\n";
  });
  Notify(APPLIST_LOCAL_CREATED_EVENT);
  EXPECT_FALSE(asked.empty());
  EXPECT_THAT(asked, Each(true));
  EXPECT_THAT(sent, ElementsAre(false, false));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelCreatedEvent, AnItemThatThrowsLeavesTheLockHeldAndNothingIsSent) {
  model->AddItems({&a});
  a.onGetVisibleName = [] { throw std::runtime_error("item"); };
  EXPECT_THAT(
      RecordOf([] { EXPECT_THROW(Notify(APPLIST_LOCAL_CREATED_EVENT), std::runtime_error); }),
      Each(Not(StartsWith("send "))));
  EXPECT_TRUE(MutexHeld());
  ReleaseHeldMutex();
}

TEST_F(RemoteAppListModelCreatedEvent, ATransportThatThrowsEndsTheEvent) {
  model->AddItems({&a, &b});
  model->SetSelection(&b);
  AnswerWith([](const std::string&) -> std::string { throw std::runtime_error("link"); });
  EXPECT_THAT(
      RecordOf([] { EXPECT_THROW(Notify(APPLIST_LOCAL_CREATED_EVENT), std::runtime_error); }),
      ElementsAreArray(Joined(Pushed(&b), {Serialized(b), "unlock", Length(15), list})));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
}

class RemoteAppListModelInbound : public ModelTest {};

TEST_F(RemoteAppListModelInbound, ChangesAndClicksAreOnlyPassedOn) {
  TestListener first("first");
  TestListener second("second");
  for (TestListener* const listener : {&first, &second}) {
    model->AddItemSelectionListener(listener);
    model->AddItemChangeListener(listener);
    model->AddItemClickedListener(listener);
  }
  model->AddItems({&a, &b});
  model->SetSelection(&b);
  EXPECT_THAT(RecordOf([] { Notify(APPLIST_ITEM_CHANGE_EVENT); }),
              ElementsAre(Debug("IPC HandleNotification"),
                          Debug("ItemChageEvent from local model. Listeners :%d", 2),
                          "changed first", "changed second"));
  EXPECT_THAT(RecordOf([] { Notify(APPLIST_ITEM_CLICKED_EVENT); }),
              ElementsAre(Debug("IPC HandleNotification"),
                          Debug("ItemClickedEvent from local model. Listeners :%d", 2),
                          "clicked first", "clicked second"));
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
  EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(RemoteAppListModelInbound, UnknownEventsAreOnlyLogged) {
  model->AddItems({&a});
  model->SetSelection(&a);
  for (const int id : {0, 5, -1, 2000, 2001, 2008, 2147483647}) {
    EXPECT_THAT(RecordOf([id] { Notify(id, "payload"); }),
                ElementsAre(Debug("IPC HandleNotification"),
                            Debug("Message received with unknown id=%d", id)));
  }
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
  EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(RemoteAppListModelInbound, ThePayloadOfAnEventIsNotRead) {
  model->AddItems({&a, &b});
  model->SetSelection(&a);
  TestListener listener("listener");
  model->AddItemSelectionListener(&listener);
  model->AddItemChangeListener(&listener);
  model->AddItemClickedListener(&listener);
  RemoteSelectionIs("Beta\nb\n");
  Notify(APPLIST_ITEM_SELECTION_EVENT);
  for (const int event : {1, 2, 3, 4}) {
    const std::vector<std::string> bare = RecordOf([event] { Notify(event); });
    for (const std::string& payload :
         {std::string("Alpha\na\n"), std::string(1, '\0'), std::string(8192, '\xFF')}) {
      EXPECT_EQ(RecordOf([event, &payload] { Notify(event, payload); }), bare);
    }
  }
}

TEST_F(RemoteAppListModelInbound, TheDispatcherCanBeCalledDirectly) {
  EXPECT_THAT(RecordOf([&] { model->OnNotificationReceive(9, {}); }),
              ElementsAre(Debug("Message received with unknown id=%d", 9)));
}

TEST_F(RemoteAppListModelInbound, ANotificationWithoutAnIdentifierIsDropped) {
  std::vector<char> data = Bytes("\x01\x02\x03");
  EXPECT_THAT(RecordOf([&] { Transport().HandleNotification(data); }),
              ElementsAre(Debug("IPC HandleNotification"),
                          Error("Data corrupted. Does not contain message id.")));
  EXPECT_EQ(Text(data), "\x01\x02\x03");
}

TEST_F(RemoteAppListModelInbound, MessagesOfTheRemoteSideAreAnsweredWithNothing) {
  model->AddItems({&a});
  for (const int id : {1, 4, 2000, 2003, 2004}) {
    std::vector<char> data = Bytes(Frame("Alpha\na\n", id));
    std::vector<char> reply = Bytes("not empty");
    EXPECT_THAT(
        RecordOf([&] { reply = Transport().HandleMessage(data); }),
        ElementsAre(Debug("IPC HandleMessage"), Info("callbackMessageObject object is NULL")));
    EXPECT_THAT(reply, IsEmpty());
    EXPECT_EQ(Text(data), "Alpha\na\n");
  }
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a));
}

TEST_F(RemoteAppListModelInbound, ConnectionChangesAreOnlyLogged) {
  for (const bool state : {true, false}) {
    EXPECT_THAT(RecordOf([state] { Transport().HandleConnectionReady(state, "partner"); }),
                ElementsAre(Debug("HandleConnectionReady state=%d, partner=%s", state, "partner")));
  }
}

}  // namespace
}  // namespace applist_test
