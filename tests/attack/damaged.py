#!/usr/bin/python3
"""Damaged settings: the daemon starts with whatever lies in the place of its settings.

It starts in order, a setting can be stored and read back, what was there is kept beside the new
file, and nothing that a link leads to is changed."""

import os
import random
import shutil

from gi.repository import GLib

import attack
from attack import NAME, ROOT, require

GOOD = ("# by hand\n[DIO/DI1]\nEvent=1\nHookName=\n\n[DIO/DI2]\nEvent=2\nHookName=\n\n"
        "[Console/CONSOLE1]\nIOState=true\n\n[Button/RESET]\nAction=default\n\n[LED/READY]\n"
        "State=1\n\n[Buzzer/ALARM]\nState=0\n").encode()
VICTIM = b"[Other]\nText=not the daemon's\n"


def cut(source):
    return GOOD[:source.randrange(len(GOOD))]


def noise(source):
    return source.randbytes(source.choice([1, 16, 1024, 65536]))


def mixed(source):
    """Bytes in the midst are others."""
    data = bytearray(GOOD)
    for _ in range(source.randint(1, 20)):
        data[source.randrange(len(data))] = source.randrange(256)
    return bytes(data)


def huge(source):
    return GOOD * source.choice([2000, 20000])


def long_line(source):
    return b"[DIO/DI1]\nEvent=" + b"1" * source.choice([100, 100000]) + b"\n"


def place_file(content):
    def place(path, _folder, source):
        with open(path, "wb") as file:
            file.write(content(source))
    return place


def place_folder(path, _folder, source):
    os.mkdir(path)
    if source.random() < 0.5:
        os.mkdir(os.path.join(path, "full"))


def place_link(path, folder, source):
    os.symlink(source.choice([os.path.join(folder, "victim"), "nowhere", os.path.basename(path),
                              "/dev/zero", "/"]), path)


def place_fifo(path, _folder, _source):
    os.mkfifo(path)


KINDS = [place_file(cut), place_file(noise), place_file(mixed), place_file(huge),
         place_file(long_line), place_folder, place_link, place_fifo]


def clear(folder):
    for name in os.listdir(folder):
        path = os.path.join(folder, name)
        if name.startswith(("peripheral-settings", ".perimond", "victim")):
            if os.path.isdir(path) and not os.path.islink(path):
                shutil.rmtree(path)
            else:
                os.unlink(path)


def attempt(target, folder, place, source):
    """One start with something else in the settings' place."""
    path = os.path.join(folder, "peripheral-settings.conf")
    victim = os.path.join(folder, "victim")
    clear(folder)
    with open(victim, "wb") as file:
        file.write(VICTIM)
    place(path, folder, source)
    events = (source.randrange(4), source.randrange(4))
    target.start()
    with target.client() as client:
        for event in events:
            reply = client.call(f"{ROOT}/DIO/DI1", f"{NAME}.Obj.DIO", "SetEvent", "u", [event])
            require(not reply.error, f"SetEvent failed: {reply.error}")
    require(os.path.isfile(path) and not os.path.islink(path), "the settings are no file")
    settings = GLib.KeyFile()
    settings.load_from_file(path, GLib.KeyFileFlags.NONE)
    stored = settings.get_string("DIO/DI1", "Event")
    require(stored == str(events[1]), f"{stored!r} is stored in place of {events[1]}")
    with open(victim, "rb") as file:
        require(file.read() == VICTIM, "what a link leads to was changed")
    target.stop()


def run(count):
    source = random.Random(count)
    with attack.Target(environment={"DIO_SAMPLING_INTERVAL": "50"}) as target:
        folder = target.world.settings
        os.makedirs(os.path.join(folder, "dio-scripts"), exist_ok=True)
        target.stop()
        for number in range(count):
            attempt(target, folder, KINDS[number % len(KINDS)], source)
    print(f"{count} damaged files, {len(KINDS)} kinds of damage")


attack.main(run)
