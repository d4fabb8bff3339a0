#!/usr/bin/python3
"""Floods of calls and signals from one connection, COUNT seconds of each kind.

While one lasts, another client's answers take at most 100 ms in 99 of 100 cases, and the daemon's
memory is at most 3 MB above that at the start; both are more on a machine that is busy anyway."""

import os
import signal
import time

import attack
import wire

LED = (f"{attack.ROOT}/LED/READY", f"{attack.NAME}.Obj.LED", "GetState")
KINDS = {
    # (call or signal, whether an answer is wanted, (path, interface, member), signature, values)
    "GetState": (wire.CALL, False, LED, "", []),
    "GetState, answers wanted": (wire.CALL, True, LED, "", []),
    "GetManagedObjects": (wire.CALL, False, (
        attack.ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"), "", []),
    "Introspect": (wire.CALL, False, (
        LED[0], "org.freedesktop.DBus.Introspectable", "Introspect"), "", []),
    "Ping": (wire.CALL, False, (LED[0], "org.freedesktop.DBus.Peer", "Ping"), "", []),
    "GetAll": (wire.CALL, False, (
        LED[0], "org.freedesktop.DBus.Properties", "GetAll"), "s", [LED[1]]),
    "no such method": (wire.CALL, False, (LED[0], LED[1], "Nothing"), "", []),
    "arguments of 1 MiB": (wire.CALL, False, LED, "s", ["x" * (1 << 20)]),
    "arguments of 200 KiB": (wire.CALL, False, LED, "s", ["x" * (200 << 10)]),
    "a path of 1 MiB": (wire.CALL, False, ("/x" * (1 << 19), LED[1], LED[2]), "", []),
    "arrays of 100 KiB": (wire.CALL, False, LED, "au", [list(range(25000))]),
    "signals": (wire.SIGNAL, False, LED, "", []),
    "signals of 1 MiB": (wire.SIGNAL, False, LED, "s", ["x" * (1 << 20)]),
}
MEMORY_KIB = 3 << 10
LIMIT_S = 0.1
CALM_S = 0.5


def flood(target, kind, answer, address, signature, values):
    """Sends without end, a process of its own."""
    path, interface, member = address
    body = wire.body_of(signature, values)
    fields = {wire.PATH: path, wire.INTERFACE: interface, wire.MEMBER: member,
              wire.DESTINATION: attack.NAME}
    one = wire.message(kind, 1, fields, signature, body, 0 if answer else wire.NO_REPLY)
    several = one * max(1, (64 << 10) // len(one))
    client = target.client()
    client.socket.setblocking(False)
    rest = b""
    while True:
        client.receive(0)
        rest = rest or several
        try:
            rest = rest[client.socket.send(rest):]
        except BlockingIOError:
            time.sleep(0.0005)


def one_kind(target, name, seconds):
    with attack.Witness(target) as witness:
        pid = os.fork()
        if pid == 0:
            flood(target, *KINDS[name])
        most, end = 0, time.monotonic() + seconds
        while time.monotonic() < end:
            time.sleep(0.02)
            most = max(most, target.memory_kib())
        os.kill(pid, signal.SIGKILL)
        status = os.waitpid(pid, 0)[1]
    attack.require(status == signal.SIGKILL, f"{name}: the flood ended by itself")
    return witness, most


def run(count):
    with attack.Target() as target:
        with attack.Witness(target):
            time.sleep(CALM_S)
        start = target.memory_kib()
        wrong = []
        for name in KINDS:
            witness, most = one_kind(target, name, count)
            print(f"{name}: {witness}; memory {start} KiB at the start, at most {most}", flush=True)
            limit = attack.scaled(LIMIT_S * attack.busy())
            if len(witness.times) < 100:
                limit *= 4  # the worst of a few calls is no percentile
            if witness.percentile(99) > limit:
                wrong.append(f"{name}: an answer took {witness.percentile(99):.3f} s, "
                             f"limit {limit:.3f}")
            # More waits in GDBus's queues where its thread seldom gets the processor.
            room = MEMORY_KIB * max(1, attack.busy() / 4)
            if target.memory_counts() and most > start + room:
                wrong.append(f"{name}: memory grew from {start} to {most} KiB")
        attack.require(not wrong, "; ".join(wrong))
        target.require_same()
        target.stop()


attack.main(run)
