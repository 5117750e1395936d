// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ipc/IPCApplist.h"
#include "ipc/javamw-dbus-remote.h"
#include "support/Record.h"
#include "support/RecordingLog.h"
#include "support/RecordingTransport.h"
#include "support/Slot.h"

namespace applist_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A transport of another make, which cannot send notifications.
class Pipe {
 public:
  explicit Pipe(std::string serviceName) { Record("open " + serviceName); }
  virtual ~Pipe() { Record("close"); }
  virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
  virtual void HandleNotification(std::vector<char>& data) = 0;
  virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

  std::vector<char> SendMessage(std::vector<char>& message) {
    Record("send " + Text(message));
    if (broken) {
      throw std::runtime_error("broken pipe");
    }
    return reply;
  }

  std::vector<char> reply;
  bool broken = false;
};

// One that can.
class TwoWayPipe : public Pipe {
 public:
  using Pipe::Pipe;
  void SendNotification(std::vector<char>& message) { Record("notify " + Text(message)); }
};

class Handler {
 public:
  std::vector<char> Answer(int messageId, const std::vector<char>& data) {
    Record("answer " + std::to_string(messageId) + " " + Text(data));
    return Bytes("reply without trailer");
  }
  std::vector<char> Refuse(int, const std::vector<char>&) { throw std::runtime_error("refused"); }
  void Hear(int messageId, const std::vector<char>& data) {
    Record("hear " + std::to_string(messageId) + " " + Text(data));
  }
  void HearToo(int messageId, const std::vector<char>&) {
    Record("hear too " + std::to_string(messageId));
  }
  void Meet(const std::string& partner) { Record("meet " + partner); }
};

const char* const kTooShort = "Data corrupted. Does not contain message id.";

// The endpoint over any transport.
template <class Transport>
class IPCApplistOver : public ::testing::Test {
 protected:
  IPCApplistOver() { TakeRecord(); }

  // What the endpoint leaves of a message, and of a notification.
  std::string Message(const std::string& frame) {
    std::vector<char> data = Bytes(frame);
    reply = Text(endpoint.HandleMessage(data));
    return Text(data);
  }
  std::string Notification(const std::string& frame) {
    std::vector<char> data = Bytes(frame);
    endpoint.HandleNotification(data);
    return Text(data);
  }

  IPCApplist<Transport, Handler> endpoint;
  Handler handler;
  Handler stranger;
  std::string reply = "none yet";
};

using Transports = ::testing::Types<JavaMWDbusRemote, Pipe, TwoWayPipe>;
TYPED_TEST_SUITE(IPCApplistOver, Transports, );

TYPED_TEST(IPCApplistOver, ARegisteredObjectHearsNotificationsWithoutTheirTrailer) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  EXPECT_THAT(TakeRecord(), IsEmpty());
  EXPECT_EQ(this->Notification({"\xAA\xBB\x02\0\0\0", 6}), "\xAA\xBB");
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), "hear 2 \xAA\xBB"));
}

TYPED_TEST(IPCApplistOver, ANotificationOfFourBytesHasNoPayload) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  EXPECT_EQ(this->Notification({"\x01\0\0\0", 4}), "");
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), "hear 1 "));
}

TYPED_TEST(IPCApplistOver, IdentifiersAreSignedAndLittleEndian) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::HearToo);
  this->Notification({"\0\0\x07\xD0", 4});
  this->Notification("\xFF\xFF\xFF\xFF");
  this->Notification({"\0\0\0\x80", 4});
  this->Notification("\xFF\xFF\xFF\x7F");
  const std::string entry = Debug("IPC HandleNotification");
  EXPECT_THAT(TakeRecord(), ElementsAre(entry, "hear too -804847616", entry, "hear too -1", entry,
                                        "hear too -2147483648", entry, "hear too 2147483647"));
}

TYPED_TEST(IPCApplistOver, FramesShorterThanAnIdentifierAreLeftAsTheyAre) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Answer);
  for (const std::string frame : {"", "\x01", "\x01\x02", "\x01\x02\x03"}) {
    EXPECT_EQ(this->Notification(frame), frame);
    EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), Error(kTooShort)));
    EXPECT_EQ(this->Message(frame), frame);
    EXPECT_EQ(this->reply, "");
    EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleMessage"), Error(kTooShort)));
  }
}

TYPED_TEST(IPCApplistOver, WithoutAHandlerFramesAreCutAndDropped) {
  EXPECT_EQ(this->Notification(Frame("payload", 2)), "payload");
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"),
                                        Info("callbackNotificationObject object is NULL")));
  EXPECT_EQ(this->Message(Frame("payload", 2000)), "payload");
  EXPECT_EQ(this->reply, "");
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleMessage"),
                                        Info("callbackMessageObject object is NULL")));
}

