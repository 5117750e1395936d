# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# What every target of this project is built with, kept away from the targets' users.

find_package(Threads REQUIRED)

add_library(applist-build INTERFACE)
if(APPLIST_WARNINGS)
  target_compile_options(applist-build INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Werror)
endif()
if(APPLIST_FUZZ)
  set(APPLIST_SANITIZE fuzzer-no-link,address,undefined)
endif()
if(APPLIST_SANITIZE)
  target_compile_options(applist-build INTERFACE
    -fsanitize=${APPLIST_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(applist-build INTERFACE -fsanitize=${APPLIST_SANITIZE})
endif()
if(APPLIST_COVERAGE)
  target_compile_options(applist-build INTERFACE --coverage -O0 -fno-inline)
  target_link_options(applist-build INTERFACE --coverage)
endif()

# applist_library(NAME SOURCE...): a part of the library, which CMakeLists.txt beside this puts
# together. It shows only what has APPLIST_EXPORT.
function(applist_library name)
  add_library(${name} STATIC ${ARGN})
  target_compile_features(${name} PUBLIC cxx_std_17)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:applist-build>)
endfunction()

# applist_program(NAME SOURCE...): a program or a test of the project.
function(applist_program name)
  add_executable(${name} ${ARGN})
  target_compile_features(${name} PRIVATE cxx_std_17)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
  target_link_libraries(${name} PRIVATE applist-build)
endfunction()
