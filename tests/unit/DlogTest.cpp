// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The platform log on a Linux machine, on standard error.
#include <dlog.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/LoggingChild.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DLOG_TEST_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DLOG_TEST_SANITIZED
#endif

namespace {

using logging::Channel;
using logging::Child;
using logging::Descriptor;
using logging::kMiB;
using logging::MakeDatagramPair;
using logging::MakePipe;
using logging::Outcome;
using logging::ReadAll;
using logging::RunChild;
using logging::RunChildInto;
using logging::TextOf;
using logging::Warn;
using logging::WriteAll;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Ge;
using testing::Le;
using testing::MatchesRegex;
using testing::Pair;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// ---- The threshold

struct ThresholdCase {
  const char* name;
  const char* value;  // of APPLIST_LOG; null: not set
  const char* logged;
};

void PrintTo(const ThresholdCase& tested, std::ostream* output) {
  *output << tested.name;
}

class DlogThresholdValue : public testing::TestWithParam<ThresholdCase> {};

TEST_P(DlogThresholdValue, PassesWhatIsUrgentEnough) {
  const Outcome outcome = RunChild([] {
    if (GetParam().value != nullptr) {
      setenv("APPLIST_LOG", GetParam().value, 1);
    }
    for (const int priority : {DLOG_DEBUG, DLOG_INFO, DLOG_WARN, DLOG_ERROR}) {
      __dlog_print(LOG_ID_MAIN, priority, "applist", "text\n");
    }
    return std::string();
  });
  EXPECT_EQ(outcome.status, 0);
  std::string logged;
  for (const std::string& line : Lines(outcome.output)) {
    ASSERT_THAT(line, MatchesRegex("[-0-9]+ [0-9:.]+ [DIWE] applist: text"));
    logged += line[line.size() - std::strlen("D applist: text")];
  }
  EXPECT_EQ(logged, GetParam().logged);
}

INSTANTIATE_TEST_SUITE_P(
    Values, DlogThresholdValue,
    testing::Values(ThresholdCase{"Debug", "debug", "DIWE"}, ThresholdCase{"Info", "info", "IWE"},
                    ThresholdCase{"Warn", "warn", "WE"}, ThresholdCase{"Error", "error", "E"},
                    ThresholdCase{"Off", "off", ""}, ThresholdCase{"NotSet", nullptr, "WE"},
                    ThresholdCase{"Empty", "", "WE"}, ThresholdCase{"OtherCase", "DEBUG", "WE"},
                    ThresholdCase{"Unknown", "loud", "WE"}),
    [](const auto& tested) { return tested.param.name; });

TEST(DlogThreshold, IsReadAtTheFirstCallOnly) {
  const Outcome outcome = RunChild([] {
    setenv("APPLIST_LOG", "error", 1);
    Warn("before");
    setenv("APPLIST_LOG", "debug", 1);
    return std::to_string(Warn("after"));
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.report, "0");
  EXPECT_EQ(outcome.output, "");
}

TEST(DlogThreshold, TakesAPriorityBeyondTheKnownOnesAsTheNearest) {
  const Outcome outcome = RunChild([] {
    setenv("APPLIST_LOG", "debug", 1);
    __dlog_print(LOG_ID_MAIN, -1, "applist", "least\n");
    __dlog_print(LOG_ID_MAIN, 99, "applist", "most\n");
    return std::string();
  });
  EXPECT_THAT(Lines(outcome.output),
              ElementsAre(EndsWith(" D applist: least"), EndsWith(" E applist: most")));
}

// A string argument that no process may read.
std::string LogUnreadable(int priority) {
  const void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return std::to_string(
      __dlog_print(LOG_ID_MAIN, priority, "applist", "%s\n", static_cast<const char*>(page)));
}

TEST(DlogThreshold, LeavesALineBelowItUnformatted) {
  const Outcome outcome = RunChild([] { return LogUnreadable(DLOG_INFO); });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.report, "0");
  EXPECT_EQ(outcome.output, "");
  EXPECT_NE(RunChild([] { return LogUnreadable(DLOG_WARN); }).status, 0) << "the page can be read";
}

// ---- The line

TEST(Dlog, WritesTimePriorityTagAndText) {
  const Outcome outcome = RunChild([] {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "%s: %s(%d) > [%s:%d] %d of %s\n", "File.cpp",
                 "Func", 12, "Func", 12, 3, "five");
    return std::string();
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output,
              MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} W "
                           "applist: File\\.cpp: Func\\(12\\) > \\[Func:12\\] 3 of five\n"));
}

