# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# cmake -D CMAKE_PREFIX_PATH=... -D VERSION=... -P other-versions.cmake: who asks for another major
# version than the installed one, or for a newer minor one, is not given it.
cmake_minimum_required(VERSION 3.24)
string(REGEX MATCHALL "[0-9]+" numbers ${VERSION})
list(GET numbers 0 major)
list(GET numbers 1 minor)
math(EXPR older "${major} - 1")
math(EXPR newer "${major} + 1")
math(EXPR newer_minor "${minor} + 1")
foreach(asked IN ITEMS ${older} ${newer} ${major}.${newer_minor})
  find_package(AppList ${asked} CONFIG QUIET)
  if(AppList_FOUND)
    message(FATAL_ERROR "AppList ${VERSION} passes for ${asked}")
  endif()
  if(NOT VERSION IN_LIST AppList_CONSIDERED_VERSIONS)
    message(FATAL_ERROR "AppList ${VERSION} was not looked at")
  endif()
endforeach()
