# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The bytes in docs/protocol.md are those of the Python codec and of the real programs."""
import subprocess

import applist_protocol as protocol
import peer_support
from peer_support import bytes_of, item

FRAMES = peer_support.table(['Payload', 'Identifier', 'Frame'])
ITEMS = peer_support.table(['Item', 'Name', 'Identifier', 'Encoding'])
MALFORMED = peer_support.table(['Malformed', 'Payload', 'Items before it'])
REFUSALS = peer_support.table(['Frame', 'Answer'])
TEXTS = peer_support.table(['Bytes', 'Text'])

MAIL, WEB, NET = item('Mail', 'mail'), item('Web', 'web'), item('Net', 'web')


def page_session():
    """The steps of the page's session, each as (who, what, bytes)."""
    steps = [line.split(None, 2) for block in peer_support.blocks('text session') for line in block]
    return [(who, what, bytes_of(data[0]).hex() if data else '') for who, what, *data in steps]


class CodecTest(peer_support.unittest.TestCase):
    def test_the_page_has_its_tables(self):
        self.assertEqual([len(rows) for rows in (FRAMES, ITEMS, MALFORMED, REFUSALS, TEXTS)],
                         [5, 6, 5, 11, 5])

    def test_frames(self):
        for payload, identifier, data in FRAMES:
            with self.subTest(frame=data):
                self.assertEqual(protocol.frame(bytes_of(payload), int(identifier)).hex(),
                                 bytes_of(data).hex())
                self.assertEqual(protocol.split_frame(bytes_of(data)),
                                 (bytes_of(payload), int(identifier)))

    def test_items(self):
        items = [(bytes_of(name), bytes_of(identifier)) for _, name, identifier, _ in ITEMS]
        for (what, _, _, encoding), one in zip(ITEMS, items):
            with self.subTest(item=what):
                self.assertEqual(protocol.encode([one]).hex(), bytes_of(encoding).hex())
                self.assertEqual(protocol.decode(bytes_of(encoding)), ([one], True))
        together = b''.join(bytes_of(row[3]) for row in ITEMS)
        self.assertEqual(protocol.encode(items), together)
        self.assertEqual(protocol.decode(together), (items, True))

    def test_the_handshake_of_a_line(self):
        steps = [line.split(None, 1) for block in peer_support.blocks('text handshake')
                 for line in block]
        self.assertEqual([(who, bytes_of(data)) for who, data in steps],
                         [('client', b'\0AUTH ANONYMOUS 61\r\n'),
                          ('server', b'OK 0123456789abcdef0123456789abcdef\r\n'),
                          ('client', b'BEGIN\r\n')])

    def test_malformed_payloads(self):
        for what, payload, count in MALFORMED:
            with self.subTest(payload=what):
                items, whole = protocol.decode(bytes_of(payload))
                self.assertEqual((len(items), whole), (int(count), False))


class RemoteSideTest(peer_support.BusTest):
    """Against applistd, over ui_peer.py."""

    def setUp(self):
        super().setUp()
        self.program('applistd')
        self.ui = self.program('ui_peer.py')
        self.ui.wait_for(lambda line: line.get('event') == 4, 'the announcement')
        self.ui.settle()

    def send(self, data):
        """What a frame gets: the reply in hexadecimal, or the name of an error."""
        before = len(self.ui.seen)
        self.ui.do('raw', bytes_of(data).hex())
        answers = [line.get('reply', line.get('error')) for line in self.ui.seen[before:]
                   if 'reply' in line or 'error' in line]
        # Events that the frame led to may have asked for the selection before or after.
        sent = [line['frame'] for line in self.ui.seen[before:] if line.get('sent') == 'Send']
        return answers[sent.index(bytes_of(data).hex())]

    def test_items(self):
        for what, name, identifier, encoding in ITEMS:
            with self.subTest(item=what):
                self.send('d3070000')
                self.assertEqual(self.send(encoding + 'd5070000'), '')
                self.assertEqual(self.send('d2070000'), bytes_of(encoding).hex())
                items = [[peer_support.from_text(field) for field in one]
                         for one in self.control()['Items']]
                self.assertEqual(items, [[bytes_of(identifier), bytes_of(name)]])

    def test_malformed_payloads(self):
        for what, payload, _ in MALFORMED:
            with self.subTest(payload=what):
                self.assertEqual(self.send(payload + 'd4070000'),
                                 'org.javamw.Link1.Error.BadPayload')
        self.assertEqual(self.send('d2070000'), '')

    def test_refusals(self):
        self.ui.do('add', MAIL)
        for data, answer in REFUSALS:
            with self.subTest(frame=data):
                expected = answer if answer.startswith('org.') else bytes_of(answer).hex()
                self.assertEqual(self.send(data), expected)

    def test_texts(self):
        for data, text in TEXTS:
            with self.subTest(text=text):
                self.ui.do('clear')
                self.ui.do('append', item(bytes_of(data), bytes_of(data)))
                self.assertEqual(self.control()['Items'], [[text, text]])
                self.assertIsNone(self.control_call('Select', text))
                self.assertEqual(self.control()['Selection'], text)

    def test_busctl(self):
        self.ui.do('add', MAIL, WEB)
        self.ui.do('select', WEB)
        lines = [line for block in peer_support.blocks('console') for line in block]
        commands = [at for at, line in enumerate(lines) if line.startswith('$ ')]
        self.assertEqual(len(commands), 9)
        for at, end in zip(commands, commands[1:] + [len(lines)]):
            with self.subTest(command=lines[at]):
                result = subprocess.run(lines[at][2:], shell=True, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, check=False,
                                        timeout=peer_support.DEADLINE)
                self.assertEqual(result.stdout.decode().splitlines(), lines[at + 1:end])


class SessionTest(peer_support.BusTest):
    """The page's session, with either end in Python and the other one real."""

    def play(self, ui):
        ui.do('modify', WEB, NET)
        ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        ui.do('click', MAIL)
        ui.do('clear')
        ui.wait_for(lambda line: line.get('event') == 2, 'the last selection event')

    def test_real_user_interface(self):
        ui = self.program('model-driver')
        ui.do('add', MAIL, WEB)
        ui.do('select', WEB)
        remote = self.program('remote_peer.py')
        ui.wait_for(lambda line: line.get('event') == 2, 'the first selection event')
        self.play(ui)
        said = []
        while len(said) < len(page_session()):
            line = remote.wait_for(lambda line: 'state' not in line, 'more of the session')
            who = 'ui' if 'received' in line else 'remote'
            what = line.get('sent', line.get('received', 'reply'))
            said.append((who, what, line.get('frame', line.get('reply'))))
        self.assertEqual(said, page_session())

    def test_real_remote_side(self):
        ui = self.program('ui_peer.py')
        ui.do('add', MAIL, WEB)
        ui.do('select', WEB)
        before = len(ui.seen)
        self.program('applistd')
        ui.wait_for(lambda line: line.get('event') == 2, 'the first selection event')
        self.play(ui)
        said = ui.seen[before:]
        # Notifications and replies come on two connections, in an order of their own each.
        notified = [line['frame'] for line in said if line.get('received') == 'Notify']
        self.assertEqual(notified, [data for _, what, data in page_session() if what == 'Notify'])
        talked = [('ui', 'Send', line['frame']) if 'sent' in line else
                  ('remote', 'reply', line.get('reply'))
                  for line in said if 'sent' in line or 'reply' in line]
        self.assertEqual(talked, [step for step in page_session() if step[1] != 'Notify'])


if __name__ == '__main__':
    peer_support.main()