std::string TimeText(std::time_t time) {
  tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
  return text.data();
}

// By the clock that the log reads: time() may be a tick behind it.
std::time_t Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

TEST(Dlog, TellsTheLocalTime) {
  constexpr std::time_t kEastward = std::time_t{5 * 60 + 30} * 60;
  const std::string before = TimeText(Now() + kEastward);
  const Outcome outcome = RunChild([] {
    setenv("TZ", "EAST-5:30", 1);
    tzset();
    return std::to_string(Warn("text"));
  });
  const std::string after = TimeText(Now() + kEastward);
  EXPECT_THAT(outcome.output.substr(0, before.size()), AllOf(Ge(before), Le(after)));
}

TEST(Dlog, ReturnsTheNumberOfBytesWritten) {
  for (const char* text : {"", "text\n", "two\nlines", "\x1B[2J", "gr\xC3\xBC\xC3\x9F"}) {
    const Outcome outcome = RunChild([=] { return std::to_string(Warn(text)); });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_GT(outcome.output.size(), 0U);
    EXPECT_EQ(outcome.report, std::to_string(outcome.output.size()));
  }
}

TEST(Dlog, TakesNullForAnEmptyTagOrFormat) {
  const Outcome outcome = RunChild([] {
    const char* volatile null = nullptr;
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, null, "text %d\n", 1);
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", null, 1);
    return std::string();
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(Lines(outcome.output),
              ElementsAre(EndsWith(" W : text 1"), EndsWith(" W applist: ")));
}

TEST(Dlog, ShowsANullStringAsSuch) {
  const Outcome outcome = RunChild([] {
    const char* volatile null = nullptr;
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "<%s>\n", null);
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "%s\n", null);
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "%s", null);
    return std::string();
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(Lines(outcome.output),
              ElementsAre(EndsWith(" W applist: <(null)>"), EndsWith(" W applist: (null)"),
                          EndsWith(" W applist: (null)")));
}

