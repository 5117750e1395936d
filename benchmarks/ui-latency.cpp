// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// ui-latency [ENTRIES [ROUNDS]]: how long applist-ui takes from a key press to the drawn screen, on
// a pseudo-terminal, with a remote side on a private bus. "here" is when the list shows the
// selection, "both" when what the remote side holds shows it as well.
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRows = 24;
constexpr int kColumns = 80;
// Of the list: without the title, the status and the keys.
constexpr int kPage = kRows - 3;
constexpr size_t kRight = (kColumns - 1) / 2 + 1;
constexpr std::chrono::seconds kPatience(120);

// The screen as a terminal of the type xterm-256color shows it, without colours. Each character is
// one cell.
class Mirror {
 public:
  void Take(const char* bytes, size_t count) {
    for (size_t k = 0; k < count; ++k) {
      Take(static_cast<unsigned char>(bytes[k]));
    }
  }

  // Whether a list whose rows start at `column` shows this name as selected.
  bool Selects(size_t column, const std::string& name) const {
    return std::any_of(m_rows.begin(), m_rows.end(), [&](const std::string& row) {
      return row[column] == '>' && row.compare(column + 2, name.size(), name) == 0;
    });
  }

  bool Shows(const std::string& text) const {
    return std::any_of(m_rows.begin(), m_rows.end(),
                       [&](const std::string& row) { return row.find(text) != std::string::npos; });
  }

 private:
  void Take(unsigned char byte) {
    if (!m_escape.empty()) {
      m_escape += static_cast<char>(byte);
      TakeEscape(byte);
    } else if (byte == 0x1B) {
      m_escape = "\x1b";
    } else if (byte == '\r') {
      m_column = 0;
    } else if (byte == '\n') {
      LineFeed();
    } else if (byte == '\b') {
      MoveTo(m_row, m_column - 1);
    } else if (byte >= 0x20 && (byte & 0xC0) != 0x80) {
      Write(byte < 0x80 ? static_cast<char>(byte) : '?');
    }
  }

  void TakeEscape(unsigned char byte) {
    const bool sequence = m_escape[1] == '[';
    const bool charset = m_escape[1] == '(' || m_escape[1] == ')';
    if (sequence ? m_escape.size() > 2 && byte >= 0x40 : m_escape.size() > (charset ? 2U : 1U)) {
      if (sequence) {
        Obey(static_cast<char>(byte));
      } else if (byte == 'M') {
        ReverseLineFeed();
      }
      m_escape.clear();
    }
  }

  // The numbers of a sequence; `otherwise` for one that is missing.
  int Number(size_t which, int otherwise) const {
    size_t at = 2;
    for (; which > 0; --which) {
      at = m_escape.find(';', at);
      if (at == std::string::npos) {
        return otherwise;
      }
      ++at;
    }
    const int number = std::atoi(m_escape.c_str() + at);
    return number > 0 ? number : otherwise;
  }

  void Obey(char command) {
    const int number = Number(0, 1);
    switch (command) {
      case 'H':
        return MoveTo(number - 1, Number(1, 1) - 1);
      case 'd':
        return MoveTo(number - 1, m_column);
      case 'G':
        return MoveTo(m_row, number - 1);
      case 'A':
        return MoveTo(m_row - number, m_column);
      case 'B':
        return MoveTo(m_row + number, m_column);
      case 'C':
        return MoveTo(m_row, m_column + number);
      case 'D':
        return MoveTo(m_row, m_column - number);
      case 'K':
        return Erase(Number(0, 0) == 1 ? 0 : m_column, Number(0, 0) == 1 ? m_column + 1 : kColumns);
      case 'X':
        return Erase(m_column, m_column + number);
      case 'J':
        return EraseDown();
      case 'P':
        return Row()
            .erase(static_cast<size_t>(m_column), static_cast<size_t>(number))
            .resize(kColumns, ' ');
      case '@':
        Row().insert(static_cast<size_t>(m_column), static_cast<size_t>(number), ' ');
        return Row().resize(kColumns);
      case 'b':
        for (int k = 0; k < number; ++k) {
          Write(m_last);
        }
        return;
      case 'r':
        m_top = number - 1;
        m_bottom = Number(1, kRows) - 1;
        return MoveTo(0, 0);
      case 'S':
        return Scroll(number, m_top, m_bottom);
      case 'T':
        return Scroll(-number, m_top, m_bottom);
      case 'M':
        return Scroll(number, m_row, m_bottom);
      case 'L':
        return Scroll(-number, m_row, m_bottom);
      case 'm':
      case 'h':
      case 'l':
      case 't':
        return;
      default:
        throw std::runtime_error("the terminal was sent " + m_escape.substr(1));
    }
  }

