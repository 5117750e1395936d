// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Random numbers that can be repeated.
#ifndef APPLIST_TESTS_SUPPORT_SEED_H
#define APPLIST_TESTS_SUPPORT_SEED_H

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace applist_test {

// A new seed, or the one in the environment variable APPLIST_TEST_SEED. Prints it.
inline unsigned Seed() {
  const char* const wanted = std::getenv("APPLIST_TEST_SEED");
  const unsigned seed =
      wanted != nullptr ? static_cast<unsigned>(std::stoul(wanted)) : std::random_device{}();
  std::cout << "repeat with APPLIST_TEST_SEED=" << seed << std::endl;
  return seed;
}

}  // namespace applist_test

#endif
