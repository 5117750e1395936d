// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The platform log on a Linux machine, where standard error is the journal: the journal is a socket
// of the test, on mounts that only its child process sees.
#include <dlog.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <ostream>
#include <string>

#include "common/Log.h"
#include "support/LoggingChild.h"

namespace {

using logging::Descriptor;
using logging::kMiB;
using logging::MakeFile;
using logging::Outcome;
using logging::ReadFile;
using logging::RunChild;
using logging::TextOf;
using logging::Warn;
using logging::WriteAll;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

std::string StreamOf(int file) {
  struct stat status = {};
  fstat(file, &status);
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

void WriteTo(const char* path, const std::string& text) {
  const Descriptor file(open(path, O_WRONLY | O_CLOEXEC));
  WriteAll(file.Number(), text);
}

// Gives this process mounts of its own; in a user namespace where only that is permitted.
bool OwnMounts() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWNS) == 0) {
    return true;
  }
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    return false;
  }
  WriteTo("/proc/self/setgroups", "deny");
  WriteTo("/proc/self/uid_map", "0 " + user + " 1");
  WriteTo("/proc/self/gid_map", "0 " + group + " 1");
  return true;
}

bool OwnRun() {
  return OwnMounts() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0 && mkdir("/run/systemd", 0755) == 0 &&
         mkdir("/run/systemd/journal", 0755) == 0;
}

// The socket that the journal listens on, bound by this process.
Descriptor BindJournal() {
  Descriptor journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
  if (bind(journal.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    std::perror(address.sun_path);
  }
  return journal;
}

// What a file handed over holds; it is how a record too large for a datagram travels.
std::string HandedOver(msghdr& message) {
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) {
    return {};
  }
  int number = -1;
  std::memcpy(&number, CMSG_DATA(header), sizeof number);
  return ReadFile(Descriptor(number));
}

