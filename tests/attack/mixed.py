#!/usr/bin/python3
"""All at once for COUNT seconds: ordinary calls, random messages, floods of a second, buttons,
inputs and devices that come and go.

Afterwards memory is within 2 % of that after the first tenth of it, descriptors and threads are as
many as before, and another client was answered all the time. (Below ten minutes memory may differ by
a tenth: the heap has not settled.)"""

import os
import signal
import time

import attack
import wire

LED = (f"{attack.ROOT}/LED/READY", f"{attack.NAME}.Obj.LED")
CALLS = [
    (*LED, "GetState", "", []), (*LED, "SetState", "u", [1]), (*LED, "SetState", "u", [9]),
    (attack.ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", "", []),
    (LED[0], "org.freedesktop.DBus.Properties", "GetAll", "s", [LED[1]]),
    (LED[0], "org.freedesktop.DBus.Introspectable", "Introspect", "", []),
    (f"{attack.ROOT}/DIO/DO1", f"{attack.NAME}.Obj.DIO", "SetState", "u", [1]),
    (f"{attack.ROOT}/DIO/DI1", f"{attack.NAME}.Obj.DIO", "SetEvent", "u", [1]),
    (f"{attack.ROOT}/Button/USER", f"{attack.NAME}.Obj.Button", "SetAction", "s", ["none"]),
    (f"{attack.ROOT}/Button/USER", f"{attack.NAME}.Obj.Button", "ListAction", "", []),
]


def call_all(target):
    with target.client() as client:
        while True:
            for path, interface, member, signature, values in CALLS:
                client.call(path, interface, member, signature, values)


def send_random(target):
    source = wire.generator(1)
    while True:
        try:
            with target.client() as client:
                for _ in range(1000):
                    signature = wire.random_signature(source)
                    order = source.choice("<>")
                    body = wire.body_of(signature, [wire.random_value(source, inner)
                                                    for inner in wire.types(signature)], order)
                    client.send(wire.message(
                        source.choice([wire.CALL, wire.SIGNAL]), client.next_serial(),
                        {wire.PATH: LED[0], wire.INTERFACE: LED[1], wire.MEMBER: "GetState",
                         wire.DESTINATION: attack.NAME}, signature, body,
                        source.choice([0, wire.NO_REPLY]), order))
                    client.receive(0.001)
        except wire.Ended:
            pass


def flood_now_and_then(target):
    while True:
        with target.client() as client:
            end = time.monotonic() + 1
            while time.monotonic() < end:
                client.post(*LED, "GetState", flags=wire.NO_REPLY)
                client.receive(0)
        time.sleep(5)


def act_on_board(target):
    level = 0
    while True:
        level = 1 - level
        for words in (("turn", 16, level), ("press", "user", "0.01"),
                      ("plug", "net", "mixed0", "quiet=1"), ("unplug", "net", "mixed0")):
            try:
                target.world.do(*words)
            except Exception:  # pylint: disable=broad-except
                time.sleep(0.1)
        time.sleep(0.05)


LOADS = (call_all, send_random, flood_now_and_then, act_on_board)


def load(target, seconds):
    """The loads side by side; the quiet after them."""
    children = []
    for function in LOADS:
        pid = os.fork()
        if pid == 0:
            os.setpgid(0, 0)
            function(target)
        children.append(pid)
    end = time.monotonic() + seconds
    gone = []
    while time.monotonic() < end and not gone:
        time.sleep(0.2)
        gone = [pid for pid in children if os.waitpid(pid, os.WNOHANG)[0]]
    for pid in children:
        if pid not in gone:
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
    attack.require(not gone, "a load ended by itself")
    with target.client() as client:
        client.call(*LED, "GetState")


def use(target):
    return target.memory_kib(), target.descriptors(), target.threads()


def settled(target, expected=None):
    """Its use once nothing that starts a script or takes a device away holds a descriptor any more:
    as many descriptors and threads as expected, or the same for 3 s; after 30 s as it is then."""
    end = time.monotonic() + attack.scaled(30)
    now, since = use(target), time.monotonic()
    while time.monotonic() < end:
        if now[1:] == expected[1:] if expected else time.monotonic() - since > attack.scaled(3):
            break
        time.sleep(0.1)
        last, now = now, use(target)
        if now[1:] != last[1:]:
            since = time.monotonic()
    return now


def run(count):
    with attack.Target(log_level="ERR", keeps_log=False) as target:
        load(target, max(2, count / 10))
        before = settled(target)
        with attack.Witness(target, pause=0.02) as witness:
            load(target, count)
        after = settled(target, before)
        print(f"{count} s: memory, descriptors and threads were {before}, are {after}; {witness}")
        share = 0.02 if count >= 600 else 0.1
        if target.memory_counts():
            attack.require(after[0] <= before[0] * (1 + share), "memory has grown")
        attack.require(after[1:] == before[1:], "descriptors or threads are others than before")
        target.require_same()
        target.stop()


attack.main(run)
