# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""A remote side of the application list: keeps it, and prints what happens to it."""
import asyncio
import os
import re
import sys

from dbus_next import BusType, Message, MessageFlag, MessageType
from dbus_next.aio import MessageBus
from dbus_next.constants import NameFlag, RequestNameReply

OWN = 'org.javamw.Applist.Local'
UI = 'org.javamw.Applist.Ui'
PATH = '/org/javamw/Applist'
LINK = 'org.javamw.Link1'
DBUS = 'org.freedesktop.DBus'
FOLLOW = (f"type='signal',sender='{DBUS}',path='/org/freedesktop/DBus',interface='{DBUS}',"
          "member='NameOwnerChanged',arg0namespace='org.javamw.Applist'")

LARGEST_FRAME = 32 * 1024 * 1024 - 4096
ITEMS_CHANGED, SELECTION_CHANGED, CLICKED, CREATED = 1, 2, 3, 4


class Refusal(Exception):
    """A message that changes nothing: the name of the error, and a sentence for the log."""


def encode(items):
    """The payload of items, each of them (name, identifier)."""
    return b''.join(field.replace(b'\\', b'\\\\').replace(b'\n', b'\\n') + b'\n'
                    for item in items for field in item)


def decode(payload):
    fields, at = [], 0
    while at < len(payload):
        field = re.compile(rb'((?:[^\\\n]|\\[\\n])*)\n').match(payload, at)
        if not field:
            raise Refusal('BadPayload', f'The payload is malformed behind item {len(fields) // 2}')
        fields.append(re.sub(rb'\\(.)', lambda escape: escape[1].replace(b'n', b'\n'), field[1]))
        at = field.end()
    if len(fields) % 2:
        raise Refusal('BadPayload', 'The last item has no identifier')
    return list(zip(fields[::2], fields[1::2]))


class ApplicationList:
    """The list as the user interface has it. Knows no bus: `tell` is called with each event."""

    def __init__(self, tell):
        self.tell = tell
        self.items, self.selection, self.clicked = [], None, None
        self.filling, self.doubtful, self.had_selection = 'settled', (), False

    # What a remote side does by itself: it calls these two at any time.

    def select(self, identifier):
        """Selects the first item with this identifier. Returns whether there is one."""
        at = self.find(identifier)
        if at is None or not identifier:
            return False
        self.change_selection(self.items[at])
        return True

    def click(self, item):
        self.clicked = item
        print(item[0].decode(errors='replace'), 'was clicked', flush=True)
        self.tell(CLICKED)

    # The messages of the user interface.

    def answer(self, message, payload):
        """The payload of the reply to a message."""
        handle, count = {2000: (self.set_selection, 1), 2001: (self.get_selection, 0),
                         2002: (self.get_all_items, 0), 2003: (self.remove_all_items, 0),
                         2004: (self.add_items, 'some'), 2005: (self.add_item_at_end, 1),
                         2006: (self.click, 1), 2007: (self.remove_item, 1),
                         2008: (self.modify_item, 2)}.get(message, (None, 0))
        if not handle:
            raise Refusal('UnknownMessage', f'The message identifier {message} is not known')
        items = decode(payload)
        if len(items) != count and not (count == 'some' and items):
            raise Refusal('BadPayload', f'The payload holds {len(items)} items instead of {count}')
        return encode(handle(*items) or [])

    def set_selection(self, item):
        if not self.select(item[1]):
            self.tell(SELECTION_CHANGED)
            raise Refusal('NotInList', 'An item that is not in the list cannot be selected')

    def get_selection(self):
        return [self.selection] if self.selection else []

    def get_all_items(self):
        return self.items

    def remove_all_items(self):
        had_items, self.items = bool(self.items), []
        if had_items:
            self.change_items()
        if self.selection:
            self.change_selection(None)

    def add_items(self, *items):
        whole = self.filling == 'expecting'
        known = set() if whole else {identifier for _, identifier in self.items}
        new = []
        for item in items:
            if item[1] not in known:
                new.append(item)
            known.add(item[1])
        if self.filling == 'filled' or (whole and len(new) < len(items) and items != self.doubtful):
            self.filling, self.doubtful = 'in doubt', items
        if new:
            self.items += items if whole else new
            self.change_items()

    def add_item_at_end(self, item):
        self.items.append(item)
        self.change_items()

    def remove_item(self, item):
        at = self.find(item[1])
        if at is not None:
            del self.items[at]
            self.change_items()
            if self.selection and self.selection[1] == item[1]:
                self.change_selection(None)

    def modify_item(self, old, new):
        at = self.find(old[1])
        if at is not None:
            self.items[at] = new
            self.change_items()
            if self.selection and self.selection[1] == old[1]:
                self.change_selection(new)

    def find(self, identifier):
        return next((at for at, item in enumerate(self.items) if item[1] == identifier), None)

    def change_items(self):
        if self.filling == 'expecting':
            self.filling = 'filled'
        print(len(self.items), 'items', flush=True)
        self.tell(ITEMS_CHANGED)

    def change_selection(self, item):
        self.selection = item
        self.tell(SELECTION_CHANGED)

    # The announcement, which has the user interface send its whole list.

    def expect(self):
        """Drops the list."""
        if self.items:
            print('0 items', flush=True)
        self.items, self.filling = [], 'expecting'
        self.had_selection = self.selection is not None

    def settle(self):
        """The announcement has been heard. Returns whether it has to be made again."""
        in_doubt, self.filling = self.filling == 'in doubt', 'settled'
        if not in_doubt and self.had_selection and self.selection:
            at = self.find(self.selection[1])
            self.change_selection(None if at is None else self.items[at])
        return in_doubt


