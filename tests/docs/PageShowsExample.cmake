# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# cmake -D PAGE=... -D EXAMPLE=... -P PageShowsExample.cmake: the page holds the example, indented
# by four spaces.
file(READ ${PAGE} page)
file(READ ${EXAMPLE} example)
string(REGEX REPLACE "\n([^\n])" "\n    \\1" shown "    ${example}")
string(FIND "${page}" "${shown}" found)
if(found EQUAL -1)
  message(FATAL_ERROR "${PAGE} does not show ${EXAMPLE} as it is")
endif()
