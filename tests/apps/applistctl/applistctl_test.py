# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""applistctl as a program, against the real programs of both ends on a private bus: what it writes,
and how it ends."""
import asyncio
import json
import logging
import os
import pathlib
import pty

import select
import shlex
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent.parent
sys.path.insert(0, str(ROOT / 'tests' / 'bus'))

from dbus_next import Message, PropertyAccess  # noqa: E402
from dbus_next.aio import MessageBus  # noqa: E402
from dbus_next.service import ServiceInterface, dbus_property  # noqa: E402
from peer_support import DEADLINE, BusTest, Program, die_with_parent, item, main  # noqa: E402

UI, LOCAL, PATH = 'org.javamw.Applist.Ui', 'org.javamw.Applist.Local', '/org/javamw/Applist'

DONE, REFUSED, USAGE, UNKNOWN, NOBODY, TIME_OUT = range(6)

# Identifiers of all kinds, and how each is shown.
ODD = [
    (b'', ''),
    (b' ', ' '),
    (b'  two  words ', '  two  words '),
    (b'a:b=c;d', 'a:b=c;d'),
    (b'[a,b]', '[a,b]'), (b'{}', '{}'), (b'%s%n', '%s%n'), (b'-', '-'), (b'--json', '--json'),
    (b"it's \"quoted\" $(touch x) `y` !", "it's \"quoted\" $(touch x) `y` !"),
    (b'a\\b', 'a\\\\b'), (b'\\', '\\\\'), (b'\\x41', '\\\\x41'),
    ('\u30ab\u30e1\u30e9'.encode(), '\u30ab\u30e1\u30e9'),
    ('e\u0301'.encode(), 'e\u0301'),
    ('\u05e9\u05dc\u05d5\u05dd'.encode(), '\u05e9\u05dc\u05d5\u05dd'),
    ('\u202etxt'.encode(), '\\xe2\\x80\\xaetxt'),
    ('\u2028'.encode(), '\\xe2\\x80\\xa8'),
    (b'\x1b[31mred\x07', '\\x1b[31mred\\x07'),
    (b'a\nb\tc\rd', 'a\\x0ab\\x09c\\x0dd'),
    ('\u009b31m'.encode(), '\\xc2\\x9b31m'),
    (b'a\0b', 'a\\x00b'), (b'\xff\xfe', '\\xff\\xfe'),
    (b'x' * 65536, 'x' * 65536),
]


def schemas():
    """What the manual says about the JSON of each command."""
    page = (ROOT / 'packaging' / 'man' / 'applistctl.1').read_text(encoding='utf-8')
    block = page.split('.Bd -literal\n')[1].split('.Ed\n')[0]
    found = {}
    for text in block.split('\n\n'):
        name, schema = text.split(' ', 1)
        found[name] = json.loads(schema)
    return found


SCHEMAS = schemas()
TYPES = {'string': str, 'integer': int, 'boolean': bool, 'object': dict, 'null': type(None)}


class ProgramTest(BusTest):
    """A private bus on the daemon that APPLIST_TEST_BUS names."""

    def setUp(self):
        for name in ('NO_COLOR', 'DBUS_SYSTEM_BUS_ADDRESS'):
            os.environ.pop(name, None)
        os.environ['APPLIST_CALL_TIMEOUT_MS'] = str(DEADLINE * 1000)
        self.bus = self.program('private-bus')
        # Which takes its folder with it.
        self.addCleanup(self.bus.wait)
        self.address = self.bus.wait_for(lambda line: 'address' in line, 'a bus')['address']
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = self.address

    # ---- Running it

    def ctl(self, *arguments, stdin=b'', **environment):
        return subprocess.run([self.programs['applistctl'], *arguments], input=stdin,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=DEADLINE,
                              env={**os.environ, **environment}, check=False)

    def output(self, *arguments, **options):
        """What it writes when it is done, and nothing goes wrong."""
        ended = self.ctl(*arguments, **options)
        self.assertEqual((ended.returncode, ended.stderr), (DONE, b''), arguments)
        return ended.stdout.decode()

    def json(self, command, *arguments):
        """Its one object, which is as the manual says."""
        text = self.output('--json', command, *arguments)
        self.assertEqual(text.count('\n'), 1)
        return self.checked(command, json.loads(text))

    def fails(self, status, *arguments, says='', **options):
        """It ends with this status, and says why in one line. Returns what it wrote before."""
        ended = self.ctl(*arguments, **options)
        said = ended.stderr.decode()
        self.assertEqual(ended.returncode, status, (arguments, said))
        self.assertTrue(said.startswith('applistctl: ') and said.count('\n') == 1, said)
        self.assertIn(says, said)
        return ended.stdout.decode()

    def follow(self, *arguments):
        """It, running on."""
        return self.track(Program(self.programs['applistctl'], '--json', *arguments))

    def track(self, program):
        self.addCleanup(program.close)
        return program

    # ---- The manual's word

    def checked(self, command, value):
        self.check(SCHEMAS[command], value, command)
        return value

    def check(self, schema, value, where):
        if isinstance(schema, str):
            kinds = [TYPES[kind] for kind in schema.split('|')]
            self.assertIn(type(value), kinds, where)
        elif isinstance(schema, list):
            self.assertIs(type(value), list, where)
            for element in value:
                self.check(schema[0], element, where)
        else:
            self.assertIs(type(value), dict, where)
            known = {key.rstrip('?'): kind for key, kind in schema.items()}
            self.assertEqual(set(value) - set(known), set(), where)
            self.assertEqual({key for key in schema if not key.endswith('?')} - set(value), set(),
                             where)
            for key, element in value.items():
                self.check(known[key], element, f'{where}.{key}')

    # ---- Both ends

    def wait_until(self, condition, what):
        deadline = time.monotonic() + DEADLINE
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.01)

    def start_remote_side(self):
        self.daemon = self.program('applistd')
        self.wait_until(lambda: self.ctl('list').returncode == DONE, 'a remote side')

    def start_both(self, *words):
        """Both ends, with a list of NAME:ID."""
        self.start_remote_side()
        self.ui = self.program('model-driver')
        self.wait_until(lambda: json.loads(self.output('list', '--json'))['connected'],
                        'a connection')
        if words:
            self.ui.do('add', *words)

    def pid(self, program):
        return program._process.pid

    def command(self, program):
        """The name that the system has for a process: where it runs in an emulator, the
        emulator's."""
        return pathlib.Path(f'/proc/{self.pid(program)}/comm').read_text().strip()

    def stop(self, program):
        os.kill(self.pid(program), signal.SIGSTOP)
        self.wait_until(lambda: ' T ' in pathlib.Path(
            f'/proc/{self.pid(program)}/stat').read_text(), 'a stop')
        self.addCleanup(os.kill, self.pid(program), signal.SIGCONT)


