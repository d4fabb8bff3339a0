#!/usr/bin/python3
"""kill -9 at a random instant of each call that changes what is kept, so many times a kind of call.

After the next start a script is whole and listed, or gone, and the same call works again; an old
script was never away from its place and is a hook; a setting is the old one or the new one; and
nothing unfinished lies about."""

import os
import random
import re
import time

import attack
import wire
from attack import NAME, ROOT, require
from perimond import wait_until

TARVEL = "/etc/tarvel/TarvelPerimond"
SIZE = 200_000  # of a script, in bytes: its copying can be cut short


class Board:
    """A board with a daemon that is killed again and again."""

    def __init__(self, target):
        self.target = target
        self.client = None
        self.tarvel = os.path.join(target.world.directory, "tarvel")
        self.temporary_folder = os.path.join(self.tarvel, "tmp")
        self.settings_folder = target.world.settings
        self.hooks = os.path.join(self.settings_folder, "dio-scripts")
        self.actions = os.path.join(self.settings_folder, "button-scripts")
        self.sources = os.path.join(self.tarvel, "sources")
        self.text = "#!/bin/true\n" + "#" * SIZE
        for folder in (self.hooks, self.actions, self.sources, self.temporary_folder):
            os.makedirs(folder, exist_ok=True)
        self.write(os.path.join(self.sources, "source.sh"))

    def write(self, path):
        with open(path, "w", encoding="ascii") as file:
            file.write(self.text)
        os.chmod(path, 0o755)

    def connect(self):
        self.client = self.target.client()

    def post(self, call):
        path, interface, member, signature, *values = call
        self.client.post(f"{ROOT}/{path}", f"{NAME}.Obj.{interface}", member, signature, values)

    def call(self, call):
        path, interface, member, signature, *values = call
        reply = self.client.call(f"{ROOT}/{path}", f"{NAME}.Obj.{interface}", member, signature,
                                 values)
        return reply.error

    def must(self, call):
        require(not (error := self.call(call)), f"{call} failed: {error}")

    def kill(self, call, seconds):
        """kill -9 so long after the call was sent."""
        self.post(call)
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            pass
        self.target.kill()
        self.client.close()

    def restart(self):
        """As soon as the bus knows that the last one is gone."""
        with self.target.client() as client:
            wait_until(lambda: client.call(wire.BUS_PATH, wire.BUS, "GetNameOwner", "s", [NAME],
                                           name=wire.BUS).error, "the name is free", 20)
        self.target.start()
        self.connect()

    def require_whole(self, path):
        with open(path, encoding="ascii") as file:
            require(file.read() == self.text, f"{path} is cut short")
        require(os.stat(path).st_mode & 0o7777 == 0o755, f"{path} has another mode")

    def require_nothing_unfinished(self):
        for folder, _, names in os.walk(self.settings_folder):
            for name in names:
                require(not name.startswith(".") and "damaged" not in name
                        and not re.fullmatch(r".*\.conf\..*", name),
                        f"{name} was left in {folder}")
        require(not [entry.name for entry in os.scandir(self.temporary_folder) if entry.is_dir()],
                "a temporary folder was left")


class Scripts:
    """Adding and removing scripts of one kind."""

    def __init__(self, board, path, interface, what, folder, suffix, adding):
        self._board = board
        self._folder = folder
        self._link = os.path.join(folder, f"kill{suffix}")
        self._script = os.path.join(folder, "source.sh")
        self._add = (path, interface, f"Add{what}", "ss", "kill", "/etc/tarvel/sources/source.sh")
        self._delete = (path, interface, f"Delete{what}", "s", "kill")
        self._adding = adding
        self.call = self._add if adding else self._delete
        self.name = self.call[2]

    def arrange(self):
        if self._adding == os.path.islink(self._link):
            self._board.must(self._delete if self._adding else self._add)

    def check_killed(self):
        pass

    def check(self):
        there = os.path.islink(self._link)
        require(there == os.path.exists(self._script),
                f"{self.name}: script and name are not there together: {os.listdir(self._folder)}")
        if there:
            self._board.require_whole(self._script)
            self._board.must(self._delete)
        self._board.must(self._add)
        self._board.require_whole(self._script)
        if not self._adding:
            self._board.must(self._delete)


class Conversion:
    """An old script that becomes a hook."""

    name = "conversion"
    call = ("DIO/DI1", "DIO", "Reload", "")

    def __init__(self, board):
        self._board = board
        self._script = os.path.join(board.hooks, "DI1.script")
        self._link = os.path.join(board.hooks, "DI1.hook")
        self._delete = ("DIO/DI1", "DIO", "DeleteHook", "s", "DI1")
        self._deselect = ("DIO/DI1", "DIO", "SetHook", "s", "none")

    def arrange(self):
        self._board.write(self._script)

    def check_killed(self):
        with open(self._script, encoding="ascii") as file:
            require(file.read() == self._board.text, "an old script is not whole after a kill")

    def check(self):
        self._board.require_whole(self._script)
        require(os.readlink(self._link) == f"{TARVEL}/dio-scripts/DI1.script",
                "an old script is no hook")
        self._board.must(self._deselect)  # which fails unless it is selected
        self._board.must(self._delete)


class Settings:
    """A setting that is changed."""

    name = "SetEvent"

    def __init__(self, board):
        self._board = board
        self._file = os.path.join(board.settings_folder, "peripheral-settings.conf")
        self._event = 0

    @property
    def call(self):
        return ("DIO/DI2", "DIO", "SetEvent", "u", (self._event + 1) % 4)

    def stored(self):
        with open(self._file, encoding="utf-8") as file:
            group = file.read().split("[DIO/DI2]\n")[1].split("\n\n")[0]
        return int(re.search(r"^Event=(\d)$", group, re.MULTILINE)[1])

    def arrange(self):
        self._board.must(self.call)
        self._event = self.stored()

    def check_killed(self):
        require(self.stored() in (self._event, (self._event + 1) % 4), "a setting is another one")

    def check(self):
        self._event = self.stored()
        self._board.must(self.call)
        require(self.stored() == (self._event + 1) % 4, "a setting cannot be set any more")


def duration(board, kind):
    """How long the call takes at most, of a few."""
    longest = 0
    for _ in range(5):
        kind.arrange()
        start = time.monotonic()
        board.must(kind.call)
        longest = max(longest, time.monotonic() - start)
        kind.check()
    return longest


def run(count):
    source = random.Random(count)
    with attack.Target(environment={"TMPDIR": "/etc/tarvel/tmp"}) as target:
        target.stop()
        board = Board(target)
        board.restart()
        hooks = ("DIO/DI1", "DIO", "Hook", board.hooks, ".hook")
        actions = ("Button/RESET", "Button", "Action", board.actions, ".action")
        for kind in (Scripts(board, *hooks, True), Scripts(board, *hooks, False),
                     Scripts(board, *actions, True), Scripts(board, *actions, False),
                     Conversion(board), Settings(board)):
            longest = duration(board, kind)
            for _ in range(count):
                kind.arrange()
                board.kill(kind.call, source.uniform(0, longest * 1.2))
                kind.check_killed()
                board.restart()
                board.require_nothing_unfinished()
                kind.check()
            print(f"{kind.name}: {count} kills within {longest * 1200:.1f} ms", flush=True)
        board.client.close()
        target.stop()


attack.main(run)
