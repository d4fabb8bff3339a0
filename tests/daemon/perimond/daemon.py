"""The daemon under test."""

import contextlib
import os
import shlex
import shutil
import signal
import subprocess
import unittest

from gi.repository import Gio, GLib

from .bus import ERRORS, BusObject, Recorder
from .world import World, scaled, wait_until

DAEMON = os.environ.get("PERIMOND_TEST_DAEMON", "/usr/sbin/tarvelperimond")
PLUGINS = os.environ.get("PERIMOND_TEST_PLUGINS", "")
WRAPPER = shlex.split(os.environ.get("PERIMOND_TEST_WRAPPER", ""))
STARTED = "<info>  [Manager] TarvelPerimond Started"


class DaemonTest(unittest.TestCase):
    """Each test has a world and a daemon of its own. What differs is said by class members, or by
    prepare(), which runs when the board is there and the daemon is not."""

    maxDiff = None
    plugin = os.environ.get("PERIMOND_TEST_PLUGIN", "sim")  # a test plugin by its name, or a path
    plugin_file = "libzolv-model-perimond-sim.so"  # what it is called on the board
    log_level = "DEBUG"
    environment = {}                               # of the daemon
    boot_environment = {}
    board = ()
    services = ()                                  # files of bus policy of further services
    background = ("[LNV Client]",)                 # tags that log_lines() passes over
    delivered_settings = False                     # whether those of the board are there
    starts = True                                  # whether setUp() starts the daemon
    exit_status = 0                                # what tearDown() expects

    def setUp(self):
        self.world = World(board=self.board, env=self.boot_environment,
                           services=self.services)
        self.addCleanup(self._report_and_stop)
        self.world.start()
        self.daemon = None
        self._log_path = os.path.join(self.world.directory, "daemon.log")
        self._error_path = os.path.join(self.world.directory, "daemon.err")
        if self.plugin:
            self.install_plugin(self.plugin, self.plugin_file)
        if not self.delivered_settings:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(os.path.join(self.world.settings, "peripheral-settings.conf"))
        self.prepare()
        if self.starts:
            self.start_daemon()

    def prepare(self):
        """What a test class sets up before the daemon starts."""

    def tearDown(self):
        if self.daemon:
            self.stop_daemon()

    def _report_and_stop(self):
        result = self._outcome.result
        failed = any(test is self or getattr(test, "test_case", None) is self
                     for test, _ in result.failures + result.errors)
        if failed and hasattr(self, "_log_path"):
            for path in (self._log_path, self._error_path):
                with contextlib.suppress(OSError), open(path, errors="backslashreplace") as file:
                    print(f"--- {os.path.basename(path)}\n{file.read()}---", flush=True)
        if self.daemon:
            self.daemon.kill()
            self.daemon.wait()
        self.world.stop()

    # -- the daemon

    def install_plugin(self, plugin, file_name=plugin_file):
        """Puts a model plugin on the board: a path, or a test plugin by its name."""
        path = plugin if os.sep in plugin else os.path.join(PLUGINS, f"{plugin}.so")
        shutil.copy(path, os.path.join(self.world.plugins, file_name))

    def start_daemon(self, wait=True, **environment):
        """Starts the daemon; with wait, until it says that it has started."""
        environment = {**os.environ, "INVOCATION_ID": "test", "LOG_LEVEL": self.log_level,
                       **self.environment, **environment}
        mark = len(self.log_lines())
        with open(self._log_path, "ab") as out, open(self._error_path, "ab") as err:
            self._pidfile = os.path.join(self.world.directory, "daemon.pid")
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self._pidfile)
            self.daemon = subprocess.Popen(
                self.world.command(*WRAPPER, DAEMON, pidfile=self._pidfile),
                env={name: value for name, value in environment.items() if value is not None},
                stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        if wait:
            wait_until(lambda: STARTED in self.log_lines()[mark:]
                       or self.daemon.poll() is not None, "the daemon starts", 60)
            self.assertIsNone(self.daemon.poll(), "the daemon ended while it started")
            # Behind its answer nothing comes any more that the start had to tell the bus.
            self.bus_object("").get("Version")

    @property
    def daemon_pid(self):
        """The daemon's process, as this side numbers it."""
        wait_until(lambda: os.path.exists(self._pidfile), "the daemon has a process")
        with open(self._pidfile) as file:
            return int(file.read())

    def wait_for_exit(self, seconds=10):
        """Waits until the daemon has ended; its exit status, negative for a signal."""
        status = self.daemon.wait(scaled(seconds))
        self.daemon = None
        return status

    def stop_daemon(self):
        """SIGTERM, and the orderly end that it must lead to."""
        self.daemon.send_signal(signal.SIGTERM)
        self.assertEqual(self.wait_for_exit(30), self.exit_status, "exit status")

    def kill_daemon(self):
        """kill -9, at once."""
        os.kill(self.daemon_pid, signal.SIGKILL)
        self.assertEqual(self.wait_for_exit(), -signal.SIGKILL)

    # -- the log

    def log_lines(self):
        """All whole lines so far. A line that was written before a reply is in it. What comes every
        few seconds, whatever a test does, is not."""
        with contextlib.suppress(FileNotFoundError):
            with open(self._log_path, errors="backslashreplace") as file:
                return [line for line in file.read().split("\n")[:-1]
                        if not any(tag in line for tag in self.background)]
        return []

    def error_lines(self):
        """What went to standard error: assertions, sanitizer reports."""
        with open(self._error_path, errors="backslashreplace") as file:
            return file.read().splitlines()

    @contextlib.contextmanager
    def log(self, containing=""):
        """A list that holds, after the block, the lines that the daemon wrote during it."""
        lines = []
        mark = len(self.log_lines())
        try:
            yield lines
        finally:
            lines += [line for line in self.log_lines()[mark:] if containing in line]

    def wait_for_log(self, line, seconds=20, count=1):
        """Waits until the daemon has written that line, so many times."""
        wait_until(lambda: self.log_lines().count(line) >= count, f"log line {line!r}", seconds)

    # -- the bus

    @property
    def bus(self):
        if not hasattr(self, "_bus"):
            self._bus = self.world.bus()
        return self._bus

    def bus_object(self, identifier):
        """The object LED/LED1; the manager is the empty identifier."""
        return BusObject(self.bus, identifier)

    def objects(self):
        """The identifiers of all objects on the bus, sorted."""
        managed = self.bus_object("").call("org.freedesktop.DBus.ObjectManager",
                                           "GetManagedObjects")
        return sorted(path.removeprefix("/com/tarvel/Perimond/") for path in managed)

    def recorder(self, identifier=None, member=None):
        """A recorder of the daemon's signals, of all objects or of one."""
        recorder = Recorder(self.bus, identifier, member)
        self.addCleanup(recorder.close)
        return recorder

    @contextlib.contextmanager
    def assertBusError(self, name, message):
        """The block's call is refused so; a name without dots is one of the daemon's own."""
        with self.assertRaises(GLib.Error) as caught:
            yield
        remote = Gio.DBusError.get_remote_error(caught.exception)
        text = caught.exception.message.removeprefix(f"GDBus.Error:{remote}: ")
        self.assertEqual((remote, text), (name if "." in name else ERRORS + name, message))