class ListTest(ProgramTest):
    def test_shows_each_item_on_a_line(self):
        self.start_both(item('Mail', 'org.example.Mail'), item('Web', 'w'))
        self.assertEqual(self.output('list'), '   IDENTIFIER        NAME\n'
                                              '   org.example.Mail  Mail\n'
                                              '   w                 Web\n')

    def test_marks_the_selection_and_the_last_click(self):
        self.start_both(item('A', 'a'), item('B', 'b'))
        self.output('select', 'a')
        self.output('click', 'b')
        self.assertEqual(self.output('list').splitlines()[1:], ['*  a           A',
                                                                 ' ! b           B'])
        self.output('click', 'a')
        self.assertEqual(self.output('list').splitlines()[1:], ['*! a           A',
                                                                 '   b           B'])

    def test_of_equal_identifiers_the_first_is_marked(self):
        self.start_both(item('A', 'a'))
        self.ui.do('append', item('Again', 'a'))
        self.output('select', 'a')
        self.assertEqual([line[0] for line in self.output('list').splitlines()[1:]], ['*', ' '])

    def test_columns_line_up(self):
        self.start_both(item('one', '\u30ab\u30e1\u30e9'), item('two', 'e\u0301e\u0301'),
                        item('three', 'abcdef'))
        lines = self.output('list').splitlines()[1:]
        self.assertEqual(lines, ['   \u30ab\u30e1\u30e9      one', '   e\u0301e\u0301          two',
                                 '   abcdef      three'])

    def test_writes_json(self):
        self.start_both(item('A', 'a'), item('\u30ab', 'b'))
        self.assertEqual(self.json('list'), {
            'connected': True, 'selection': None, 'last_clicked': None,
            'items': [{'id': 'a', 'name': 'A', 'selected': False, 'clicked': False},
                      {'id': 'b', 'name': '\u30ab', 'selected': False, 'clicked': False}]})
        self.output('select', 'b')
        self.output('click', 'a')
        shown = self.json('list')
        self.assertEqual((shown['selection'], shown['last_clicked']), ('b', 'a'))
        self.assertEqual([one['selected'] for one in shown['items']], [False, True])
        self.assertEqual([one['clicked'] for one in shown['items']], [True, False])

    def test_shows_the_identifiers_alone(self):
        self.start_both(item('A', 'a b'), item('B', 'c\\d'))
        self.assertEqual(self.output('list', '--ids'), 'a b\nc\\\\d\n')
        self.assertEqual(self.output('list', '--ids', '--json'), '"a b"\n"c\\\\\\\\d"\n')

    def test_the_empty_list(self):
        self.start_remote_side()
        self.assertEqual(self.output('list'), '   IDENTIFIER  NAME\n')
        self.assertEqual(self.json('list')['items'], [])
        self.assertFalse(self.json('list')['connected'])

    def test_nothing_that_is_shown_acts_on_a_terminal(self):
        self.start_both(*(item(name, name) for name, _ in ODD))
        for arguments in (['list'], ['list', '--json'], ['list', '--ids']):
            text = self.output(*arguments)
            self.assertNotRegex(text.replace('\n', ''),
                                '[\x00-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]')

    def test_a_reader_that_goes_away_ends_it_quietly(self):
        self.start_both(*(item('x' * 2000, str(k)) for k in range(100)))
        for arguments in (['list'], ['list', '--json']):
            with subprocess.Popen([self.programs['applistctl'], *arguments], stderr=subprocess.PIPE,
                                  stdout=subprocess.PIPE) as program:
                program.stdout.close()
                self.assertEqual(program.stderr.read(), b'')
            self.assertEqual(program.returncode, -signal.SIGPIPE)

    def test_what_cannot_be_written_is_said(self):
        self.start_remote_side()
        with open('/dev/full', 'wb') as full:
            ended = subprocess.run([self.programs['applistctl'], 'list'], stdout=full,
                                   stderr=subprocess.PIPE, check=False)
        self.assertEqual(ended.returncode, REFUSED)
        self.assertIn(b'No space left on device', ended.stderr)


