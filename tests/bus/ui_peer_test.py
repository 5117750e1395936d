# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The real remote side (applistd) with a user interface in Python."""
import peer_support
from dbus_next import Message, MessageType
from peer_support import item, shown

MAIL, WEB, NET = item('Mail', 'mail'), item('Web', 'web'), item('Net', 'net')
ODD = item(b'a\nb\\n\x00', b'\xff\\')
LOCAL = 'org.javamw.Applist.Local'
PATH = '/org/javamw/Applist'

# How applistd shows the items above.
TEXT = {MAIL: ['mail', 'Mail'], WEB: ['web', 'Web'], NET: ['net', 'Net'],
        ODD: ['\\xff\\\\', 'a\nb\\\\n\\x00'], None: ['']}


def announced(line):
    return line.get('event') == 4


class UiPeerTest(peer_support.BusTest):
    arguments = []

    def setUp(self):
        super().setUp()
        self.remote = self.program('applistd')
        self.start_ui()

    def start_ui(self):
        self.ui = self.program('ui_peer.py', *self.arguments)
        self.ui.wait_for(announced, 'the announcement')
        self.ui.settle()

    def do_and_compare(self, words, items, selection):
        """Both sides hold this after the command."""
        self.ui.do(*words)
        state = self.ui.settle()['state']
        self.assertEqual(state, {'items': shown(*items),
                                 'selection': shown(selection)[0] if selection else None})
        self.assert_remote_holds(items, selection)

    def assert_remote_holds(self, items, selection):
        control = self.control()
        self.assertEqual(control['Items'], [TEXT[word] for word in items])
        self.assertEqual(control['Selection'], TEXT[selection][0])
        self.assertTrue(control['Connected'])

    def test_the_whole_job(self):
        renamed = item('Post', 'mail')
        TEXT[renamed] = ['mail', 'Post']
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
                (['select', ODD], [renamed, NET, MAIL], NET),
                (['clear'], [], None)]:
            with self.subTest(words=words):
                self.do_and_compare(words, items, selection)

    def test_a_click_reaches_the_remote_side(self):
        self.ui.do('click', ODD)
        self.assertEqual(self.control()['LastClicked'], TEXT[ODD][0])
        self.ui.wait_for(lambda line: line.get('event') == 3, 'the click event')

    def test_the_remote_side_selects_and_clicks(self):
        self.ui.do('add', MAIL, ODD)
        self.assertIsNone(self.control_call('Select', TEXT[ODD][0]))
        event = self.ui.wait_for(lambda line: line.get('event') == 2, 'the selection event')
        self.assertEqual(event['state']['selection'], shown(ODD)[0])
        self.assertIsNone(self.control_call('Click', TEXT[MAIL][0]))
        self.ui.wait_for(lambda line: line.get('event') == 3, 'the click event')
        self.assertEqual(self.control()['LastClicked'], 'mail')
        for method in ('Select', 'Click'):
            self.assertEqual(self.control_call(method, 'other'),
                             'org.javamw.Applist.Control1.Error.NotInList')
            self.assertEqual(self.control_call(method, '\\x0'),
                             'org.freedesktop.DBus.Error.InvalidArgs')
        self.assert_remote_holds([MAIL, ODD], ODD)

    def test_a_restarted_remote_side_gets_everything(self):
        self.ui.do('add', MAIL, WEB)
        self.ui.do('append', MAIL)
        self.do_and_compare(['select', WEB], [MAIL, WEB, MAIL], WEB)
        self.remote.kill()
        self.ui.wait_for(lambda line: line.get('partner') is False, 'the end of the remote side')
        self.ui.do('remove', MAIL)
        self.ui.do('append', MAIL)
        self.remote = self.program('applistd')
        # A list that holds an identifier twice is asked for twice.
        self.ui.wait_for(announced, 'the announcement')
        self.ui.wait_for(announced, 'the second announcement')
        self.ui.settle()
        self.assert_remote_holds([WEB, MAIL, MAIL], WEB)

    def test_another_user_interface_brings_its_own_list(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        self.ui.kill()
        self.start_ui()
        self.do_and_compare(['add', WEB], [WEB], None)

    def test_a_second_remote_side_does_not_start(self):
        second = self.program('applistd')
        self.assertEqual(second.wait(), 1)
        self.do_and_compare(['add', MAIL], [MAIL], None)

    def test_strangers_are_not_heard(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        clear = bytes.fromhex('d3070000')
        answer = self.stranger(Message(
            destination=LOCAL, path=PATH, interface='org.javamw.Link1', member='Send',
            signature='ay', body=[clear]))
        self.assertEqual(answer.error_name, 'org.freedesktop.DBus.Error.AccessDenied')
        # Nobody is gone, whatever a stranger says.
        self.stranger(Message(
            destination=LOCAL, path='/org/freedesktop/DBus', interface='org.freedesktop.DBus',
            member='NameOwnerChanged', message_type=MessageType.SIGNAL, signature='sss',
            body=['org.javamw.Applist.Ui', ':1.1', '']))
        self.assert_remote_holds([MAIL], None)
        answer = self.stranger(Message(
            destination=LOCAL, path=PATH, interface='org.javamw.Link1', member='Send',
            signature='s', body=['text']))
        self.assertEqual(answer.error_name, 'org.freedesktop.DBus.Error.AccessDenied')


class LineUiPeerTest(UiPeerTest):
    """The same and more on a direct line."""

    arguments = ['--line']

    def assert_remote_holds(self, items, selection):
        super().assert_remote_holds(items, selection)
        self.assertTrue(self.is_direct())

    def is_direct(self):
        return self.stranger(Message(
            destination=LOCAL, path=PATH, interface='org.freedesktop.DBus.Properties', member='Get',
            signature='ss', body=['org.javamw.Link1', 'Direct'])).body[0].value

    def test_there_is_one_line_at_a_time(self):
        before = len(self.ui.seen)
        self.ui.do('line')
        self.assertIn({'line': 'org.javamw.Link1.Error.Busy'}, self.ui.seen[before:])
        self.do_and_compare(['add', MAIL], [MAIL], None)

    def test_a_closed_line_is_made_up_for(self):
        self.ui.do('add', MAIL, WEB)
        self.do_and_compare(['select', WEB], [MAIL, WEB], WEB)
        for _ in range(3):
            self.ui.do('close')
            self.ui.wait_for(announced, 'the announcement on the bus')
            self.ui.settle()
            self.assertFalse(self.is_direct())
            super().assert_remote_holds([MAIL, WEB], WEB)
            self.ui.do('line')
            self.do_and_compare(['select', WEB], [MAIL, WEB], WEB)

    def test_a_line_that_follows_another_at_once_brings_everything(self):
        self.do_and_compare(['add', MAIL], [MAIL], None)
        self.ui.start('close')
        self.ui.start('line')
        self.ui.wait_for(announced, 'the announcement')
        self.ui.settle()
        self.assert_remote_holds([MAIL], None)


class AnnouncementTest(peer_support.BusTest):
    """What applistd makes of what it gets before its Ping is answered."""

    arguments = []

    def setUp(self):
        super().setUp()
        self.program('applistd')
        self.ui = self.program('ui_peer.py', '--hold', *self.arguments)
        self.ui.wait_for(announced, 'the announcement')
        # By the answer, the remote side's own Ping has come, and waits.
        self.ui.do('ping')

    def heard_after_release(self):
        """How many announcements follow the answer to the Ping."""
        before = len(self.ui.seen)
        self.ui.do('release')
        self.ui.settle()
        return len([line for line in self.ui.seen[before:] if announced(line)])

    def test_a_first_list_is_in_its_place(self):
        self.ui.do('add', MAIL, WEB)
        self.assertEqual(self.heard_after_release(), 0)
        self.assertEqual(self.control()['Items'], [TEXT[MAIL], TEXT[WEB]])

    def test_a_first_list_is_taken_as_it_is(self):
        self.ui.do('raw', '610a690a620a690ad4070000')
        self.assertEqual(self.control()['Items'], [['i', 'a'], ['i', 'b']])

    def test_a_settled_list_takes_no_item_twice(self):
        self.assertEqual(self.heard_after_release(), 0)
        self.ui.do('raw', '610a690a620a690ad4070000')
        self.assertEqual(self.control()['Items'], [['i', 'a']])

    def test_a_list_that_follows_another_is_asked_for_again(self):
        self.ui.do('add', MAIL)
        self.ui.do('add', WEB)
        self.assertEqual(self.heard_after_release(), 1)
        self.assertEqual(self.control()['Items'], [TEXT[MAIL], TEXT[WEB]])

    def test_a_list_that_follows_one_item_is_asked_for_again(self):
        self.ui.do('append', MAIL)
        self.ui.do('add', MAIL)
        self.assertEqual(self.heard_after_release(), 1)
        self.assertEqual(self.control()['Items'], [TEXT[MAIL]])

    def test_one_item_that_follows_a_list_is_in_its_place(self):
        self.ui.do('add', MAIL)
        self.ui.do('append', MAIL)
        self.assertEqual(self.heard_after_release(), 0)
        self.assertEqual(self.control()['Items'], [TEXT[MAIL], TEXT[MAIL]])


class LineAnnouncementTest(AnnouncementTest):
    """The same where the Ping comes over the bus and all that follows on a direct line."""

    arguments = ['--line']


if __name__ == '__main__':
    peer_support.main()
