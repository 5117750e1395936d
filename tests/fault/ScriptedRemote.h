// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A remote side that answers whatever a test wants it to: a program in Python, steered from here.
#ifndef APPLIST_TESTS_FAULT_SCRIPTEDREMOTE_H
#define APPLIST_TESTS_FAULT_SCRIPTEDREMOTE_H

#include <memory>
#include <string>

#include "bus/BusPeer.h"
#include "common/AppListRemoteControl.h"
#include "dbus/Descriptor.h"
#include "support/ChildProcess.h"

namespace applist_test {

// Used by one thread at a time. Each operation returns when it is done, and throws
// std::runtime_error when the program has ended or does nothing for very long.
class ScriptedRemote {
 public:
  // Takes both names of the remote side at once, or gets them when they are free.
  enum class Names { AtOnce, Queued };
  explicit ScriptedRemote(const std::string& address, Names names = Names::AtOnce);
  ScriptedRemote(const ScriptedRemote&) = delete;
  ScriptedRemote& operator=(const ScriptedRemote&) = delete;

  // How a Send is answered.
  struct Answer {
    std::string command;
  };
  static Answer Bytes(const std::string& reply);
  static Answer Error(const std::string& name) { return {"error " + name}; }
  // A reply of one of some types other than an array of bytes, or of nothing.
  static Answer OfType(const std::string& signature) { return {"type " + signature}; }

  // From now on; an empty reply before.
  void AnswerWith(const Answer& answer) { Do("answer " + answer.command); }

  // Keeps each Send from now on; then answers what was kept, and what comes from then on.
  void Hold() { Do("answer hold"); }
  void AnswerHeld(const Answer& answer) { Do("release " + answer.command); }

  void WaitForNames() { Do("wait"); }
  void Announce() { Notify(APPLIST_LOCAL_CREATED_EVENT, 1); }
  void Notify(int event, size_t count) { NotifyBytes(Frame(event), count); }
  // Signals Notify with any bytes in them. Returns when the bus has worked them off.
  void NotifyBytes(const std::string& bytes, size_t count = 1);

  // How many messages with this identifier have come.
  size_t Heard(int messageId) { return std::stoul(Do("count " + std::to_string(messageId))); }

 private:
  std::string Do(const std::string& command);
  // The next line that the program writes, without its end.
  std::string ReadLine();

  applist::Descriptor m_socket;
  std::unique_ptr<applist::ChildProcess> m_program;
};

}  // namespace applist_test

#endif
