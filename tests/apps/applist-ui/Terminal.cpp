// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "apps/applist-ui/Terminal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace applist_test {

namespace {

constexpr std::chrono::seconds kServerDeadline(120);

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (const char c : word) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

std::string OutputOf(const std::string& command, int& status) {
  FILE* pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) {
    throw std::runtime_error("no process for " + command);
  }
  std::string output;
  char part[4096];
  size_t count = 0;
  while ((count = fread(part, 1, sizeof part, pipe)) > 0) {
    output.append(part, count);
  }
  status = pclose(pipe);
  return output;
}

}  // namespace

Terminal::Terminal(std::string folder, int columns, int rows, const std::string& command)
    : m_socket(std::move(folder) + "/tmux"),
      m_server(std::make_unique<applist::ChildProcess>(
          std::vector<std::string>{"tmux", "-D", "-u", "-S", m_socket, "-f", "/dev/null"},
          std::vector<std::string>{"LC_ALL=C.UTF-8", "TMUX="})) {
  const std::vector<std::string> words = {
      "new-session", "-d", "-x", std::to_string(columns), "-y", std::to_string(rows), command};
  const auto deadline = std::chrono::steady_clock::now() + kServerDeadline;
  for (int status = 1; status != 0;) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("the terminal did not start");
    }
    Do(words, &status);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

Terminal::~Terminal() {
  m_server.reset();
  unlink(m_socket.c_str());
}

void Terminal::Press(const std::vector<std::string>& keys) const {
  std::vector<std::string> words = {"send-keys"};
  words.insert(words.end(), keys.begin(), keys.end());
  Do(words);
}

void Terminal::Type(const std::string& text) const {
  Do({"send-keys", "-l", text});
}

void Terminal::Resize(int columns, int rows) const {
  Do({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(rows)});
}

std::vector<std::string> Terminal::Rows() const {
  std::istringstream in(Do({"capture-pane", "-p"}));
  std::vector<std::string> rows;
  for (std::string row; std::getline(in, row);) {
    rows.push_back(row);
  }
  return rows;
}

std::string Terminal::Styled() const {
  return Do({"capture-pane", "-p", "-e"});
}

std::string Terminal::Says(const std::string& format) const {
  const std::string line = Do({"display-message", "-p", format});
  return line.substr(0, line.find('\n'));
}

// Without a place for the status, the command has to succeed.
std::string Terminal::Do(const std::vector<std::string>& words, int* status) const {
  std::string command = "LC_ALL=C.UTF-8 tmux -N -u -S " + Quoted(m_socket);
  for (const std::string& word : words) {
    command += " " + Quoted(word);
  }
  int ended = 0;
  std::string output = OutputOf(command + (status != nullptr ? " 2>/dev/null" : ""), ended);
  if (status != nullptr) {
    *status = ended;
  } else {
    EXPECT_EQ(ended, 0) << command;
  }
  return output;
}

}  // namespace applist_test
