// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Replies that are late, of the wrong type, or errors: each is an empty reply, and the next message
// gets its own.
#include "bus/LinkEnds.h"
#include "fault/FaultFixture.h"
#include "fault/ScriptedRemote.h"

namespace applist_test {
namespace {

constexpr int kFirst = APPLIST_SET_SELECTION_FNC;
constexpr int kLast = APPLIST_MODIFY_ITEM_FNC;

constexpr const char* kErrors[] = {"AccessDenied",
                                   "AddressInUse",
                                   "AdtAuditDataUnknown",
                                   "AuthFailed",
                                   "BadAddress",
                                   "Disconnected",
                                   "Failed",
                                   "FileExists",
                                   "FileNotFound",
                                   "InconsistentMessage",
                                   "InteractiveAuthorizationRequired",
                                   "InvalidArgs",
                                   "InvalidFileContent",
                                   "InvalidSignature",
                                   "IOError",
                                   "LimitsExceeded",
                                   "MatchRuleInvalid",
                                   "MatchRuleNotFound",
                                   "NameHasNoOwner",
                                   "NoMemory",
                                   "NoNetwork",
                                   "NoReply",
                                   "NoServer",
                                   "NotContainer",
                                   "NotSupported",
                                   "ObjectPathInUse",
                                   "PropertyReadOnly",
                                   "SELinuxSecurityContextUnknown",
                                   "ServiceUnknown",
                                   "Spawn.ChildExited",
                                   "Spawn.ChildSignaled",
                                   "Spawn.ConfigInvalid",
                                   "Spawn.ExecFailed",
                                   "Spawn.Failed",
                                   "Spawn.FailedToSetup",
                                   "Spawn.FileInvalid",
                                   "Spawn.ForkFailed",
                                   "Spawn.NoMemory",
                                   "Spawn.PermissionsInvalid",
                                   "Spawn.ServiceNotFound",
                                   "Spawn.ServiceNotValid",
                                   "TimedOut",
                                   "Timeout",
                                   "UnixProcessIdUnknown",
                                   "UnknownInterface",
                                   "UnknownMethod",
                                   "UnknownObject",
                                   "UnknownProperty"};

class ReplyFaultTest : public FaultTest {
 protected:
  void Connect() {
    uiEnd = std::make_unique<UiEnd>();
    ASSERT_TRUE(WaitFor([&] { return !uiEnd->States().empty(); }));
    ASSERT_EQ(uiEnd->States().back().first, 1);
  }

  std::string Send(int messageId) {
    std::string reply;
    Timed([&] { reply = uiEnd->Send(messageId, "payload"); });
    return reply;
  }

  // Each message with this answer, and the next one with a good answer.
  void ExpectNoReplyTo(const ScriptedRemote::Answer& bad) {
    for (int id = kFirst; id <= kLast; ++id) {
      remote.AnswerWith(bad);
      EXPECT_EQ(Send(id), "") << id;
      remote.AnswerWith([](sd_bus_message* call) { ScriptedRemote::Reply(call, "good"); });
      EXPECT_EQ(Send(id), "good") << id;
    }
    EXPECT_EQ(SlowOperations(), 0U) << "an answer was taken for a hang";
  }

  // An answer with one argument of the basic type `type`.
  template <class Value>
  static ScriptedRemote::Answer With(const char* type, Value value) {
    return [type, value](sd_bus_message* call) { sd_bus_reply_method_return(call, type, value); };
  }

  ScriptedRemote remote{bus.Address()};
  std::unique_ptr<UiEnd> uiEnd;
};

TEST_F(ReplyFaultTest, EveryErrorIsAnEmptyReply) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  for (const char* error : kErrors) {
    SCOPED_TRACE(error);
    ExpectNoReplyTo(
        [name = std::string("org.freedesktop.DBus.Error.") + error](sd_bus_message* call) {
          sd_bus_reply_method_errorf(call, name.c_str(), "An error");
        });
  }
}

TEST_F(ReplyFaultTest, AReplyOfAnotherTypeIsAnEmptyReply) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  ExpectNoReplyTo([](sd_bus_message* call) { sd_bus_reply_method_return(call, ""); });
  ExpectNoReplyTo(With("s", "text"));
  ExpectNoReplyTo(With("o", "/path"));
  ExpectNoReplyTo(With("u", 7U));
  ExpectNoReplyTo(With("d", 7.0));
  ExpectNoReplyTo(With("b", 1));
  ExpectNoReplyTo(With("h", 0));
  ExpectNoReplyTo([](sd_bus_message* call) { sd_bus_reply_method_return(call, "as", 1, "text"); });
  ExpectNoReplyTo([](sd_bus_message* call) {
    sd_bus_reply_method_return(call, "v", "ay", 1, static_cast<int>('x'));
  });
}

TEST_F(ReplyFaultTest, ALateReplyIsNotTakenForTheNextOne) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  for (int id = kFirst; id <= kLast; ++id) {
    remote.HoldOne();
    EXPECT_EQ(Send(id), "") << id;
    remote.AnswerHeld("late");
    remote.AnswerWith([](sd_bus_message* call) { ScriptedRemote::Reply(call, "good"); });
    // Empty until the hang is over.
    EXPECT_TRUE(WaitFor([&] { return Send(id) == "good"; })) << id;
    EXPECT_EQ(Send(id), "good") << id;
  }
  EXPECT_EQ(SlowOperations(), static_cast<size_t>(kLast - kFirst + 1));
}

class ModelReplyFaultTest : public FaultTest {};

TEST_F(ModelReplyFaultTest, ARemoteSideThatOnlyFailsLeavesTheModelAtWork) {
  NewUserInterface();
  for (size_t round = 0; round < Rounds(3, 200); ++round) {
    {
      ScriptedRemote remote(bus.Address());
      remote.AnswerWith([](sd_bus_message* call) {
        sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.Failed", "An error");
      });
      ASSERT_TRUE(WaitFor([&] {
        return remote.Heard(APPLIST_ADD_ITEM_AT_END_FNC) > 0 ||
               (Timed([&] { ui->model.AddItemAtEnd(Item(9)); }), false);
      }));
      Work(20);
      remote.Announce();
      remote.Notify(APPLIST_ITEM_SELECTION_EVENT, 1);
      ASSERT_TRUE(WaitFor([&] { return remote.Heard(APPLIST_GET_SELECTION_FNC) > 0; }));
      ASSERT_TRUE(WaitFor([&] { return ui->Holds().selection.empty(); }))
          << "a selection that cannot be asked for is none";
    }
    StartDaemon();
    ASSERT_NO_FATAL_FAILURE(ExpectEqual()) << round;
    StopDaemon();
  }
}

}  // namespace
}  // namespace applist_test