class ActTest(ProgramTest):
    def test_selects_and_clicks_on_both_sides(self):
        self.start_both(item('A', 'a'), item('B', 'b'))
        self.assertEqual(self.output('select', 'b'), '')
        self.ui.wait_for_state(selection=item('B', 'b').split(':'))
        self.assertEqual(self.output('click', 'a'), '')
        self.ui.wait_for(lambda line: line.get('event') == 3, 'a click')

    def test_writes_json(self):
        self.start_both(item('A', 'a\\b'))
        for verb in ('select', 'click'):
            self.assertEqual(self.json(verb, 'a\\\\b'), {'done': verb, 'id': 'a\\\\b'})

    def test_what_is_shown_can_be_given_back(self):
        self.start_both(*(item('', odd) for odd, _ in ODD))
        self.assertEqual([one['id'] for one in self.json('list')['items']],
                         [shown for _, shown in ODD])
        for odd, shown in ODD:
            self.output('click', '--', shown)
            if odd:
                self.assertEqual(self.json('list')['last_clicked'], shown)
                self.output('select', '--', shown)
                self.ui.wait_for_state(selection=['', odd.hex()])

    def test_bytes_can_be_given_as_they_are(self):
        self.start_both(item('', b'\xff\x1b\n'), item('', 'b'))
        for given in (b'\xff\x1b\n', b'\\xFF\\x1b\\x0A'):
            self.output('select', 'b')
            self.output('select', given)
            self.assertEqual(self.json('list')['selection'], '\\xff\\x1b\\x0a')

    def test_what_is_not_in_the_list(self):
        self.start_both(item('A', 'a'))
        for identifier in ('b', '', 'A', 'a ', 'a\\x00', 'y' * 65536):
            self.fails(UNKNOWN, 'select', identifier, says='the list has no such item')
            self.fails(UNKNOWN, 'click', identifier, says='see applistctl list')
        self.fails(UNKNOWN, 'select', '\x1b[31m', says="'\\x1b[31m' at " + LOCAL)

    def test_an_empty_identifier_can_be_clicked_but_not_selected(self):
        self.start_both(item('A', ''))
        self.fails(UNKNOWN, 'select', '')
        self.output('click', '')

    def test_a_malformed_identifier_is_wrong_usage(self):
        for identifier in ('a\\q', '\\', '\\x4', '\\xzz'):
            self.fails(USAGE, 'select', identifier, says=f"'{identifier}' is no identifier")


class StatusTest(ProgramTest):
    def status(self):
        shown = self.json('status')
        self.check(SCHEMAS['status.list'], shown['list'], 'status.list')
        return shown

    def test_shows_both_ends(self):
        self.start_both(item('A', 'a'), item('B', 'b'))
        self.output('select', 'a')
        self.output('click', 'b')
        shown = self.status()
        for key, program, name in (('user_interface', self.ui, UI),
                                   ('remote_side', self.daemon, LOCAL)):
            end = shown[key]
            self.assertTrue(end['answers'])
            for kind, name_ in (('incoming', name), ('calls', name + '.Calls')):
                self.assertEqual(end[kind], {'name': name_, 'owner': self.owner(name_),
                                             'process': self.pid(program),
                                             'command': self.command(program)})
        self.assertEqual(shown['list'], {'connected': True, 'items': 2, 'selection': 'a',
                                         'last_clicked': 'b'})
        text = self.output('status')
        for end in ('user_interface', 'remote_side'):
            for kind in ('incoming', 'calls'):
                known = shown[end][kind]
                self.assertRegex(text, rf'{known["name"]} +{known["owner"]} +{known["command"]} '
                                       rf'\(process {known["process"]}\)')
        self.assertRegex(text, 'list +2 items\n +connected +yes\n +selection +a\n +last click +b\n')

    def owner(self, name):
        return self.stranger(Message(destination='org.freedesktop.DBus',
                                     path='/org/freedesktop/DBus',
                                     interface='org.freedesktop.DBus', member='GetNameOwner',
                                     signature='s', body=[name])).body[0]

    def test_without_a_remote_side(self):
        ui = self.program('model-driver')
        self.wait_until(lambda: b'running' == self.ctl('status').stdout.split()[2],
                        'a user interface')
        text = self.fails(NOBODY, 'status', says='start applistd')
        self.assertRegex(text, r'remote side +not running\n')
        shown = self.checked('status', json.loads(self.fails(NOBODY, 'status', '--json')))
        self.assertEqual(shown['user_interface']['incoming']['process'], self.pid(ui))
        self.assertIsNone(shown['remote_side']['incoming']['owner'])
        self.assertIsNone(shown['list'])

    def test_without_a_user_interface(self):
        self.start_remote_side()
        self.assertFalse(self.status()['list']['connected'])
        self.assertRegex(self.output('status'), 'user interface +not running\n')

    def test_a_stopped_remote_side_hides_nothing_else(self):
        self.start_both()
        self.stop(self.daemon)
        text = self.fails(TIME_OUT, 'status', says=f'whether process {self.pid(self.daemon)}')
        self.assertRegex(text, r'user interface +running\n')
        self.assertRegex(text, r'remote side +does not answer\n')
        self.assertIn(f'{self.command(self.daemon)} (process {self.pid(self.daemon)})', text)
        self.assertRegex(text, 'list +-\n')

    def test_a_stopped_user_interface_hides_nothing_else(self):
        self.start_both(item('A', 'a'))
        self.stop(self.ui)
        text = self.fails(TIME_OUT, 'status', says=f'whether process {self.pid(self.ui)}')
        self.assertRegex(text, r'user interface +does not answer\n')
        self.assertRegex(text, r'remote side +running\n')
        self.assertRegex(text, 'list +1 item\n')

    def test_shows_what_an_end_says_about_its_link(self):
        with ScriptedEnd(self.address, partner=':1.77', hung=True, direct=True):
            text = self.fails(NOBODY, 'status')
            self.assertRegex(text, r'partner +:1\.77\n +hung +yes\n +way +direct line\n')
            end = json.loads(self.fails(NOBODY, 'status', '--json'))['user_interface']
            self.assertEqual((end['partner'], end['hung'], end['direct']), (':1.77', True, True))
        with ScriptedEnd(self.address, partner='', hung=False, direct=False):
            text = self.fails(NOBODY, 'status')
            self.assertRegex(text, r'partner +none\n +hung +no\n +way +bus\n')
            end = json.loads(self.fails(NOBODY, 'status', '--json'))['user_interface']
            self.assertEqual((end['partner'], end['hung'], end['direct']), ('', False, False))

    def test_a_remote_side_of_another_kind_shows_no_list(self):
        with ScriptedEnd(self.address, name=LOCAL, partner=':1.77'):
            text = self.output('status')
            self.assertRegex(text, r'remote side +running\n')
            self.assertRegex(text, 'list +-\n')
            self.assertIsNone(self.json('status')['list'])
            for words in (('list',), ('select', 'a'), ('click', 'a')):
                self.fails(REFUSED, *words, says='it has no control interface')

    def test_of_an_older_end_less_is_known(self):
        with ScriptedEnd(self.address, serves=False):
            text = self.fails(NOBODY, 'status')
            self.assertRegex(text, r'user interface +running\n')
            self.assertRegex(text, r'partner +-\n +hung +-\n +way +-\n')