// The next record that the journal was sent, if any.
std::string Receive(const Descriptor& journal) {
  const ssize_t size = recv(journal.Number(), nullptr, 0, MSG_PEEK | MSG_TRUNC);
  if (size < 0) {
    return {};
  }
  std::string record(static_cast<std::size_t>(size), '\0');
  iovec part = {record.data(), record.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  return recvmsg(journal.Number(), &message, 0) == 0 ? HandedOver(message) : record;
}

using Fields = std::multimap<std::string, std::string>;

// Reads a record: a field is "NAME=VALUE" and a line feed, or, for any bytes, the name, a line
// feed, the size in eight bytes, the value and a line feed.
Fields Decode(const std::string& record) {
  Fields fields;
  for (std::size_t at = 0; at < record.size();) {
    const std::size_t nameEnd = record.find_first_of("=\n", at);
    const std::string name = record.substr(at, nameEnd - at);
    std::size_t value = nameEnd + 1;
    std::size_t end = record.find('\n', value);
    if (record.at(nameEnd) == '\n') {
      std::uint64_t size = 0;
      for (std::size_t byte = 8; byte-- > 0;) {
        size = size << 8 | static_cast<unsigned char>(record.at(value + byte));
      }
      value += 8;
      end = value + static_cast<std::size_t>(size);
    }
    EXPECT_EQ(record.at(end), '\n');
    fields.emplace(name, record.substr(value, end - value));
    at = end + 1;
  }
  return fields;
}

class DlogJournal : public testing::Test {
 protected:
  void SetUp() override {
    const Outcome outcome =
        RunChild([] { return std::string(OwnRun() ? "" : std::strerror(errno)); });
    if (!outcome.report.empty()) {
      GTEST_SKIP() << "no mounts of its own for a process: " << outcome.report;
    }
  }

  // Runs `log` in front of a journal.
  void Log(const std::function<int()>& log) {
    const Outcome outcome = RunChild([&log] {
      OwnRun();
      const Descriptor journal = BindJournal();
      BecomeJournal();
      const int written = log();
      const std::string first = Receive(journal);
      return std::to_string(written) + "\n" + first + Receive(journal);
    });
    EXPECT_EQ(outcome.status, 0);
    const std::size_t end = outcome.report.find('\n');
    written_ = outcome.report.substr(0, end);
    record_ = Decode(outcome.report.substr(end + 1));
    output_ = outcome.output;
  }

  // Declares standard error to be the journal.
  static void BecomeJournal() {
    setenv("APPLIST_LOG", "debug", 1);
    setenv("JOURNAL_STREAM", StreamOf(STDERR_FILENO).c_str(), 1);
  }

  const std::string& Output() const { return output_; }
  const std::string& Written() const { return written_; }
  const Fields& Record() const { return record_; }
  std::string Field(const char* name) const {
    return record_.count(name) == 1 ? record_.find(name)->second : "not one " + std::string(name);
  }

 private:
  std::string output_;
  std::string written_;
  Fields record_;
};

constexpr int kMacroLine = __LINE__ + 2;
int LogWithMacro() {
  return APPLIST_LOGF(DLOG_WARN, "%d of %s", 3, "five");
}

TEST_F(DlogJournal, GetsTheTextAndThePlaceInTheSourceAsFields) {
  Log(LogWithMacro);
  EXPECT_THAT(Record(), UnorderedElementsAre(Pair("MESSAGE", "3 of five"), Pair("PRIORITY", "4"),
                                             Pair("SYSLOG_IDENTIFIER", "applist"),
                                             Pair("CODE_FILE", "DlogJournalTest.cpp"),
                                             Pair("CODE_LINE", std::to_string(kMacroLine)),
                                             Pair("CODE_FUNC", "LogWithMacro")));
  EXPECT_EQ(Output(), "");
}

TEST_F(DlogJournal, GetsALineOfAnotherFormWhole) {
  Log([] {
    return __dlog_print(LOG_ID_MAIN, DLOG_WARN, "other", "%s: %s(%d) > [%s:%d]\n", "File.cpp",
                        "Func", 12, "Func", 12);
  });
  EXPECT_THAT(Record(),
              UnorderedElementsAre(Pair("MESSAGE", "File.cpp: Func(12) > [Func:12]"),
                                   Pair("PRIORITY", "4"), Pair("SYSLOG_IDENTIFIER", "other")));
}

TEST_F(DlogJournal, GetsThePriorityAsItsNumber) {
  const std::map<int, std::string> numbers = {
      {DLOG_DEBUG, "7"}, {DLOG_INFO, "6"}, {DLOG_WARN, "4"}, {DLOG_ERROR, "3"}};
  for (const auto& [priority, number] : numbers) {
    Log([logged = priority] { return __dlog_print(LOG_ID_MAIN, logged, "applist", "text\n"); });
    EXPECT_EQ(Field("PRIORITY"), number);
  }
}

TEST_F(DlogJournal, GetsNoControlCharacterInTextOrTag) {
  Log([] {
    return __dlog_print(LOG_ID_MAIN, DLOG_WARN, "a\nb", "%s\n",
                        "one\nMESSAGE=two\x1B[2J\xFF\xE2\x80\xAE gr\xC3\xBC\xC3\x9F\n");
  });
  EXPECT_EQ(Field("SYSLOG_IDENTIFIER"), "a\\nb");
  EXPECT_EQ(Field("MESSAGE"),
            "one\\nMESSAGE=two\\x1B[2J\\xFF\\xE2\\x80\\xAE gr\xC3\xBC\xC3\x9F\\n");
}

TEST_F(DlogJournal, GetsAPlaceOfAnyBytesAsItIs) {
  Log([] {
    return __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "%s: %s(%d) > [%s:%d] text\n",
                        "one\nMESSAGE=two", "\xFF=\n", -1, "", 0);
  });
  EXPECT_EQ(Field("CODE_FILE"), "one\nMESSAGE=two");
  EXPECT_EQ(Field("CODE_FUNC"), "\xFF=\n");
  EXPECT_EQ(Field("CODE_LINE"), "-1");
  EXPECT_EQ(Field("MESSAGE"), "text");
}

TEST_F(DlogJournal, GetsALineWithNullStrings) {
  Log([] {
    const char* volatile null = nullptr;
    return __dlog_print(LOG_ID_MAIN, DLOG_WARN, null, "%s: %s(%d) > [%s:%d] <%s>\n", null, null, 1,
                        null, 1, null);
  });
  EXPECT_THAT(Record(), UnorderedElementsAre(Pair("MESSAGE", "<(null)>"), Pair("PRIORITY", "4"),
                                             Pair("SYSLOG_IDENTIFIER", ""), Pair("CODE_FILE", ""),
                                             Pair("CODE_LINE", "1"), Pair("CODE_FUNC", "")));
}