TYPED_TEST(IPCApplistOver, ARegisteredObjectAnswersMessages) {
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Answer);
  EXPECT_THAT(TakeRecord(), IsEmpty());
  EXPECT_EQ(this->Message(Frame("payload", 2002)), "payload");
  EXPECT_EQ(this->reply, "reply without trailer");
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleMessage"), "answer 2002 payload"));
}

TYPED_TEST(IPCApplistOver, WhatAHandlerThrowsComesThrough) {
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Refuse);
  EXPECT_THROW(this->Message(Frame("payload", 2000)), std::runtime_error);
}

TYPED_TEST(IPCApplistOver, ASecondRegistrationReplacesTheFirst) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  this->endpoint.RegisterOnNotification(&this->stranger, &Handler::HearToo);
  this->Notification(Frame("", 3));
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), "hear too 3"));
  this->endpoint.UnregisterOnNotification(&this->handler);
  EXPECT_THAT(TakeRecord(), IsEmpty());
}

TYPED_TEST(IPCApplistOver, OnlyTheRegisteredObjectCanBeUnregistered) {
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  this->endpoint.UnregisterOnNotification(&this->stranger);
  EXPECT_THAT(TakeRecord(), IsEmpty());
  this->Notification(Frame("", 1));
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), "hear 1 "));
  this->endpoint.UnregisterOnNotification(&this->handler);
  EXPECT_THAT(TakeRecord(), ElementsAre(Info("Unregistered callbackNotificationObject")));
  this->Notification(Frame("", 1));
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"),
                                        Info("callbackNotificationObject object is NULL")));
}

TYPED_TEST(IPCApplistOver, TheOtherTwoHandlersAreUnregisteredByTheSameRule) {
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Answer);
  this->endpoint.RegisterOnConnectionReady(&this->handler, &Handler::Meet);
  this->endpoint.UnregisterOnMessage(&this->stranger);
  this->endpoint.UnregisterOnConnectionReady(&this->stranger);
  EXPECT_THAT(TakeRecord(), IsEmpty());
  this->Message(Frame("", 2000));
  EXPECT_EQ(this->reply, "reply without trailer");
  this->endpoint.UnregisterOnMessage(&this->handler);
  this->Message(Frame("", 2000));
  EXPECT_EQ(this->reply, "");
  this->endpoint.HandleConnectionReady(true, "first");
  this->endpoint.UnregisterOnConnectionReady(&this->handler);
  TakeRecord();
  this->endpoint.HandleConnectionReady(true, "second");
  EXPECT_THAT(TakeRecord(),
              ElementsAre(Debug("HandleConnectionReady state=%d, partner=%s", 1, "second")));
}

TYPED_TEST(IPCApplistOver, TheKindsOfHandlersAreIndependent) {
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Answer);
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  this->endpoint.UnregisterOnMessage(&this->handler);
  TakeRecord();
  this->Notification(Frame("x", 4));
  EXPECT_THAT(TakeRecord(), ElementsAre(Debug("IPC HandleNotification"), "hear 4 x"));
}

TYPED_TEST(IPCApplistOver, AReadyConnectionIsPassedOnAndALostOneOnlyLogged) {
  this->endpoint.RegisterOnConnectionReady(&this->handler, &Handler::Meet);
  EXPECT_THAT(TakeRecord(), IsEmpty());
  this->endpoint.HandleConnectionReady(false, "partner");
  EXPECT_THAT(TakeRecord(),
              ElementsAre(Debug("HandleConnectionReady state=%d, partner=%s", 0, "partner")));
  this->endpoint.HandleConnectionReady(true, "partner");
  EXPECT_THAT(TakeRecord(),
              ElementsAre(Debug("HandleConnectionReady state=%d, partner=%s", 1, "partner"),
                          Debug("Calling connection ready callback"), "meet partner"));
}

TYPED_TEST(IPCApplistOver, AReadyConnectionWithoutAHandlerIsOnlyLogged) {
  this->endpoint.HandleConnectionReady(true, "");
  EXPECT_THAT(TakeRecord(),
              ElementsAre(Debug("HandleConnectionReady state=%d, partner=%s", 1, "")));
}

TYPED_TEST(IPCApplistOver, AMessageIsItsPayloadAndTheIdentifier) {
  this->endpoint.SendMessage(2006, "xyz", 3);
  this->endpoint.SendMessage(-2, std::string("\0\xFF", 2).data(), 2);
  EXPECT_THAT(TakeRecord(), ElementsAre("send " + std::string("\x78\x79\x7A\xD6\x07\0\0", 7),
                                        "send " + std::string("\0\xFF\xFE\xFF\xFF\xFF", 6)));
}

TYPED_TEST(IPCApplistOver, AMessageWithoutAPayloadIsTheIdentifierWhateverThePointer) {
  const std::string frame = "send " + std::string("\xD3\x07\0\0", 4);
  this->endpoint.SendMessage(2003, nullptr, 0);
  this->endpoint.SendMessage(2003, "not read", 0);
  EXPECT_THAT(TakeRecord(), ElementsAre(frame, frame));
}

