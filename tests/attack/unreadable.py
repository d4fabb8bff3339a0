#!/usr/bin/python3
"""Messages that the bus takes for valid and GLib cannot read: an array whose first element needs
padding and whose last one is short, with something behind it. Calls and signals, in both byte orders,
from one ordinary connection each.

Each call is answered, no other client waits, and the daemon keeps its connection."""

import attack
import wire

SIGNATURE = "a(au)v"
VALUES = [[([1],), ([],)], ("s", "x")]


def run(count):
    with attack.Target() as target:
        with attack.Witness(target) as witness:
            for number in range(count):
                with target.client() as client:
                    order = "<>"[number % 2]
                    body = wire.body_of(SIGNATURE, VALUES, order)
                    fields = {wire.PATH: f"{attack.ROOT}/LED/READY", wire.MEMBER: "GetState",
                              wire.INTERFACE: f"{attack.NAME}.Obj.LED",
                              wire.DESTINATION: attack.NAME}
                    client.send(wire.message(wire.SIGNAL, client.next_serial(), fields, SIGNATURE,
                                             body, order=order))
                    serial = client.next_serial()
                    client.send(wire.message(wire.CALL, serial, fields, SIGNATURE, body,
                                             order=order))
                    attack.require(client.reply(serial), f"call {number} is not answered")
        target.require_same()
        target.stop()
        print(f"{count} calls and as many signals; {witness}")


attack.main(run)
