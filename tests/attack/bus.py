#!/usr/bin/python3
"""Random bodies of random signatures, in both byte orders: calls, signals, replies that nobody has
asked for, messages of unknown types.

Each answer that is wanted comes, another client's calls are answered all the time, and the daemon
keeps its bus connection. The bus ends a sender's connection where it finds a message wrong; what
that one was waiting for does not count."""

import attack
import wire

DEPTH = 48  # calls under way at a time, below the share of a sender
KINDS = [wire.CALL] * 12 + [wire.SIGNAL] * 4 + [wire.RETURN, wire.ERROR, 5, 6, 200, 255]
PATHS = ["/", attack.ROOT, f"{attack.ROOT}/LED/READY", f"{attack.ROOT}/DIO/DI1", "/a/b"]
INTERFACES = [f"{attack.NAME}.Obj.LED", f"{attack.NAME}.Obj.DIO", f"{attack.NAME}.Obj", "a.b",
              "org.freedesktop.DBus.Properties", "org.freedesktop.DBus.ObjectManager",
              "org.freedesktop.DBus.Introspectable", "org.freedesktop.DBus.Peer"]
MEMBERS = ["GetState", "SetState", "Get", "Set", "GetAll", "GetManagedObjects", "Introspect", "Ping",
           "AddHook", "PropertiesChanged", "NameLost", "X"]


class Attacker:
    """One connection; a new one when the bus ends it."""

    def __init__(self, target, source):
        self._target = target
        self._source = source
        self.wanted = self.answered = self.given_up = self.ended = 0
        self._connect()

    def _connect(self):
        self.client = self._target.client()
        self.waiting = set()

    def reconnect(self):
        self.client.close()
        self.ended += 1
        self.given_up += len(self.waiting)
        self._connect()

    def send_one(self):
        source = self._source
        kind = source.choice(KINDS)
        flags = source.choice([0, 0, wire.NO_REPLY, wire.NO_AUTO_START])
        order = source.choice("<>")
        signature = wire.random_signature(source)
        try:
            body = wire.body_of(signature, [wire.random_value(source, inner)
                                            for inner in wire.types(signature)], order)
        except RecursionError:
            return
        if source.random() < 0.001:
            body = source.randbytes(len(body))
        fields = {wire.PATH: source.choice(PATHS), wire.MEMBER: source.choice(MEMBERS),
                  wire.DESTINATION: source.choice([attack.NAME, self._target.owner])}
        if kind == wire.SIGNAL or source.random() < 0.9:
            fields[wire.INTERFACE] = source.choice(INTERFACES)
        if kind in (wire.RETURN, wire.ERROR):
            fields[wire.REPLY_SERIAL] = source.randint(1, 100)
        if kind == wire.ERROR:
            fields[wire.ERROR_NAME] = "a.b"
        serial = self.client.next_serial()
        if kind == wire.CALL and not flags & wire.NO_REPLY:
            self.waiting.add(serial)
            self.wanted += 1
        self.client.send(wire.message(kind, serial, fields, signature, body, flags, order))

    def receive(self, seconds):
        """Whether something came."""
        replies = {reply.serial for reply in self.client.receive(seconds)}
        self.answered += len(replies & self.waiting)
        self.waiting -= replies
        return bool(replies)


def run(count):
    source = wire.generator(count)
    with attack.Target(log_level="ERR", keeps_log=False) as target:
        with attack.Witness(target) as witness:
            attacker = Attacker(target, source)
            sent = 0
            while sent < count or attacker.waiting:
                try:
                    while sent < count and len(attacker.waiting) < DEPTH:
                        sent += 1
                        attacker.send_one()
                        if sent % 16 == 0:
                            attacker.receive(0)
                    attack.require(attacker.receive(attack.scaled(60)) or sent < count,
                                   f"{len(attacker.waiting)} wanted answers did not come")
                except wire.Ended:
                    attacker.reconnect()
        target.require_same()
        target.stop()
        print(f"{sent} messages, {attacker.answered} of {attacker.wanted} wanted answers came, "
              f"{attacker.given_up} were given up when the bus ended the connection, "
              f"{attacker.ended} times; {witness}")


attack.main(run)
