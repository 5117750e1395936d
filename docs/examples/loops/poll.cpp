// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface in a program with a main loop of its own, which polls.
#include <poll.h>
#include <unistd.h>

#include "user-interface.h"

int main() {
  UserInterface ui;
  pollfd watched[] = {{ui.loop.Fd(), POLLIN, 0}, {EndingSignal(), POLLIN, 0}};
  while (watched[1].revents == 0) {
    poll(watched, 2, ui.loop.NextTimeout());
    ui.loop.Dispatch();
  }
  close(watched[1].fd);
}
