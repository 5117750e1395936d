# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The examples with main loops of other kinds do what they show, against the real daemon."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / 'bus'))

import peer_support  # noqa: E402
from peer_support import DEADLINE  # noqa: E402

MAIL, MAPS = 'org.example.Mail', 'org.example.Maps'


class PlainProgram(peer_support.Program):
    """One that prints lines of text."""

    def _read(self):
        for line in self._process.stdout:
            self._lines.put(line.decode().rstrip('\n'))
        self._lines.put(None)

    def end(self, number):
        """Its exit status after this signal."""
        os.kill(self._process.pid, number)
        return self.wait()


class LoopTest(peer_support.BusTest):
    def setUp(self):
        super().setUp()
        self.daemon = self.program('applistd')
        self.example = PlainProgram(self.programs['example'])
        self.addCleanup(self.example.close)
        self.wait_for_selection(MAIL)

    def ctl(self, *words):
        return subprocess.run([self.programs['applistctl'], '--json', *words], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def wait_for_selection(self, identifier):
        """Waits until the remote side has the example's list, with this selected."""
        expected = {'connected': True, 'selection': identifier, 'ids': [MAIL, MAPS]}
        deadline = time.monotonic() + DEADLINE
        while True:
            listed = self.ctl('list')
            if listed.returncode == 0:
                holds = json.loads(listed.stdout)
                holds['ids'] = [one['id'] for one in holds['items']]
                if {key: holds[key] for key in expected} == expected:
                    return
            self.assertLess(time.monotonic(), deadline, listed)
            time.sleep(0.01)

    def select(self, identifier, name):
        """Selects on the remote side, of which the example tells."""
        self.assertEqual(self.ctl('select', identifier).returncode, 0)
        self.example.wait_for(lambda line: line == f'selected: {name}', name)

    def test_a_selection_of_the_remote_side_is_shown(self):
        self.select(MAPS, 'Maps')
        self.select(MAIL, 'Mail')
        self.assertEqual(self.example.end(signal.SIGTERM), 0)

    def test_a_remote_side_that_comes_back_is_filled_again(self):
        self.select(MAPS, 'Maps')
        self.daemon.kill()
        self.daemon = self.program('applistd')
        self.wait_for_selection(MAPS)
        self.select(MAIL, 'Mail')
        self.assertEqual(self.example.end(signal.SIGINT), 0)


if __name__ == '__main__':
    peer_support.main()