TEST(Dlog, KeepsErrno) {
  const Outcome outcome = RunChild([] {
    std::string report;
    const auto keeps = [&report](int priority) {
      errno = ENOTTY;
      __dlog_print(LOG_ID_MAIN, priority, "applist", "%s\n", std::string(kMiB, 'x').c_str());
      report += errno == ENOTTY ? "kept " : "lost ";
    };
    keeps(DLOG_WARN);
    keeps(DLOG_INFO);
    close(STDERR_FILENO);
    keeps(DLOG_WARN);
    return report;
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.report, "kept kept kept ");
}

TEST(Dlog, ShowsTheErrorOfTheCaller) {
  const Outcome outcome = RunChild([] {
    setenv("TZ", "No/Such/Zone", 1);           // a file that the log does not find
    const char* volatile format = "%s: %m\n";  // no conversion of the C++ standard
    errno = ENOTTY;
    return std::to_string(__dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", format, "open"));
  });
  EXPECT_EQ(TextOf(outcome.output), std::string("open: ") + std::strerror(ENOTTY));
}

// ---- What the text shows

struct TextCase {
  const char* name;
  const char* text;
  const char* shown;
};

void PrintTo(const TextCase& tested, std::ostream* output) {
  *output << tested.name;
}

class DlogText : public testing::TestWithParam<TextCase> {};

TEST_P(DlogText, IsReadableAndHarmless) {
  const Outcome outcome = RunChild([] { return std::to_string(Warn(GetParam().text)); });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(TextOf(outcome.output), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DlogText,
    testing::Values(
        TextCase{"Empty", "", ""}, TextCase{"Ascii", " !\"%s~", " !\"%s~"},
        TextCase{"LineFeedAtTheEnd", "a\n", "a"}, TextCase{"TwoLineFeedsAtTheEnd", "a\n\n", "a\\n"},
        TextCase{"LineFeedAlone", "\n", ""}, TextCase{"LineFeedInside", "a\nb", "a\\nb"},
        TextCase{"ForgedLine", "a\n2026-01-01 00:00:00.000 E applist: b\n",
                 "a\\n2026-01-01 00:00:00.000 E applist: b"},
        TextCase{"CarriageReturn", "a\rb\r\n", "a\\rb\\r"}, TextCase{"Tabulator", "a\tb", "a\\tb"},
        TextCase{"Backslash", "a\\nb\\", "a\\nb\\"},
        TextCase{"FirstAndLastControl", "\x01\x08\x0B\x1F", "\\x01\\x08\\x0B\\x1F"},
        TextCase{"Delete", "a\x7F", "a\\x7F"},
        TextCase{"TerminalTitle", "\x1B]0;owned\x07", "\\x1B]0;owned\\x07"},
        TextCase{"TerminalClear", "\x1B[2J\x1B[H", "\\x1B[2J\\x1B[H"},
        TextCase{"EightBitControls", "\xC2\x80\xC2\x85\xC2\x9B\xC2\x9F",
                 "\\xC2\\x80\\xC2\\x85\\xC2\\x9B\\xC2\\x9F"},
        TextCase{"NoBreakSpace", "\xC2\xA0", "\xC2\xA0"},
        TextCase{"Separators", "\xE2\x80\xA8\xE2\x80\xA9", "\\xE2\\x80\\xA8\\xE2\\x80\\xA9"},
        TextCase{"Overrides", "\xE2\x80\xAA\xE2\x80\xAE", "\\xE2\\x80\\xAA\\xE2\\x80\\xAE"},
        TextCase{"Isolates", "\xE2\x81\xA6\xE2\x81\xA9", "\\xE2\\x81\\xA6\\xE2\\x81\\xA9"},
        TextCase{"BesideTheOverrides", "\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA",
                 "\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA"},
        TextCase{"TwoBytes", "\xC3\xBC\xDF\xBF", "\xC3\xBC\xDF\xBF"},
        TextCase{"ThreeBytes", "\xE0\xA0\x80\xE2\x82\xAC\xED\x9F\xBF\xEF\xBF\xBD",
                 "\xE0\xA0\x80\xE2\x82\xAC\xED\x9F\xBF\xEF\xBF\xBD"},
        TextCase{"FourBytes", "\xF0\x90\x80\x80\xF0\x9F\x93\xBA\xF4\x8F\xBF\xBF",
                 "\xF0\x90\x80\x80\xF0\x9F\x93\xBA\xF4\x8F\xBF\xBF"},
        TextCase{"StrayContinuation", "a\x80\xBF", "a\\x80\\xBF"},
        TextCase{"NeverInUtf8", "\xC0\xC1\xF5\xFF", "\\xC0\\xC1\\xF5\\xFF"},
        TextCase{"CutAtTheEnd", "a\xE2\x82", "a\\xE2\\x82"},
        TextCase{"CutByAnother", "\xE2\x82\xC3\xBC", "\\xE2\\x82\xC3\xBC"},
        TextCase{"CutBeforeAnEscape", "\xE2\x1B[2J", "\\xE2\\x1B[2J"},
        TextCase{"CutBeforeTheLineFeed", "\xF0\x9F\x93\n", "\\xF0\\x9F\\x93"},
        TextCase{"OverlongEscape", "\xC0\x9B\xE0\x80\x9B\xF0\x80\x80\x9B",
                 "\\xC0\\x9B\\xE0\\x80\\x9B\\xF0\\x80\\x80\\x9B"},
        TextCase{"OverlongSlash", "\xC0\xAF\xE0\x80\xAF\xF0\x80\x80\xAF",
                 "\\xC0\\xAF\\xE0\\x80\\xAF\\xF0\\x80\\x80\\xAF"},
        TextCase{"OverlongByLittle", "\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF",
                 "\\xC1\\xBF\\xE0\\x9F\\xBF\\xF0\\x8F\\xBF\\xBF"},
        TextCase{"OverlongEightBitControl", "\xE0\x82\x9B", "\\xE0\\x82\\x9B"},
        TextCase{"Surrogates", "\xED\xA0\x80\xED\xBF\xBF", "\\xED\\xA0\\x80\\xED\\xBF\\xBF"},
        TextCase{"BeyondUnicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"}),
    [](const auto& tested) { return tested.param.name; });

TEST(Dlog, ShowsAZeroByte) {
  const Outcome outcome = RunChild(
      [] { return std::to_string(__dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "a%cb\n", 0)); });
  EXPECT_EQ(TextOf(outcome.output), "a\\x00b");
}

TEST(Dlog, ShowsControlCharactersOfTheTag) {
  const Outcome outcome = RunChild(
      [] { return std::to_string(__dlog_print(LOG_ID_MAIN, DLOG_WARN, "a\n\x1Bz\n", "text\n")); });
  EXPECT_THAT(outcome.output, EndsWith(" W a\\n\\x1Bz\\n: text\n"));
  EXPECT_EQ(Lines(outcome.output).size(), 1U);
}

// ---- Whole lines

TEST(Dlog, WritesALineOfAnyLength) {
  const std::string name(kMiB, 'x');
  const Outcome outcome =
      RunChildInto(MakePipe(), [&] { return std::to_string(Warn(name.c_str())); });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(TextOf(outcome.output) == name);
  EXPECT_EQ(outcome.report, std::to_string(outcome.output.size()));
}

TEST(Dlog, WritesALineOfAnyLengthOfEscapes) {
  const std::string name(kMiB, '\x01');
  const Outcome outcome =
      RunChildInto(MakePipe(), [&] { return std::to_string(Warn(name.c_str())); });
  EXPECT_EQ(outcome.status, 0);
  std::string shown;
  for (std::size_t count = 0; count < kMiB; ++count) {
    shown += "\\x01";
  }
  EXPECT_TRUE(TextOf(outcome.output) == shown);
}

void InThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < count; ++thread) {
    threads.emplace_back(body, thread);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

constexpr int kThreads = 8;
constexpr int kLinesOfEach = 1000;

std::string LogFromThreads() {
  InThreads(kThreads, [](int thread) {
    for (int line = 0; line < kLinesOfEach; ++line) {
      __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "thread %d line %d\n", thread, line);
    }
  });
  return {};
}

// Every line once, those of a thread in their order.
void ExpectAllLines(const std::vector<std::string>& lines) {
  EXPECT_EQ(lines.size(), std::size_t{kThreads} * kLinesOfEach);
  std::array<int, kThreads> next{};
  for (const std::string& line : lines) {
    ASSERT_THAT(line, MatchesRegex("[-0-9]{10} [0-9:.]{12} W applist: thread [0-7] line [0-9]+"));
    int thread = 0;
    int number = 0;
    ASSERT_EQ(
        std::sscanf(line.c_str() + line.find("thread"), "thread %d line %d", &thread, &number), 2);
    EXPECT_EQ(number, next.at(static_cast<std::size_t>(thread))++);
  }
}

TEST(Dlog, KeepsTheLinesOfThreadsApart) {
  const Outcome outcome = RunChildInto(MakePipe(), LogFromThreads);
  EXPECT_EQ(outcome.status, 0);
  ExpectAllLines(Lines(outcome.output));
}

TEST(Dlog, WritesEachLineAtOnce) {
  Channel channel = MakeDatagramPair();
  Child child(channel.write, LogFromThreads);
  channel.write.Close();
  std::vector<std::string> lines;
  std::array<char, 4096> datagram{};
  for (ssize_t size;
       (size = recv(channel.read.Number(), datagram.data(), datagram.size(), 0)) > 0;) {
    const std::string line(datagram.data(), static_cast<std::size_t>(size));
    ASSERT_EQ(line.find('\n'), line.size() - 1) << "a datagram is not one line: " << line;
    lines.push_back(line.substr(0, line.size() - 1));
  }
  EXPECT_EQ(child.Wait(), 0);
  ExpectAllLines(lines);
}

TEST(Dlog, KeepsLongLinesOfThreadsApart) {
  constexpr std::size_t kLength = 100000;  // more than a pipe holds
  const Outcome outcome = RunChildInto(MakePipe(), [] {
    InThreads(4, [](int thread) {
      const std::string text(kLength, static_cast<char>('a' + thread));
      for (int line = 0; line < 20; ++line) {
        Warn(text.c_str());
      }
    });
    return std::string();
  });
  EXPECT_EQ(outcome.status, 0);
  std::map<char, int> count;
  for (const std::string& line : Lines(outcome.output)) {
    const std::string text = TextOf(line + "\n");
    ASSERT_TRUE(text == std::string(kLength, text[0])) << text.size() << " bytes";
    ++count[text[0]];
  }
  EXPECT_THAT(count, ElementsAre(Pair('a', 20), Pair('b', 20), Pair('c', 20), Pair('d', 20)));
}

TEST(Dlog, CompletesALineThatAPipeTakesInParts) {
  Channel channel = MakePipe();
  ASSERT_EQ(fcntl(channel.write.Number(), F_SETFL, O_NONBLOCK), 0);
  const std::string name(kMiB, 'x');
  const Outcome outcome =
      RunChildInto(std::move(channel), [&] { return std::to_string(Warn(name.c_str())); });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(TextOf(outcome.output) == name);
  EXPECT_EQ(outcome.report, std::to_string(outcome.output.size()));
}

// Fills a pipe to its last byte.
void Fill(int pipe) {
  fcntl(pipe, F_SETFL, O_NONBLOCK);
  while (write(pipe, "#", 1) == 1) {
  }
  fcntl(pipe, F_SETFL, 0);
}

void AwaitSleep(pid_t process) {
  for (char state = 'R'; state != 'S' && state != 'Z'; sched_yield()) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    ASSERT_NE(text.rfind(") "), std::string::npos);
    state = text.at(text.rfind(") ") + 2);
  }
}

