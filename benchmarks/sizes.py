#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Writes how big the library and the programs of the preset `release` are, and how much memory they
take when nothing happens, as the last part of a page.

    sizes.py PAGE [ARCHITECTURE...]

An architecture, such as armhf, is one that cmake/toolchains has a file for. Run in the folder of
the project; builds in build/sizes.
"""
import os
import platform
import subprocess
import sys
import tempfile
import time

import run

FOLDER = os.path.join('build', 'sizes')
PART = '\n## Sizes\n'
PROGRAMS = ['apps/applistd/applistd', 'apps/applistd/applist-launch',
            'apps/applistctl/applistctl', 'apps/applist-ui/applist-ui']
LIBRARY = 'cmake/libapplist.so'
CORE, WHOLE = 'library, the core alone', 'library, with the platform'
# KiB: the code of the library on the device, and the memory of an idle daemon.
TEXT_AIMS = {CORE: 64, WHOLE: 160}
DEVICE = 'armhf'
# The tools for another architecture, and its emulator, which is told to keep the memory of the
# program in one place.
GUEST = 0x100000000
ARM = {'armhf': ('arm-linux-gnueabihf-', ['qemu-arm', '-B', hex(GUEST)]),
       'arm64': ('aarch64-linux-gnu-', ['qemu-aarch64', '-B', hex(GUEST), '-R', '0xf0000000'])}
MEMORY_AIMS = (4096, 1024)


def command(*words):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True).stdout


def configure(name, *options):
    build = os.path.join(FOLDER, name)
    command('cmake', '--preset', 'release', '-B', build, *options)
    return build


def compile_for(architecture):
    """Builds for one architecture, this machine's where that is None; returns the two folders: the
    core alone, and all."""
    name, options = architecture or 'native', []
    if architecture:
        options = ['--toolchain', os.path.join('cmake', 'toolchains', f'{architecture}.cmake')]
    core = configure(f'{name}-core', *options, '-D', 'APPLIST_PLATFORM=OFF')
    command('cmake', '--build', core, '--target', 'libapplist')
    whole = configure(name, *options)
    command('cmake', '--build', whole, '--target', 'libapplist', *map(os.path.basename, PROGRAMS))
    return core, whole


def parse_size(text):
    """text, data and bss from what `size` prints of one file."""
    names, values = (line.split() for line in text.splitlines())
    row = dict(zip(names, values))
    return [int(row[name]) for name in ('text', 'data', 'bss')]


def size_of(architecture, file):
    triplet = ARM[architecture][0] if architecture else ''
    with tempfile.TemporaryDirectory() as folder:
        stripped = os.path.join(folder, 'stripped')
        command(f'{triplet}strip', '-o', stripped, file)
        return [*parse_size(command(f'{triplet}size', stripped)), os.path.getsize(stripped)]


def sizes_of(architecture):
    """What the stripped files take: text, data, bss, all of the file."""
    core, whole = compile_for(architecture)
    sizes = {CORE: size_of(architecture, os.path.join(core, LIBRARY)),
             WHOLE: size_of(architecture, os.path.join(whole, LIBRARY))}
    for program in PROGRAMS:
        sizes[os.path.basename(program)] = size_of(architecture, os.path.join(whole, program))
    return sizes


def parse_memory(text, first=0, last=sys.maxsize):
    """Resident and private KiB from a smaps of /proc, of what is between two addresses."""
    resident = private = 0
    for line in text.splitlines():
        name, value = line.split(None, 1)
        if '-' in name:
            counts = first <= int(name.split('-')[0], 16) < last
        elif counts and name == 'Rss:':
            resident += int(value.split()[0])
        elif counts and name in ('Private_Clean:', 'Private_Dirty:'):
            private += int(value.split()[0])
    return resident, private


def memory_of(process, architecture):
    """Without that of an emulator."""
    with open(f'/proc/{process.pid}/smaps', encoding='ascii') as text:
        return parse_memory(text.read(), *((GUEST, 2 * GUEST) if architecture else ()))


def sysroot(architecture):
    return os.path.abspath(os.path.join('build', 'sysroot', architecture))


def compile_user_interface(architecture):
    """As somebody else would, with the shared library."""
    folder = os.path.join(FOLDER, architecture or 'native')
    program = os.path.join(folder, 'idle-ui')
    compiler = ['g++']
    if architecture:
        compiler = [f'{ARM[architecture][0]}g++', f'--sysroot={sysroot(architecture)}']
    command(*compiler, '-std=c++17', '-Os', '-Iinclude', '-Isrc', '-Iplatform', '-Iplatform/dlog',
            os.path.join('benchmarks', 'idle-ui.cpp'), os.path.join(folder, LIBRARY), '-o', program,
            '-Wl,-rpath,$ORIGIN/cmake', '-Wl,--as-needed')
    return program


def wait_for_ten(address):
    """Until the daemon has the ten items of the user interface."""
    deadline = time.monotonic() + run.DEADLINE
    while time.monotonic() < deadline:
        asked = subprocess.run(
            ['busctl', '--address', address, 'get-property', 'org.javamw.Applist.Local',
             '/org/javamw/Applist', 'org.javamw.Applist.Control1', 'Items'],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
        if asked.stdout.startswith('a(ss) 10 '):
            return
        time.sleep(0.1)
    raise RuntimeError('the user interface and applistd have not met')


def measure_memory(architecture):
    user_interface = compile_user_interface(architecture)
    emulator = [*ARM[architecture][1], '-L', sysroot(architecture)] if architecture else []
    started = []
    with tempfile.TemporaryDirectory() as folder:
        address = f'unix:path={folder}/bus'
        environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=address)

        def start(*words, **options):
            started.append(subprocess.Popen(words, env=environment, **options))
            return started[-1]

        try:
            bus = start('dbus-daemon', '--session', '--nofork', '--nopidfile', '--address', address,
                        '--print-address', stdout=subprocess.PIPE)
            bus.stdout.readline()
            daemon = start(*emulator, os.path.join(FOLDER, architecture or 'native', PROGRAMS[0]))
            shown = start(*emulator, user_interface)
            wait_for_ten(address)
            return {'applistd': memory_of(daemon, architecture),
                    'user interface': memory_of(shown, architecture)}
        finally:
            for process in reversed(started):
                process.terminate()
                process.wait()


def kib(value):
    return f'{value / 1024:.1f}'


def verdict(value, aim):
    return f'{aim}, {"met" if value <= aim else "missed"}'


def table(head, rows):
    lines = ['| ' + ' | '.join(head) + ' |', '|---' * len(head) + '|']
    return '\n'.join(lines + ['| ' + ' | '.join(row) + ' |' for row in rows]) + '\n'


def sizes_table(architecture, sizes):
    rows = []
    for name, values in sizes.items():
        aim = TEXT_AIMS.get(name) if architecture == DEVICE else None
        rows.append([name, *map(kib, values), verdict(values[0] / 1024, aim) if aim else ''])
    return table(['', 'text', 'data', 'bss', 'file', 'aim for text'], rows)


def part(machine, sizes, memory):
    measured = ' and '.join([platform.machine(), *filter(None, sizes)])
    parts = [PART, f'Measured by `make sizes` on {time.strftime("%Y-%m-%d %H:%M %Z")} on '
             f'{machine["processors"]} x {machine["processor"]}, {machine["kernel"]}; '
             f'for {measured}. The '
             'preset `release`, files stripped, in KiB; text is code with constants and what '
             'unwinding needs. The daemon has what it needs of the C++ standard library in it, the '
             'other files share that of the system.\n']
    for architecture, values in sizes.items():
        parts += [f'### {architecture or platform.machine()}\n', sizes_table(architecture, values)]
    parts += ['### Memory at rest\n',
              'Of `applistd` and of `benchmarks/idle-ui.cpp`, which has shown it ten items; private '
              'is what no other process shares. For ARM it is measured in an emulator: what is of '
              'the program and its libraries, without the emulator, where nobody shares the '
              'libraries but these two.\n',
              memory_table(memory)]
    return '\n'.join(parts)


def memory_table(memory):
    rows = []
    for architecture, processes in memory.items():
        for name, values in processes.items():
            aims = MEMORY_AIMS if name == 'applistd' else (None, None)
            rows.append([f'{name}, {architecture or platform.machine()}',
                         *(f'{value} (aim {verdict(value, aim)})' if aim else str(value)
                           for value, aim in zip(values, aims))])
    return table(['', 'resident, KiB', 'private, KiB'], rows)


def main():
    page, architectures = sys.argv[1], sys.argv[2:]
    sizes = {None: sizes_of(None)}
    for architecture in architectures:
        sizes[architecture] = sizes_of(architecture)
    memory = {architecture: measure_memory(architecture) for architecture in sizes}
    added = part(run.machine(), sizes, memory)
    print(added)
    with open(page, encoding='utf-8') as text:
        before = text.read().partition(PART)[0]
    with open(page, 'w', encoding='utf-8') as text:
        text.write(before + added)


if __name__ == '__main__':
    main()
