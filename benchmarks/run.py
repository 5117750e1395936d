#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Measures AppList beside what else does the same job, and writes what it finds as JSON.

    run.py BUILD_FOLDER RESULT_FILE [--dry]

Every contestant is a client and a server on a private bus of their own (peers/). They all run at
the same time, on one processor, and take turns in random order: so what disturbs the machine
disturbs all of them. With --dry everything is done once, to see that it works.
"""

import argparse
import collections
import json
import mmap
import os
import random
import select
import statistics
import subprocess
import sys
import tempfile
import time

BUSES = ('dbus-daemon', 'dbus-broker')
DEADLINE = 60  # for anything at all, in seconds
HERE = os.path.dirname(os.path.abspath(__file__))

# role: the arguments of the two processes. bus: whether they meet on one.
Kind = collections.namedtuple('Kind', 'name program server client environment bus direct',
                              defaults=({}, True, None))
KINDS = [
    Kind('sd-bus', 'bench-sd-bus', 'server', 'client'),
    Kind('sd-bus, no bus', 'bench-sd-bus', 'socket-server', 'socket-client', {}, False),
    Kind('AppList, bus', 'bench-applist', 'server', 'client', {'APPLIST_LINE': 'bus'}, True, False),
    Kind('AppList, line', 'bench-applist', 'server', 'client', {}, True, True),
    Kind('AppList answered, bus', 'bench-applist', 'answering-server', 'answered-client',
         {'APPLIST_LINE': 'bus'}, True, False),
    Kind('AppList answered, line', 'bench-applist', 'answering-server', 'answered-client',
         {}, True, True),
    Kind('libdbus', 'bench-libdbus', 'server', 'client'),
    Kind('sdbus-c++', 'bench-sdbus-cpp', 'server', 'client'),
    Kind('GDBus', 'bench-gdbus', 'server', 'client'),
    Kind('GActionGroup, GMenuModel', 'bench-gactions', 'server', 'client'),
    Kind('Qt D-Bus', 'bench-qt-dbus', 'server', 'client'),
    Kind('Qt Remote Objects', 'bench-qt-remote-objects', 'server', 'client', {}, False),
]


def say(*words):
    print(*words, file=sys.stderr, flush=True)


def wait_for(condition, what):
    deadline = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > deadline:
            raise RuntimeError(f'waited in vain for {what}')
        time.sleep(0.01)


def counters(pid, file, read):
    """What `read` makes of a file of each thread of a process, added up."""
    total = 0
    for task in os.listdir(f'/proc/{pid}/task'):
        with open(f'/proc/{pid}/task/{task}/{file}', encoding='ascii', errors='replace') as text:
            total += read(text.read())
    return total


def processor_time(pid):
    return counters(pid, 'schedstat', lambda text: int(text.split()[0]))


def wake_ups(pid):
    return counters(pid, 'status', lambda text: int(
        next(line.split()[1] for line in text.splitlines() if line.startswith('voluntary'))))


def memory(pid):
    """Resident and private memory in KiB."""
    with open(f'/proc/{pid}/smaps_rollup', encoding='ascii') as text:
        sizes = {line.split()[0][:-1]: int(line.split()[1])
                 for line in text if line.rstrip().endswith('kB')}
    return sizes['Rss'], sizes['Private_Clean'] + sizes['Private_Dirty']


def descendants(pid):
    children = []
    for task in os.listdir(f'/proc/{pid}/task'):
        with open(f'/proc/{pid}/task/{task}/children', encoding='ascii') as text:
            for child in text.read().split():
                children += [int(child)] + descendants(int(child))
    return children


class Process:
    def __init__(self, command, environment, descriptors=()):
        self.command = command
        self.started = time.clock_gettime_ns(time.CLOCK_MONOTONIC)
        self.process = subprocess.Popen(
            command, env=environment, pass_fds=descriptors, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, bufsize=0)
        self.pid = self.process.pid
        self.unread = b''

    def read(self):
        """The next line."""
        while b'\n' not in self.unread:
            if not select.select([self.process.stdout], [], [], DEADLINE)[0]:
                raise RuntimeError(f'{" ".join(self.command)} does not answer')
            data = os.read(self.process.stdout.fileno(), 65536)
            if not data:
                raise RuntimeError(f'{" ".join(self.command)} has ended')
            self.unread += data
        line, self.unread = self.unread.split(b'\n', 1)
        return line.decode().strip()

    def write(self, line):
        self.process.stdin.write((line + '\n').encode())

    def end(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.terminate()
        self.process.wait(DEADLINE)


class Pair:
    """The client and the server of one contestant, on a bus of their own."""

    def __init__(self, build, kind, bus, folder):
        self.kind, self.bus = kind, bus
        self.name = f'{kind.name} ({bus})' if kind.bus else kind.name
        self.program = os.path.join(build, 'benchmarks', kind.program)
        self.client = self.bus_process = None
        self.environment = dict(os.environ, APPLIST_LOG='error', APPLIST_TEST_BUS=bus,
                                APPLIST_CALL_TIMEOUT_MS='60000', **kind.environment)
        file = os.path.join(folder, ''.join(c if c.isalnum() else '-' for c in self.name))
        with open(file, 'wb') as shared:
            shared.write(bytes(64))
        self.environment['BENCH_SHARED'] = file
        self.environment['BENCH_SOCKET'] = file + '.socket'
        self.trigger = os.pipe()
        self.environment['BENCH_TRIGGER_READ'] = str(self.trigger[0])
        self.environment['BENCH_TRIGGER_WRITE'] = str(self.trigger[1])
        if kind.bus:
            self.bus_process = Process([os.path.join(build, 'benchmarks', 'bench-bus')],
                                       self.environment)
            self.address = json.loads(self.bus_process.read())['address']
            self.environment['DBUS_SESSION_BUS_ADDRESS'] = self.address
        self.server = None
        self.start_server([self.program, kind.server])

    def start_server(self, command):
        self.server = Process(command, self.environment, self.trigger[:1])
        if self.server.read() != 'ready':
            raise RuntimeError(f'{self.name}: the server does not start')

    def start_client(self, **environment):
        """Returns the time from the start to the end of the first call."""
        self.client = Process([self.program, self.kind.client],
                              dict(self.environment, **environment), self.trigger[1:])
        return int(self.client.read()) - self.client.started

    def meet(self):
        """Starts the client, and waits until it is on the way that is to be measured."""
        self.start_client()
        if self.kind.direct is None:
            return
        self.client.write('idle 1 0')
        self.wait_for_way()
        self.client.write('idle 0 0')
        self.client.read()
        self.client.read()

    def wait_for_way(self):
        wait_for(lambda: self.is_direct() == self.kind.direct, f'{self.name} on its way')

    def is_direct(self):
        answer = subprocess.run(
            ['busctl', f'--address={self.address}', 'get-property', 'org.javamw.Applist.Ui',
             '/org/javamw/Applist', 'org.javamw.Link1', 'Direct'],
            capture_output=True, text=True, check=False).stdout.strip()
        return {'b true': True, 'b false': False}.get(answer)

    def run(self, case, count, size):
        """The times of `count` operations, or nothing where the contestant has no such case."""
        self.client.write(f'{case} {count} {size}')
        answer = self.client.read()
        return None if answer == 'unknown' else [int(time) for time in answer.split()]

    def processes(self):
        pids = {'client': [self.client.pid], 'server': [self.server.pid]}
        if self.bus_process:
            pids['bus'] = descendants(self.bus_process.pid)
        return pids

    def end_client(self):
        if self.client:
            self.client.end()
            self.client = None

    def end(self):
        self.end_client()
        for process in (self.server, self.bus_process):
            if process:
                process.end()
        for descriptor in self.trigger:
            os.close(descriptor)


class Benchmark:
    def __init__(self, build, dry):
        self.build, self.dry = build, dry
        self.folder = tempfile.TemporaryDirectory(prefix='applist-bench-')
        self.pairs = []
        self.result = {'times': {}, 'growth': {}, 'missing': []}

    def start(self):
        for kind in KINDS:
            if not os.path.exists(os.path.join(self.build, 'benchmarks', kind.program)):
                say(f'{kind.name} is left out: {kind.program} is not built')
                self.result['missing'].append(kind.name)
                continue
            for bus in BUSES if kind.bus else ('',):
                self.pairs.append(Pair(self.build, kind, bus, self.folder.name))

    def end(self):
        for pair in self.pairs:
            pair.end()
        self.folder.cleanup()

    def rounds(self, title, count):
        """Numbers the rounds, and says how far they are."""
        count = 1 if self.dry else count
        for number in range(count):
            if number % max(count // 10, 1) == 0:
                say(f'{title}: round {number + 1} of {count}')
            yield number

    def interleave(self, title, rounds, cases, into, pairs=None, prepare=lambda number: None):
        """Has everybody do every case in each round, in random order.

        `cases` are (name of the result, case, times in a round, size)."""
        for number in self.rounds(title, rounds):
            prepare(number)
            turns = [(pair, case) for pair in pairs or self.pairs for case in cases]
            random.shuffle(turns)
            for pair, (result, case, count, size) in turns:
                times = pair.run(case, 1 if self.dry else count, size)
                if times is not None:
                    into.setdefault(result, {}).setdefault(pair.name, []).extend(times)

    def set_lists(self, size, pairs=None):
        for pair in pairs or self.pairs:
            pair.run('list', 1, size)

    def starts(self):
        for _ in self.rounds('start', 40):
            for pair in random.sample(self.pairs, len(self.pairs)):
                self.result['times'].setdefault('start', {}).setdefault(pair.name, []).append(
                    pair.start_client())
                pair.end_client()

    def bytes_on_the_wire(self):
        say('bytes on the wire')
        library = os.path.join(self.build, 'benchmarks', 'libbench-bytes.so')
        file = os.path.join(self.folder.name, 'bytes')
        for pair in self.pairs:
            with open(file, 'w+b') as counted:
                counted.write(bytes(16))
                counted.flush()
                with mmap.mmap(counted.fileno(), 16) as count:
                    self.count_bytes(pair, count, library, file)

    def count_bytes(self, pair, count, library, file):
        saved, pair.environment = pair.environment, dict(
            pair.environment, LD_PRELOAD=library, BENCH_BYTES=file)
        pair.meet()
        pair.environment = saved
        pair.run('list', 1, 10)
        for case in 'call', 'select', 'click', 'append', 'event':
            before = int.from_bytes(count[:8], sys.byteorder), int.from_bytes(
                count[8:], sys.byteorder)
            times = pair.run(case, 10, 40)
            if times:
                self.result.setdefault('bytes', {}).setdefault(case, {})[pair.name] = [
                    (int.from_bytes(part, sys.byteorder) - start) / len(times)
                    for part, start in zip((count[:8], count[8:]), before)]
        pair.end_client()

    def whole_way(self):
        times = self.result['times']
        cases = [(case, case, 20, 40) for case in ('call', 'select', 'click', 'append', 'event')]
        self.interleave('calls and events', 150, cases, times,
                        prepare=lambda number: number % 10 or self.set_lists(10))
        self.measure_memory()
        self.measure_processor_time()
        for size, count, rounds in (100, 5, 40), (1000, 2, 40), (10000, 1, 20):
            size = min(size, 100) if self.dry else size
            self.set_lists(size)
            self.interleave(f'push of {size}', rounds, [(f'push {size}', 'push', count, size)],
                            times)

    def measure_memory(self):
        self.result['memory'] = {pair.name: memory(pair.client.pid) for pair in self.pairs}

    def measure_processor_time(self):
        spent = self.result['processor time'] = {}
        count = 1 if self.dry else 1000
        self.set_lists(10)
        for case in 'select', 'event':
            say(f'processor time: {case}')
            for pair in self.pairs:
                before = {who: sum(map(processor_time, pids))
                          for who, pids in pair.processes().items()}
                if pair.run(case, count, 0):
                    spent.setdefault(case, {})[pair.name] = {
                        who: (sum(map(processor_time, pids)) - before[who]) / count
                        for who, pids in pair.processes().items()}

    def growth(self):
        growth = self.result['growth']
        pairs = [pair for pair in self.pairs if pair.bus != BUSES[1]]
        for size in (2, 10) if self.dry else (2, 10, 100, 1000, 10000):
            self.set_lists(size, pairs)
            for case in 'select', 'event':
                self.interleave(f'{case} with {size} items', 10, [(str(size), case, 5, size)],
                                growth.setdefault(f'{case} by items', {}), pairs)
        self.set_lists(10, pairs)
        for power in (0, 9) if self.dry else range(0, 20):
            size = 40 if power == 0 else min(32 << power, 16 << 20)
            self.interleave(f'payload of {size} bytes', 10, [(str(size), 'call', 3, size)],
                            growth.setdefault('call by payload', {}), pairs)
        for case, sizes in ('listeners', (1, 10, 100, 1000)), ('threads', (1, 2, 4, 8)):
            for size in sizes[:2] if self.dry else sizes:
                self.interleave(f'{size} {case}', 10, [(str(size), case, 3, size)],
                                growth.setdefault(f'by {case}', {}), pairs)

    def idle(self):
        """The wake-ups of a user interface and of the daemon while nothing happens."""
        kind = next(kind for kind in KINDS if kind.direct)
        self.result['idle'] = {}
        for bus in BUSES:
            pair = Pair(self.build, kind, bus, self.folder.name)
            try:
                pair.server.end()
                pair.server = Process(
                    [os.path.join(self.build, 'apps', 'applistd', 'applistd')], pair.environment)
                wait_for(lambda: subprocess.run(
                    ['busctl', f'--address={pair.address}', 'get-property',
                     'org.javamw.Applist.Local', '/org/javamw/Applist',
                     'org.javamw.Applist.Control1', 'Connected'],
                    capture_output=True, check=False).returncode == 0, 'applistd on the bus')
                pair.client = Process([pair.program, 'idle'], pair.environment)
                pair.wait_for_way()
                time.sleep(1)  # what the last question has caused is over
                seconds = 0.1 if self.dry else 10
                say(f'idle for {seconds} s')
                pids = {'user interface': pair.client.pid, 'applistd': pair.server.pid}
                before = {who: wake_ups(pid) for who, pid in pids.items()}
                time.sleep(seconds)
                self.result['idle'][bus] = {
                    who: wake_ups(pid) - before[who] for who, pid in pids.items()}
                self.result['idle seconds'] = seconds
            finally:
                pair.end()

    def micro(self):
        """The core by itself: processor time in ns of each, and of its floor."""
        program = os.path.join(self.build, 'benchmarks', 'bench-micro')
        if not os.path.exists(program):
            say('the core by itself is left out: bench-micro is not built')
            self.result['missing'].append('bench-micro')
            return
        say('the core by itself')
        file = os.path.join(self.folder.name, 'micro.json')
        how_often = (['--benchmark_min_time=0', '--benchmark_filter=-10000'] if self.dry else
                     ['--benchmark_min_time=0.01', '--benchmark_repetitions=5',
                      '--benchmark_enable_random_interleaving=true'])
        subprocess.run([program, f'--benchmark_out={file}', *how_often], check=True,
                       env=dict(os.environ, APPLIST_LOG='warn'), stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        with open(file, encoding='utf-8') as text:
            runs = json.load(text)['benchmarks']
        times = collections.defaultdict(list)
        nanoseconds = {'ns': 1, 'us': 1e3, 'ms': 1e6, 's': 1e9}
        for run in runs:
            if run['run_type'] == 'iteration':
                times[run['run_name']].append(run['cpu_time'] * nanoseconds[run['time_unit']])
        self.result['micro'] = {name: statistics.median(values) for name, values in times.items()}

    def run(self):
        try:
            self.micro()
            self.start()
            self.starts()
            self.bytes_on_the_wire()
            for pair in self.pairs:
                pair.meet()
            self.whole_way()
            self.growth()
            self.idle()
        finally:
            self.end()


def machine():
    with open('/proc/cpuinfo', encoding='ascii') as text:
        model = next((line.split(':')[1].strip() for line in text if line.startswith('model name')),
                     os.uname().machine)
    return {'processor': model, 'processors': os.cpu_count(),
            'kernel': f'{os.uname().sysname} {os.uname().release}'}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build')
    parser.add_argument('result')
    parser.add_argument('--dry', action='store_true', help='everything once')
    arguments = parser.parse_args()
    # On one processor: moves from one to another are what varies most.
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    benchmark = Benchmark(os.path.abspath(arguments.build), arguments.dry)
    begin = time.time()
    benchmark.run()
    benchmark.result.update(machine=machine(), date=time.strftime('%Y-%m-%d %H:%M %Z'),
                            seconds=round(time.time() - begin))
    with open(arguments.result, 'w', encoding='utf-8') as file:
        json.dump(benchmark.result, file)


if __name__ == '__main__':
    main()
