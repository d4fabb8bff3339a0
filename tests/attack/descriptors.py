#!/usr/bin/python3
"""Calls with as many file descriptors as the bus takes, sent without waiting.

The daemon's own descriptors stay as many as they were, inputs are read all the time, and another
client is answered."""

import os

import attack
import wire

ATTACHED = 16


def run(count):
    with attack.Target() as target:
        before = target.descriptors()
        most = 0
        pipe = os.pipe()
        with attack.Witness(target) as witness:
            for number in range(count):
                # The bus refuses such a call or ends the connection.
                with target.client(descriptors=True) as client:
                    serial = client.next_serial()
                    client.send(wire.message(
                        wire.CALL, serial,
                        {wire.PATH: f"{attack.ROOT}/LED/READY", wire.MEMBER: "GetState",
                         wire.INTERFACE: f"{attack.NAME}.Obj.LED", wire.DESTINATION: attack.NAME,
                         wire.FDS: ATTACHED}), [pipe[0]] * ATTACHED)
                    if number % 16 == 0:
                        most = max(most, target.descriptors())
                    attack.require(client.reply(serial).error, "a call with descriptors passed")
        attack.require(most <= before + 1, f"{before} descriptors became {most}")
        target.world.do("turn", 16, 1)
        target.require_same()
        target.stop()
        print(f"{count} calls with {ATTACHED} descriptors; the daemon had {before}, at most {most}; "
              f"{witness}")


attack.main(run)
