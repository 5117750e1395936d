# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# Formats PAGE with MAN, and fails when it warns of anything or shows nothing.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 MANROFFSEQ= MANWIDTH=80
    ${MAN} --warnings --encoding=UTF-8 --local-file ${PAGE}
  OUTPUT_VARIABLE shown ERROR_VARIABLE warnings RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT warnings STREQUAL "")
  message(FATAL_ERROR "${PAGE}: man ended with ${status} and said:\n${warnings}")
endif()
string(LENGTH "${shown}" size)
if(size LESS 1000)
  message(FATAL_ERROR "${PAGE}: only ${size} bytes are shown")
endif()
