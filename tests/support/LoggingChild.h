// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A child process that logs: the platform log reads its environment once in a process and writes to
// standard error, so that its tests give every case a process of its own.
#ifndef APPLIST_TESTS_SUPPORT_LOGGINGCHILD_H
#define APPLIST_TESTS_SUPPORT_LOGGINGCHILD_H

#include <dlog.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace logging {

constexpr std::size_t kMiB = std::size_t{1024} * 1024;

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { Close(); }

  int Number() const { return number_; }
  void Close() {
    if (number_ >= 0) {
      close(std::exchange(number_, -1));
    }
  }

 private:
  int number_;
};

struct Channel {
  Descriptor read;
  Descriptor write;
};

inline Channel MakePipe() {
  std::array<int, 2> ends = {-1, -1};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// A pair on which each write is one datagram.
inline Channel MakeDatagramPair() {
  std::array<int, 2> ends = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

inline Descriptor MakeFile() {
  return Descriptor(memfd_create("DlogTest", MFD_CLOEXEC));
}

inline void WriteAll(int file, const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t count = write(file, text.data() + at, text.size() - at);
    if (count <= 0) {
      return;
    }
    at += static_cast<std::size_t>(count);
  }
}

inline std::string ReadAll(int file) {
  std::string text;
  std::vector<char> part(std::size_t{64} * 1024);
  for (;;) {
    const ssize_t count = read(file, part.data(), part.size());
    if (count > 0) {
      text.append(part.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

inline std::string ReadFile(const Descriptor& file) {
  lseek(file.Number(), 0, SEEK_SET);
  return ReadAll(file.Number());
}

// What the child does. What it returns is its report to the test.
using Body = std::function<std::string()>;

// A process with the given standard error and none of the log's environment variables.
class Child {
 public:
  Child(const Descriptor& standardError, const Body& body) : report_(MakeFile()) {
    std::fflush(nullptr);
    process_ = fork();
    if (process_ == 0) {
      RunToTheEnd(standardError, body);
    }
  }
  ~Child() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      Wait();
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t Process() const { return process_; }

  // Returns how it ended: 0 when all went well, as waitpid(2) puts it otherwise.
  int Wait() {
    int status = -1;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
  }
  std::string Report() const { return ReadFile(report_); }

 private:
  // noexcept: what is thrown must not reach the test runner that this process is a copy of.
  [[noreturn]] void RunToTheEnd(const Descriptor& standardError, const Body& body) noexcept {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    unsetenv("APPLIST_LOG");
    unsetenv("JOURNAL_STREAM");
    dup2(standardError.Number(), STDERR_FILENO);
    WriteAll(report_.Number(), body());
    std::exit(0);
  }

  Descriptor report_;
  pid_t process_ = -1;
};

struct Outcome {
  int status;
  std::string report;
  std::string output;  // on standard error
};

// Runs `body` with a file as standard error.
inline Outcome RunChild(const Body& body) {
  const Descriptor output = MakeFile();
  Child child(output, body);
  const int status = child.Wait();
  return {status, child.Report(), ReadFile(output)};
}

// The same with the other end of `channel`, which the test reads to its end meanwhile.
inline Outcome RunChildInto(Channel channel, const Body& body) {
  Child child(channel.write, body);
  channel.write.Close();
  std::string output = ReadAll(channel.read.Number());
  const int status = child.Wait();
  return {status, child.Report(), std::move(output)};
}

// What stands behind the time, the priority and the tag of the only line of `output`.
inline std::string TextOf(const std::string& output) {
  const std::string before = " W applist: ";
  const std::size_t at = output.find(before);
  if (at == std::string::npos || output.find('\n') != output.size() - 1) {
    return "not one line: " + output;
  }
  return output.substr(at + before.size(), output.size() - 1 - at - before.size());
}

inline int Warn(const char* text) {
  return __dlog_print(LOG_ID_MAIN, DLOG_WARN, "applist", "%s", text);
}

}  // namespace logging

#endif
