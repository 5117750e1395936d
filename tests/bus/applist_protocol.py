# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Frames, items and the way to the partner, as docs/protocol.md tells them, for both peers."""
import asyncio
import io
import json
import os
import socket
import sys

from dbus_next import Message, MessageType
from dbus_next._private.unmarshaller import Unmarshaller
from dbus_next.aio import MessageBus
from dbus_next.constants import NameFlag, RequestNameReply

UI = 'org.javamw.Applist.Ui'
LOCAL = 'org.javamw.Applist.Local'
PATH = '/org/javamw/Applist'
LINK = 'org.javamw.Link1'
PEER = 'org.freedesktop.DBus.Peer'
DBUS = 'org.freedesktop.DBus'
DBUS_PATH = '/org/freedesktop/DBus'

(ITEM_CHANGE, ITEM_SELECTION, ITEM_CLICKED, LOCAL_CREATED) = range(1, 5)
(SET_SELECTION, GET_SELECTION, GET_ALL_ITEMS, REMOVE_ALL_ITEMS, ADD_ITEMS, ADD_ITEM_AT_END,
 SET_CLICKED, REMOVE_ITEM, MODIFY_ITEM) = range(2000, 2009)


def frame(payload, identifier):
    return payload + identifier.to_bytes(4, 'little', signed=True)


def split_frame(data):
    """Payload and identifier, or None when the frame is too short for one."""
    if len(data) < 4:
        return None
    return data[:-4], int.from_bytes(data[-4:], 'little', signed=True)


def encode(items):
    """The payload of a list of (name, identifier)."""
    return b''.join(field.replace(b'\\', b'\\\\').replace(b'\n', b'\\n') + b'\n'
                    for item in items for field in item)


def decode(payload):
    """The items before the first malformed one, and whether there was none malformed."""
    lines = payload.split(b'\n')
    rest = lines.pop()
    texts = [unescape(line) for line in lines]
    items = []
    for name, identifier in zip(texts[::2], texts[1::2]):
        if name is None or identifier is None:
            return items, False
        items.append((name, identifier))
    return items, not rest and len(lines) % 2 == 0


def unescape(line):
    text = b''
    pieces = iter(line)
    for byte in pieces:
        if byte == ord('\\'):
            byte = {ord('\\'): ord('\\'), ord('n'): ord('\n')}.get(next(pieces, None))
            if byte is None:
                return None
        text += bytes([byte])
    return text


def say(**what):
    """One line of JSON on standard output; all bytes in hexadecimal."""
    print(json.dumps(what), flush=True)


def shown(item):
    return [field.hex() for field in item] if item else None


class NameTaken(Exception):
    pass


