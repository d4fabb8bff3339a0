"""What the attacks stand on: the daemon on a simulated board, a witness, and the programs' main."""

import contextlib
import os
import shutil
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import time

import wire
from perimond import World, scaled, wait_until
from perimond.daemon import DAEMON, WRAPPER

NAME = "com.tarvel.Perimond"
ROOT = "/com/tarvel/Perimond"
PLUGIN = os.environ.get("PERIMOND_TEST_PLUGIN", "")


class Failure(Exception):
    """The attack has done harm."""


def require(condition, text):
    """What must hold after an attack."""
    if not condition:
        raise Failure(text)


def busy():
    """How much longer things take than on a machine that does nothing else, 1 at least."""
    return max(1.0, os.getloadavg()[0] / os.cpu_count())


class Target:
    """The unmodified daemon with the example plugin; in a with statement.

    policy: as World has it; by default none, so that only the daemon itself is in the way.
    keeps_log: a long attack can do without"""

    def __init__(self, policy=(), log_level="INFO", environment=None, keeps_log=True):
        self.world = World(policy=list(policy) if policy is not None else None)
        self._environment = {"INVOCATION_ID": "attack", "LOG_LEVEL": log_level,
                             **(environment or {})}
        self.log_path = os.path.join(self.world.directory, "daemon.log") if keeps_log \
            else os.devnull
        self.error_path = os.path.join(self.world.directory, "daemon.err")
        self.process = None

    def __enter__(self):
        self.world.start()
        shutil.copy(PLUGIN, os.path.join(self.world.plugins, "libzolv-model-perimond-sim.so"))
        self.start()
        return self

    def __exit__(self, kind, *_):
        if kind is not None:
            self.show_logs()
        if self.process is not None:
            self.process.kill()
            self.process.wait()
        self.world.stop()

    def show_logs(self):
        for path in (self.log_path, self.error_path):
            with open(path, errors="backslashreplace", encoding="utf-8") as file:
                print(f"--- {os.path.basename(path)}, its last lines\n{file.read()[-1000:]}---",
                      file=sys.stderr)

    # -- the daemon

    def start(self):
        """Starts it and waits until its objects are there."""
        pidfile = os.path.join(self.world.directory, "daemon.pid")
        if os.path.exists(pidfile):
            os.unlink(pidfile)
        with open(self.log_path, "wb") as out, open(self.error_path, "ab") as err:
            self.process = subprocess.Popen(
                self.world.command(*WRAPPER, DAEMON, pidfile=pidfile),
                env={**os.environ, **self._environment}, stdin=subprocess.DEVNULL,
                stdout=out, stderr=err)
        wait_until(lambda: os.path.exists(pidfile), "the daemon has a process", 20)
        with open(pidfile, encoding="utf-8") as file:
            self.pid = int(file.read())
        with self.client() as client:
            wait_until(lambda: b"LED/USR2" in client.call(
                ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
                no_auto_start=True).body, "the daemon shows its objects", 20)
            self.owner = client.owner(NAME)

    def stop(self):
        """SIGTERM, and the orderly end that it must lead to."""
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(scaled(30))
        self.process = None
        require(status == 0, f"the daemon ended with status {status}")
        with open(self.error_path, encoding="utf-8", errors="replace") as file:
            text = file.read()
        require("Sanitizer" not in text and "runtime error" not in text, text)

    def kill(self):
        """kill -9, at once."""
        os.kill(self.pid, signal.SIGKILL)
        self.process.wait(scaled(10))
        self.process = None

    def log(self):
        with open(self.log_path, errors="backslashreplace", encoding="utf-8") as file:
            return file.read()

    def require_same(self):
        """It is the same process with the same bus connection."""
        require(self.process.poll() is None, "the daemon has ended")
        with self.client() as client:
            require(client.owner(NAME) == self.owner, "the daemon's bus connection is another one")

    # -- what it uses

    def memory_kib(self):
        with open(f"/proc/{self.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))

    def memory_counts(self):
        """A sanitizer keeps freed memory; its size says nothing."""
        with open(f"/proc/{self.pid}/maps", encoding="utf-8") as file:
            return "san.so" not in file.read()

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def threads(self):
        """Without those of GLib's pool, which end when they have had nothing to do for 15 s."""
        count = 0
        for task in os.listdir(f"/proc/{self.pid}/task"):
            with contextlib.suppress(FileNotFoundError), \
                    open(f"/proc/{self.pid}/task/{task}/comm", encoding="utf-8") as file:
                count += not file.read().startswith("pool")
        return count

    # -- the bus

    def client(self, descriptors=False):
        return wire.Client(os.path.join(self.world.directory, "bus"), NAME, descriptors)


class Witness:
    """Another client, a process of its own: calls GetState all the time and notes how long each
    answer takes. In a with statement; then `times` holds the seconds, in order."""

    def __init__(self, target, pause=0.002):
        self._target = target
        self._pause = pause
        self.times = []

    def __enter__(self):
        self._file = tempfile.TemporaryFile()
        self._stop, stop = os.pipe()
        self._pid = os.fork()
        if self._pid == 0:
            os.close(stop)
            os._exit(self._work())
        os.close(self._stop)
        self._stop = stop
        return self

    def _work(self):
        os.set_blocking(self._stop, False)
        with self._target.client() as client:
            while True:
                start = time.monotonic()
                reply = client.call(f"{ROOT}/LED/READY", f"{NAME}.Obj.LED", "GetState",
                                    seconds=scaled(60))
                if reply is None or reply.error:
                    return 1
                self._file.write(struct.pack("d", time.monotonic() - start))
                try:
                    if os.read(self._stop, 1) == b"":
                        self._file.flush()
                        return 0
                except BlockingIOError:
                    time.sleep(self._pause)

    def __exit__(self, *_):
        os.close(self._stop)
        status = os.waitpid(self._pid, 0)[1]
        self._file.seek(0)
        data = self._file.read()
        self._file.close()
        self.times = [value for value, in struct.iter_unpack("d", data)]
        require(status == 0, f"another client's call number {len(self.times) + 1} was not answered")

    def percentile(self, percent):
        return sorted(self.times)[min(len(self.times) - 1, int(len(self.times) * percent / 100))]

    def __str__(self):
        return (f"{len(self.times)} calls of another client answered, in ms: "
                f"p50 {statistics.median(self.times) * 1000:.1f}, "
                f"p99 {self.percentile(99) * 1000:.1f}, worst {max(self.times) * 1000:.1f}")


def main(attack):
    """Runs attack(count) with the count of the command line. Worlds need root: an ordinary user
    becomes root of a user namespace first."""
    if len(sys.argv) != 2 or not sys.argv[1].isdigit():
        sys.exit(f"Usage: {os.path.basename(sys.argv[0])} COUNT")
    if os.geteuid() != 0:
        os.execvp("unshare", ["unshare", "--user", "--map-root-user", sys.executable, *sys.argv])
    start = time.monotonic()
    try:
        attack(int(sys.argv[1]))
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")
    print(f"{time.monotonic() - start:.1f} s")
