"""A simulated board and the commands that act on it."""

import os
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio  # noqa: E402

BOARD = os.environ.get("PERIMOND_TEST_BOARD", "tarvelperimond-board")
POLICY = os.environ.get("PERIMOND_TEST_POLICY", "")


def scaled(seconds):
    """A time limit, widened where programs run slowly, as under valgrind."""
    return seconds * float(os.environ.get("PERIMOND_TEST_TIME_SCALE", "1"))


def wait_until(condition, what, seconds=20):
    """Returns the first true value of condition()."""
    start = time.monotonic()
    while True:
        value = condition()
        if value:
            return value
        waited = time.monotonic() - start
        if waited > scaled(seconds):
            raise AssertionError(f"not within {scaled(seconds)} s: {what}")
        # Asking all the time would take the processor from what is waited for.
        time.sleep(min(max(0.002, waited / 20), 0.02))


class BoardError(Exception):
    """A command was refused."""


class World:
    """The board; start() and stop(), or a with statement.

    board:  files of commands that build it; the default board else
    policy: folders of bus policy; none lets root do everything on the bus
    services: files of bus policy of further services
    env:    variables of the boot environment beside those of the board"""

    def __init__(self, board=(), policy=None, env=None, services=()):
        self.directory = tempfile.mkdtemp(prefix="perimond-")
        self.settings = os.path.join(self.directory, "tarvel", "TarvelPerimond")
        self.plugins = os.path.join(self.directory, "plugins")
        self._options = []
        for path in board:
            self._options += ["--board", path]
        policies = [POLICY] if policy is None and POLICY else policy or []
        for path in [*policies, *services]:
            self._options += ["--policy", path]
        for name, value in (env or {}).items():
            self._options += ["--env", f"{name}={value}"]
        self._process = None
        self._root = None

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.stop()

    def start(self):
        self._process = subprocess.Popen(
            [BOARD, "run", "--world", self.directory, *self._options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        line = self._process.stdout.readline()
        if line != "ready\n":
            raise RuntimeError(f"the board did not start: {line!r}, {self._process.wait()}")
        return self

    def stop(self):
        if self._process:
            self._process.send_signal(signal.SIGTERM)
            self._process.wait(scaled(10))
            self._process.stdout.close()
            self._process = None
        shutil.rmtree(self.directory)

    def do(self, *words):
        """Acts on the board by one of its commands; returns what the command prints."""
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(os.path.join(self.directory, "control"))
            control.sendall(b"".join(os.fsencode(str(word)) + b"\0" for word in words))
            control.shutdown(socket.SHUT_WR)
            answer = b"".join(iter(lambda: control.recv(65536), b""))
        text = os.fsdecode(answer[1:])
        if answer[:1] != b"+":
            raise BoardError(text.strip() or "the board has ended")
        return text

    def accesses(self, path="*", operations=("write",)):
        """What was done to files whose path matches, in order: (operation, path, data, result)."""
        found = []
        for line in self.do("record", path).splitlines():
            _time, _pid, operation, where, rest = line.split(" ", 4)
            result, _, data = rest.partition(" ")
            if operation in operations:
                found.append((operation, where, data[1:-1], result))
        return found

    def path(self, path):
        """A path of the board as this side reaches it. Absolute links on the way lead astray."""
        if self._root is None:
            with socket.socket(socket.AF_UNIX) as control:
                control.connect(os.path.join(self.directory, "control"))
                credentials = control.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12)
            self._root = f"/proc/{struct.unpack('3i', credentials)[0]}/root"
        return self._root + path

    def read(self, path):
        """What a file of the board holds."""
        with open(self.path(path), errors="surrogateescape") as file:
            return file.read()

    def write(self, path, text):
        """Writes to a file of the board that is there, in one go."""
        file = os.open(self.path(path), os.O_WRONLY)
        try:
            os.write(file, os.fsencode(text))
        finally:
            os.close(file)

    def command(self, *words, pidfile=None):
        """The command line that runs a command on the board."""
        return [BOARD, "--world", self.directory, "exec",
                *(["--pidfile", pidfile] if pidfile else []), *words]

    def run(self, *words, **options):
        """Runs a command on the board and returns what it printed."""
        options = {"check": True, "stdout": subprocess.PIPE, "text": True,
                   "timeout": scaled(30), **options}
        return subprocess.run(self.command(*words), **options).stdout

    def popen(self, *words, **options):
        """Starts a command on the board, its output in a pipe."""
        return subprocess.Popen(self.command(*words), **{
            "stdout": subprocess.PIPE, "text": True, **options})

    def bus(self):
        """A new connection to the board's system bus."""
        return Gio.DBusConnection.new_for_address_sync(
            f"unix:path={self.directory}/bus",
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