class WatchTest(ProgramTest):
    def watch(self, *arguments):
        """It, hearing everything from here on."""
        watch = self.follow('watch', *arguments)
        self.wait_until(lambda: self.clicked() and not watch._lines.empty(), 'the first event')
        self.output('click', self.last)
        watch.wait_for(lambda line: line.get('id') == self.last, 'the last click')
        watch.seen.clear()
        return watch

    first, last = 'first click', 'last click'

    def clicked(self):
        self.output('click', self.first)
        return True

    def start_both(self, *words):
        super().start_both(item('', self.first), item('', self.last), *words)

    def events(self, watch, last):
        """The events up to one of this name, without their times."""
        watch.wait_for(lambda line: line['event'] == last, last)
        events = []
        for line in watch.seen:
            self.checked('watch', line)
            self.assertRegex(line.pop('time'), r'^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z$')
            events.append(tuple(line.values()))
        watch.seen.clear()
        return events

    def test_tells_what_happens_in_order(self):
        self.start_both(item('A', 'a'), item('B', 'b'))
        watch = self.watch()
        self.ui.do('append', item('C', 'c'))
        self.assertEqual(self.events(watch, 'added'), [('added', 'c', 'C', 5)])
        self.ui.do('modify', item('', 'b'), item('Bee', 'b'))
        self.assertEqual(self.events(watch, 'renamed'), [('renamed', 'b', 'Bee', 4, 'B')])
        self.output('select', 'a')
        self.output('click', 'b')
        self.assertEqual(self.events(watch, 'clicked'), [('selected', 'a'), ('clicked', 'b')])
        self.ui.do('remove', item('', 'a'))
        self.output('click', 'b')
        self.assertEqual(self.events(watch, 'clicked'),
                         [('removed', 'a', 'A', 3), ('selected', None), ('clicked', 'b')])

    def test_a_click_on_the_same_item_is_told_again(self):
        self.start_both(item('A', 'a'), item('End', 'end'))
        watch = self.watch()
        for identifier in ('a', 'a', 'a'):
            self.output('click', identifier)
        self.output('select', 'end')
        self.assertEqual(self.events(watch, 'selected'), [('clicked', 'a')] * 3
                         + [('selected', 'end')])

    def test_tells_who_comes_and_goes(self):
        self.start_both(item('A', 'a'))
        watch = self.watch()
        self.ui.close()
        self.assertEqual([event[0] for event in self.events(watch, 'user-interface-gone')][-1:],
                         ['user-interface-gone'])
        self.daemon.close()
        self.events(watch, 'remote-side-gone')
        self.daemon = self.program('applistd')
        self.assertEqual([event[0] for event in self.events(watch, 'remote-side-appeared')],
                         ['remote-side-appeared'])
        self.ui = self.program('model-driver')
        self.events(watch, 'user-interface-appeared')
        self.ui.do('add', item('New', 'new'))
        self.assertEqual(self.events(watch, 'added'), [('added', 'new', 'New', 1)])

    def test_tells_what_was_launched(self):
        with ScriptedEnd(self.address, name=LOCAL) as remote:
            watch = self.follow('watch')
            remote.launch_until(lambda: not watch._lines.empty(), 'a\\\\b')
            self.assertEqual(self.events(watch, 'launched')[0], ('launched', 'a\\\\b'))

    def test_waits_for_a_remote_side(self):
        watch = self.follow('watch')
        names = threading.Event()

        # Until it hears the bus, whoever comes and goes is missed.
        def come_and_go():
            with ScriptedEnd(self.address):
                return names.is_set() or not watch._lines.empty()
        self.wait_until(come_and_go, 'an event')
        self.start_remote_side()
        self.assertEqual(self.events(watch, 'remote-side-appeared')[-1][0], 'remote-side-appeared')

    def test_what_a_stranger_says_is_not_told(self):
        self.start_both()
        watch = self.watch()
        own = self.owner_of(watch)
        for sender_signal in (
                Message.new_signal(PATH, 'org.javamw.Applist.Control1', 'Launched', 's', ['evil']),
                Message.new_signal('/org/freedesktop/DBus', 'org.freedesktop.DBus',
                                   'NameOwnerChanged', 'sss', [UI, ':1.1', ''])):
            sender_signal.destination = own
            self.stranger(sender_signal)
        self.output('click', self.last)
        self.assertEqual(self.events(watch, 'clicked'), [('clicked', self.last)])

    def owner_of(self, program):
        """The unique name of the connection of a process."""
        async def find():
            bus = await MessageBus(bus_address=self.address).connect()

            async def ask(member, *arguments):
                answer = await bus.call(Message(
                    destination='org.freedesktop.DBus', path='/org/freedesktop/DBus',
                    interface='org.freedesktop.DBus', member=member,
                    signature='s' * len(arguments), body=list(arguments)))
                return answer.body[0]
            for name in await ask('ListNames'):
                if name[0] == ':' and await ask('GetConnectionUnixProcessID',
                                                name) == self.pid(program):
                    return name
            return None
        return asyncio.run(find())

    def test_count_ends_it(self):
        self.start_both(item('A', 'a'))
        watch = self.follow('watch', '--count', '2')
        self.wait_until(lambda: self.clicked() and watch._process.poll() is not None, 'its end')
        self.assertEqual(watch.wait(), DONE)
        self.assertEqual(watch._lines.qsize(), 2 + 1, 'two lines, and the end')

    def test_time_out(self):
        self.assertEqual(self.output('watch', '--timeout', '0.05'), '')
        self.fails(TIME_OUT, 'watch', '--timeout', '0.05', '--count', '1', says='after 0 of 1 line')

    def test_signals_end_it_in_peace(self):
        self.start_both()
        for number in (signal.SIGINT, signal.SIGTERM):
            watch = self.watch()
            watch._process.send_signal(number)
            self.assertEqual(watch.wait(), DONE)

    def test_a_reader_that_goes_away_ends_it(self):
        self.start_both()
        with subprocess.Popen([self.programs['applistctl'], 'watch'], stderr=subprocess.PIPE,
                              stdout=subprocess.PIPE) as program:
            program.stdout.close()
            self.assertEqual(program.stderr.read(), b'')
        self.assertEqual(program.returncode, -signal.SIGPIPE)

    def test_says_when_the_bus_goes(self):
        self.start_both()
        with subprocess.Popen([self.programs['applistctl'], 'watch'], stderr=subprocess.PIPE,
                              stdout=subprocess.PIPE) as program:
            self.wait_until(lambda: self.clicked() and readable(program.stdout), 'the first event')
            self.bus.wait()
            self.assertIn(b'was lost', program.stderr.read())
        self.assertEqual(program.returncode, NOBODY)

    def test_lines_for_people(self):
        self.start_both(item('Old', 'a'))
        with subprocess.Popen([self.programs['applistctl'], 'watch'],
                              stdout=subprocess.PIPE) as program:
            self.wait_until(lambda: self.clicked() and readable(program.stdout), 'the first event')
            self.ui.do('modify', item('', 'a'), item('N\new', 'a'))
            line = next(line for line in program.stdout if b'renamed' in line)
            program.terminate()
        self.assertRegex(line.decode(),
                         r'^\d\d:\d\d:\d\d\.\d{3}  renamed +a  "Old" to "N\\x0aew"\n$')


