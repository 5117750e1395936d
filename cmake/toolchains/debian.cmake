# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# What the toolchain files beside this one have in common: Debian's cross compiler, which has the
# libraries of C and C++ with it; everything else from a folder with Debian's libraries for that
# architecture; and qemu, in which programs of the build and tests run on that folder's libraries.
#
#     packaging/install build test arm
#     packaging/sysroot armhf build/sysroot/armhf
#     cmake -S . -B build/mine --toolchain cmake/toolchains/armhf.cmake
#
# -D CMAKE_SYSROOT=/FOLDER takes another folder, such as a copy of a device. The presets armhf and
# arm64 use these files too, and make test-arm does all of it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${APPLIST_TRIPLET}-g++)
if(NOT CMAKE_SYSROOT)
  get_filename_component(CMAKE_SYSROOT
    ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${APPLIST_ARCHITECTURE} ABSOLUTE)
endif()
if(NOT EXISTS ${CMAKE_SYSROOT}/usr/include)
  message(FATAL_ERROR "Nothing to compile against in ${CMAKE_SYSROOT}; packaging/sysroot makes it")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CMAKE_SYSROOT)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${CMAKE_SYSROOT}/usr/lib/${APPLIST_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L ${CMAKE_SYSROOT})