int handlerReport = -1;

TEST(Dlog, TakesUpAWriteThatASignalInterrupts) {
  Channel channel = MakePipe();
  Channel events = MakePipe();
  handlerReport = events.write.Number();
  Child child(channel.write, [] {
    struct sigaction action = {};  // without SA_RESTART
    action.sa_handler = [](int) { WriteAll(handlerReport, "!"); };
    sigaction(SIGUSR1, &action, nullptr);
    Fill(STDERR_FILENO);
    WriteAll(handlerReport, "?");
    return std::to_string(Warn("text"));
  });
  channel.write.Close();
  events.write.Close();
  char event = '\0';
  ASSERT_EQ(read(events.read.Number(), &event, 1), 1);
  AwaitSleep(child.Process());  // in the write, for want of room
  kill(child.Process(), SIGUSR1);
  ASSERT_EQ(read(events.read.Number(), &event, 1), 1);
  EXPECT_EQ(event, '!');
  const std::string output = ReadAll(channel.read.Number());
  EXPECT_EQ(child.Wait(), 0);
  const std::string line = output.substr(output.find_last_of('#') + 1);
  EXPECT_EQ(TextOf(line), "text");
  EXPECT_EQ(child.Report(), std::to_string(line.size()));
}

// ---- What goes wrong

