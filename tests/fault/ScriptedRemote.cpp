// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fault/ScriptedRemote.h"

#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>

namespace applist_test {

namespace {

// For whatever the program does, on however slow a machine.
constexpr int kDeadlineMilliseconds = 60000;

std::string Hex(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4U];
    text += kDigits[static_cast<unsigned char>(byte) & 0xFU];
  }
  return text;
}

}  // namespace

ScriptedRemote::ScriptedRemote(const std::string& address, Names names) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) < 0) {
    throw std::runtime_error("No sockets for a scripted remote side");
  }
  m_socket = applist::Descriptor(ends[0]);
  const applist::Descriptor theirs(ends[1]);
  const std::vector<std::string> command = {PYTHON_PATH,
                                            "-B",
                                            SCRIPTED_REMOTE_PATH,
                                            std::to_string(theirs.Get()),
                                            address,
                                            names == Names::Queued ? "queued" : "now"};
  m_program =
      std::make_unique<applist::ChildProcess>(command, std::vector<std::string>(), theirs.Get());
  ReadLine();
}

ScriptedRemote::Answer ScriptedRemote::Bytes(const std::string& reply) {
  return {"bytes " + Hex(reply)};
}

void ScriptedRemote::NotifyBytes(const std::string& bytes, size_t count) {
  Do("notify " + std::to_string(count) + " " + Hex(bytes));
}

std::string ScriptedRemote::Do(const std::string& command) {
  const std::string line = command + "\n";
  if (send(m_socket.Get(), line.data(), line.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("The scripted remote side has ended");
  }
  return ReadLine();
}

std::string ScriptedRemote::ReadLine() {
  std::string line;
  for (char next = 0;; line += next) {
    pollfd ready = {m_socket.Get(), POLLIN, 0};
    if (poll(&ready, 1, kDeadlineMilliseconds) <= 0 || recv(m_socket.Get(), &next, 1, 0) <= 0) {
      throw std::runtime_error("The scripted remote side has ended, or does nothing");
    }
    if (next == '\n') {
      return line;
    }
  }
}

}  // namespace applist_test
