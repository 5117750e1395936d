# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""scripted_remote.py DESCRIPTOR ADDRESS (now|queued): a remote side that answers as it is told.

Takes the names of the remote side on the bus at ADDRESS, or waits in line for them. Then reads
commands from the socket DESCRIPTOR, one a line, and writes a line when each is done: what was asked
for, or nothing. Ends with the socket.
"""
import asyncio
import collections
import socket
import sys

from dbus_next import Message, MessageFlag, MessageType, Variant
from dbus_next.aio import MessageBus
from dbus_next.constants import NameFlag, RequestNameReply

NAME = 'org.javamw.Applist.Local'
UI = 'org.javamw.Applist.Ui'
PATH = '/org/javamw/Applist'
LINK = 'org.javamw.Link1'
DBUS = 'org.freedesktop.DBus'

# What a reply of a type other than ay carries.
BODIES = {'': [], 's': ['text'], 'o': ['/path'], 'u': [7], 'd': [7.0], 'b': [True], 'h': [0],
          'as': [['text']], 'v': [Variant('ay', b'x')]}


class ScriptedRemote:
    def __init__(self):
        self.how = ['bytes']
        self.held = []
        self.heard = collections.Counter()

    async def run(self, descriptor, address, names):
        self.bus = await MessageBus(bus_address=address, negotiate_unix_fd=True).connect()
        self.bus.add_message_handler(self.hear)
        flags = NameFlag.NONE if names == 'queued' else NameFlag.DO_NOT_QUEUE
        for name in (NAME + '.Calls', NAME):
            if await self.bus.request_name(name, flags) == RequestNameReply.EXISTS:
                sys.exit(f'scripted_remote.py: another process owns {name}')
        reader, writer = await asyncio.open_connection(sock=socket.socket(fileno=descriptor))
        writer.write(b'\n')
        async for line in reader:
            command, *words = line.decode().split()
            done = await getattr(self, command)(*words)
            writer.write(b'\n' if done is None else f'{done}\n'.encode())

    # What comes in

    def hear(self, message):
        for descriptor in message.unix_fds:
            socket.close(descriptor)
        if (message.message_type != MessageType.METHOD_CALL
                or (message.interface, message.member) != (LINK, 'Send')):
            return False
        self.heard[int.from_bytes(bytes(message.body[0])[-4:], 'little', signed=True)] += 1
        if self.how[0] == 'hold':
            self.held.append(message)
        else:
            self.reply(message, *self.how)
        return True

    def reply(self, call, kind, value=''):
        if call.flags & MessageFlag.NO_REPLY_EXPECTED:
            return
        if kind == 'error':
            answer = Message.new_error(call, value, 'An error')
        elif kind == 'type':
            answer = Message.new_method_return(call, value, BODIES[value],
                                               [1] if value == 'h' else [])
        else:
            answer = Message.new_method_return(call, 'ay', [bytes.fromhex(value)])
        self.bus.send(answer)

    # The commands

    async def answer(self, *how):
        """`bytes HEX`, `error NAME`, `type SIGNATURE`, or `hold`: keep each Send for later."""
        self.how = how

    async def release(self, *how):
        """Answers what is held, and what comes from now on."""
        self.how = how
        for call in self.held:
            self.reply(call, *how)
        self.held = []

    async def notify(self, count, data=''):
        for sent in range(int(count)):
            written = self.bus.send(
                Message(destination=UI, path=PATH, interface=LINK, member='Notify',
                        message_type=MessageType.SIGNAL, signature='ay',
                        body=[bytes.fromhex(data)]))
            if sent % 64 == 0:
                await written
        await self.ask_bus('Ping', 'org.freedesktop.DBus.Peer')

    async def count(self, identifier):
        return self.heard[int(identifier)]

    async def wait(self):
        """The bus passes each name on when its owner goes, and both before it answers."""
        for name in (NAME + '.Calls', NAME):
            while await self.owner(name) != self.bus.unique_name:
                pass

    async def owner(self, name):
        answer = await self.ask_bus('GetNameOwner', DBUS, 's', [name])
        return answer.body[0] if answer.message_type == MessageType.METHOD_RETURN else None

    def ask_bus(self, member, interface, signature='', body=()):
        return self.bus.call(
            Message(destination=DBUS, path='/org/freedesktop/DBus', interface=interface,
                    member=member, signature=signature, body=list(body)))


if __name__ == '__main__':
    asyncio.run(ScriptedRemote().run(int(sys.argv[1]), *sys.argv[2:]))
