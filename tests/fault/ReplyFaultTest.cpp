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

constexpr const char* kOtherTypes[] = {"", "s", "o", "u", "d", "b", "h", "as", "v"};

ScriptedRemote::Answer StandardError(const char* name) {
  return ScriptedRemote::Error(std::string("org.freedesktop.DBus.Error.") + name);
}

class ReplyFaultTest : public FaultTest {
 protected:
  // With a bad answer nobody has to wait: a call that did would wait for longer than the test.
  void Connect(CallsWait wait) {
    if (wait == CallsWait::Forever) {
      setenv("APPLIST_CALL_TIMEOUT_MS", "300000", 1);
    }
    uiEnd = std::make_unique<UiEnd>();
    ASSERT_TRUE(WaitFor([&] { return IsConnected(); }));
  }

  bool IsConnected() { return !uiEnd->States().empty() && uiEnd->States().back().first == 1; }

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
      remote.AnswerWith(ScriptedRemote::Bytes("good"));
      EXPECT_EQ(Send(id), "good") << id;
    }
    EXPECT_EQ(uiEnd->States().size(), 1U) << "the link went down";
  }

  // Each message with this answer when nobody waits for it any longer. While the hang lasts, the
  // next ones have no reply; then they have their own.
  void ExpectNoReplyToLate(const ScriptedRemote::Answer& late) {
    for (int id = kFirst; id <= kLast; ++id) {
      remote.Hold();
      EXPECT_EQ(Send(id), "") << id;
      remote.AnswerHeld(late);
      remote.AnswerWith(ScriptedRemote::Bytes("good"));
      std::string reply;
      // One after the other has come: what piles up there would make the next one late as well.
      EXPECT_TRUE(WaitFor([&] {
        const size_t heard = remote.Heard(id);
        reply = Send(id);
        return !reply.empty() || (WaitFor([&] { return remote.Heard(id) > heard; }), false);
      })) << id;
      EXPECT_EQ(reply, "good") << id;
    }
    EXPECT_EQ(uiEnd->States().size(), 1U) << "the link went down";
  }

  ScriptedRemote remote{bus.Address()};
  std::unique_ptr<UiEnd> uiEnd;
};

TEST_F(ReplyFaultTest, EveryErrorIsAnEmptyReply) {
  ASSERT_NO_FATAL_FAILURE(Connect(CallsWait::Forever));
  for (const char* error : kErrors) {
    SCOPED_TRACE(error);
    ExpectNoReplyTo(StandardError(error));
  }
}

TEST_F(ReplyFaultTest, AReplyOfAnotherTypeIsAnEmptyReply) {
  ASSERT_NO_FATAL_FAILURE(Connect(CallsWait::Forever));
  for (const char* type : kOtherTypes) {
    SCOPED_TRACE(type);
    ExpectNoReplyTo(ScriptedRemote::OfType(type));
  }
}

TEST_F(ReplyFaultTest, ALateReplyIsNotTakenForTheNextOne) {
  ASSERT_NO_FATAL_FAILURE(Connect(CallsWait::AsUsual));
  ExpectNoReplyToLate(ScriptedRemote::Bytes("late"));
  EXPECT_GE(SlowOperations(), static_cast<size_t>(kLast - kFirst + 1)) << "none was late";
  if (IsLong()) {
    for (const char* error : kErrors) {
      SCOPED_TRACE(error);
      ExpectNoReplyToLate(StandardError(error));
    }
    for (const char* type : kOtherTypes) {
      SCOPED_TRACE(type);
      ExpectNoReplyToLate(ScriptedRemote::OfType(type));
    }
  }
}

class ModelReplyFaultTest : public FaultTest {
 protected:
  // The model puts its list there, works, and asks for a selection.
  void WorkAgainst(ScriptedRemote& remote) {
    ASSERT_TRUE(WaitFor([&] {
      return remote.Heard(APPLIST_ADD_ITEM_AT_END_FNC) > 0 ||
             (Timed([&] { ui->model.AddItemAtEnd(Item(9)); }), false);
    }));
    Work(20);
    remote.Announce();
    remote.Notify(APPLIST_ITEM_SELECTION_EVENT, 1);
  }

  // Nothing but the selection is what the other side says.
  void ExpectNoSelection(ScriptedRemote& remote) {
    const ItemList items = ui->Holds().items;
    ASSERT_TRUE(WaitFor([&] { return remote.Heard(APPLIST_GET_SELECTION_FNC) > 0; }));
    ASSERT_TRUE(WaitFor([&] { return ui->Holds().selection.empty(); }))
        << "a selection that cannot be asked for is none";
    EXPECT_EQ(ui->Holds().items, items);
  }

  void ExpectEqualWithADaemon() {
    StartDaemon();
    ASSERT_NO_FATAL_FAILURE(ExpectEqual());
    StopDaemon();
  }

  void ExpectToSurvive(const ScriptedRemote::Answer& bad) {
    {
      ScriptedRemote remote(bus.Address());
      remote.AnswerWith(bad);
      ASSERT_NO_FATAL_FAILURE(WorkAgainst(remote));
      ASSERT_NO_FATAL_FAILURE(ExpectNoSelection(remote));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectEqualWithADaemon());
  }

  void ExpectToSurviveLate(const ScriptedRemote::Answer& late) {
    {
      ScriptedRemote remote(bus.Address());
      remote.Hold();
      ASSERT_NO_FATAL_FAILURE(WorkAgainst(remote));
      remote.AnswerHeld(late);
      ASSERT_NO_FATAL_FAILURE(ExpectNoSelection(remote));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectEqualWithADaemon());
  }
};

TEST_F(ModelReplyFaultTest, ARemoteSideThatOnlyFailsLeavesTheModelAtWork) {
  NewUserInterface();
  for (size_t round = 0; round < Rounds(3, 200); ++round) {
    SCOPED_TRACE(round);
    const char* const error = kErrors[round % std::size(kErrors)];
    ASSERT_NO_FATAL_FAILURE(ExpectToSurvive(StandardError(error))) << error;
    const char* const type = kOtherTypes[round % std::size(kOtherTypes)];
    ASSERT_NO_FATAL_FAILURE(ExpectToSurvive(ScriptedRemote::OfType(type))) << type;
  }
}

TEST_F(ModelReplyFaultTest, ARemoteSideThatIsLateLeavesTheModelAtWork) {
  NewUserInterface();
  for (size_t round = 0; round < Rounds(1, 50); ++round) {
    SCOPED_TRACE(round);
    ASSERT_NO_FATAL_FAILURE(ExpectToSurviveLate(ScriptedRemote::Bytes("late\nlate\n")));
    const char* const error = kErrors[round % std::size(kErrors)];
    ASSERT_NO_FATAL_FAILURE(ExpectToSurviveLate(StandardError(error))) << error;
  }
}

}  // namespace
}  // namespace applist_test
