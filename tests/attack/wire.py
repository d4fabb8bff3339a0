"""Bus messages byte by byte, and a client that sends whatever it is given."""

import array
import os
import random
import select
import socket
import struct
import time
from typing import NamedTuple

CALL, RETURN, ERROR, SIGNAL = 1, 2, 3, 4
NO_REPLY, NO_AUTO_START = 1, 2
PATH, INTERFACE, MEMBER, ERROR_NAME, REPLY_SERIAL, DESTINATION, SENDER, SIGNATURE, FDS = range(1, 10)
FIELD_TYPES = {PATH: "o", INTERFACE: "s", MEMBER: "s", ERROR_NAME: "s", REPLY_SERIAL: "u",
               DESTINATION: "s", SENDER: "s", SIGNATURE: "g", FDS: "u"}
ALIGNMENT = {"y": 1, "b": 4, "n": 2, "q": 2, "i": 4, "u": 4, "x": 8, "t": 8, "d": 8, "s": 4,
             "o": 4, "g": 1, "a": 4, "(": 8, "{": 8, "v": 1, "h": 4}
FORMATS = {"y": "B", "b": "I", "n": "h", "q": "H", "i": "i", "u": "I", "x": "q", "t": "Q",
           "d": "d", "h": "I"}
BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"


def complete_type(signature, start=0):
    """The end of the complete type that begins there."""
    character = signature[start]
    if character == "a":
        return complete_type(signature, start + 1)
    if character in "({":
        end = start + 1
        while signature[end] not in ")}":
            end = complete_type(signature, end)
        return end + 1
    return start + 1


def types(signature):
    """The complete types of a signature."""
    found, start = [], 0
    while start < len(signature):
        end = complete_type(signature, start)
        found.append(signature[start:end])
        start = end
    return found


class Writer:
    """Values in the wire format; little or big endian."""

    def __init__(self, order="<"):
        self.data = bytearray()
        self.order = order

    def align(self, size):
        self.data += bytes(-len(self.data) % size)

    def put(self, signature, value):
        character = signature[0]
        self.align(ALIGNMENT[character])
        if character in FORMATS:
            self.data += struct.pack(self.order + FORMATS[character], value)
        elif character in "so":
            text = value.encode()
            self.data += struct.pack(self.order + "I", len(text)) + text + b"\0"
        elif character == "g":
            self.data += bytes([len(value)]) + value.encode() + b"\0"
        elif character == "v":
            self.put("g", value[0])
            self.put(*value)
        elif character == "a":
            self._put_array(signature[1:], value)
        else:
            for inner, member in zip(types(signature[1:-1]), value):
                self.put(inner, member)

    def _put_array(self, element, values):
        place = len(self.data)
        self.data += bytes(4)
        self.align(ALIGNMENT[element[0]])
        start = len(self.data)
        if element == "y":
            self.data += bytes(values)
        else:
            for value in values:
                self.put(element, value)
        struct.pack_into(self.order + "I", self.data, place, len(self.data) - start)


def body_of(signature, values, order="<"):
    writer = Writer(order)
    for inner, value in zip(types(signature), values):
        writer.put(inner, value)
    return bytes(writer.data)


def message(kind, serial, fields, signature="", body=b"", flags=0, order="<"):
    """A message with the body as it is given."""
    fields = [(code, (FIELD_TYPES[code], value)) for code, value in fields.items()]
    if signature:
        fields.append((SIGNATURE, ("g", signature)))
    writer = Writer(order)
    writer.data += struct.pack(order + "cBBBII", b"l" if order == "<" else b"B", kind, flags, 1,
                               len(body), serial)
    writer.put("a(yv)", fields)
    writer.align(8)
    return bytes(writer.data) + body


class Reply(NamedTuple):
    kind: int
    serial: int
    error: str
    body: bytes
    order: str

    def text(self):
        """The string that the body begins with."""
        length, = struct.unpack_from(self.order + "I", self.body)
        return self.body[4:4 + length].decode()


def parse(data):
    """The message that the bytes begin with, as (reply, total length); None when there is more to
    come."""
    if len(data) < 16:
        return None
    order = "<" if data[0] == ord("l") else ">"
    length, _, fields = struct.unpack_from(order + "III", data, 4)
    start = 16 + (fields + 7) // 8 * 8
    if len(data) < start + length:
        return None
    place, serial, error = 16, 0, ""
    while place < 16 + fields:
        code, size = data[place], data[place + 1]
        kind = data[place + 2]
        value = place + 3 + size
        if kind == ord("g"):
            place = value + data[value] + 2
        else:
            value = (value + 3) // 4 * 4
            number, = struct.unpack_from(order + "I", data, value)
            if kind == ord("u"):
                place = value + 4
                if code == REPLY_SERIAL:
                    serial = number
            else:
                place = value + 4 + number + 1
                if code == ERROR_NAME:
                    error = bytes(data[value + 4:value + 4 + number]).decode()
        place = (place + 7) // 8 * 8
    return Reply(data[1], serial, error, bytes(data[start:start + length]), order), start + length


class Ended(Exception):
    """The bus has ended the connection."""


