# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""A user interface, written from docs/protocol.md.

Writes what it sends, hears and holds as lines of JSON. Commands on standard input, with an ITEM as
NAME:ID in hexadecimal: `add ITEM...`, `append ITEM`, `select ITEM`, `click ITEM`, `remove ITEM`,
`modify OLD NEW`, `clear`, `raw FRAME`, and `ping`, which is done when the remote side has caught
up; `close` closes the direct line, and `line` asks for one. With --hold, a Ping of the remote side
is answered only at the command `release`. With --line, each remote side is asked for a direct line
at once. Ends with standard input.
"""
import asyncio
import os
import sys

from dbus_next import Message, MessageType

import applist_protocol as protocol

TIMEOUT = float(os.environ.get('APPLIST_CALL_TIMEOUT_MS', '500')) / 1000


def item_from(word):
    return tuple(bytes.fromhex(field) for field in word.split(':'))


class UserInterface:
    def __init__(self, hold, line):
        self.link = protocol.Link(protocol.UI, protocol.LOCAL)
        self.items = []
        self.selection = None
        self.holding = hold
        self.held = []
        self.wants_line = line

    async def run(self):
        await self.link.start()
        await self.link.run({'partner': self.take_partner, 'send': self.take_send,
                             'notify': self.take_notify, 'ping': self.take_ping,
                             'line-ping': self.take_line_ping, 'line-lost': self.find_again,
                             'command': self.take_command})

    def say(self, **what):
        protocol.say(**what, state={'items': [protocol.shown(item) for item in self.items],
                                    'selection': protocol.shown(self.selection)})

    async def take_partner(self, owner):
        self.link.close_line()
        self.say(partner=bool(owner))
        if owner and self.wants_line:
            await self.link.open_line()

    async def find_again(self, _):
        """Where the line ended by itself: is the remote side still there?"""
        self.say(partner=False)
        if not self.link.owners.get(self.link.partner):
            return
        answer = await self.link.ping()
        if answer.message_type != MessageType.ERROR:
            self.say(partner=True)

    # What comes in

    async def take_notify(self, data):
        protocol.say(received='Notify', frame=data.hex())
        split = protocol.split_frame(data)
        identifier = split[1] if split else None
        if identifier == protocol.ITEM_SELECTION:
            await self.fetch_selection()
        elif identifier == protocol.LOCAL_CREATED and self.items:
            await self.send(protocol.ADD_ITEMS, *self.items)
            if self.selection and self.selection[1]:
                await self.send(protocol.SET_SELECTION, self.selection)
        self.say(event=identifier)

    async def fetch_selection(self):
        items, _ = protocol.decode(await self.send(protocol.GET_SELECTION))
        at = self.find(items[0]) if items else None
        self.selection = None if at is None else self.items[at]

    async def take_ping(self, call):
        if self.holding:
            self.held.append(call)
        else:
            await self.link.incoming.send(Message.new_method_return(call))

    async def take_line_ping(self, call):
        if self.holding:
            self.held.append(call)
        elif self.link.line_events:
            self.link.line_events.send(Message.new_method_return(call))

    async def take_send(self, call):
        protocol.say(received='Send', frame=bytes(call.body[0]).hex())
        await self.link.incoming.send(Message.new_method_return(call, 'ay', [b'']))

    # What goes out

    async def send(self, identifier, *items):
        return await self.send_frame(protocol.frame(protocol.encode(items), identifier))

    async def send_frame(self, data):
        protocol.say(sent='Send', frame=data.hex())
        try:
            answer = await asyncio.wait_for(self.link.send(data), TIMEOUT)
        except asyncio.TimeoutError:
            protocol.say(error='timeout')
            return b''
        if answer.message_type == MessageType.ERROR:
            protocol.say(error=answer.error_name)
            return b''
        protocol.say(reply=bytes(answer.body[0]).hex())
        return bytes(answer.body[0])

    # What the user does

    def find(self, item):
        return next((at for at, held in enumerate(self.items) if held[1] == item[1]), None)

    async def take_command(self, words):
        await getattr(self, 'do_' + words[0])(*words[1:])
        self.say(done=words[0])

    async def do_add(self, *words):
        items = [item_from(word) for word in words]
        for item in items:
            if self.find(item) is None:
                self.items.append(item)
        await self.send(protocol.ADD_ITEMS, *items)

    async def do_append(self, word):
        self.items.append(item_from(word))
        await self.send(protocol.ADD_ITEM_AT_END, item_from(word))

    async def do_select(self, word):
        self.selection = item_from(word)
        await self.send(protocol.SET_SELECTION, self.selection)

    async def do_click(self, word):
        await self.send(protocol.SET_CLICKED, item_from(word))

    async def do_remove(self, word):
        at = self.find(item_from(word))
        if at is not None:
            if self.selection == self.items[at]:
                self.selection = None
            del self.items[at]
            await self.send(protocol.REMOVE_ITEM, item_from(word))

    async def do_modify(self, old_word, new_word):
        old, new = item_from(old_word), item_from(new_word)
        at = self.find(old)
        if at is not None:
            if self.selection == self.items[at]:
                self.selection = new
            self.items[at] = new
            await self.send(protocol.MODIFY_ITEM, old, new)

    async def do_clear(self):
        self.items, self.selection = [], None
        await self.send(protocol.REMOVE_ALL_ITEMS)

    async def do_raw(self, data=''):
        await self.send_frame(bytes.fromhex(data))

    async def do_ping(self):
        await self.link.ping()

    async def do_line(self):
        await self.link.open_line()

    async def do_close(self):
        self.link.close_line()
        await self.find_again(None)

    async def do_release(self):
        self.holding = False
        for call in self.held:
            await self.take_ping(call)
        self.held = []


if __name__ == '__main__':
    try:
        asyncio.run(UserInterface('--hold' in sys.argv[1:], '--line' in sys.argv[1:]).run())
    except protocol.NameTaken as taken:
        sys.exit(f'ui_peer.py: another process owns {taken}')
