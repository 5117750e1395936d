// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "CrashGuard.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>

namespace applist_ui {

namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGQUIT};

// All that the handler needs, where it may read it.
struct {
  volatile std::sig_atomic_t armed;
  char sequence[256];
  size_t length;
  termios settings;
  int originalError;
  int log;
} g_guard = {0, {}, 0, {}, -1, -1};

// A stack of its own, for when it is the stack that ran out.
alignas(std::max_align_t) char g_stack[size_t{64} << 10];

void CopyLog() {
  char bytes[1024];
  off_t at = 0;
  ssize_t count = 0;
  while ((count = pread(g_guard.log, bytes, sizeof bytes, at)) > 0 &&
         write(g_guard.originalError, bytes, static_cast<size_t>(count)) > 0) {
    at += count;
  }
}

// Only what is safe in a handler of signals.
void OnCrash(int number) {
  if (g_guard.armed != 0) {
    g_guard.armed = 0;
    static_cast<void>(!write(STDOUT_FILENO, g_guard.sequence, g_guard.length));
    tcsetattr(STDOUT_FILENO, TCSANOW, &g_guard.settings);
  }
  if (g_guard.originalError >= 0) {
    dup2(g_guard.originalError, STDERR_FILENO);
    CopyLog();
  }
  raise(number);
}

// The handler is there once: what it raises again has its default effect.
void Handle(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND | SA_NODEFER);
  sigemptyset(&action.sa_mask);
  for (const int number : kCrashes) {
    sigaction(number, &action, nullptr);
  }
}

}  // namespace

CrashGuard::CrashGuard(const std::string& sequence, const termios& settings) {
  g_guard.length = std::min(sequence.size(), sizeof g_guard.sequence);
  sequence.copy(g_guard.sequence, g_guard.length);
  g_guard.settings = settings;
  stack_t stack = {};
  stack.ss_sp = g_stack;
  stack.ss_size = sizeof g_stack;
  sigaltstack(&stack, nullptr);
  Handle(OnCrash);
  Arm(true);
}

CrashGuard::~CrashGuard() {
  Arm(false);
  Handle(SIG_DFL);
}

void CrashGuard::SetStandardError(int original, int log) {
  g_guard.log = log;
  g_guard.originalError = original;
}

void CrashGuard::Arm(bool armed) {
  g_guard.armed = armed ? 1 : 0;
}

}  // namespace applist_ui