class CaptureTest(ProgramTest):
    def setUp(self):
        """The ends keep to the bus, but where a test is about that."""
        super().setUp()
        self.addCleanup(os.environ.pop, 'APPLIST_LINE', None)
        os.environ['APPLIST_LINE'] = 'bus'

    def capture(self, *arguments):
        """It, hearing everything from here on."""
        capture = self.follow('capture', *arguments)
        self.wait_until(lambda: self.ui.do('append', item('', 'x')) and not capture._lines.empty(),
                        'the first frame')
        self.ui.do('append', item('', 'end of the start'))
        capture.wait_for(lambda line: line['kind'] == 'call'
                         and line['items'][0]['id'] == 'end of the start', 'the last frame')
        capture.wait_for(lambda line: line['kind'] == 'reply', 'its reply')
        capture.seen.clear()
        return capture

    def test_shows_calls_replies_and_notifications(self):
        self.start_both()
        capture = self.capture()
        self.ui.do('append', item('Mail', 'mail\\'))
        capture.wait_for(lambda line: line['kind'] == 'reply', 'a reply')
        shown = [self.checked('capture', line) for line in capture.seen]
        self.assertEqual([(line['kind'], line['from'], line['to'], line['identifier'],
                           line['message']) for line in shown],
                         [('call', 'ui', 'remote', 2005, 'APPLIST_ADD_ITEM_AT_END_FNC'),
                          ('notification', 'remote', 'ui', 1, 'APPLIST_ITEM_CHANGE_EVENT'),
                          ('reply', 'remote', 'ui', 2005, 'APPLIST_ADD_ITEM_AT_END_FNC')])
        self.assertEqual(shown[0]['items'], [{'id': 'mail\\\\', 'name': 'Mail'}])
        self.assertGreaterEqual(shown[2]['latency_us'], 0)
        self.assertNotIn('latency_us', shown[0])

    def test_shows_what_a_reply_holds(self):
        self.start_both(item('Mail', 'mail'))
        capture = self.capture()
        self.output('select', 'mail')
        reply = capture.wait_for(
            lambda line: (line['kind'], line['identifier']) == ('reply', 2001), 'a reply')
        self.assertEqual(reply['items'], [{'id': 'mail', 'name': 'Mail'}])

    def test_shows_strangers_and_their_refusal(self):
        self.start_both()
        capture = self.capture()
        self.stranger(Message(destination=LOCAL, path=PATH, interface='org.javamw.Link1',
                              member='Send', signature='ay', body=[b'M\\tm\xd5\x07\0\0']))
        error = self.checked('capture', capture.wait_for(lambda line: line['kind'] == 'error',
                                                         'an error'))
        self.assertEqual(error['error'], 'org.freedesktop.DBus.Error.AccessDenied')
        call = self.checked('capture', capture.seen[0])
        self.assertRegex(call['from'], r'^:\d')
        self.assertIn('at offset 1', call['trouble'])

    def test_follows_a_restart(self):
        self.start_both(item('Mail', 'mail'))
        capture = self.capture()
        self.daemon.close()
        self.daemon = self.program('applistd')
        created = capture.wait_for(lambda line: line['identifier'] == 4, 'an announcement')
        self.assertEqual((created['from'], created['to']), ('remote', 'ui'))
        call = capture.wait_for(lambda line: line['identifier'] == 2004, 'the whole list')
        self.assertEqual((call['from'], call['to']), ('ui', 'remote'))

    def test_a_direct_line_is_given_up_meanwhile(self):
        os.environ.pop('APPLIST_LINE')
        self.start_both(item('Mail', 'mail'))

        def direct():
            return self.json('status')['user_interface']['direct']
        self.wait_until(direct, 'a direct line')
        capture = self.follow('capture')
        self.wait_until(lambda: self.ui.do('click', item('', 'mail'))
                        and not capture._lines.empty() and not direct(), 'frames on the bus')
        self.ui.do('click', item('', 'mail'))
        capture.wait_for(lambda line: (line['kind'], line['identifier']) == ('reply', 2006),
                         'the reply to a click')
        capture.close()
        self.wait_until(direct, 'a direct line again')

    def test_a_direct_line_that_stays_is_noted(self):
        with ScriptedEnd(self.address, direct=True):
            ended = self.ctl('capture', '--timeout', '1')
        self.assertEqual(ended.returncode, DONE)
        self.assertEqual(ended.stderr.count(b'\n'), 1)
        self.assertIn(b'direct line', ended.stderr)

    def test_count_and_time_out(self):
        self.fails(TIME_OUT, 'capture', '--count', '1', '--timeout', '0.05')
        self.assertEqual(self.output('capture', '--timeout', '0.05'), '')

    def test_lines_for_people(self):
        self.start_both()
        with subprocess.Popen([self.programs['applistctl'], 'capture'],
                              stdout=subprocess.PIPE) as program:
            self.wait_until(lambda: self.ui.do('append', item('X', 'x'))
                            and readable(program.stdout), 'the first frame')
            call = next(line for line in program.stdout if b' call ' in line).decode()
            reply = next(line for line in program.stdout if b' reply ' in line).decode()
            program.terminate()
        time_of_day = r'^\d\d:\d\d:\d\d\.\d{6}  '
        self.assertRegex(call, time_of_day + r'ui -> remote  call APPLIST_ADD_ITEM_AT_END_FNC '
                                             r'\(2005\): x "X"\n$')
        self.assertRegex(reply, time_of_day + r'remote -> ui  reply APPLIST_ADD_ITEM_AT_END_FNC '
                                              r'\(2005\) after \d+\.\d{3} ms\n$')