TEST(Dlog, DropsALineWithoutStandardError) {
  const Outcome outcome = RunChild([] {
    close(STDERR_FILENO);
    return std::to_string(Warn("text"));
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.report, "0");
}

TEST(Dlog, DropsALineThatCannotBeWritten) {
  const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  ASSERT_GE(full.Number(), 0);
  Child child(full, [] { return std::to_string(Warn("text")); });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.Report(), "0");
}

TEST(Dlog, LeavesTheSignalOfABrokenPipeToTheProgram) {
  Channel channel = MakePipe();
  channel.read.Close();
  Child ignoring(channel.write, [] {
    std::signal(SIGPIPE, SIG_IGN);
    return std::to_string(Warn("text"));
  });
  EXPECT_EQ(ignoring.Wait(), 0);
  EXPECT_EQ(ignoring.Report(), "0");

  Child other(channel.write, [] {
    std::signal(SIGPIPE, SIG_DFL);
    return std::to_string(Warn("text"));
  });
  const int status = other.Wait();
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGPIPE);
}

// Leaves this process so many bytes of memory.
void LimitMemory(std::size_t left) {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t limit = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + left;
  const rlimit memory = {limit, limit};
  setrlimit(RLIMIT_AS, &memory);
}

// How much a line of so many bytes, each an escape of four, may take, and what is logged then.
Outcome LogWithLittleMemory(std::size_t size, std::size_t left) {
  return RunChild([=] {
    const std::string text(size, '\x01');
    LimitMemory(left);
    const int written = Warn(text.c_str());
    return std::to_string(written) + " " + std::to_string(Warn("text") > 0);
  });
}

TEST(Dlog, DropsALineThatMemoryDoesNotHold) {
#ifdef DLOG_TEST_SANITIZED
  GTEST_SKIP() << "a sanitizer needs more memory than there may be";
#endif
  // Too little for the formatted text, and for what its escapes make of it.
  for (const std::size_t left : {8 * kMiB, 56 * kMiB}) {
    const Outcome outcome = LogWithLittleMemory(16 * kMiB, left);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.report, "0 1");
    EXPECT_EQ(TextOf(outcome.output), "text");
  }
}

}  // namespace
