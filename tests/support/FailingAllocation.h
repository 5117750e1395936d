// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Memory that runs out when a test wants it to. A program that is linked with this has an operator
// new and, but for a sanitizer's, a malloc of its own.
#ifndef APPLIST_TESTS_SUPPORT_FAILINGALLOCATION_H
#define APPLIST_TESTS_SUPPORT_FAILINGALLOCATION_H

namespace applist_test {

// Has the calling thread's allocation with this number fail, counted from 1 from now on, and no
// other one.
void FailAllocation(int number);

// The same, and all that follow it.
void FailAllocationsFrom(int number);

// Lets all allocations of the calling thread succeed again. Returns whether one has failed since.
bool StopFailing();

}  // namespace applist_test

#endif
