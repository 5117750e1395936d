// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A PTMutex for tests on one thread, in the place of the real one. What happens to a mutex goes to
// the record: "make mutex", "lock", "unlock" and "drop mutex". Locking twice is an exception and no
// hang; unlocking what is not held, and destroying what is, are failures of the test.
#ifndef APPLIST_TESTS_SUPPORT_RECORDINGMUTEX_H
#define APPLIST_TESTS_SUPPORT_RECORDINGMUTEX_H

namespace applist_test {

// Whether a mutex is held now.
bool MutexHeld();

// Gives back a mutex that the code under test has left locked.
void ReleaseHeldMutex();

}  // namespace applist_test

#endif
