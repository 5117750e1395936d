# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Builds programs as somebody else would, looks at what they are linked to, and runs them.

way=cmake, pkg-config, add_subdirectory: the examples of docs/examples, which then have to meet on a
private bus. way=loops: the examples of docs/examples/loops. way=core, core-own-log: a program with
a platform of its own.
"""
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

import tools

WORDS = tools.words()
BUILD = pathlib.Path(WORDS['build'])
SOURCE = pathlib.Path(WORDS['source'])
EXAMPLES = SOURCE / 'docs' / 'examples'
# Two items of 22 bytes each, sent at once and again when the middleware asks for the list.
PORT_SHOWS = '''\
middleware: message 2004 with 44 bytes
middleware: message 2004 with 44 bytes
middleware: message 2000 with 22 bytes
middleware: message 2001 with 0 bytes
selected: Maps
'''
WARNINGS = '-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Werror'
HIDDEN = '-fvisibility=hidden -fvisibility-inlines-hidden'


def prefix(what):
    return pathlib.Path(WORDS['installed']) / f'{what}-{WORDS["kind"]}'


def build_with_cmake(folder, *options):
    tools.run(WORDS['cmake'], '-S', folder, '-B', BUILD, '-G', 'Ninja',
              '-D', f'CMAKE_CXX_COMPILER={WORDS["compiler"]}',
              '-D', f'CMAKE_CXX_STANDARD={WORDS["standard"]}',
              '-D', 'CMAKE_CXX_STANDARD_REQUIRED=ON', '-D', 'CMAKE_CXX_EXTENSIONS=OFF', *options)
    shown = tools.run(WORDS['cmake'], '--build', BUILD, '-v')
    if f'-std=c++{WORDS["standard"]} ' not in shown:
        raise AssertionError(f'that is not compiled as C++{WORDS["standard"]}')


def build_with_pkg_config():
    """With the command that the README shows, by somebody who hides what is inside."""
    shown = (EXAMPLES / 'with-pkg-config.sh').read_text(encoding='utf-8')
    compiler = f'{WORDS["compiler"]} -std=c++{WORDS["standard"]} {WARNINGS} {HIDDEN}'
    BUILD.mkdir()
    for example in ('user-interface', 'remote-side'):
        command = shown.replace('g++ -std=c++17', compiler)
        if command == shown:
            raise AssertionError(f'that is another command: {shown}')
        command = command.replace('user-interface.cpp', shlex.quote(f'{EXAMPLES}/{example}.cpp'))
        command = command.replace('-o user-interface', f'-o {shlex.quote(str(BUILD / example))}')
        tools.run('sh', '-c', command,
                  PKG_CONFIG_PATH=str(prefix('library') / 'lib' / 'pkgconfig'))


def look_at_links(program):
    """The program needs the shared library by its SONAME, or does not need it."""
    needed = re.findall(r'NEEDED.*\[(libapplist.*)\]', tools.run('readelf', '-d', program))
    expected = ['libapplist.so.1'] if WORDS['kind'] == 'shared' else []
    if needed != expected:
        raise AssertionError(f'{program} needs {needed}, not {expected}')


def wait_for_line(program, line):
    """Reads what a program prints up to this line; the deadline is that of the test."""
    for shown in program.stdout:
        print('>', shown.rstrip(), flush=True)
        if shown.rstrip() == line:
            return
    raise AssertionError(f'{program.args[0]} ended without "{line}"')


def meet_on_a_bus():
    """The user interface's two items arrive at the remote side."""
    started = []

    def start(program):
        started.append(subprocess.Popen([str(program)], stdin=subprocess.PIPE, text=True,
                                        stdout=subprocess.PIPE))
        return started[-1]

    try:
        bus = start(WORDS['private-bus'])
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = json.loads(bus.stdout.readline())['address']
        if WORDS['way'] == 'pkg-config':  # CMake writes into the program where the library is
            os.environ['LD_LIBRARY_PATH'] = str(prefix('library') / 'lib')
        remote_side = start(BUILD / 'remote-side')
        start(BUILD / 'user-interface')
        wait_for_line(remote_side, '2 items')
    finally:
        for program in reversed(started):
            # The bus ends with its standard input, and takes its folder with it.
            program.stdin.close()
            if program is not started[0]:
                program.terminate()
            program.wait()


def main():
    if shutil.which(WORDS['compiler']) is None:
        print(f'skipped: there is no {WORDS["compiler"]}')
        return 77
    shutil.rmtree(BUILD, ignore_errors=True)

    way = WORDS['way']
    if way.startswith('core'):
        options = ['-D', f'CMAKE_PREFIX_PATH={prefix(way)}',
                   '-D', 'CMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON']
        own_log = f'-I{SOURCE}/tests/consumers/own-log' if way == 'core-own-log' else ''
        build_with_cmake(EXAMPLES / 'port', '-D', f'CMAKE_CXX_FLAGS={WARNINGS} {own_log}', *options)
        look_at_links(BUILD / 'port')
        shown = tools.run(BUILD / 'port')
        if shown != PORT_SHOWS:
            raise AssertionError('that is not what the model sends and the middleware answers')
        return 0

    if way == 'loops':
        build_with_cmake(EXAMPLES / 'loops', '-D', f'CMAKE_PREFIX_PATH={prefix("library")}')
        for example in ('poll', 'glib', 'qt'):
            look_at_links(BUILD / example)
        return 0

    if way == 'pkg-config':
        build_with_pkg_config()
    elif way == 'cmake':
        build_with_cmake(EXAMPLES, '-D', f'CMAKE_PREFIX_PATH={prefix("library")}')
    else:
        build_with_cmake(SOURCE / 'tests' / 'consumers' / 'add-subdirectory',
                         '-D', f'APPLIST_SOURCE={SOURCE}', '-D', 'BUILD_SHARED_LIBS=ON')
    for example in ('user-interface', 'remote-side'):
        look_at_links(BUILD / example)
    meet_on_a_bus()
    return 0


if __name__ == '__main__':
    sys.exit(main())