STRICT_BUS = '''<busconfig>
  <type>session</type>
  <listen>unix:path={folder}/bus</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <deny send_interface="org.freedesktop.DBus.Monitoring"/>
  </policy>
</busconfig>
'''


class RefusedMonitorTest(ProgramTest):
    def test_a_bus_that_allows_no_monitor(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        configuration = pathlib.Path(folder.name) / 'bus.conf'
        configuration.write_text(STRICT_BUS.format(folder=folder.name))
        bus = subprocess.Popen(['dbus-daemon', '--nofork', '--nosyslog', '--print-address',
                                f'--config-file={configuration}'],
                               stdout=subprocess.PIPE, preexec_fn=die_with_parent)
        self.addCleanup(bus.stdout.close)
        self.addCleanup(bus.wait)
        self.addCleanup(bus.terminate)
        address = bus.stdout.readline().decode().strip()
        self.fails(REFUSED, '--address', address, 'capture', says='cannot monitor the bus at')


class DecodeTest(ProgramTest):
    def setUp(self):
        """It needs no bus."""
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = 'unix:path=/nowhere'

    def test_a_frame_in_words(self):
        self.assertEqual(self.output('decode', '4d 61 69 6c 0a 6d 0a 57 0a 77 5c 6e 0a d4070000'),
                         'frame APPLIST_ADD_ITEMS_FNC (2004), 17 bytes, 2 items\n'
                         '  m      Mail\n'
                         '  w\\x0a  W\n')
        self.assertEqual(self.output('decode', '04', '00', '00', '00'),
                         'frame APPLIST_LOCAL_CREATED_EVENT (4), 4 bytes, 0 items\n')

    def test_a_payload_in_words(self):
        self.assertEqual(self.output('decode', '4d:0a:6d:0a'),
                         'payload, 4 bytes, 1 item\n  m  M\n')

    def test_writes_json(self):
        self.assertEqual(self.json('decode', '4d0a6d0ad0070000'), {
            'kind': 'frame', 'identifier': 2000, 'message': 'APPLIST_SET_SELECTION_FNC',
            'items': [{'id': 'm', 'name': 'M'}]})
        self.assertEqual(self.json('decode', '4d0a6d0a'), {
            'kind': 'payload', 'identifier': None, 'message': None,
            'items': [{'id': 'm', 'name': 'M'}]})

    def test_reads_standard_input(self):
        for arguments in (['-'], []):
            self.assertEqual(self.output('decode', *arguments, stdin=b'0x04, 0x00\n\\x00 00\n'),
                             self.output('decode', '04000000'))

    def test_malformed_bytes(self):
        self.fails(REFUSED, 'decode', '4d 0a 6d', says='at offset 3')
        self.fails(REFUSED, 'decode', 'd9 07 00 00', says='there is no message 2009')
        self.fails(REFUSED, 'decode', 'd0 07 00 00', says='takes 1 item')

    def test_no_bytes(self):
        self.fails(USAGE, 'decode', 'xyz', says='character 1')
        self.fails(USAGE, 'decode', '4d 0', says='byte 2')
        self.fails(USAGE, 'decode', '', says='no bytes')
        self.fails(USAGE, 'decode', '-', says='no bytes')


class TroubleTest(ProgramTest):
    ON_THE_BUS = (['list'], ['select', 'a'], ['click', 'a'], ['status'], ['watch'], ['capture'])

    def test_without_a_bus(self):
        for arguments in self.ON_THE_BUS:
            self.fails(NOBODY, '--address', 'unix:path=/nowhere/bus', *arguments,
                       says='the bus at unix:path=/nowhere/bus: No such file')
            self.fails(NOBODY, *arguments, '--address', 'nonsense')
        self.fails(NOBODY, '--system', 'list', says='unix:path=/nowhere/system',
                   DBUS_SYSTEM_BUS_ADDRESS='unix:path=/nowhere/system')

    def test_without_a_remote_side(self):
        for arguments in (['list'], ['select', 'a'], ['click', 'a']):
            self.fails(NOBODY, *arguments, says='start applistd')

    def test_with_a_stopped_remote_side(self):
        self.start_both(item('A', 'a'))
        self.stop(self.daemon)
        for arguments in (['list'], ['select', 'a'], ['click', 'a']):
            self.fails(TIME_OUT, *arguments, says='does not answer')

    def test_wrong_usage(self):
        for arguments in ([], ['nonsense'], ['list', 'more'], ['select'], ['select', 'a', 'b'],
                          ['watch', '--count', '0'], ['watch', '--count', 'x'],
                          ['watch', '--count', '-1'], ['watch', '--count', '1.5'],
                          ['capture', '--timeout', '-1'], ['capture', '--timeout', 'nan'],
                          ['status', '--nonsense'], ['--system', '--session', 'list']):
            self.fails(USAGE, *arguments, says='see applistctl --help')
        self.fails(USAGE, 'nonsense', says='not expected: nonsense')

    def test_helps(self):
        for arguments in ([], ['list'], ['watch'], ['decode']):
            self.assertIn('Usage: applistctl', self.output(*arguments, '--help'))
        self.assertRegex(self.output('--version'), r'^applistctl \d')


class TerminalTest(ProgramTest):
    def on_terminal(self, *arguments, **environment):
        """What it writes to a terminal."""
        master, slave = pty.openpty()
        with subprocess.Popen([self.programs['applistctl'], *arguments], stdout=slave,
                              env={**os.environ, 'TERM': 'xterm', **environment}) as program:
            os.close(slave)
            written = read_all(master)
        os.close(master)
        self.assertEqual(program.returncode, DONE)
        return written

    def test_colour_on_a_terminal_that_has_it(self):
        self.start_both(item('A', 'a'))
        self.output('select', 'a')
        for arguments in (['list'], ['status']):
            self.assertIn('\x1b[1m', self.on_terminal(*arguments))
            self.assertIn('\x1b[1m', self.on_terminal(*arguments, NO_COLOR=''))
            self.assertNotIn('\x1b', self.on_terminal(*arguments, NO_COLOR='1'))
            self.assertNotIn('\x1b', self.on_terminal(*arguments, TERM='dumb'))
            self.assertNotIn('\x1b', self.output(*arguments, TERM='xterm'))
            self.assertNotIn('\x1b', self.on_terminal('--json', *arguments))

    def test_explains_its_marks_to_people(self):
        self.start_both(item('A', 'a'))
        self.assertIn('1 item; * selected, ! clicked last', self.on_terminal('list', TERM='dumb'))


class CompletionTest(ProgramTest):
    """Of bash, by keys in a terminal."""

    def setUp(self):
        super().setUp()
        self.master, slave = pty.openpty()
        environment = {**os.environ, 'TERM': 'dumb', 'PS1': 'READY>', 'LC_ALL': 'C.UTF-8',
                       'PATH': f'{pathlib.Path(self.programs["applistctl"]).parent}:'
                               f'{os.environ["PATH"]}'}
        shell = subprocess.Popen(['bash', '--norc', '--noprofile', '-i'], stdin=slave, stdout=slave,
                                 stderr=slave, env=environment, start_new_session=True)
        os.close(slave)
        self.addCleanup(os.close, self.master)
        self.addCleanup(shell.wait)
        self.addCleanup(shell.kill)
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.result = pathlib.Path(self.folder.name) / 'result'
        self.type('bind "set bell-style none"; bind "set enable-bracketed-paste off"\n')
        self.type(f'. {shlex.quote(str(ROOT / "packaging/completion/applistctl"))}\n')

    def type(self, keys):
        os.write(self.master, keys.encode())

    def completed(self, line):
        """The words that the shell makes of a line with tabs in it. The completed command is not
        run: a function of the shell has its name, and the completion finds the program."""
        program = shlex.quote(self.programs['applistctl'])
        self.result.unlink(missing_ok=True)
        self.type('applistctl() { if [[ $* == *"list --ids" ]]; then ' + program + ' "$@"; else '
                  f'printf "%s\\0" "$@" >{self.result}.new; mv {self.result}.new {self.result}; '
                  'fi; }\n')
        self.type(f'timeout() {{ shift; "$@"; }}\n')
        self.type(f'applistctl {line}\n')
        self.wait_until(lambda: drain(self.master) and self.result.exists(), line)
        return self.result.read_bytes().decode().split('\0')[:-1]

    def test_commands_and_options(self):
        self.assertEqual(self.completed('sta\t'), ['status'])
        self.assertEqual(self.completed('--js\tlis\t--i\tmore'),
                         ['--json', 'list', '--ids', 'more'])
        self.assertEqual(self.completed('watch --cou\t3'), ['watch', '--count', '3'])

    def test_identifiers_of_the_running_list(self):
        identifiers = ['org.example.Mail', 'two words', 'ns:type=value', 'back\\slash', "it's",
                       'dollar$HOME', 'quote"d', 'wide\u30ab\u30e1\u30e9', 'semi;colon', 'ab`tick`',
                       'tab\there']
        self.start_both(*(item('', identifier) for identifier in identifiers))
        shown = {identifier: identifier.replace('\\', '\\\\').replace('\t', '\\x09')
                 for identifier in identifiers}
        for identifier in identifiers:
            self.assertEqual(self.completed(f'select {identifier[:2]}\t'),
                             ['select', shown[identifier]])
        self.assertEqual(self.completed("click 'two\t"), ['click', 'two words'])
        self.assertEqual(self.completed('click "dol\t'), ['click', 'dollar$HOME'])
        self.assertEqual(self.completed('click ns:ty\t'), ['click', 'ns:type=value'])
        self.assertEqual(self.completed('click ns:\t'), ['click', 'ns:type=value'])
        self.assertEqual(self.completed('click two\\ \t'), ['click', 'two words'])
        self.assertEqual(self.completed('click back\\\\\\\\s\t'), ['click', 'back\\\\slash'])
        self.assertEqual(self.completed('click t"wo w\t'), ['click', 'two words'])
        self.assertEqual(self.completed("click 'ns:ty\t"), ['click', 'ns:type=value'])
        self.assertEqual(self.completed('select -- org\t'), ['select', '--', 'org.example.Mail'])

    def test_the_bus_of_the_line_is_asked(self):
        self.start_both(item('', 'only here'))
        address, os.environ['DBUS_SESSION_BUS_ADDRESS'] = self.address, 'unix:path=/nowhere'
        self.type('export DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere\n')
        self.assertEqual(self.completed('click on\t'), ['click', 'on'])
        self.assertEqual(self.completed(f'--address {address} click on\t')[-1], 'only here')


class ScriptedEnd:
    """An end of the link that says what it is told to, in a thread of its own."""

    def __init__(self, address, name=UI, serves=True, **properties):
        self.address, self.name, self.serves = address, name, serves
        self.properties = {'partner': '', 'hung': False, 'direct': False, **properties}
        self.ready, self.over = threading.Event(), threading.Event()
        self.launch = []

    def __enter__(self):
        self.thread = threading.Thread(target=lambda: asyncio.run(self.run()))
        self.thread.start()
        if not self.ready.wait(DEADLINE):
            raise AssertionError('no scripted end')
        return self

    def __exit__(self, *_):
        self.over.set()
        self.thread.join()

    async def run(self):
        bus = await MessageBus(bus_address=self.address).connect()
        if self.serves:
            bus.export(PATH, link_interface(self.properties))
        await bus.request_name(self.name)
        self.ready.set()
        while not self.over.is_set():
            if self.launch:
                await bus.send(Message.new_signal(PATH, 'org.javamw.Applist.Control1', 'Launched',
                                                  's', [self.launch.pop()]))
            await asyncio.sleep(0.01)
        bus.disconnect()
        await bus.wait_for_disconnect()

    def launch_until(self, condition, identifier):
        deadline = time.monotonic() + DEADLINE
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError('nothing came of the launch')
            if not self.launch:
                self.launch.append(identifier)
            time.sleep(0.01)


def link_interface(properties):
    class Link(ServiceInterface):
        @dbus_property(access=PropertyAccess.READ)
        def Partner(self) -> 's':  # noqa: F821, N802
            return properties['partner']

        @dbus_property(access=PropertyAccess.READ)
        def Hung(self) -> 'b':  # noqa: F821, N802
            return properties['hung']

        @dbus_property(access=PropertyAccess.READ)
        def Direct(self) -> 'b':  # noqa: F821, N802
            return properties['direct']
    return Link('org.javamw.Link1')


def read_all(descriptor):
    """What is written to a terminal until everybody has left it."""
    written = b''
    while True:
        try:
            piece = os.read(descriptor, 65536)
        except OSError:
            piece = b''
        if not piece:
            return written.decode()
        written += piece


def readable(file):
    return bool(select.select([file], [], [], 0)[0])


def drain(descriptor):
    """Reads what a terminal shows, so that its writer can go on."""
    while readable(descriptor):
        os.read(descriptor, 65536)
    return True


if __name__ == '__main__':
    # The D-Bus library would report each question that a scripted end refuses.
    logging.disable(logging.ERROR)
    main()