class Link:
    """The way to the user interface over one bus, for as long as that is there."""

    def __init__(self):
        self.list = ApplicationList(self.notify)
        self.partner = None

    async def run(self):
        self.owners, self.partner, self.last_caller, self.asked = {}, None, None, None
        kind = BusType.SESSION if os.environ.get('DBUS_SESSION_BUS_ADDRESS') else BusType.SYSTEM
        self.bus, calls = MessageBus(bus_type=kind), MessageBus(bus_type=kind)
        try:
            await self.bus.connect()
            await calls.connect()
            self.bus.add_message_handler(self.hear)
            await self.ask_bus('AddMatch', FOLLOW)
            for name in (UI, UI + '.Calls'):
                answer = await self.ask_bus('GetNameOwner', name)
                if answer.message_type == MessageType.METHOD_RETURN and name not in self.owners:
                    self.take_owner(name, answer.body[0])
            for bus, name in ((calls, OWN + '.Calls'), (self.bus, OWN)):
                if await bus.request_name(name, NameFlag.DO_NOT_QUEUE) == RequestNameReply.EXISTS:
                    sys.exit(f'{sys.argv[0]}: another process owns {name}')
            self.owners[OWN] = self.bus.unique_name
            self.meet()
            await self.bus.wait_for_disconnect()
        finally:
            for bus in (self.bus, calls):
                bus.disconnect()

    def ask_bus(self, member, text):
        return self.bus.call(Message(destination=DBUS, path='/org/freedesktop/DBus', interface=DBUS,
                                     member=member, signature='s', body=[text]))

    # Who the user interface is.

    def take_owner(self, name, owner):
        if self.owners.get(name, '') == owner:
            return
        self.owners[name] = owner
        if name == UI and OWN in self.owners:
            self.meet()
        elif name == UI + '.Calls' and owner:
            if self.last_caller and self.partner:
                self.meet()
            self.last_caller = owner

    def meet(self):
        """Another user interface is there, or none."""
        self.partner, self.asked = self.owners.get(UI), None
        if self.partner:
            self.list.selection, self.list.doubtful = None, ()
            self.announce()

    def announce(self):
        self.list.expect()
        self.notify(CREATED)
        ping = Message(destination=self.partner, path=PATH, interface=DBUS + '.Peer',
                       member='Ping')
        self.bus.send(ping)
        self.asked = ping.serial

    def notify(self, event):
        if self.partner:
            self.bus.send(Message(destination=self.partner, path=PATH, interface=LINK,
                                  member='Notify', message_type=MessageType.SIGNAL,
                                  signature='ay', body=[event.to_bytes(4, 'little')]))

    # What comes in, in its order. The library answers everything else, a Ping and what it does not
    # know, before it comes to the next message.

    def hear(self, message):
        if message.reply_serial and message.reply_serial == self.asked:
            self.asked = None
            if self.list.settle():
                self.announce()
        elif message.sender == DBUS and message.member == 'NameOwnerChanged':
            self.take_owner(message.body[0], message.body[2])
        elif (message.message_type, message.path, message.interface,
              message.member) == (MessageType.METHOD_CALL, PATH, LINK, 'Send'):
            answer = self.answer(message)
            if not message.flags & MessageFlag.NO_REPLY_EXPECTED:
                self.bus.send(answer)
            return True
        elif message.interface == DBUS + '.Properties':
            return Message.new_error(message, DBUS + '.Error.UnknownInterface', 'No properties')
        return False

    def answer(self, call):
        if call.sender != self.owners.get(UI + '.Calls'):
            return Message.new_error(call, DBUS + '.Error.AccessDenied', 'Only the partner may')
        try:
            return Message.new_method_return(call, 'ay', [self.handle(call)])
        except Refusal as refusal:
            error, sentence = refusal.args
        except Exception as failure:
            error, sentence = 'Failed', repr(failure)
        print('Refused a message:', sentence, file=sys.stderr, flush=True)
        return Message.new_error(call, f'{LINK}.Error.{error}', sentence)

    def handle(self, call):
        if call.signature != 'ay':
            raise Refusal('BadSignature', 'Send takes one array of bytes')
        frame = call.body[0]
        if len(frame) < 4:
            raise Refusal('BadFrame', 'A frame holds at least the four bytes of its identifier')
        if len(frame) > LARGEST_FRAME:
            raise Refusal('TooLarge', f'A frame holds at most {LARGEST_FRAME} bytes')
        reply = self.list.answer(int.from_bytes(frame[-4:], 'little', signed=True), frame[:-4])
        if len(reply) > LARGEST_FRAME:
            raise Refusal('TooLarge', f'The reply of {len(reply)} bytes is too large')
        return reply


async def main():
    link, delay = Link(), 0.1
    while True:
        try:
            await link.run()
            delay = 0.1
        except (OSError, EOFError) as failure:
            print('No bus:', repr(failure), file=sys.stderr, flush=True)
        await asyncio.sleep(delay)
        delay = min(2 * delay, 5)


if __name__ == '__main__':
    asyncio.run(main())