class Client:
    """A connection to the bus; in a with statement. `name` is whom its calls are for."""

    def __init__(self, path, name, descriptors=False):
        self.name = name
        self._received = bytearray()
        self._serial = 0
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.socket.sendall(b"\0AUTH EXTERNAL " + str(os.geteuid()).encode().hex().encode()
                            + b"\r\n" + (b"NEGOTIATE_UNIX_FD\r\n" if descriptors else b""))
        for _ in range(1 + descriptors):
            line = b""
            while not line.endswith(b"\r\n"):
                line += self.socket.recv(1)
        self.socket.sendall(b"BEGIN\r\n")
        self.unique_name = self.call(BUS_PATH, BUS, "Hello", name=BUS).text()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.socket.close()

    def next_serial(self):
        self._serial += 1
        return self._serial

    def send(self, data, descriptors=()):
        try:
            if descriptors:
                self.socket.sendmsg([data], [(socket.SOL_SOCKET, socket.SCM_RIGHTS,
                                              array.array("i", descriptors))])
            else:
                self.socket.sendall(data)
        except OSError as error:
            raise Ended(str(error)) from None

    def post(self, path, interface, member, signature="", values=(), name=None, flags=0):
        """Sends a call without waiting for its answer; its serial."""
        serial = self.next_serial()
        self.send(message(CALL, serial,
                          {PATH: path, INTERFACE: interface, MEMBER: member,
                           DESTINATION: name or self.name},
                          signature, body_of(signature, values), flags))
        return serial

    def call(self, path, interface, member, signature="", values=(), name=None, seconds=60,
             no_auto_start=False):
        """A call and its reply; None when there is none in time."""
        serial = self.post(path, interface, member, signature, values, name,
                           NO_AUTO_START if no_auto_start else 0)
        return self.reply(serial, seconds)

    def reply(self, serial, seconds=60):
        """The reply to the call of that serial; None when there is none in time."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            for reply in self.receive(left):
                if reply.serial == serial:
                    return reply
        return None

    def owner(self, name):
        return self.call(BUS_PATH, BUS, "GetNameOwner", "s", [name], name=BUS).text()

    def receive(self, seconds=0):
        """The messages that have come; waits at most so long for the first byte."""
        if not select.select([self.socket], [], [], seconds)[0]:
            return []
        try:
            data = self.socket.recv(1 << 20)
        except OSError as error:
            raise Ended(str(error)) from None
        if not data:
            raise Ended("end of stream")
        self._received += data
        found, place = [], 0
        view = memoryview(self._received)
        while (parsed := parse(view[place:])) is not None:
            found.append(parsed[0])
            place += parsed[1]
        view.release()
        del self._received[:place]
        return found


# Random messages

BASIC = "ybnqiuxtdsog"


def random_type(source, depth=0):
    """A complete type."""
    choice = source.random()
    if depth > 4 or choice < 0.55:
        return source.choice(BASIC)
    if choice < 0.7:
        return "a" + random_type(source, depth + 1)
    if choice < 0.78:
        return "a{" + source.choice(BASIC) + random_type(source, depth + 1) + "}"
    if choice < 0.88:
        return "v"
    return "(" + "".join(random_type(source, depth + 1)
                         for _ in range(source.randint(1, 4))) + ")"


def random_signature(source):
    return "".join(random_type(source) for _ in range(source.randint(0, 4)))


TEXTS = ["", "a", "LED", "READY", "com.tarvel.Perimond.Obj.LED", "\u00e4\u20ac\U0001f600", "x" * 300,
         "../../etc/passwd", "%s%n", "\n", "-1"]
NUMBERS = {"y": (0, 255), "b": (0, 1), "n": (-2**15, 2**15 - 1), "q": (0, 2**16 - 1),
           "i": (-2**31, 2**31 - 1), "u": (0, 2**32 - 1), "x": (-2**63, 2**63 - 1),
           "t": (0, 2**64 - 1)}


def random_value(source, signature, depth=0):
    """A value that the bus takes for valid."""
    character = signature[0]
    if character in NUMBERS:
        low, high = NUMBERS[character]
        return source.choice([low, high, 0, 1, source.randint(low, high), source.randint(0, 1)])
    if character == "d":
        return source.choice([0.0, -1.5, float("inf"), float("nan"), source.random()])
    if character == "s":
        return source.choice(TEXTS)
    if character == "o":
        return source.choice(["/", "/com/tarvel/Perimond", "/a/b_1"])
    if character == "g":
        return source.choice(["", "s", "a{sv}", "(a(au)v)"])
    if character == "v":
        inner = random_type(source, depth + 2) if depth < 6 else source.choice(BASIC)
        return inner, random_value(source, inner, depth + 1)
    if character == "a":
        count = 0 if depth > 5 else source.choice([0, 0, 1, 1, 2, 3])
        return [random_value(source, signature[1:], depth + 1) for _ in range(count)]
    return [random_value(source, inner, depth + 1) for inner in types(signature[1:-1])]


def generator(count):
    """A source of chance that the count decides, so that a run can be repeated."""
    return random.Random(count)
