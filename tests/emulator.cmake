# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# What is different where the programs of the build are for another machine, and tests run in an
# emulator. On the machine itself, nothing is.

# What cannot be tested in an emulator, each with the reason.
set(left_out)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  list(APPEND left_out
    # The emulator does not hold its programs to a limit of their memory.
    Dlog.DropsALineThatMemoryDoesNotHold
    # Nor does it send a message of no bytes, as the one is that hands over a file with a long line.
    DlogJournal.GetsALineOfAnyLength
    # The daemon starts a program of its own, which the machine cannot run by itself.
    LaunchTest.* LaunchTest/* ActivationTest.*
    DaemonTest.FindsTheProgramThatLaunchesWhereBothAreInstalled)
  list(JOIN left_out ":" left_out)
  set(left_out TEST_FILTER -${left_out})
endif()

# discover_tests(TARGET ...): as gtest_discover_tests, without the tests that are left out.
function(discover_tests target)
  gtest_discover_tests(${target} ${left_out} ${ARGN})
endfunction()

# program_files(TARGET...): sets TARGET_file for each program of the build to the file by which
# tests start it: its own or, in an emulator, a script that gives it to the emulator. Whoever starts
# it, a test, a shell or Python, need not know. Tests themselves are given to the emulator by CTest.
function(program_files)
  foreach(target IN LISTS ARGN)
    set(${target}_file $<TARGET_FILE:${target}> PARENT_SCOPE)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
      set(script ${PROJECT_BINARY_DIR}/emulated/${target})
      write_script_once(${script} ${target})
      set(${target}_file ${script} PARENT_SCOPE)
    endif()
  endforeach()
endfunction()

function(write_script_once script target)
  get_property(written GLOBAL PROPERTY emulated-${target} SET)
  if(NOT written)
    set_property(GLOBAL PROPERTY emulated-${target} ON)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
    file(GENERATE OUTPUT ${script}
      CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${target}>' \"$@\"\n"
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
                       GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endfunction()
