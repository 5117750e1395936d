# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""A remote side, written from docs/protocol.md.

Writes what it sends, hears and holds as lines of JSON. Commands on standard input: `select ID` and
`click ID`, with the identifier in hexadecimal. Ends with standard input.
"""
import asyncio
import sys

from dbus_next import Message

import applist_protocol as protocol

ERROR = protocol.LINK + '.Error.'


class Refusal(Exception):
    pass


class RemoteSide:
    def __init__(self):
        self.link = protocol.Link(protocol.LOCAL, protocol.UI)
        self.items = []
        self.selection = None
        self.clicked = None
        self.partner = None
        self.filling = 'settled'
        self.announcement = 0
        self.asking = None

    async def run(self):
        await self.link.start()
        await self.link.run({'partner': self.take_partner, 'send': self.take_send,
                             'notify': self.take_notify, 'ping': self.take_ping,
                             'caught-up': self.take_caught_up, 'command': self.take_command})

    def say_state(self):
        protocol.say(state={'items': [protocol.shown(item) for item in self.items],
                            'selection': protocol.shown(self.selection),
                            'clicked': protocol.shown(self.clicked),
                            'connected': bool(self.partner),
                            'settled': self.filling == 'settled'})

    # The partner and the announcement

    async def take_partner(self, owner):
        self.partner = owner
        self.announcement += 1
        if owner:
            await self.announce()
        self.say_state()

    async def announce(self):
        self.items, self.selection, self.filling = [], None, 'expecting'
        self.announcement += 1
        await self.link.notify(protocol.LOCAL_CREATED)
        self.asking = asyncio.create_task(self.ask(self.announcement))

    async def ask(self, announcement):
        await self.link.ping()
        self.link.inbox.put_nowait(('caught-up', announcement))

    async def take_caught_up(self, announcement):
        if announcement == self.announcement:
            unsure, self.filling = self.filling == 'in doubt', 'settled'
            if unsure:
                await self.announce()
            self.say_state()

    # What comes in

    async def take_notify(self, data):
        protocol.say(received='Notify', frame=data.hex())

    async def take_ping(self, call):
        await self.link.incoming.send(Message.new_method_return(call))

    async def take_send(self, call):
        data = bytes(call.body[0])
        protocol.say(received='Send', frame=data.hex())
        try:
            reply = await self.answer(data)
            protocol.say(reply=reply.hex())
            answer = Message.new_method_return(call, 'ay', [reply])
        except Refusal as refusal:
            protocol.say(error=ERROR + str(refusal))
            answer = Message.new_error(call, ERROR + str(refusal), 'The message is refused')
        self.say_state()
        await self.link.incoming.send(answer)

    async def answer(self, data):
        if len(data) < 4:
            return b''
        payload, identifier = protocol.split_frame(data)
        if identifier not in range(2000, 2009):
            raise Refusal('UnknownMessage')
        items, whole = protocol.decode(payload)
        counts = {protocol.GET_SELECTION: 0, protocol.GET_ALL_ITEMS: 0,
                  protocol.REMOVE_ALL_ITEMS: 0, protocol.MODIFY_ITEM: 2}
        right = (len(items) > 0 if identifier == protocol.ADD_ITEMS else
                 len(items) == counts.get(identifier, 1))
        if not whole or not right:
            raise Refusal('BadPayload')
        if identifier == protocol.GET_SELECTION:
            return protocol.encode([self.selection] if self.selection else [])
        if identifier == protocol.GET_ALL_ITEMS:
            return protocol.encode(self.items)
        handlers = {protocol.SET_SELECTION: self.set_selection, protocol.ADD_ITEMS: self.add_items,
                    protocol.REMOVE_ALL_ITEMS: self.remove_all, protocol.SET_CLICKED: self.click,
                    protocol.ADD_ITEM_AT_END: self.append, protocol.REMOVE_ITEM: self.remove,
                    protocol.MODIFY_ITEM: self.modify}
        await handlers[identifier](*([items] if identifier == protocol.ADD_ITEMS else items))
        return b''

    # The list

    def find(self, identifier):
        return next((at for at, item in enumerate(self.items) if item[1] == identifier), None)

    async def changed(self):
        await self.link.notify(protocol.ITEM_CHANGE)

    async def select(self, item):
        self.selection = item
        await self.link.notify(protocol.ITEM_SELECTION)

    async def set_selection(self, item):
        at = self.find(item[1])
        if at is None or not item[1]:
            await self.link.notify(protocol.ITEM_SELECTION)
            raise Refusal('NotInList')
        await self.select(self.items[at])

    async def remove_all(self):
        had_items, self.items = bool(self.items), []
        if had_items:
            await self.changed()
        if self.selection:
            await self.select(None)

    async def add_items(self, items):
        as_it_is = self.filling == 'expecting'
        if self.filling == 'filled':
            self.filling = 'in doubt'
        before = len(self.items)
        identifiers = {item[1] for item in self.items}
        for item in items:
            if as_it_is or item[1] not in identifiers:
                self.items.append(item)
                identifiers.add(item[1])
        if len(self.items) != before:
            await self.added()

    async def append(self, item):
        self.items.append(item)
        await self.added()

    async def added(self):
        if self.filling == 'expecting':
            self.filling = 'filled'
        await self.changed()

    async def click(self, item):
        self.clicked = item
        await self.link.notify(protocol.ITEM_CLICKED)

    async def remove(self, item):
        at = self.find(item[1])
        if at is not None:
            del self.items[at]
            await self.changed()
            if self.selection and self.selection[1] == item[1]:
                await self.select(None)

    async def modify(self, old, new):
        at = self.find(old[1])
        if at is not None:
            self.items[at] = new
            await self.changed()
            if self.selection and self.selection[1] == old[1]:
                await self.select(new)

    async def take_command(self, words):
        item = self.items[self.find(bytes.fromhex(words[1]))]
        await {'select': self.select, 'click': self.click}[words[0]](item)
        self.say_state()


if __name__ == '__main__':
    try:
        asyncio.run(RemoteSide().run())
    except protocol.NameTaken as taken:
        sys.exit(f'remote_peer.py: another process owns {taken}')
