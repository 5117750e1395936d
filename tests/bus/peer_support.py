# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""What the tests of the two peers share: a private bus, and programs on it that talk in lines."""
import asyncio
import ctypes
import json
import os
import pathlib
import queue
import re
import signal
import subprocess
import sys
import threading
import time
import unittest
import warnings

from dbus_next import Message, MessageType
from dbus_next.aio import MessageBus

HERE = pathlib.Path(__file__).resolve().parent
PAGE = (HERE.parent.parent / 'docs' / 'protocol.md').read_text(encoding='utf-8')
# For what must happen, on however slow a machine.
DEADLINE = 120

CONTROL = ('org.javamw.Applist.Local', '/org/javamw/Applist', 'org.javamw.Applist.Control1')


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


class Program:
    """A child process. What it prints as JSON can be waited for."""

    def __init__(self, *command):
        # The log of a passing test says nothing; a failing one is better read with it.
        self._process = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, preexec_fn=die_with_parent)
        self._lines = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self.seen = []

    def _read(self):
        for line in self._process.stdout:
            self._lines.put(json.loads(line))
        self._lines.put(None)

    def wait_for(self, condition, what):
        """The next line that fulfils `condition`; lines before it are kept in `seen`."""
        deadline = time.monotonic() + DEADLINE
        while True:
            try:
                line = self._lines.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                line = None
            if line is None:
                raise AssertionError(f'{what} did not come; the last lines were {self.seen[-5:]}')
            self.seen.append(line)
            if condition(line):
                return line

    def wait_for_state(self, **expected):
        """Waits for a state that has these parts, and returns it."""
        return self.wait_for(
            lambda line: all(line.get('state', {}).get(key, self) == value
                             for key, value in expected.items()), f'the state {expected}')['state']

    def start(self, *words):
        self._process.stdin.write((' '.join(words) + '\n').encode())
        self._process.stdin.flush()

    def do(self, *words):
        """Gives a command to a user interface, and waits until it is done."""
        self.start(*words)
        return self.wait_for(lambda line: line.get('done') == words[0], f'the end of {words}')

    def settle(self):
        """Waits, with ui_peer.py, until both sides have heard all that the other one said: what the
        remote side said before it answers the first Ping is worked off before the second one, and
        what that led to reaches the remote side before it answers."""
        self.do('ping')
        return self.do('ping')

    def kill(self):
        self._process.kill()
        self.wait()

    def wait(self):
        """Waits for the end, and returns the exit status. Closes the program's standard input."""
        self._process.stdin.close()
        try:
            status = self._process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise
        self._reader.join()
        self._process.stdout.close()
        return status

    def close(self):
        if self._process.poll() is None:
            self._process.terminate()
        if not self._process.stdin.closed:
            self.wait()


class BusTest(unittest.TestCase):
    """A private bus, which is the session bus of all that the test starts."""

    programs = {}

    def setUp(self):
        # Nothing here is about how long a call may take.
        os.environ['APPLIST_CALL_TIMEOUT_MS'] = str(DEADLINE * 1000)
        bus = self.program('private-bus')
        # Which takes its folder with it.
        self.addCleanup(bus.wait)
        self.address = bus.wait_for(lambda line: 'address' in line, 'the bus')['address']
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = self.address

    def program(self, name, *arguments):
        """Starts one of the programs that the test was given, or a peer of this folder."""
        command = [sys.executable, '-B', HERE / name]
        if name in self.programs:
            command = [self.programs[name]]
        program = Program(*command, *arguments)
        self.addCleanup(program.close)
        return program

    def stranger(self, message):
        """Has a connection of its own send a message, and returns the answer to a call. Returns
        only when the bus has worked off the message."""
        async def send():
            bus = await MessageBus(bus_address=self.address).connect()
            answer = None
            if message.message_type == MessageType.METHOD_CALL:
                answer = await bus.call(message)
            else:
                await bus.send(message)
            await bus.call(Message(destination='org.freedesktop.DBus',
                                   path='/org/freedesktop/DBus',
                                   interface='org.freedesktop.DBus.Peer', member='Ping'))
            bus.disconnect()
            await bus.wait_for_disconnect()
            return answer
        return asyncio.run(send())

    def control(self):
        """The properties of the control interface, items as (identifier, name)."""
        answer = self.stranger(Message(
            destination=CONTROL[0], path=CONTROL[1], interface='org.freedesktop.DBus.Properties',
            member='GetAll', signature='s', body=[CONTROL[2]]))
        return {name: variant.value for name, variant in answer.body[0].items()}

    def control_call(self, method, identifier):
        """The name of the error that a method of the control interface answers with, if any."""
        return self.stranger(Message(
            destination=CONTROL[0], path=CONTROL[1], interface=CONTROL[2], member=method,
            signature='s', body=[identifier])).error_name


def item(name, identifier):
    """An item as a word of a command, and as the programs show it."""
    return f'{as_bytes(name).hex()}:{as_bytes(identifier).hex()}'


def as_bytes(text):
    return text if isinstance(text, bytes) else text.encode()


def shown(*words):
    return [word.split(':') for word in words]


def table(heading):
    """The rows of the page's table with these column heads, as lists of cells without backticks."""
    head = '| ' + ' | '.join(heading) + ' |\n'
    if PAGE.count(head) != 1:
        raise AssertionError(f'the page has {PAGE.count(head)} tables {heading}')
    rows = []
    for line in PAGE.split(head)[1].splitlines()[1:]:
        if not line.startswith('|'):
            break
        rows.append([cell.strip().strip('`') for cell in line.strip()[1:-1].split('|')])
    return rows


def blocks(info):
    """The page's fenced blocks with this behind the fence, each as its lines."""
    return [block.splitlines()
            for block in re.findall(f'^```{info}\n(.*?)^```$', PAGE, re.S | re.M)]


def from_text(text):
    """The bytes that a text of the control interface stands for."""
    return re.sub(rb'\\(\\|x[0-9a-f]{2})',
                  lambda match: bytes.fromhex(match[1][1:].decode()) or b'\\', text.encode())


def bytes_of(cell):
    return bytes.fromhex(cell)


def main():
    """Runs the tests of the calling file. Each argument NAME=PATH is a program."""
    BusTest.programs = dict(word.split('=', 1) for word in sys.argv[1:])
    # Of the D-Bus library, which leaves the closing of its sockets to the garbage collector.
    warnings.simplefilter('ignore', ResourceWarning)
    unittest.main(argv=sys.argv[:1], verbosity=2, warnings='')
