// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What runs other programs for the tests, and for more than the tests.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"
#include "dbus/BusConnection.h"

namespace applist_test {
namespace {

using applist::ChildProcess;
using applist::PrivateBus;

std::vector<std::string> Shell(const std::string& script) {
  return {"/bin/sh", "-c", script};
}

// A pipe whose reading end tells when nobody holds the other end any longer.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe2(m_ends.data(), O_CLOEXEC), 0); }
  ~Pipe() {
    close(m_ends[0]);
    CloseOurs();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int Write() const { return m_ends[1]; }
  void CloseOurs() {
    if (m_ends[1] >= 0) {
      close(m_ends[1]);
      m_ends[1] = -1;
    }
  }

  // What is written up to the end, or up to a line feed.
  std::string ReadAll() { return Read('\0'); }
  std::string ReadLine() { return Read('\n'); }

 private:
  std::string Read(char end) {
    std::string text;
    char byte = 0;
    while (read(m_ends[0], &byte, 1) == 1 && byte != end) {
      text += byte;
    }
    return text;
  }

  std::array<int, 2> m_ends = {-1, -1};
};

TEST(ChildProcessTest, GivesTheExitStatus) {
  EXPECT_EQ(ChildProcess(Shell("exit 0")).Wait(), 0);
  EXPECT_EQ(ChildProcess(Shell("exit 7")).Wait(), 7);
}

TEST(ChildProcessTest, GivesTheSignalAsAShellDoes) {
  ChildProcess child({"sleep", "1000"});
  EXPECT_FALSE(child.Poll());
  child.Signal(SIGKILL);
  EXPECT_EQ(child.Wait(), 128 + SIGKILL);
  EXPECT_EQ(child.Wait(), 128 + SIGKILL) << "and again";
  EXPECT_EQ(child.Poll(), 128 + SIGKILL);
}

TEST(ChildProcessTest, WhatCannotBeStartedThrows) {
  EXPECT_THROW(ChildProcess({"/nowhere/to/be/found"}), std::system_error);
  EXPECT_THROW(ChildProcess({"/"}), std::system_error);
}

TEST(ChildProcessTest, AddsToTheEnvironment) {
  setenv("APPLIST_TEST_OURS", "kept", 1);
  setenv("APPLIST_TEST_THEIRS", "replaced", 1);
  ChildProcess child(Shell("test \"$APPLIST_TEST_OURS $APPLIST_TEST_THEIRS\" = \"kept new\""),
                     {"APPLIST_TEST_THEIRS=new"});
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_STREQ(getenv("APPLIST_TEST_THEIRS"), "replaced") << "of the child alone";
}

TEST(ChildProcessTest, InheritsTheOneDescriptorAndNoOther) {
  Pipe kept;
  Pipe other;
  const auto existing = [](int fd) { return "test -e /proc/self/fd/" + std::to_string(fd); };
  EXPECT_EQ(ChildProcess(Shell(existing(kept.Write())), {}, kept.Write()).Wait(), 0);
  EXPECT_NE(ChildProcess(Shell(existing(other.Write())), {}, kept.Write()).Wait(), 0);
  EXPECT_NE(fcntl(kept.Write(), F_GETFD) & FD_CLOEXEC, 0) << "ours stays as it was";
}

TEST(ChildProcessTest, EndsWithItsObject) {
  Pipe held;
  pid_t pid = 0;
  {
    const ChildProcess child({"sleep", "1000"}, {}, held.Write());
    pid = child.Pid();
    held.CloseOurs();
    EXPECT_EQ(kill(pid, 0), 0);
  }
  EXPECT_EQ(held.ReadAll(), "") << "and nobody holds the pipe any longer";
  EXPECT_EQ(kill(pid, 0), -1);
}

TEST(ChildProcessTest, EndsAlsoWhenItIsStopped) {
  const ChildProcess child({"sleep", "1000"});
  kill(child.Pid(), SIGSTOP);
}

TEST(ChildProcessTest, StartsWithNoSignalBlocked) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  ChildProcess child({"sleep", "1000"});
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  child.Signal(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
}

// The child of a process that is killed goes with it.
TEST(ChildProcessTest, EndsWithItsParentHoweverThatEnds) {
  Pipe held;
  const pid_t parent = fork();
  if (parent == 0) {
    const ChildProcess child({"sleep", "1000"}, {}, held.Write());
    const std::string line = "started\n";
    const ssize_t written = write(held.Write(), line.data(), line.size());
    pause();
    _exit(written > 0 ? 0 : 1);
  }
  held.CloseOurs();
  EXPECT_EQ(held.ReadLine(), "started");
  kill(parent, SIGKILL);
  EXPECT_EQ(held.ReadAll(), "");
  waitpid(parent, nullptr, 0);
}

TEST(PrivateBusTest, CanBeConnectedToAtOnce) {
  const PrivateBus bus;
  BusPeer peer(bus.Address());
  EXPECT_EQ(peer.UniqueName()[0], ':');
  EXPECT_EQ(peer.Own(kUiName), applist::NameAnswer::Owner);
}

TEST(PrivateBusTest, EachIsAWorldOfItsOwn) {
  const PrivateBus one;
  const PrivateBus other;
  BusPeer peer(one.Address());
  BusPeer otherPeer(other.Address());
  EXPECT_NE(one.Address(), other.Address());
  EXPECT_EQ(peer.Own(kUiName), applist::NameAnswer::Owner);
  EXPECT_EQ(otherPeer.OwnerOf(kUiName), "");
  EXPECT_EQ(otherPeer.Own(kUiName), applist::NameAnswer::Owner);
}

TEST(PrivateBusTest, ComesBackAtTheSameAddress) {
  PrivateBus bus;
  const std::string address = bus.Address();
  bus.Stop();
  EXPECT_THROW(BusPeer{address}, std::runtime_error);
  bus.Start();
  EXPECT_EQ(bus.Address(), address);
  EXPECT_NO_THROW(BusPeer{address});
}

TEST(PrivateBusTest, LeavesNoFolderBehind) {
  std::string folder;
  {
    const PrivateBus bus;
    folder = bus.Address().substr(bus.Address().find('/'));
    folder.erase(folder.rfind('/'));
    struct stat status = {};
    EXPECT_EQ(stat(folder.c_str(), &status), 0) << folder;
  }
  struct stat status = {};
  EXPECT_EQ(stat(folder.c_str(), &status), -1) << folder;
}

TEST(PrivateBusTest, IsTheSessionBusOnceAsked) {
  const PrivateBus bus;
  bus.UseAsSessionBus();
  EXPECT_EQ(getenv("DBUS_SESSION_BUS_ADDRESS"), bus.Address());
}

// What is no whole number of milliseconds is none.
TEST(CallTimeoutTest, IsWhatTheEnvironmentSays) {
  const char* const own = std::getenv("APPLIST_CALL_TIMEOUT_MS");
  const std::string before = own != nullptr ? own : "";
  const std::pair<const char*, int> cases[] = {
      {"20", 20},   {"", 500},    {"0", 500},
      {"-5", 500},  {"5s", 500},  {"1e3", 500},
      {" 20", 500}, {"abc", 500}, {"99999999999999999999", 500}};
  for (const auto& [text, milliseconds] : cases) {
    setenv("APPLIST_CALL_TIMEOUT_MS", text, 1);
    EXPECT_EQ(applist::CallTimeout(), std::chrono::milliseconds(milliseconds)) << text;
  }
  setenv("APPLIST_CALL_TIMEOUT_MS", before.c_str(), 1);
}

}  // namespace
}  // namespace applist_test