  // Moves the rows from `top` to `bottom` up, or down where `count` is below zero.
  void Scroll(int count, int top, int bottom) {
    const auto first = m_rows.begin() + top;
    const auto end = m_rows.begin() + bottom + 1;
    const int moved = std::min(std::abs(count), bottom + 1 - top);
    const std::string blank(static_cast<size_t>(kColumns), ' ');
    if (count > 0) {
      std::rotate(first, first + moved, end);
      std::fill(end - moved, end, blank);
    } else {
      std::rotate(first, end - moved, end);
      std::fill(first, first + moved, blank);
    }
  }

  std::string& Row() { return m_rows[static_cast<size_t>(m_row)]; }

  void MoveTo(int row, int column) {
    m_row = std::clamp(row, 0, kRows - 1);
    m_column = std::clamp(column, 0, kColumns - 1);
  }

  void LineFeed() {
    if (m_row == m_bottom) {
      Scroll(1, m_top, m_bottom);
    } else {
      MoveTo(m_row + 1, m_column);
    }
  }

  void ReverseLineFeed() {
    if (m_row == m_top) {
      Scroll(-1, m_top, m_bottom);
    } else {
      MoveTo(m_row - 1, m_column);
    }
  }

  void Write(char c) {
    Row()[static_cast<size_t>(m_column)] = c;
    m_last = c;
    m_column = std::min(m_column + 1, kColumns - 1);
  }

  void Erase(int from, int to) {
    std::fill(Row().begin() + from, Row().begin() + std::min(to, kColumns), ' ');
  }

  void EraseDown() {
    Erase(m_column, kColumns);
    for (size_t row = static_cast<size_t>(m_row) + 1; row < m_rows.size(); ++row) {
      m_rows[row].assign(kColumns, ' ');
    }
  }

  std::vector<std::string> m_rows =
      std::vector<std::string>(kRows, std::string(static_cast<size_t>(kColumns), ' '));
  int m_row = 0;
  int m_column = 0;
  int m_top = 0;
  int m_bottom = kRows - 1;
  char m_last = ' ';
  std::string m_escape;
};

std::string NameOf(int entry) {
  char name[32];
  std::snprintf(name, sizeof name, "Entry %05d", entry);
  return name;
}

// So many desktop entries in a folder, all of which goes with the object.
class Entries {
 public:
  explicit Entries(int count) : m_folder("/tmp/applist-latency-XXXXXX") {
    if (mkdtemp(m_folder.data()) == nullptr) {
      throw std::runtime_error("no folder");
    }
    std::filesystem::create_directory(m_folder + "/applications");
    for (int k = 0; k < count; ++k) {
      std::ofstream(m_folder + "/applications/" + std::to_string(k) + ".desktop")
          << "[Desktop Entry]\nType=Application\nExec=true\nName=" << NameOf(k) << "\n";
    }
  }
  ~Entries() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;

  const std::string& Folder() const { return m_folder; }

 private:
  std::string m_folder;
};

// applist-ui behind a pseudo-terminal.
class UserInterface {
 public:
  UserInterface(const std::string& folder, const std::string& address) {
    const winsize size = {kRows, kColumns, 0, 0};
    m_pid = forkpty(&m_fd, nullptr, nullptr, &size);
    if (m_pid == 0) {
      setenv("TERM", "xterm-256color", 1);
      setenv("LC_ALL", "C.UTF-8", 1);
      setenv("XDG_DATA_HOME", folder.c_str(), 1);
      setenv("XDG_DATA_DIRS", (folder + "/none").c_str(), 1);
      execl(APPLIST_UI_PATH, "applist-ui", "--address", address.c_str(),
            static_cast<char*>(nullptr));
      _exit(127);
    }
  }
  ~UserInterface() {
    kill(m_pid, SIGTERM);
    close(m_fd);
    waitpid(m_pid, nullptr, 0);
  }
  UserInterface(const UserInterface&) = delete;
  UserInterface& operator=(const UserInterface&) = delete;

  void Press(const std::string& key) {
    if (write(m_fd, key.data(), key.size()) != static_cast<ssize_t>(key.size())) {
      throw std::runtime_error("the terminal takes no keys");
    }
  }

  template <class Condition>
  void WaitFor(Condition condition, const std::string& what) {
    const auto deadline = Clock::now() + kPatience;
    while (!condition(m_mirror)) {
      if (Clock::now() > deadline || !Read()) {
        throw std::runtime_error(what + " was not drawn");
      }
    }
  }

