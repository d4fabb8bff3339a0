#!/usr/bin/python3
"""Device events of any form, in bursts that a listener's buffer can hold.

Three in four are messages that only look like udev's: from somebody else, without the properties
that each event has, or with others. One in four is an event of the board with strange properties. The
daemon stays the same, uses no more memory, and the next event is handled.

The lengths in a message's header are always right: only root can send one, and libudev believes
root; with a wrong one it reads outside of the message. It aborts for a DEVNAME that is not below
/dev."""

import os
import random
import socket
import struct
import subprocess
import sys
import time

import attack
from attack import require
from perimond import scaled, wait_until

SUBSYSTEMS = [b"input", b"net", b"tty", b"block", b"usb", b"usbmisc", b"mdio_bus", b"leds", b""]
ACTIONS = [b"add", b"remove", b"change", b"move", b"online", b"bind", b"", b"\xff", b"a" * 300]
NAMES = [b"ACTION", b"DEVPATH", b"SUBSYSTEM", b"SEQNUM", b"DEVTYPE", b"MAJOR", b"MINOR",
         b"IFINDEX", b"INTERFACE", b"DEVLINKS", b"TAGS", b"ID_BUS", b"PRODUCT", b"", b"\xff\xfe"]
UDEV_GROUP = 2
BURST, PAUSE = 50, 0.025  # 2000 events a second


def murmur_hash(data):
    """By which the kernel filters the events of a subsystem for a listener."""
    factor, mask = 0x5bd1e995, 0xffffffff
    value, place = len(data), 0
    while len(data) - place >= 4:
        word = struct.unpack_from("=I", data, place)[0] * factor & mask
        value = value * factor & mask ^ (word ^ word >> 24) * factor & mask
        place += 4
    if len(data) > place:
        for index in range(len(data) - place, 0, -1):
            value ^= data[place + index - 1] << 8 * (index - 1)
        value = value * factor & mask
    value = (value ^ value >> 13) * factor & mask
    return value ^ value >> 15


def random_text(source):
    return source.choice([
        b"", b"0", b"-1", b"4294967296", b"/", b"/devices/platform/board/input/input0/event0",
        b"../../../etc/passwd", b"/devices/" + b"x" * 300, b"%s%n%s", b"\n<error> forged",
        source.randbytes(source.randrange(40)).replace(b"\0", b"\1"), b"y" * 4000])


def random_message(source):
    """What a listener receives as an event of udev's."""
    subsystem = source.choice(SUBSYSTEMS)
    properties = {b"ACTION": source.choice(ACTIONS), b"SUBSYSTEM": subsystem,
                  b"DEVPATH": source.choice([b"/devices/platform/board/input/input0/event0",
                                             random_text(source)]),
                  b"SEQNUM": str(source.randrange(1 << 32)).encode()}
    for _ in range(source.randrange(6)):
        properties[source.choice(NAMES)] = random_text(source)
    for name in [name for name in properties if source.random() < 0.05]:
        del properties[name]
    lines = [source.choice([b"=", b"=", b"=", b"=", b"", b"=="]).join(item)
             for item in properties.items()]
    data = b"\0".join(lines) + source.choice([b"\0", b"\0", b"\0", b""])
    header = [b"libudev\0", 0xfeedcafe, 40, 40, len(data), murmur_hash(subsystem), 0, 0, 0]
    odd = source.random()
    if odd < 0.1:
        header[0] = source.choice([b"kernel\0\0", b"libudev ", bytes(8)])
    elif odd < 0.2:
        header[1] = source.getrandbits(32)
    elif odd < 0.5:
        header[source.randrange(5, 9)] = source.choice([0, murmur_hash(b"input"),
                                                        source.getrandbits(32)])
    message = struct.pack("=8s", header[0]) + struct.pack(">I", header[1]) \
        + struct.pack("=III", *header[2:5]) + struct.pack(">IIII", *header[5:]) + data
    return message


def send(count, seed):
    """On the board, where its devices' events are heard."""
    source = random.Random(seed)
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 15) as out:
        for number in range(count):
            out.sendto(random_message(source), (0, UDEV_GROUP))
            if number % BURST == BURST - 1:
                time.sleep(PAUSE)


def announce(target, count, source):
    """Events of a device that is there, with strange properties."""
    for number in range(count):
        words = [f"STRANGE{source.randrange(5)}=" + os.fsdecode(random_text(source))
                 for _ in range(source.randrange(3))]
        action = source.choice(["change", "add", "bind", "unbind", "online", "x" * 200])
        target.world.do("change", "input", "event0", action, *words)
        if number % BURST == BURST - 1:
            time.sleep(PAUSE)


def require_handled(target):
    """Another event is heard and handled. A device keeps its strange properties, and udev's library
    may refuse all its events then: this is another device."""
    line = "[Board] offline input 'event1'"
    before = target.log().count(line)
    target.world.do("change", "input", "event1", "offline")
    wait_until(lambda: target.log().count(line) > before, "an event is handled", 60)


def run(count):
    source = random.Random(count)
    with attack.Target() as target:
        require_handled(target)
        memory = target.memory_kib()
        with attack.Witness(target) as witness:
            command = target.world.command(sys.executable, os.path.abspath(__file__), "send",
                                           str(count * 3 // 4), str(count))
            with subprocess.Popen(command) as sender:
                announce(target, count - count * 3 // 4, source)
                require(sender.wait(scaled(3600)) == 0, "the events were not sent")
            require_handled(target)
        growth = target.memory_kib() - memory
        target.require_same()
        heard = target.log().count("[Board] ")
        print(f"{count} events, {heard} of them handled; {witness}; memory grew by {growth} KiB")
        require(growth < 4096 or not target.memory_counts(), "memory has grown")
        target.stop()


if len(sys.argv) == 4 and sys.argv[1] == "send":
    send(int(sys.argv[2]), int(sys.argv[3]))
else:
    attack.main(run)
