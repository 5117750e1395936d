// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "support/FailingAllocation.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

// How many allocations until the one that fails; 0 when none is to fail.
thread_local int left = 0;
thread_local bool lasting = false;
thread_local bool failed = false;

// Whether operator new is all that can fail: a sanitizer has a malloc of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kNewAlone = true;
#else
constexpr bool kNewAlone = false;
#endif

// Returns whether it is this one's turn to fail.
bool IsFailing() {
  if (left == 0 || --left > 0) {
    return false;
  }
  failed = true;
  left = lasting ? 1 : 0;
  return true;
}

}  // namespace

namespace applist_test {

void FailAllocation(int number) {
  failed = false;
  lasting = false;
  left = number;
}

void FailAllocationsFrom(int number) {
  FailAllocation(number);
  lasting = true;
}

bool StopFailing() {
  left = 0;
  return std::exchange(failed, false);
}

}  // namespace applist_test

// Not inlined: a compiler that sees new here and free there takes them for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = kNewAlone && IsFailing() ? nullptr : std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// What operator new and the libraries written in C take their memory from.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the C library has for them
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
  return IsFailing() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  return IsFailing() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  return IsFailing() ? nullptr : __libc_realloc(memory, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}
#endif
