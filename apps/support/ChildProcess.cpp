// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace applist {

namespace {

constexpr int kEndingMilliseconds = 5000;

std::system_error Error(int number, const std::string& what) {
  return std::system_error(number, std::generic_category(), what);
}

std::vector<char*> Pointers(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

// In the child, between fork and exec: only what is safe there. Reports a failure through `errors`.
[[noreturn]] void BecomeProgram(char* const* command, char* const* environment, int keptFd,
                                pid_t parent, int errors) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {
    _exit(127);
  }
  for (char* const* entry = environment; *entry != nullptr; ++entry) {
    putenv(*entry);
  }
  if (keptFd >= 0) {
    fcntl(keptFd, F_SETFD, 0);
  }
  execvp(command[0], command);
  const int number = errno;
  const ssize_t written = write(errors, &number, sizeof(number));
  _exit(written > 0 ? 127 : 126);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment, int keptFd) {
  int errors[2];
  if (pipe2(errors, O_CLOEXEC) < 0) {
    throw Error(errno, command.front());
  }
  const std::vector<char*> words = Pointers(command);
  const std::vector<char*> entries = Pointers(environment);
  const pid_t parent = getpid();
  m_pid = fork();
  const int forkError = errno;
  if (m_pid == 0) {
    BecomeProgram(words.data(), entries.data(), keptFd, parent, errors[1]);
  }
  close(errors[1]);
  int number = 0;
  const ssize_t got = m_pid < 0 ? -1 : read(errors[0], &number, sizeof(number));
  close(errors[0]);
  if (m_pid < 0) {
    throw Error(forkError, command.front());
  }
  if (got > 0) {
    Wait();
    throw Error(number, command.front());
  }
}

ChildProcess::~ChildProcess() {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, m_pid, 0));
  Signal(SIGTERM);
  Signal(SIGCONT);
  if (!m_status && handle >= 0) {
    pollfd ended = {handle, POLLIN, 0};
    poll(&ended, 1, kEndingMilliseconds);
  }
  if (handle >= 0) {
    close(handle);
  }
  if (!Poll()) {
    Signal(SIGKILL);
    Wait();
  }
}

void ChildProcess::Signal(int number) {
  if (!m_status) {
    kill(m_pid, number);
  }
}

int ChildProcess::Wait() {
  return WaitFor(0).value_or(-1);
}

std::optional<int> ChildProcess::Poll() {
  return WaitFor(WNOHANG);
}

std::optional<int> ChildProcess::WaitFor(int options) {
  int status = 0;
  pid_t waited = 0;
  while (!m_status && (waited = waitpid(m_pid, &status, options)) < 0 && errno == EINTR) {
  }
  if (waited > 0) {
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return m_status;
}

}  // namespace applist
