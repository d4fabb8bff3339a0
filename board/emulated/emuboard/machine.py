"""A board: starting it, talking to it, acting on its lines and connectors, keeping its state."""

import json
import os
import pathlib
import select
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import termios
import time
import tty

from .common import HERE, BoardError, digest, missing, run
from .lines import Lines, Monitor, connect

# Without pointer authentication, which is emulated at each entry and end of the kernel's functions.
MACHINE = ["-M", "virt", "-cpu", "max,pauth=off", "-smp", "2", "-m", "512"]
# norandmaps: a library at the same address in every process is translated once, not once for each.
# A host that does much else may hold the board up for minutes.
KERNEL_COMMAND_LINE = ("console=ttyAMA0 quiet audit=0 panic=-1 cryptomgr.notests net.ifnames=0 "
                       "norandmaps systemd.default_timeout_start_sec=900 "
                       "systemd.default_device_timeout_sec=900")

# The lines of the buttons, low while pressed
BUTTONS = {"reset": 8, "user": 9}

# What can be plugged in: the QEMU device for each subsystem, and what stands behind it
PLUGGED = {
    "usb": {"driver": "usb-mouse"},
    "input": {"driver": "usb-kbd"},
    "tty": {"driver": "usb-serial", "always-plugged": True},
    "net": {"driver": "usb-net"},
    "block": {"driver": "usb-storage", "removable": True},
}


class Result:
    """What a command on the board has given."""

    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err


