// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
/// @file
/// What the shared library shows of itself.
#ifndef APPLIST_COMMON_EXPORT_H
#define APPLIST_COMMON_EXPORT_H

/// Stands before everything that programs use from libapplist, or derive from: a class, a function
/// of a class, a function. The library is built with hidden visibility, so that whatever does not
/// have it stays inside and may change with each release.
///
/// On a class it covers the type information and the virtual functions, which a program that
/// derives from the class, catches it or casts to it must share with the library; its inline
/// functions stay where they are used. A class without virtual functions has it on its public
/// functions instead.
#define APPLIST_EXPORT __attribute__((visibility("default")))

#endif
