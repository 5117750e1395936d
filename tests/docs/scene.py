# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Where the commands of a page run: a shell in an empty folder, on a private bus with applistd and a
user interface that does what it is told."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
from contextlib import ExitStack

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / 'bus'))

from peer_support import DEADLINE, Program, die_with_parent, item  # noqa: E402

# What a page's user interface shows and has selected, as (name, identifier), where it is not this.
ITEMS = [('Mail', 'org.example.Mail.desktop'), ('Web', 'org.example.Web.desktop'),
         ('地図', 'org.example.Maps.desktop')]
OTHER_ITEMS = {'docs/protocol.md': [('Mail', 'mail'), ('Web', 'web')]}
SELECTED = {'docs/protocol.md': ('Web', 'web')}
# What its user then renames while somebody watches.
RENAMED = {'README.md': (('地図', 'org.example.Maps.desktop'),
                         ('Atlas', 'org.example.Maps.desktop'))}


class Scene:
    """`watched` is whether the page has somebody watch. Both ends then are on the bus from the start:
    when they leave their direct line for who looks, the list is sent again at some time or other."""

    def __init__(self, programs, page, watched):
        self._programs, self._page, self._watched = programs, page, watched
        self._ends = ExitStack()

    def __enter__(self):
        with self._ends:
            self._set()
            self._ends = self._ends.pop_all()
        return self

    def __exit__(self, *_):
        self._ends.close()

    def _set(self):
        self._folder = pathlib.Path(
            self._ends.enter_context(tempfile.TemporaryDirectory(prefix='applist-page-')))
        (self._folder / 'here').mkdir()
        self._set_environment()
        bus = self._start('private-bus')
        # Which takes its folder with it.
        self._ends.callback(bus.wait)
        os.environ['DBUS_SESSION_BUS_ADDRESS'] = bus.wait_for(
            lambda line: 'address' in line, 'the bus')['address']
        self._start('applistd')
        self._ui = self._start('model-driver')
        self._wait_until(self._is_in_step, 'both sides')
        self._ui.do('add', *(item(*one) for one in OTHER_ITEMS.get(self._page, ITEMS)))
        if self._page in SELECTED:
            self._ui.do('select', item(*SELECTED[self._page]))
        self._wait_until(self._is_in_step, 'both sides in step')
        self._shell = Shell(self._folder)
        self._ends.callback(self._shell.end)

    def _set_environment(self):
        """Nothing of the user's, and the programs of the build."""
        for name in ('NO_COLOR', 'DBUS_SYSTEM_BUS_ADDRESS'):
            os.environ.pop(name, None)
        for name in ('HOME', 'XDG_DATA_HOME', 'XDG_DATA_DIRS', 'XDG_RUNTIME_DIR'):
            os.environ[name] = str(self._folder)
        os.environ.update(LC_ALL='C.UTF-8', TERM='dumb', APPLIST_TEST_BUS='dbus-daemon',
                          APPLIST_CALL_TIMEOUT_MS=str(DEADLINE * 1000),
                          APPLIST_LINE='bus' if self._watched else '')
        folders = [str(pathlib.Path(path).parent) for path in self._programs.values()]
        os.environ['PATH'] = ':'.join(folders + [os.environ['PATH']])

    def _start(self, name):
        program = Program(self._programs[name])
        self._ends.callback(program.close)
        return program

    def _wait_until(self, condition, what):
        deadline = time.monotonic() + DEADLINE
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError(f'{what} did not come')
            time.sleep(0.01)

    def _is_in_step(self):
        """Whether the remote side holds what the user interface holds, which says so after a
        command that changes nothing."""
        listed = subprocess.run([self._programs['applistctl'], '--json', 'list'], check=False,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if listed.returncode != 0:
            return False
        remote = json.loads(listed.stdout)
        ui = self._ui.do('remove', item('', ''))['state']
        selection = bytes.fromhex(ui['selection'][1]).decode() if ui['selection'] else None
        return (remote['connected'] and len(remote['items']) == len(ui['items'])
                and remote['selection'] == selection)

    def run(self, command):
        """The exit status of a command, and what it printed. Returns when both sides have heard of
        what it did."""
        done = self._shell.run(command)
        self._wait_until(self._is_in_step, 'both sides in step')
        return done

    def follow(self, command):
        """Starts a command, and returns when it hears what happens."""
        number = len(list(self._folder.glob('heard-*')))
        heard = self._folder / f'heard-{number}'
        with open(heard, 'wb') as file:
            follower = subprocess.Popen(['bash', '-c', command], cwd=self._folder / 'here',
                                        stdin=subprocess.DEVNULL, stdout=file, stderr=file,
                                        start_new_session=True, preexec_fn=die_with_parent)
        self._ends.callback(end_group, follower)
        self._click_until_heard(heard, f'first-click-{number}')
        return heard

    def go_on(self):
        """What the page's user does while somebody watches."""
        if self._page in RENAMED:
            self._ui.do('modify', *(item(*one) for one in RENAMED[self._page]))
            self._ui.wait_for(lambda line: line.get('event') == 2, 'the end of the renaming')

    def heard_by(self, heard):
        """What a follower printed between the last click that was made for any follower and one
        that is made now."""
        self._click_until_heard(heard, 'last-click')
        lines = heard.read_text(encoding='utf-8').splitlines(keepends=True)
        end = next(at for at, line in enumerate(lines) if 'last-click' in line)
        start = max(at for at, line in enumerate(lines) if 'first-click' in line) + 1
        # The remote side's answer to that click.
        while start < end and 'CLICKED' in lines[start]:
            start += 1
        return ''.join(lines[start:end])

    def _click_until_heard(self, heard, name):
        """Clicks until it is heard: the command may have yet to begin."""
        def is_heard():
            self._ui.do('click', item('', name))
            return name in heard.read_text(encoding='utf-8')
        self._wait_until(is_heard, f'"{name}" in the output of a command')


class Shell:
    """A shell that keeps its folder and its variables from one command to the next."""

    MARK = 'the status of that is '

    def __init__(self, folder):
        self._script = folder / 'command'
        self._process = subprocess.Popen(
            ['bash', '--norc', '--noprofile'], cwd=folder / 'here', stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
            preexec_fn=die_with_parent)
        # Also where a command ends the shell.
        self._write(f'trap \'echo "{self.MARK}$?"\' EXIT\n')

    def _write(self, text):
        self._process.stdin.write(text.encode())
        self._process.stdin.flush()

    def run(self, command):
        # From a file: so a command without an end cannot take what comes next for its own. And $?
        # is what a reader would get.
        self._script.write_text(command + '\n', encoding='utf-8')
        self._write(f'. {self._script} </dev/null\n'
                    f's=$?; set +e; echo "{self.MARK}$s"; (trap - EXIT; exit $s)\n')
        printed = ''
        for line in iter(self._process.stdout.readline, b''):
            before, mark, status = line.decode().rpartition(self.MARK)
            if mark:
                return int(status), printed + before
            printed += line.decode()
        raise AssertionError(f'the shell is gone: {printed}')

    def end(self):
        end_group(self._process)
        self._process.stdin.close()
        self._process.stdout.close()


def end_group(process):
    """Ends a process and all that it has started."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()
