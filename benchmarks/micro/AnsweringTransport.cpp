// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "AnsweringTransport.h"

#include <benchmark/benchmark.h>

#include <utility>

class DbusLink {};

namespace {

std::vector<char> nextReply;

}  // namespace

void bench::AnswerWith(std::vector<char> reply) {
  nextReply = std::move(reply);
}

JavaMWDbusRemote::JavaMWDbusRemote(std::string /*serviceName*/) {}

JavaMWDbusRemote::~JavaMWDbusRemote() = default;

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& message) {
  benchmark::DoNotOptimize(message.data());
  return nextReply;
}

void JavaMWDbusRemote::SendNotification(std::vector<char>& message) {
  benchmark::DoNotOptimize(message.data());
}
