// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A remote side that answers whatever a test wants it to, on a thread of its own.
#ifndef APPLIST_TESTS_FAULT_SCRIPTEDREMOTE_H
#define APPLIST_TESTS_FAULT_SCRIPTEDREMOTE_H

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "bus/BusPeer.h"
#include "bus/LoopThread.h"
#include "common/AppListRemoteControl.h"

namespace applist_test {

class ScriptedRemote {
 public:
  // Takes both names of the remote side at once, or gets them when they are free.
  enum class Names { AtOnce, Queued };
  explicit ScriptedRemote(const std::string& address, Names names = Names::AtOnce);
  ~ScriptedRemote();
  ScriptedRemote(const ScriptedRemote&) = delete;
  ScriptedRemote& operator=(const ScriptedRemote&) = delete;

  // What to do with a Send, on the other thread. Without it, an empty reply.
  using Answer = std::function<void(sd_bus_message* call)>;
  void AnswerWith(Answer answer);

  // Keeps the next Send, and answers it later.
  void HoldOne();
  void AnswerHeld(const std::string& reply);

  void WaitForNames();
  void Announce() { Notify(APPLIST_LOCAL_CREATED_EVENT, 1); }
  void Notify(int event, size_t count);
  // A signal Notify with any bytes in it.
  void NotifyBytes(const std::string& bytes);

  // How many messages with this identifier have come.
  size_t Heard(int messageId);

  static void Reply(sd_bus_message* call, const std::string& bytes);

 private:
  void Take(sd_bus_message* call);
  static int OnMessage(sd_bus_message* message, void* remote, sd_bus_error* error);

  // All but the thread is used on the thread.
  std::unique_ptr<BusPeer> m_peer;
  Answer m_answer;
  applist::MessagePtr m_held;
  std::map<int, size_t> m_heard;
  LoopThread m_thread;
};

}  // namespace applist_test

#endif