 private:
  bool Read() {
    char bytes[65536];
    pollfd ready = {m_fd, POLLIN, 0};
    poll(&ready, 1, 1000);
    if ((ready.revents & POLLIN) == 0) {
      return ready.revents == 0;
    }
    const ssize_t count = read(m_fd, bytes, sizeof bytes);
    if (count > 0) {
      m_mirror.Take(bytes, static_cast<size_t>(count));
    }
    return count > 0;
  }

  int m_fd = -1;
  pid_t m_pid = -1;
  Mirror m_mirror;
};

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class Series {
 public:
  void Add(double value) { m_values.push_back(value); }

  void Print(const char* what, const std::string& where) {
    std::sort(m_values.begin(), m_values.end());
    std::printf("%-10s %-5s %6zu keys   p50 %7.3f ms   p99 %7.3f ms   max %7.3f ms\n", what,
                where.c_str(), m_values.size(), At(0.50), At(0.99), m_values.back());
  }

 private:
  double At(double part) const {
    return m_values[static_cast<size_t>(part * static_cast<double>(m_values.size() - 1))];
  }

  std::vector<double> m_values;
};

class Benchmark {
 public:
  Benchmark(UserInterface& ui, int entries) : m_ui(ui), m_last(entries - 1) {}

  void Round(int number) {
    Press("Home", "\x1b[1~", 0);
    for (int k = 0; k < 5; ++k) {
      Press("Down", "\x1b[B", m_at + 1);
    }
    for (int k = 0; k < 3; ++k) {
      Press("Page Down", "\x1b[6~", m_at + kPage);
    }
    Press("Up", "\x1b[A", m_at - 1);
    Press("End", "\x1b[4~", m_last);
    Press("Page Up", "\x1b[5~", m_at - kPage);
    Find((number * 7919) % (m_last + 1));
  }

  void Print() {
    for (auto& [what, series] : m_here) {
      series.Print(what.c_str(), "here");
      m_both[what].Print("", "both");
    }
    m_allHere.Print("all", "here");
    m_allBoth.Print("", "both");
  }

 private:
  void Press(const std::string& what, const std::string& key, int expected) {
    m_at = std::clamp(expected, 0, m_last);
    const std::string name = NameOf(m_at);
    const auto start = Clock::now();
    m_ui.Press(key);
    m_ui.WaitFor([&](const Mirror& screen) { return screen.Selects(0, name); }, name);
    const double here = MillisecondsSince(start);
    m_ui.WaitFor([&](const Mirror& screen) { return screen.Selects(kRight, name); }, name);
    const double both = MillisecondsSince(start);
    m_here[what].Add(here);
    m_both[what].Add(both);
    m_allHere.Add(here);
    m_allBoth.Add(both);
  }

  // Only the last key is measured: with that, the whole list has been searched.
  void Find(int entry) {
    const std::string name = NameOf(entry);
    const std::string text = name.substr(0, name.size() - 1);
    m_ui.Press("/" + text);
    m_ui.WaitFor([&](const Mirror& screen) { return screen.Shows("Find: " + text + " "); }, text);
    Press("find", name.substr(name.size() - 1), entry);
    m_ui.Press("\x1b");
    m_ui.WaitFor([](const Mirror& screen) { return screen.Shows("? help"); }, "the end of finding");
  }

  UserInterface& m_ui;
  const int m_last;
  int m_at = 0;
  std::map<std::string, Series> m_here;
  std::map<std::string, Series> m_both;
  Series m_allHere;
  Series m_allBoth;
};

void Measure(int count, int rounds) {
  const Entries entries(count);
  const applist::PrivateBus bus;
  const applist::ChildProcess remote({APPLISTD_PATH, "--address", bus.Address()});
  const auto start = Clock::now();
  UserInterface ui(entries.Folder(), bus.Address());
  const std::string first = NameOf(0);
  ui.WaitFor([&](const Mirror& screen) { return screen.Selects(0, first); }, "the list");
  const double listed = MillisecondsSince(start);
  ui.WaitFor([](const Mirror& screen) { return screen.Shows("in step"); }, "the remote side");
  std::printf("%d entries: listed after %.0f ms, in step with the remote side after %.0f ms\n",
              count, listed, MillisecondsSince(start));
  Benchmark benchmark(ui, count);
  for (int round = 0; round < rounds; ++round) {
    benchmark.Round(round);
  }
  benchmark.Print();
}

}  // namespace

int main(int argc, char** argv) {
  const int entries = argc > 1 ? std::atoi(argv[1]) : 10000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 100;
  if (argc > 3 || entries < 100 || entries > 99999 || rounds < 1) {
    std::fputs("Usage: ui-latency [ENTRIES [ROUNDS]], with 100 to 99999 entries\n", stderr);
    return 2;
  }
  try {
    Measure(entries, rounds);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ui-latency: %s\n", e.what());
    return 1;
  }
}
