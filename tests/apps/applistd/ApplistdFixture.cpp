// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "apps/applistd/ApplistdFixture.h"

#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/BusDaemon.h"

namespace applist_test {

Folder::Folder() : m_path("/tmp/applist-apps-XXXXXX") {
  if (mkdtemp(m_path.data()) == nullptr) {
    throw std::runtime_error("No temporary folder");
  }
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TextOf(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

ApplistdTest::ApplistdTest() : m_notified(applist::SocketAt(folder / "notify", SOCK_DGRAM)) {}

std::vector<std::string> ApplistdTest::Command(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {"/bin/sh", "-c", "said=$1; shift; exec \"$@\" 2>>\"$said\"",
                                      "sh", folder / "said"};
  command.push_back(DaemonCommand().front());
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

void ApplistdTest::Start(std::vector<std::string> arguments,
                         const std::vector<std::string>& environment) {
  HearsTold("nothing that another daemon has told before");
  std::vector<std::string> variables = {"NOTIFY_SOCKET=" + folder / "notify"};
  variables.insert(variables.end(), environment.begin(), environment.end());
  daemon = std::make_unique<applist::ChildProcess>(Command(arguments), variables);
}

void ApplistdTest::StartReady(const std::vector<std::string>& arguments,
                              const std::vector<std::string>& environment) {
  Start(arguments, environment);
  ASSERT_TRUE(WaitForTold("READY=1")) << Said();
}

int ApplistdTest::WaitForEnd() {
  EXPECT_TRUE(WaitFor([&] { return daemon->Poll().has_value(); })) << "still running";
  return daemon->Poll().value_or(-1);
}

size_t ApplistdTest::CountSaid(const std::string& text) const {
  const std::string said = Said();
  size_t count = 0;
  for (size_t at = 0; (at = said.find(text, at)) != std::string::npos; at += text.size()) {
    ++count;
  }
  return count;
}

bool ApplistdTest::WaitForTold(const std::string& line) {
  return WaitFor([&] { return HearsTold(line); });
}

bool ApplistdTest::HearsTold(const std::string& line) {
  char data[4096];
  ssize_t size = 0;
  while ((size = recv(m_notified.Get(), data, sizeof(data), MSG_DONTWAIT)) > 0) {
    std::istringstream lines(std::string(data, static_cast<size_t>(size)));
    for (std::string told; std::getline(lines, told);) {
      if (told == line) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace applist_test
