# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The real user interface's model (model-driver) with a remote side in Python."""
import peer_support
from dbus_next import Message, MessageType
from peer_support import item, shown

MAIL, WEB, NET = item('Mail', 'mail'), item('Web', 'web'), item('Net', 'net')
ODD = item(b'a\nb\\n\x00', b'\xff\\')
UI = 'org.javamw.Applist.Ui'
PATH = '/org/javamw/Applist'


class RemotePeerTest(peer_support.BusTest):
    def setUp(self):
        super().setUp()
        self.remote = self.program('remote_peer.py')
        self.remote.wait_for_state(connected=False)
        self.ui = self.program('model-driver')
        self.remote.wait_for_state(connected=True, settled=True, items=[])

    def do_and_compare(self, words, items, selection):
        """Both sides hold this after the command, whichever hears of it last."""
        expected = {'items': shown(*items), 'selection': shown(selection)[0] if selection else None}
        done = self.ui.do(*words)
        if done['state'] != expected:
            self.ui.wait_for_state(**expected)
        return self.remote.wait_for_state(**expected)

    def test_the_whole_job(self):
        renamed = item('Post', 'mail')
        for words, items, selection in [
                (['add', MAIL, WEB], [MAIL, WEB], None),
                (['add', WEB, ODD, ODD], [MAIL, WEB, ODD], None),
                (['append', NET], [MAIL, WEB, ODD, NET], None),
                (['append', MAIL], [MAIL, WEB, ODD, NET, MAIL], None),
                (['select', WEB], [MAIL, WEB, ODD, NET, MAIL], WEB),
                (['select', ODD], [MAIL, WEB, ODD, NET, MAIL], ODD),
                (['modify', MAIL, renamed], [renamed, WEB, ODD, NET, MAIL], ODD),
                (['modify', ODD, NET], [renamed, WEB, NET, NET, MAIL], NET),
                (['remove', WEB], [renamed, NET, NET, MAIL], NET),
                (['remove', NET], [renamed, NET, MAIL], None),
                (['select', NET], [renamed, NET, MAIL], NET),
                (['clear'], [], None)]:
            with self.subTest(words=words):
                self.do_and_compare(words, items, selection)

    def test_a_click_reaches_the_remote_side(self):
        self.ui.do('add', MAIL)
        self.ui.do('click', MAIL)
        self.remote.wait_for_state(clicked=shown(MAIL)[0])
        self.ui.do('click', ODD)
        self.remote.wait_for_state(clicked=shown(ODD)[0], items=shown(MAIL))

    def test_a_selection_that_is_not_in_the_list_falls_back(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        self.do_and_compare(['select', MAIL], [MAIL], MAIL)
        self.ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        self.assertEqual(self.ui.do('select', NET)['state']['selection'], shown(NET)[0])
        self.remote.wait_for(
            lambda line: line.get('error') == 'org.javamw.Link1.Error.NotInList', 'the refusal')
        event = self.ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        self.assertEqual(event['state']['selection'], shown(MAIL)[0])

    def test_the_remote_side_selects_and_clicks(self):
        self.ui.do('add', MAIL, ODD)
        self.remote.wait_for_state(items=shown(MAIL, ODD))
        self.remote.start('select', ODD.split(':')[1])
        event = self.ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        self.assertEqual(event['state']['selection'], shown(ODD)[0])
        self.remote.start('click', MAIL.split(':')[1])
        event = self.ui.wait_for(lambda line: line.get('event') == 3, 'the click event')
        self.assertEqual(event['state'], {'items': shown(MAIL, ODD), 'selection': shown(ODD)[0]})

    def test_a_restarted_remote_side_gets_everything(self):
        self.ui.do('add', MAIL, WEB)
        self.ui.do('append', MAIL)
        self.do_and_compare(['select', WEB], [MAIL, WEB, MAIL], WEB)
        # Killed while it is asked for the selection, it would leave none.
        self.ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        self.remote.kill()
        self.assertEqual(self.ui.do('remove', MAIL)['state']['items'], shown(WEB, MAIL))
        self.ui.do('append', MAIL)
        self.remote = self.program('remote_peer.py')
        self.remote.wait_for_state(connected=True, settled=True, items=shown(WEB, MAIL, MAIL),
                                   selection=shown(WEB)[0])
        self.do_and_compare(['remove', WEB], [MAIL, MAIL], None)

    def test_another_user_interface_brings_its_own_list(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        self.ui.kill()
        self.remote.wait_for_state(connected=False)
        self.ui = self.program('model-driver')
        self.remote.wait_for_state(connected=True, settled=True, items=[])
        self.do_and_compare(['add', WEB], [WEB], None)

    def test_a_second_remote_side_does_not_start(self):
        second = self.program('remote_peer.py')
        self.assertEqual(second.wait(), 1)
        self.do_and_compare(['add', MAIL], [MAIL], None)

    def test_strangers_are_not_heard(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        answer = self.stranger(Message(
            destination='org.javamw.Applist.Local', path=PATH, interface='org.javamw.Link1',
            member='Send', signature='ay', body=[bytes.fromhex('d3070000')]))
        self.assertEqual(answer.error_name, 'org.freedesktop.DBus.Error.AccessDenied')
        self.ui.wait_for(lambda line: line.get('event') == 1, 'the event of the list')
        before = len(self.ui.seen)
        for identifier in (1, 4):
            self.stranger(Message(
                destination=UI, path=PATH, interface='org.javamw.Link1', member='Notify',
                message_type=MessageType.SIGNAL, signature='ay',
                body=[identifier.to_bytes(4, 'little')]))
        received = len(self.remote.seen)
        # What the remote side does after that is the first thing to be heard.
        self.remote.start('click', MAIL.split(':')[1])
        self.remote.wait_for_state(clicked=shown(MAIL)[0], items=shown(MAIL))
        self.ui.wait_for(lambda line: line.get('event') == 3, 'the click event')
        self.assertEqual([line['event'] for line in self.ui.seen[before:]], [3])
        self.assertFalse([line for line in self.remote.seen[received:] if 'received' in line])


if __name__ == '__main__':
    peer_support.main()