// The slots that every transport has.
TYPED_TEST(IPCApplistOver, TheVirtualFunctionsAreThoseOfTheTransportInItsOrder) {
  using Endpoint = IPCApplist<TypeParam, Handler>;
  EXPECT_EQ(Slot(&Endpoint::HandleMessage), 2) << "behind the destructor";
  EXPECT_EQ(Slot(&Endpoint::HandleNotification), 3);
  EXPECT_EQ(Slot(&Endpoint::HandleConnectionReady), 4);
  EXPECT_EQ(Slots<Endpoint>(), 5);
  EXPECT_EQ(Slot(&TypeParam::HandleMessage), 2);
  EXPECT_EQ(Slot(&TypeParam::HandleNotification), 3);
  EXPECT_EQ(Slot(&TypeParam::HandleConnectionReady), 4);
  EXPECT_EQ(Slots<TypeParam>(), 5);
}

TYPED_TEST(IPCApplistOver, TheTransportReachesTheEndpointThroughItsVirtualFunctions) {
  this->endpoint.RegisterOnMessage(&this->handler, &Handler::Answer);
  this->endpoint.RegisterOnNotification(&this->handler, &Handler::Hear);
  this->endpoint.RegisterOnConnectionReady(&this->handler, &Handler::Meet);
  TypeParam& transport = this->endpoint;
  std::vector<char> message = Bytes(Frame("m", 5));
  std::vector<char> notification = Bytes(Frame("n", 6));
  transport.HandleMessage(message);
  transport.HandleNotification(notification);
  transport.HandleConnectionReady(true, "p");
  EXPECT_THAT(TakeRecord(),
              ElementsAre(Debug("IPC HandleMessage"), "answer 5 m", Debug("IPC HandleNotification"),
                          "hear 6 n", Debug("HandleConnectionReady state=%d, partner=%s", 1, "p"),
                          Debug("Calling connection ready callback"), "meet p"));
}

TEST(IPCApplistLife, ConnectsUnderItsOwnNameAndDisconnectsWithoutAWord) {
  TakeRecord();
  {
    IPCApplist<Pipe, Handler> endpoint;
    EXPECT_THAT(TakeRecord(), ElementsAre("open Applist", Debug("IPCApplist")));
    Handler handler;
    endpoint.RegisterOnNotification(&handler, &Handler::Hear);
  }
  EXPECT_THAT(TakeRecord(), ElementsAre("close"));
}

TEST(IPCApplistLife, DestructionThroughTheTransportIsWhole) {
  Pipe* const transport = new IPCApplist<Pipe, Handler>;
  TakeRecord();
  delete transport;
  EXPECT_THAT(TakeRecord(), ElementsAre("close"));
}

TEST(IPCApplistSending, TheReplyComesBackAsTheTransportGaveIt) {
  IPCApplist<Pipe, Handler> endpoint;
  EXPECT_EQ(Text(endpoint.SendMessage(2001, nullptr, 0)), "");
  endpoint.reply = Bytes(Frame("reply", 2001));
  EXPECT_EQ(Text(endpoint.SendMessage(2001, nullptr, 0)), Frame("reply", 2001));
}

TEST(IPCApplistSending, WhatTheTransportThrowsComesThrough) {
  IPCApplist<Pipe, Handler> endpoint;
  endpoint.broken = true;
  EXPECT_THROW(endpoint.SendMessage(2001, nullptr, 0), std::runtime_error);
}

template <class Endpoint>
void ExpectNotificationsAreFramed() {
  Endpoint endpoint;
  TakeRecord();
  endpoint.SendNotification(2, "payload");
  endpoint.SendNotification(4, "");
  EXPECT_THAT(TakeRecord(), ElementsAre("notify " + std::string("payload\x02\0\0\0", 11),
                                        "notify " + std::string("\x04\0\0\0", 4)));
}

TEST(IPCApplistSending, ANotificationIsFramedLikeAMessage) {
  ExpectNotificationsAreFramed<IPCApplist<TwoWayPipe, Handler>>();
  ExpectNotificationsAreFramed<IPCApplist<JavaMWDbusRemote, Handler>>();
}

TEST(IPCApplistLog, EveryLineNamesTheHeaderAndTheFunction) {
  TakeLogLines();
  IPCApplist<Pipe, Handler> endpoint;
  std::vector<char> data;
  endpoint.HandleMessage(data);
  endpoint.HandleConnectionReady(false, "");
  std::vector<std::string> functions;
  for (const LogLine& line : TakeLogLines()) {
    EXPECT_EQ(line.file, "IPCApplist.h");
    EXPECT_EQ(line.functionAgain, line.function);
    EXPECT_GT(line.line, 0);
    EXPECT_EQ(line.lineAgain, line.line);
    functions.push_back(line.function);
  }
  EXPECT_THAT(functions,
              ElementsAre("IPCApplist", "HandleMessage", "HandleMessage", "HandleConnectionReady"));
}

}  // namespace
}  // namespace applist_test
