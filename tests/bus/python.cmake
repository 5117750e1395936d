# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
# The protocol, from the outside: programs in Python that were written from docs/protocol.md, each
# against the real program at the other end. In the system's Python, which has Debian's dbus_next.
find_program(APPLIST_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED
  DOC "Python with dbus_next, for the tests of the protocol")

applist_program(model-driver ModelDriver.cpp)
target_link_libraries(model-driver PRIVATE applist-platform)

applist_program(private-bus PrivateBusProcess.cpp)
target_link_libraries(private-bus PRIVATE applist-support)

# python_test(NAME TARGET... ): tests/bus/NAME.py on each of the two daemons. It is told where the
# given programs are.
function(python_test name)
  set(programs)
  program_files(${ARGN} private-bus)
  foreach(target IN LISTS ARGN ITEMS private-bus)
    list(APPEND programs ${target}=${${target}_file})
  endforeach()
  # -B: the source folder stays as it is.
  set(command ${APPLIST_PYTHON} -B ${CMAKE_CURRENT_SOURCE_DIR}/${name}.py ${programs})
  add_test(NAME bus.${name} COMMAND ${command})
  add_test(NAME broker.${name} COMMAND ${command})
  set_tests_properties(bus.${name} broker.${name} PROPERTIES LABELS bus)
  set_tests_properties(bus.${name} PROPERTIES ENVIRONMENT APPLIST_TEST_BUS=dbus-daemon)
  set_tests_properties(broker.${name} PROPERTIES ENVIRONMENT APPLIST_TEST_BUS=dbus-broker)
endfunction()

python_test(protocol_page_test applistd model-driver)
python_test(remote_peer_test model-driver)
python_test(ui_peer_test applistd)
