// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "apps/applist-ui/UiFixture.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

using ::testing::HasSubstr;

namespace applist_test {

namespace {

// How long a test waits for anything. Nothing depends on it but how long a failure takes.
constexpr std::chrono::seconds kDeadline(120);

constexpr const char* kDivider = "\u2502";

// In memory where there is such a place: a disk can take minutes for thousands of files.
std::string MakeFolder() {
  const bool memory = access("/dev/shm", W_OK) == 0;
  std::string folder = std::string(memory ? "/dev/shm" : "/tmp") + "/applist-ui-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw std::runtime_error("no folder");
  }
  std::filesystem::create_directories(folder + "/data/applications");
  return folder;
}

std::string Trimmed(const std::string& text) {
  const size_t end = text.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

// One pane, from its rows: two cells of marks before each name.
SeenList Read(const std::vector<std::string>& rows) {
  SeenList list;
  for (const std::string& row : rows) {
    if (row.size() < 2 || Trimmed(row).empty()) {
      continue;
    }
    const std::string name = Trimmed(row.substr(2));
    list.names.push_back(name);
    if (row[0] == '>') {
      list.selected = name;
    }
    if (row[1] == '*') {
      list.clicked = name;
    }
  }
  return list;
}

// The part of each row of the body before the divider or behind it.
SeenList Side(const std::vector<std::string>& screen, bool left) {
  std::vector<std::string> rows;
  for (size_t k = 1; k + 2 < screen.size(); ++k) {
    const bool ascii = screen[k].find('|') != std::string::npos;
    const std::string divider = ascii ? "|" : kDivider;
    const size_t at = screen[k].find(divider);
    if (at != std::string::npos) {
      rows.push_back(left ? screen[k].substr(0, at) : screen[k].substr(at + divider.size()));
    }
  }
  return Read(rows);
}

}  // namespace

UiTest::UiTest() : folder(MakeFolder()) {}

UiTest::~UiTest() {
  terminal.reset();
  remote.reset();
  if (HasFailure()) {
    std::fprintf(stderr, "%s\n", ReadFile("log").c_str());
  }
  std::filesystem::remove_all(folder);
}

// In place at once, as package managers do it.
void UiTest::Install(const std::string& id, const std::string& name,
                     const std::string& more) const {
  const std::string path = folder + "/data/applications/" + id + ".desktop";
  std::ofstream(path + ".new") << "[Desktop Entry]\nType=Application\nExec=true\nName=" << name
                               << "\n"
                               << more;
  std::filesystem::rename(path + ".new", path);
}

void UiTest::Uninstall(const std::string& id) const {
  std::filesystem::remove(folder + "/data/applications/" + id + ".desktop");
}

void UiTest::InstallAll(const Names& names) const {
  char id = 'a';
  for (const std::string& name : names) {
    Install(std::string(1, id++), name);
  }
}

void UiTest::StartRemote() {
  remote = std::make_unique<applist::ChildProcess>(
      std::vector<std::string>{APPLISTD_PATH, "--address", bus.Address()});
}

void UiTest::KillRemote() {
  remote->Signal(SIGKILL);
  remote->Wait();
  remote.reset();
}

void UiTest::StartUi(const Start& start) {
  std::ofstream script(folder + "/script");
  for (const std::string& entry :
       {"DBUS_SESSION_BUS_ADDRESS=" + bus.Address(), "XDG_DATA_HOME=" + folder + "/data",
        "XDG_DATA_DIRS=" + folder + "/none", std::string("LC_ALL=C.UTF-8"),
        std::string("LANGUAGE="), std::string("APPLIST_LOG=warn")}) {
    script << "export " << entry << "\n";
  }
  for (const std::string& entry : start.environment) {
    script << "export " << entry << "\n";
  }
  // A shell with jobs, so that what stops (by a key, or from outside) can go on.
  script << "cd " << folder
         << "\n"
            "set -m\n"
            "trap : INT\n"
            "stty -g >before\n"
            "sh -c 'echo $$ >pid; exec "
         << APPLIST_UI_PATH << " " << start.arguments << "' 2>"
         << (start.logInTerminal ? "&1" : "log")
         << "\n"
            "status=$?\n"
            "while [ $status = 148 ] || [ $status = 147 ]; do\n"
            "  echo STOPPED; read -r line; fg %1; status=$?\n"
            "done\n"
            "echo $status >status\n"
            "stty -g >after\n"
            "echo THE END\n"
            "exec cat\n";
  script.close();
  terminal =
      std::make_unique<Terminal>(folder, start.columns, start.rows, "sh " + folder + "/script");
}

pid_t UiTest::UiPid() const {
  EXPECT_TRUE(WaitFor([this] { return !ReadFile("pid").empty(); }));
  return std::stoi(ReadFile("pid"));
}

bool UiTest::WaitFor(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

int UiTest::ColumnOfDivider(const std::string& row) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const size_t divider = row.find(kDivider);
  int column = 0;
  for (size_t at = 0; divider != std::string::npos && at < divider;) {
    wchar_t character = 0;
    const int length = std::mbtowc(&character, row.data() + at, row.size() - at);
    column += std::max(wcwidth(character), 0);
    at += static_cast<size_t>(std::max(length, 1));
  }
  return divider == std::string::npos ? -1 : column;
}

std::string UiTest::Screen() const {
  std::string screen;
  for (const std::string& row : terminal->Rows()) {
    screen += row + "\n";
  }
  return screen;
}

SeenList UiTest::Here() const {
  return Side(terminal->Rows(), true);
}

SeenList UiTest::There() const {
  return Side(terminal->Rows(), false);
}

std::string UiTest::Status() const {
  const std::vector<std::string> rows = terminal->Rows();
  return rows.size() < 2 ? "" : rows[rows.size() - 2];
}

std::string UiTest::Prompt() const {
  const std::vector<std::string> rows = terminal->Rows();
  return rows.empty() ? "" : rows.back();
}

void UiTest::ExpectOnScreen(const std::string& text) const {
  WaitFor([&] { return Screen().find(text) != std::string::npos; });
  EXPECT_THAT(Screen(), HasSubstr(text));
}

void UiTest::ExpectStatus(const std::string& text) const {
  WaitFor([&] { return Status().find(text) != std::string::npos; });
  EXPECT_THAT(Status(), HasSubstr(text));
}

void UiTest::ExpectPrompt(const std::string& text) const {
  WaitFor([&] { return Prompt().find(text) != std::string::npos; });
  EXPECT_THAT(Prompt(), HasSubstr(text));
}

std::optional<applist::ControlClient::State> UiTest::Remote() const {
  try {
    return applist::ControlClient(bus.Address()).Read();
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

void UiTest::ExpectHere(const Names& names, const std::string& selected) const {
  const auto seen = [&] {
    const SeenList here = Here();
    return here.names == names && here.selected == selected;
  };
  EXPECT_TRUE(WaitFor(seen)) << Screen();
}

void UiTest::ExpectBoth(const Names& names, const std::string& selected) const {
  const auto seen = [&] {
    const SeenList here = Here();
    const SeenList there = There();
    return here.names == names && there.names == names && here.selected == selected &&
           there.selected == selected && Screen().find(", in step") != std::string::npos;
  };
  EXPECT_TRUE(WaitFor(seen)) << Screen();
  EXPECT_TRUE(WaitFor([&] { return RemoteHolds(names, selected); })) << Screen();
}

bool UiTest::RemoteHolds(const Names& names, const std::string& selected) const {
  const auto held = Remote();
  if (!held) {
    return false;
  }
  Names heldNames;
  std::string heldSelection;
  for (const auto& [id, name] : held->items) {
    heldNames.push_back(name);
    heldSelection = id == held->selection ? name : heldSelection;
  }
  return heldNames == names && heldSelection == selected;
}

void UiTest::ExpectClicked(const std::string& id) const {
  const auto clicked = [&] {
    const auto held = Remote();
    return held && held->lastClicked == id;
  };
  EXPECT_TRUE(WaitFor(clicked)) << "no click on " << id;
}

std::string UiTest::UiStatus() const {
  EXPECT_TRUE(WaitFor([this] { return !ReadFile("status").empty(); })) << Screen();
  return ReadFile("status");
}

void UiTest::ExpectTerminalRestored() const {
  ExpectOnScreen("THE END");
  EXPECT_NE(ReadFile("before"), "");
  EXPECT_EQ(ReadFile("after"), ReadFile("before"));
  EXPECT_EQ(terminal->Says("#{alternate_on} #{cursor_flag} #{keypad_cursor_flag}"), "0 1 0");
  EXPECT_THAT(Screen(), ::testing::Not(HasSubstr("Applications:")));
}

std::string UiTest::ReadFile(const std::string& name) const {
  std::ifstream in(folder + "/" + name);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return text.empty() || text.back() != '\n' ? text : text.substr(0, text.size() - 1);
}

}  // namespace applist_test