TEST_F(DlogJournal, GetsALineOfAnyLength) {
  const std::string name(16 * kMiB, 'x');
  Log([&] { return Warn(name.c_str()); });
  EXPECT_TRUE(Field("MESSAGE") == name);
  EXPECT_EQ(Output(), "");
}

TEST_F(DlogJournal, CountsTheBytesOfTheFields) {
  Log([] { return Warn("text"); });
  std::size_t size = 0;
  for (const auto& [name, value] : Record()) {
    size += name.size() + 1 + value.size();
  }
  EXPECT_GT(size, 0U);
  EXPECT_EQ(Written(), std::to_string(size));
}

TEST_F(DlogJournal, GetsTheErrorOfTheCallerAndLeavesIt) {
  Log([] {
    const char* volatile format = "%s: %m\n";  // no conversion of the C++ standard
    errno = ENOENT;
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", format, "open");
    return errno;
  });
  EXPECT_EQ(Field("MESSAGE"), std::string("open: ") + std::strerror(ENOENT));
  EXPECT_EQ(Written(), std::to_string(ENOENT));
}

TEST_F(DlogJournal, GetsNothingOnceStandardErrorIsAnotherFile) {
  const Descriptor other = MakeFile();
  Log([&] {
    Warn("one");
    dup2(other.Number(), STDERR_FILENO);
    return Warn("two");
  });
  EXPECT_EQ(Field("MESSAGE"), "one");
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(TextOf(ReadFile(other)), "two");
}

TEST_F(DlogJournal, LeavesToStandardErrorWhatItRefuses) {
  const Outcome outcome = RunChild([] {
    OwnRun();
    BindJournal().Close();  // leaves a socket that nobody listens on
    BecomeJournal();
    return std::to_string(Warn("text"));
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(TextOf(outcome.output), "text");
  EXPECT_EQ(outcome.report, std::to_string(outcome.output.size()));
}

TEST_F(DlogJournal, LeavesEverythingToStandardErrorWhereItIsMissing) {
  const Outcome outcome = RunChild([] {
    OwnRun();
    BecomeJournal();
    errno = ENOTTY;
    Warn("text");
    return std::to_string(errno);
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(TextOf(outcome.output), "text");
  EXPECT_EQ(outcome.report, std::to_string(ENOTTY));
}

struct StreamCase {
  const char* name;
  const char* value;  // of JOURNAL_STREAM; D and I stand for the numbers of standard error
};

void PrintTo(const StreamCase& tested, std::ostream* output) {
  *output << tested.name;
}

class DlogOtherStream : public DlogJournal, public testing::WithParamInterface<StreamCase> {
 protected:
  static std::string Stream() {
    struct stat status = {};
    fstat(STDERR_FILENO, &status);
    std::string stream;
    for (const char letter : std::string(GetParam().value)) {
      stream += letter == 'D'   ? std::to_string(status.st_dev)
                : letter == 'I' ? std::to_string(status.st_ino)
                                : std::string(1, letter);
    }
    return stream;
  }
};

TEST_P(DlogOtherStream, IsNotTheJournal) {
  Log([] {
    setenv("JOURNAL_STREAM", Stream().c_str(), 1);
    return Warn("text");
  });
  EXPECT_EQ(TextOf(Output()), "text");
  EXPECT_THAT(Record(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Streams, DlogOtherStream,
    testing::Values(StreamCase{"OtherInode", "D:1I"}, StreamCase{"OtherDevice", "1D:I"},
                    StreamCase{"Empty", ""}, StreamCase{"NoInode", "D"},
                    StreamCase{"EmptyInode", "D:"}, StreamCase{"EmptyDevice", ":I"},
                    StreamCase{"Words", "device:inode"}, StreamCase{"SpaceBefore", " D:I"},
                    StreamCase{"Sign", "D:+I"}, StreamCase{"SpaceBehind", "D:I "},
                    StreamCase{"ThirdNumber", "D:I:1"},
                    StreamCase{"TooLarge", "99999999999999999999999:I"}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