class LineSocket:
    """The user interface's end of one socket of a direct line."""

    def __init__(self, reader, writer, hear):
        self._reader, self._writer, self._hear = reader, writer, hear
        self._serial = 0
        self._calls = {}
        self._last = None

    @classmethod
    async def open(cls, fd, hear, first=None):
        """Returns when the handshake is over. Sends `first` right behind it, in one piece.

        Each message that comes in is given to `hear`, save answers; None at the end."""
        line = cls(*await asyncio.open_unix_connection(sock=socket.socket(fileno=fd)), hear)
        line._writer.write(b'\0AUTH ANONYMOUS 61\r\n')
        answer = (await line._reader.readuntil(b'\r\n')).split()
        if len(answer) != 2 or answer[0] != b'OK' or len(bytes.fromhex(answer[1].decode())) != 16:
            raise ValueError(f'No handshake: {answer}')
        line._writer.write(b'BEGIN\r\n' + (line._bytes(first) if first else b''))
        if first:
            line._calls[first.serial] = asyncio.get_running_loop().create_future()
        line._reading = asyncio.create_task(line._read())
        if first:
            await line._calls[first.serial]
        return line

    def send(self, message):
        self._writer.write(self._bytes(message))

    def call(self, message):
        """The answer, a Message, comes with the result."""
        self.send(message)
        answer = self._calls[message.serial] = asyncio.get_running_loop().create_future()
        return answer

    def close(self):
        self._reading.cancel()
        self._writer.close()
        for answer in self._calls.values():
            answer.cancel()

    def _bytes(self, message):
        self._serial += 1
        message.serial = self._serial
        return bytes(message._marshall())

    async def _read(self):
        try:
            while True:
                # 16 bytes, with the sizes of the body and of the fields of the header.
                head = await self._reader.readexactly(16)
                body, fields = (int.from_bytes(head[at:at + 4], 'little') for at in (4, 12))
                rest = await self._reader.readexactly((fields + 7) // 8 * 8 + body)
                self._take(Unmarshaller(io.BytesIO(head + rest)).unmarshall())
        except (asyncio.IncompleteReadError, ConnectionError):
            self._hear(None)

    def _take(self, message):
        if message.message_type in (MessageType.METHOD_RETURN, MessageType.ERROR):
            answer = self._calls.pop(message.reply_serial, None)
            if answer and not answer.cancelled():
                answer.set_result(message)
        else:
            self._hear(message)


class Link:
    """One end. Puts what it hears into `inbox`, in order, as (kind, value).

    Does not come back when the bus goes away.
    """

    def __init__(self, own, partner):
        self.line_calls = self.line_events = None
        self.own, self.partner = own, partner
        self.owners = {}
        self.owned = False
        self.inbox = asyncio.Queue()

    async def start(self):
        address = os.environ['DBUS_SESSION_BUS_ADDRESS']
        self.incoming = await MessageBus(bus_address=address, negotiate_unix_fd=True).connect()
        self.calls = await MessageBus(bus_address=address).connect()
        self.incoming.add_message_handler(self._hear)
        await self._bus('AddMatch', f"type='signal',sender='{DBUS}',path='{DBUS_PATH}',"
                        f"interface='{DBUS}',member='NameOwnerChanged',"
                        "arg0namespace='org.javamw.Applist'")
        for name in (self.partner, self.partner + '.Calls'):
            answer = await self._bus('GetNameOwner', name)
            if answer.message_type == MessageType.METHOD_RETURN:
                self.owners.setdefault(name, answer.body[0])
        for bus, name in ((self.calls, self.own + '.Calls'), (self.incoming, self.own)):
            answer = await bus.request_name(name, NameFlag.DO_NOT_QUEUE)
            if answer not in (RequestNameReply.PRIMARY_OWNER, RequestNameReply.ALREADY_OWNER):
                raise NameTaken(name)
        self.owned = True
        self._put_partner()
        self._reading = asyncio.create_task(self._read_commands())

    async def run(self, handlers):
        """Works off the inbox, one thing after the other, until standard input ends."""
        while True:
            kind, value = await self.inbox.get()
            if kind == 'end':
                return
            await handlers[kind](value)

    async def notify(self, identifier):
        """Dropped when there is nobody to hear it."""
        if not self.owners.get(self.partner):
            return
        data = frame(b'', identifier)
        say(sent='Notify', frame=data.hex())
        await self.incoming.send(
            Message(destination=self.owners[self.partner], path=PATH, interface=LINK,
                    message_type=MessageType.SIGNAL, member='Notify', signature='ay',
                    body=[data]))

    def send(self, data):
        """Calls the partner; the answer is a Message."""
        on_line = self.line_calls is not None
        way = self.line_calls if on_line else self.calls
        return way.call(
            Message(destination=None if on_line else self.partner, path=PATH, interface=LINK,
                    member='Send', signature='ay', body=[data]))

    async def open_line(self):
        """Asks the partner for a direct line, while nothing is being called. Returns whether there
        is one now."""
        answer = await self.incoming.call(
            Message(destination=self.owners[self.partner], path=PATH, interface=LINK,
                    member='OpenLine'))
        if answer.message_type == MessageType.ERROR:
            say(line=answer.error_name)
            return False
        calls, events = (answer.unix_fds[index] for index in answer.body)
        self.line_events = await LineSocket.open(events, self._hear_line)
        self.line_calls = await LineSocket.open(
            calls, self._hear_line, Message(path=PATH, interface=PEER, member='Ping'))
        say(line='open')
        return True

    def close_line(self):
        for way in (self.line_calls, self.line_events):
            if way:
                way.close()
        self.line_calls = self.line_events = None

    def _hear_line(self, message):
        if message is None:
            if self.line_events:
                self.close_line()
                self.inbox.put_nowait(('line-lost', None))
        elif message.member == 'Notify' and message.signature == 'ay':
            self.inbox.put_nowait(('notify', bytes(message.body[0])))
        elif message.member == 'Ping':
            self.inbox.put_nowait(('line-ping', message))
        elif message.member == 'UniqueName':
            self.line_events.send(
                Message.new_method_return(message, 's', [self.incoming.unique_name]))

    def ping(self):
        return self.incoming.call(
            Message(destination=self.owners[self.partner], path=PATH, interface=PEER,
                    member='Ping'))

    def _bus(self, member, text):
        return self.incoming.call(
            Message(destination=DBUS, path=DBUS_PATH, interface=DBUS, member=member,
                    signature='s', body=[text]))

    def _put_partner(self):
        if self.owned:
            self.inbox.put_nowait(('partner', self.owners.get(self.partner)))

    def _hear(self, message):
        if message.message_type == MessageType.SIGNAL:
            if message.interface == DBUS and message.member == 'NameOwnerChanged':
                self._hear_owner(message)
            elif message.interface == LINK and message.member == 'Notify':
                if (message.sender == self.owners.get(self.partner) and message.path == PATH
                        and message.signature == 'ay'):
                    self.inbox.put_nowait(('notify', bytes(message.body[0])))
        elif message.message_type == MessageType.METHOD_CALL:
            if message.interface == PEER and message.member == 'Ping':
                self.inbox.put_nowait(('ping', message))
                return True
            if (message.interface, message.member, message.path) == (LINK, 'Send', PATH):
                return self._hear_send(message)
        return False

    def _hear_owner(self, message):
        if message.sender != DBUS:
            return
        name, _, owner = message.body
        if self.owners.get(name, '') == owner:
            return
        self.owners[name] = owner
        if name == self.partner:
            self._put_partner()

    def _hear_send(self, message):
        if message.sender != self.owners.get(self.partner + '.Calls'):
            return Message.new_error(message, DBUS + '.Error.AccessDenied', 'Not the partner')
        if message.signature != 'ay':
            return Message.new_error(message, LINK + '.Error.BadSignature', 'Send takes one ay')
        self.inbox.put_nowait(('send', message))
        return True

    async def _read_commands(self):
        reader = asyncio.StreamReader(limit=1 << 24)
        await asyncio.get_running_loop().connect_read_pipe(
            lambda: asyncio.StreamReaderProtocol(reader), sys.stdin)
        async for line in reader:
            self.inbox.put_nowait(('command', line.decode().split()))
        self.inbox.put_nowait(('end', None))
