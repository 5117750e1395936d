// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Signals that come later.
#ifndef APPLIST_DBUS_HELDSIGNALS_H
#define APPLIST_DBUS_HELDSIGNALS_H

#include <csignal>

namespace applist {

// For as long as it lives, no signal handler runs on this thread: the D-Bus library gives up a call
// that one interrupts, though its answer is on the way. What comes meanwhile comes afterwards.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held;
    sigfillset(&held);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
      sigdelset(&held, fault);
    }
    pthread_sigmask(SIG_BLOCK, &held, &m_before);
  }
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t m_before;
};

}  // namespace applist

#endif
