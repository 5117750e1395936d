// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// private-bus: a bus for tests in other languages, on the daemon that APPLIST_TEST_BUS names.
// Writes its address as a line of JSON, and ends with standard input.
#include "support/PrivateBus.h"

#include <unistd.h>

#include <cstdio>
#include <exception>

int main() {
  try {
    const applist::PrivateBus bus;
    std::printf("{\"address\": \"%s\"}\n", bus.Address().c_str());
    std::fflush(stdout);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "private-bus: %s\n", error.what());
    return 1;
  }
}
