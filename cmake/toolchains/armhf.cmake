# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# ARM with 32 bits and floating point in hardware: Debian's armhf. debian.cmake says how to use it.
set(APPLIST_ARCHITECTURE armhf)
set(APPLIST_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
