// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Where a virtual function stands in the virtual table of its class. Programs that are compiled
// against a header and not recompiled with it depend on that.
#ifndef APPLIST_TESTS_SUPPORT_SLOT_H
#define APPLIST_TESTS_SUPPORT_SLOT_H

#include <cstddef>
#include <cstring>

namespace applist_test {

// The slot of a virtual function, counted in pointers; the destructor takes two. The Itanium C++
// ABI keeps a virtual function's offset in the first word of the pointer to it, plus one where the
// lowest bit of a code address is free.
template <class Result, class Class, class... Arguments>
std::ptrdiff_t Slot(Result (Class::*method)(Arguments...)) {
  std::ptrdiff_t word = 0;
  static_assert(sizeof(method) == 2 * sizeof(word), "not the Itanium C++ ABI");
  std::memcpy(&word, &method, sizeof(word));
#if !defined(__arm__) && !defined(__aarch64__)
  word -= 1;
#endif
  return word / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// Declares one function more than Class, behind all that Class has.
template <class Class>
class OneMore : public Class {
 public:
  virtual void Next() = 0;
};

// The number of slots that Class takes.
template <class Class>
std::ptrdiff_t Slots() {
  return Slot(&OneMore<Class>::Next);
}

}  // namespace applist_test

#endif
