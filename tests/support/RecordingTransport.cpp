// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/RecordingTransport.h"

#include <algorithm>
#include <utility>

#include "support/Record.h"

class DbusLink {};

namespace applist_test {
namespace {

std::vector<JavaMWDbusRemote*> live;
std::function<std::string(const std::string&)> currentAnswer;
std::function<void()> currentConnect;

}  // namespace

std::vector<JavaMWDbusRemote*> LiveTransports() {
  return live;
}

void AnswerWith(std::function<std::string(const std::string& frame)> answer) {
  currentAnswer = std::move(answer);
}

void ConnectWith(std::function<void()> connect) {
  currentConnect = std::move(connect);
}

std::string Frame(const std::string& payload, int messageId) {
  std::string frame = payload;
  for (int shift = 0; shift < 32; shift += 8) {
    frame += static_cast<char>(static_cast<unsigned>(messageId) >> shift & 0xFFU);
  }
  return frame;
}

std::string Sent(const std::string& payload, int messageId) {
  return "send " + Frame(payload, messageId);
}

std::vector<char> Bytes(const std::string& text) {
  return std::vector<char>(text.begin(), text.end());
}

std::string Text(const std::vector<char>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace applist_test

using namespace applist_test;

JavaMWDbusRemote::JavaMWDbusRemote(std::string serviceName) {
  Record("connect " + serviceName);
  if (currentConnect) {
    currentConnect();
  }
  live.push_back(this);
}

JavaMWDbusRemote::~JavaMWDbusRemote() {
  Record("disconnect");
  live.erase(std::find(live.begin(), live.end(), this));
}

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& message) {
  Record("send " + Text(message));
  return currentAnswer ? Bytes(currentAnswer(Text(message))) : std::vector<char>();
}

void JavaMWDbusRemote::SendNotification(std::vector<char>& message) {
  Record("notify " + Text(message));
}
