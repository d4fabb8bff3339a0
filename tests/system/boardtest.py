"""What the system tests stand on: one emulated board for a class of tests, with the daemon that
systemd started on it, reached over its bus as from any program."""

import contextlib
import json
import os
import pathlib
import shlex
import sys
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
# At the end: some test files have the same names there.
sys.path += [str(HERE.parents[1] / "board/emulated"), str(HERE.parent / "daemon")]

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib

from emuboard.common import Folder
from emuboard.machine import Board
from emuboard.verbs import do
from journal import Journal
from perimond.bus import ERRORS, NAME, BusObject, Recorder
from perimond.world import scaled, wait_until

# The host may have much else to do.
os.environ.setdefault("PERIMOND_TEST_TIME_SCALE", "5")
UNIT = "tarvelperimond.service"
STARTED = "<info>  [Manager] TarvelPerimond Started"
PLUGIN = "/usr/lib/aarch64-linux-gnu/tarvelperimond/libzolv-model-perimond-emu.so"
BOARD = "test"
BOARDS_TO_CUT = ("cut0", "cut1")  # side by side
FOLDER = Folder(os.environ.get("BOARD_DIR", HERE.parents[1] / "build-board"))


class BoardTest(unittest.TestCase):
    """The tests of a class share a board that is as it was when it had just booted."""

    maxDiff = None
    computer = "imx8mp"
    disk = None

    @classmethod
    def setUpClass(cls):
        cls.board = Board(FOLDER, BOARD)
        cls.addClassCleanup(cls.board.cut)
        cls.board.start(cls.computer, disk=cls.disk)
        cls._connections = {}
        cls.followed = None  # its journal

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before and self.board.pid():
            with contextlib.suppress(Exception):
                print(f"--- journal\n{self.board.call('journalctl -b --no-pager | tail -n 60')}\n---",
                      flush=True)

    def do(self, *words):
        """Acts on the board by one of its commands; returns what the command prints."""
        return do(self.board, *map(str, words))

    # The daemon

    @classmethod
    def systemctl(cls, *words):
        return cls.board.call(f"systemctl {shlex.join(words)}")

    @classmethod
    def property(cls, name):
        """What systemd knows of the daemon."""
        return cls.board.call(f"systemctl show --value -p {name} {UNIT}")

    @classmethod
    def restart(cls):
        """Starts the daemon again and waits until it has started; returns its lines since."""
        mark = cls.mark()
        cls.systemctl("restart", UNIT)
        return cls.started_since(mark)

    @classmethod
    def started_since(cls, mark):
        return cls.wait_lines(mark, lambda lines: STARTED in lines, "the daemon starts")

    # The journal

    @classmethod
    def mark(cls):
        """A place in the journal, behind all that was written until now."""
        if not cls.followed:
            cls.followed = Journal(cls.board)
        return cls.followed.mark()

    @classmethod
    def lines_since(cls, mark):
        """All lines that the daemon has written since the mark."""
        cls.mark()
        return cls.followed.lines(mark)

    @classmethod
    def wait_lines(cls, mark, condition, what):
        """Waits until the daemon's lines since the mark are as they should be; returns them."""
        wait_until(lambda: condition(cls.followed.lines(mark)), what, 30)
        return cls.followed.lines(mark)

    @classmethod
    def journal(cls, *words):
        """Journal entries as dictionaries, by journalctl's own choice."""
        text = cls.board.call(f"journalctl --sync; journalctl -o json --no-pager {shlex.join(words)}")
        return [json.loads(line) for line in text.splitlines()]

    @contextlib.contextmanager
    def log(self, containing=""):
        """A list that holds, after the block, the lines that the daemon wrote during it."""
        lines = []
        mark = self.mark()
        try:
            yield lines
        finally:
            lines += [line for line in self.lines_since(mark) if containing in line]

    # The bus

    def bus(self, user="root"):
        if user not in self._connections:
            self._connections[user] = Gio.DBusConnection.new_for_address_sync(
                self.board.bus_address(user),
                Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        return self._connections[user]

    def bus_object(self, identifier, user="root", name=NAME):
        """The object LED/SYS as @user sees it; the manager is the empty identifier."""
        return BusObject(self.bus(user), identifier, name)

    def objects(self):
        """The identifiers of all objects on the bus, sorted."""
        managed = self.bus_object("").call("org.freedesktop.DBus.ObjectManager",
                                           "GetManagedObjects")
        return sorted(path.removeprefix("/com/tarvel/Perimond/") for path in managed)

    def recorder(self, identifier=None, member=None):
        recorder = Recorder(self.bus(), identifier, member)
        self.addCleanup(recorder.close)
        return recorder

    @contextlib.contextmanager
    def assertBusError(self, name, message=None):
        """The block's call is refused so; a name without dots is one of the daemon's own."""
        with self.assertRaises(GLib.Error) as caught:
            yield
        remote = Gio.DBusError.get_remote_error(caught.exception)
        self.assertEqual(remote, name if "." in name else ERRORS + name)
        if message is not None:
            self.assertEqual(caught.exception.message.removeprefix(f"GDBus.Error:{remote}: "),
                             message)

    # Lines

    def wait_level(self, line, level, seconds=5):
        wait_until(lambda: self.board.read(line) == level, f"line {line} goes to {level}", seconds)

    def changes(self, line, count, seconds=30):
        """The next @count changes of a line, as (new level, least and most seconds that it then
        held): a change lies somewhere between two looks at the line."""
        read = self.board.lines.output
        before = time.monotonic()
        level, since, seen = read(line), None, []
        end = before + scaled(seconds)
        while len(seen) < count:
            looked = time.monotonic()
            if looked > end:
                raise AssertionError(f"{len(seen)} changes of line {line} in {seconds} s")
            if read(line) != level:
                after = time.monotonic()
                if since is not None:
                    seen.append((level, before - since[1], after - since[0]))
                level, since = 1 - level, (before, after)
            before = looked
        return seen
