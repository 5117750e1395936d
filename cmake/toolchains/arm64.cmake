# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# ARM with 64 bits: Debian's arm64. debian.cmake says how to use it.
set(APPLIST_ARCHITECTURE arm64)
set(APPLIST_TRIPLET aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
