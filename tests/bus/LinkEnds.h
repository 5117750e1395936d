// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The two ends of a link, each an endpoint that keeps what it hears.
#ifndef APPLIST_TESTS_BUS_LINKENDS_H
#define APPLIST_TESTS_BUS_LINKENDS_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bus/BusFixture.h"
#include "bus/LoopThread.h"
#include "dbus/JavaMWDbusLocal.h"
#include "ipc/IPCApplist.h"
#include "ipc/javamw-dbus-remote.h"

namespace applist_test {

inline std::vector<char> Bytes(const std::string& text) {
  return std::vector<char>(text.begin(), text.end());
}

// Any thread may ask what it has heard.
template <class Transport>
class End : public IPCApplist<Transport, End<Transport>> {
 public:
  using Endpoint = IPCApplist<Transport, End<Transport>>;
  using Message = std::pair<int, std::string>;

  End() {
    this->RegisterOnMessage(this, &End::OnMessage);
    this->RegisterOnNotification(this, &End::OnNotification);
    this->RegisterOnConnectionReady(this, &End::OnReady);
  }

  void HandleConnectionReady(bool state, const std::string& partner) override {
    Keep(m_states, {state, partner});
    Endpoint::HandleConnectionReady(state, partner);
    if (onState) {
      onState(state);
    }
  }

  std::string Send(int messageId, const std::string& payload) {
    const std::vector<char> reply = this->SendMessage(messageId, payload.data(), payload.size());
    return std::string(reply.begin(), reply.end());
  }

  // What has been heard, with the identifier or the state first.
  std::vector<Message> Messages() { return Kept(m_messages); }
  std::vector<Message> Notifications() { return Kept(m_notifications); }
  std::vector<Message> States() { return Kept(m_states); }
  std::vector<Message> Ready() { return Kept(m_ready); }
  size_t NotificationCount() { return Notifications().size(); }

  // Set before anything can come in.
  std::function<std::string(int, const std::string&)> answer;
  std::function<void(int, const std::string&)> onNotification;
  std::function<void(bool)> onState;

 private:
  std::vector<char> OnMessage(int messageId, const std::vector<char>& data) {
    const std::string payload(data.begin(), data.end());
    Keep(m_messages, {messageId, payload});
    return answer ? Bytes(answer(messageId, payload)) : std::vector<char>();
  }
  void OnNotification(int messageId, const std::vector<char>& data) {
    const std::string payload(data.begin(), data.end());
    Keep(m_notifications, {messageId, payload});
    if (onNotification) {
      onNotification(messageId, payload);
    }
  }
  void OnReady(const std::string& partner) { Keep(m_ready, {1, partner}); }

  void Keep(std::vector<Message>& list, Message message) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    list.push_back(std::move(message));
  }
  std::vector<Message> Kept(const std::vector<Message>& list) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return list;
  }

  std::mutex m_mutex;
  std::vector<Message> m_messages;
  std::vector<Message> m_notifications;
  std::vector<Message> m_states;
  std::vector<Message> m_ready;
};

using UiEnd = End<JavaMWDbusRemote>;
using RemoteEnd = End<JavaMWDbusLocal>;

// The user interface's end on the test's thread, the remote side's on a thread of its own: while
// one end waits for the other, the other's loop has to run.
class LinkEndsTest : public BusTest {
 protected:
  ~LinkEndsTest() override { StopRemote(); }

  void StartUi() { uiEnd = std::make_unique<UiEnd>(); }

  void StartRemote(std::function<void(RemoteEnd&)> prepare = nullptr) {
    thread.Run([&] {
      remote = std::make_unique<RemoteEnd>();
      if (prepare) {
        prepare(*remote);
      }
    });
  }
  void StopRemote() {
    thread.Run([&] { remote.reset(); });
  }

  // Has the remote side answer from now on.
  void AnswerRemotely(std::function<std::string(int, const std::string&)> answer) {
    thread.Run([&] { remote->answer = std::move(answer); });
  }

  bool AreConnected() {
    return !uiEnd->States().empty() && uiEnd->States().back().first == 1 &&
           !remote->States().empty() && remote->States().back().first == 1;
  }

  void StartBoth() {
    StartUi();
    StartRemote();
    ASSERT_TRUE(WaitFor([&] { return AreConnected(); }));
  }

  std::unique_ptr<UiEnd> uiEnd;
  std::unique_ptr<RemoteEnd> remote;
  LoopThread thread;
};

}  // namespace applist_test

#endif