class Board:
    def __init__(self, folder, name="board"):
        self.folder = folder
        self.top = folder.board(name)
        self._monitor = self._lines = None
        self._children = []

    # Life

    def start(self, computer="imx8mp", cold=False, bare=False, disk=None):
        """Starts the board from the snapshot of an equal board that has booted before, or boots it
        and makes that snapshot. @bare leaves the daemon out; @disk is the image behind /dev/vda,
        an empty file system of its own else; with it the board always boots. Returns whether it
        booted."""
        self.end()
        shutil.rmtree(self.top, ignore_errors=True)
        (self.top / "media").mkdir(parents=True)
        if disk:
            (self.top / "disk.img").symlink_to(disk)
        else:
            run(["cp", "--sparse=always", self.folder.image / "disk.img", self.top])
        setup = {"computer": computer, "bare": bare}
        (self.top / "setup.json").write_text(json.dumps(setup))
        snapshot = self.folder.snapshots / self._key(setup)
        # A saved board knows the size of its disk and a little of the content.
        keeps = not cold and not disk
        booted = not keeps or not snapshot.exists()
        self._launch(setup, None if booted else snapshot)
        if booted:
            self.wait_settled()
            if not bare:
                self.wait_started()
            if keeps:
                self._save(snapshot)
        return booted

    def snapshot(self, name):
        self._save(self._named(name))

    def restore(self, name):
        """Goes back to a snapshot of this board. What is plugged in must be as it was then."""
        if not self._named(name).exists():
            raise BoardError(f"there is no snapshot {name}")
        self.end()
        self._launch(json.loads((self.top / "setup.json").read_text()), self._named(name))

    def stop(self):
        """Shuts the board down in order and waits for its end."""
        pid = self.pid()
        if not pid:
            return
        try:
            self.call("systemctl poweroff --no-block")
        except BoardError:
            pass  # it may be gone before it has answered
        self._wait_end(pid, 300)

    def cut(self):
        """Cuts the power: nothing in the board gets to know."""
        pid = self.pid()
        if pid:
            os.kill(pid, signal.SIGKILL)
            self._wait_end(pid, 60)

    end = cut

    def pid(self):
        """The process that emulates this board, or None."""
        try:
            pid = int((self.top / "pid").read_text())
            command = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes()
            folder = os.readlink(f"/proc/{pid}/cwd")
        except (OSError, ValueError):
            return None
        # The number may have gone to another process since.
        return pid if b"qemu-system-aarch64" in command and folder == str(self.top) else None

    def _wait_end(self, pid, timeout):
        for line in self._monitor, self._lines:
            if line:
                line.connection.close()
        self._monitor = self._lines = None
        deadline = time.monotonic() + timeout
        while self.pid() == pid:
            if time.monotonic() > deadline:
                raise BoardError(f"the board (process {pid}) does not end")
            time.sleep(0.02)
        for child in self._children:
            child.wait(60)
        self._children = []

    def _launch(self, setup, snapshot):
        image = self.folder.image
        command = self._command(setup)
        if snapshot:
            command += ["-incoming", f"exec:zstd -dc < {shlex.quote(str(snapshot))}"]
        else:
            registers = image / f"{setup['computer']}.regs"
            command += ["-device", f"loader,file={registers},addr={Lines.PAGE:#x},force-raw=on"]
        for name in "control", "agent", "qmp", "qtest":
            (self.top / name).unlink(missing_ok=True)
        with open(self.top / "qemu.log", "a") as log:
            try:
                qemu = subprocess.Popen(command, cwd=self.top, stdin=subprocess.DEVNULL, stdout=log,
                                        stderr=log, start_new_session=True)
            except FileNotFoundError as error:
                raise missing(error) from None
            (self.top / "pid").write_text(str(qemu.pid))
            while not all((self.top / name).is_socket() for name in ("agent", "qmp", "qtest")):
                if qemu.poll() is not None:
                    raise BoardError("QEMU does not start:\n" + (self.top / "qemu.log").read_text())
                time.sleep(0.01)
            proxy = subprocess.Popen([sys.executable, HERE / "board", "proxy", self.top],
                                     stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                     start_new_session=True)
        self._children = [qemu, proxy]
        if snapshot:
            while self.monitor.ask("query-status")["status"] == "inmigrate":
                time.sleep(0.01)
            self.monitor.ask("cont")
            # The board's clock stood still since the snapshot was made.
            self.call(f"date -s @{time.time():.3f}")

    def _command(self, setup):
        """QEMU's command line, in the board's folder; a snapshot fits only the same line."""
        image = self.folder.image
        initrd = image / "board.cpio" if setup["bare"] else self.folder.product / "initrd"
        command = ["qemu-system-aarch64", *MACHINE, "-accel", "tcg,thread=multi,tb-size=1024",
                   "-nodefaults", "-display", "none", "-no-reboot", "-kernel", image / "vmlinuz",
                   "-initrd", initrd, "-append", KERNEL_COMMAND_LINE,
                   "-dtb", image / f"{setup['computer']}.dtb", "-serial", "file:serial.log",
                   "-qmp", "unix:qmp,server=on,wait=off", "-qtest", "unix:qtest,server=on,wait=off",
                   "-qtest-log", "none", "-device", "virtio-serial-pci",
                   "-chardev", "socket,id=agent,path=agent,server=on,wait=off",
                   "-device", "virtserialport,chardev=agent,name=control",
                   # What the board has flushed survives QEMU's end: the host need not flush, too.
                   "-drive", "if=none,id=disk,format=raw,cache=unsafe,file=disk.img",
                   "-device", "virtio-blk-pci,drive=disk",
                   "-netdev", "hubport,id=lan,hubid=0",
                   "-device", "virtio-net-pci,netdev=lan,romfile=",
                   "-object", "can-bus,id=can", "-device", "kvaser_pci,canbus=can",
                   "-device", "kvaser_pci,canbus=can",
                   "-device", "qemu-xhci,id=usb,p2=12,p3=12"]
        return [str(word) for word in command]

    def _key(self, setup):
        """Names the snapshot of a board that has booted with this image, daemon and computer."""
        image, product = self.folder.image, self.folder.product
        qemu = subprocess.run(["qemu-system-aarch64", "--version"], text=True, capture_output=True)
        return "booted-" + digest(
            self._command(setup), qemu.stdout,
            image / "board.cpio.made-from", image / f"{setup['computer']}.dtb",
            image / f"{setup['computer']}.regs",
            "" if setup["bare"] else (product / "initrd.made-from").read_text())

    def _named(self, name):
        return self.top / f"{name}.snapshot"

    def _save(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        part = path.with_name(f"{path.name}.{self.top.name}.part")  # another board may save it, too
        self.monitor.ask("stop")
        self.monitor.ask("migrate", uri=f"exec:zstd -1 -q > {shlex.quote(str(part))}")
        while (state := self.monitor.ask("query-migrate").get("status")) != "completed":
            if state in ("failed", "cancelled"):
                raise BoardError("QEMU cannot save the board's state")
            time.sleep(0.02)
        self.monitor.ask("cont")
        part.rename(path)
        # Of older images and daemons few are wanted again; the three computers have one each.
        kept = sorted(path.parent.glob("booted-*"), key=lambda file: file.stat().st_mtime)
        for file in kept[:-6]:
            file.unlink()

    # Talking to it

    def run(self, command, input=b"", timeout=300):
        """Runs a shell command on the board as root."""
        parts = {"o": bytearray(), "e": bytearray()}
        for kind, part in self._execute(command, input, timeout):
            if kind == "x":
                return Result(struct.unpack("<I", part)[0],
                              parts["o"].decode(errors="replace"),
                              parts["e"].decode(errors="replace"))
            parts[kind] += part

    def follow(self, command):
        """Yields each line that a command prints, as it prints it; closing the generator ends the
        command."""
        pending = b""
        for kind, part in self._execute(command, b"", None):
            if kind == "o":
                *lines, pending = (pending + part).split(b"\n")
                for line in lines:
                    yield line.decode(errors="replace")

    def _execute(self, command, input, timeout):
        """Runs a command and yields its output ("o"), its errors ("e") and last its status ("x")
        as they come; without a timeout it may take for ever."""
        command = command.encode()
        deadline = timeout and time.monotonic() + timeout
        with self._control(timeout or 300) as control:
            control.settimeout(timeout or 300)
            control.sendall(b"run %d %d\n" % (len(command), len(input)) + command + input)
            data = bytearray()
            kind = None
            while kind != "x":
                control.settimeout(deadline and max(0.01, deadline - time.monotonic()))
                try:
                    more = control.recv(65536)
                except TimeoutError:
                    raise BoardError(f"no end after {timeout} s: {command.decode()}") from None
                if not more:
                    raise BoardError(f"the board ended during: {command.decode()}")
                data += more
                while len(data) >= 5:
                    head, length = struct.unpack_from("<BI", data)
                    if len(data) < 5 + length:
                        break
                    kind, part = chr(head), bytes(data[5:5 + length])
                    del data[:5 + length]
                    yield kind, part

    def call(self, command, input=b"", timeout=300):
        """Runs a command that must succeed; returns what it printed, without the last newline."""
        result = self.run(command, input, timeout)
        if result.status != 0:
            raise BoardError(f"{command}: exit status {result.status}\n{result.out}{result.err}")
        return result.out.removesuffix("\n")

    def put(self, path, content, mode=0o644):
        """Writes a file on the board."""
        path = shlex.quote(str(path))
        self.call(f"cat > {path} && chmod {mode:o} {path}", content)

    def wait_settled(self, timeout=900):
        """Waits until the board has started all its services; a failed one is an error."""
        state = self.run("systemctl is-system-running --wait", timeout=timeout).out.strip()
        if state != "running":
            raise BoardError(f"the board's state is {state}:\n" +
                             self.run("systemctl --failed --no-legend --plain").out)

    def wait_started(self, timeout=300):
        """Waits until the daemon says that it has started."""
        self.call("until journalctl -b -u tarvelperimond -o cat --no-pager | "
                  "grep -q 'Manager. TarvelPerimond Started'; do sleep 0.1; done", timeout=timeout)

    def shell(self):
        """A shell on the board, on this terminal."""
        if not (sys.stdin.isatty() and sys.stdout.isatty()):
            raise BoardError("a shell needs a terminal; run executes a single command")
        size = os.get_terminal_size()
        control = self._control(60)
        control.sendall(b"shell %d %d\n" % (size.lines, size.columns))
        control.settimeout(None)
        saved = termios.tcgetattr(0)
        try:
            tty.setraw(0)
            while True:
                ready = select.select([0, control], [], [])[0]
                if 0 in ready:
                    control.sendall(os.read(0, 4096))
                if control in ready:
                    data = control.recv(65536)
                    if not data:
                        return
                    os.write(1, data)
        finally:
            termios.tcsetattr(0, termios.TCSADRAIN, saved)
            control.close()

    def bus_address(self, user="root"):
        """The D-Bus address, on this machine, of the board's system bus as seen by a user."""
        return f"unix:path={self.top}/{'bus' if user == 'root' else 'bus-' + user}"

    def _control(self, timeout):
        deadline = time.monotonic() + timeout
        while not (self.top / "control").is_socket():
            if not self.pid():
                raise BoardError(f"No board runs in {self.top}" + self._last_words())
            if time.monotonic() > deadline:
                raise BoardError(f"the board does not come up in {timeout} s" + self._last_words())
            time.sleep(0.02)
        return connect(self.top, "control")

    def _last_words(self):
        text = ""
        for name in "qemu.log", "serial.log":
            path = self.top / name
            if path.exists():
                text += path.read_text(errors="replace")[-2000:]
        return "\n" + text if text else ""

    # Acting on it

    @property
    def monitor(self):
        if not self._monitor:
            self._monitor = Monitor(self.top)
        return self._monitor

    @property
    def lines(self):
        if not self._lines:
            self._lines = Lines(self.top, self.monitor)
        return self._lines

    def turn(self, line, level):
        """Sets the level on an input line from outside."""
        self.lines.set_input(line, level)

    def read(self, line):
        """The level on a line as a meter would show it."""
        return self.lines.output(line) if self.lines.is_output(line) else self.lines.input(line)

    def load(self, module, **parameters):
        """Loads one of the board's own kernel modules, in place of itself if it is there."""
        self.unload(module)
        words = " ".join(shlex.quote(f"{name}={value}") for name, value in parameters.items())
        self.call(f"modprobe {module} {words}")

    def unload(self, module):
        """Removes one of the board's own kernel modules, if it is there."""
        self.call(f"modprobe -r {module}")

    def hold(self, button):
        self.turn(self._button(button), 0)

    def release(self, button):
        self.turn(self._button(button), 1)

    @staticmethod
    def _button(name):
        if name not in BUTTONS:
            raise BoardError(f"the buttons are {', '.join(BUTTONS)}")
        return BUTTONS[name]

    def plug(self, subsystem, name, image=None):
        """Plugs in a USB device of a subsystem; block takes the image of the stick's content."""
        if subsystem not in PLUGGED:
            raise BoardError(f"what can be plugged in is one of {', '.join(PLUGGED)}")
        device = {**PLUGGED[subsystem], "id": name, "bus": "usb.0"}
        if subsystem == "block":
            if image is None:
                image = self.top / "media" / name
                with open(image, "wb") as blank:
                    blank.truncate(16 << 20)
            self.monitor.ask("blockdev-add", node_name=f"{name}-medium", driver="raw",
                             file={"driver": "file", "filename": os.path.abspath(image)})
            device["drive"] = f"{name}-medium"
        elif subsystem == "tty":
            self.monitor.ask("chardev-add", id=f"{name}-line",
                             backend={"type": "null", "data": {}})
            device["chardev"] = f"{name}-line"
        elif subsystem == "net":
            self.monitor.ask("netdev_add", type="hubport", id=f"{name}-cable", hubid=1)
            device["netdev"] = f"{name}-cable"
        try:
            self.monitor.ask("device_add", **device)
        except BoardError:
            self._take_away_behind(name)
            raise

    def unplug(self, name):
        """Pulls a device out, whatever it is doing."""
        self.monitor.ask("device_del", id=name)
        self.monitor.wait_event("DEVICE_DELETED", device=name)
        self._take_away_behind(name)

    def _take_away_behind(self, name):
        """Removes what stands behind a device that is gone."""
        for command, argument, value in (("blockdev-del", "node_name", f"{name}-medium"),
                                         ("chardev-remove", "id", f"{name}-line"),
                                         ("netdev_del", "id", f"{name}-cable")):
            try:
                self.monitor.ask(command, **{argument: value})
            except BoardError:
                pass  # this kind of device has no such thing behind it
