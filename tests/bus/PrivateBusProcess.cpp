// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A private bus for a test in another language: prints its address as JSON, and ends with standard
// input.
#include <exception>
#include <iostream>
#include <limits>

#include "support/PrivateBus.h"

int main() {
  try {
    const applist::PrivateBus bus;
    std::cout << "{\"address\": \"" << bus.Address() << "\"}" << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    return 0;
  } catch (const std::exception& e) {
    std::cerr << e.what() << std::endl;
    return 1;
  }
}
