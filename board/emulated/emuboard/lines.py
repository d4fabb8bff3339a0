"""Connections to a running QEMU: its monitor (QMP) and its access to memory and lines (qtest)."""

import json
import os
import socket
import time

from .common import BoardError

PATIENCE = 120  # seconds; QEMU shares the host with what else it does


def connect(folder, name, timeout=PATIENCE):
    """Connects to a socket in @folder, however long the folder's path is."""
    handle = os.open(folder, os.O_PATH)
    # A socket has its name a moment before it listens.
    deadline = time.monotonic() + 10
    try:
        while True:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            connection.settimeout(timeout)
            try:
                connection.connect(f"/proc/self/fd/{handle}/{name}")
                return connection
            except OSError as error:
                connection.close()
                if not isinstance(error, ConnectionRefusedError) or time.monotonic() > deadline:
                    raise BoardError(
                        f"No board runs in {folder} ({error.strerror or error})") from None
            time.sleep(0.01)
    finally:
        os.close(handle)


class LineReader:
    def __init__(self, connection):
        self.connection = connection
        self.pending = b""

    def line(self):
        while b"\n" not in self.pending:
            try:
                data = self.connection.recv(65536)
            except TimeoutError:
                raise BoardError("QEMU does not answer; does another program hold its line?") \
                    from None
            if not data:
                raise BoardError("QEMU has ended")
            self.pending += data
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode()


class Monitor:
    """QMP. Events that come between answers are kept in order."""

    def __init__(self, folder):
        self.connection = connect(folder, "qmp")
        self.reader = LineReader(self.connection)
        self.events = []
        self.reader.line()
        self.ask("qmp_capabilities")

    def ask(self, command, timeout=PATIENCE, **arguments):
        arguments = {name.replace("_", "-"): value for name, value in arguments.items()}
        request = {"execute": command, "arguments": arguments}
        self.connection.settimeout(timeout)
        self.connection.sendall(json.dumps(request).encode() + b"\n")
        while True:
            answer = json.loads(self.reader.line())
            if "event" in answer:
                self.events.append(answer)
            elif "error" in answer:
                raise BoardError(f"QEMU refuses {command}: {answer['error']['desc']}")
            else:
                return answer["return"]

    def wait_event(self, name, timeout=PATIENCE, **data):
        """Waits for an event with the given data; takes it and all before it."""
        deadline = time.monotonic() + timeout
        while True:
            while self.events:
                event = self.events.pop(0)
                if event["event"] == name and data.items() <= event.get("data", {}).items():
                    return event
            if time.monotonic() > deadline:
                raise BoardError(f"no event {name} from QEMU in {timeout} s")
            self.connection.settimeout(max(0.1, deadline - time.monotonic()))
            answer = json.loads(self.reader.line())
            if "event" in answer:
                self.events.append(answer)


class Lines:
    """The board's lines, as the register page of board.dtso lays them out: 64 of them, and the
    words of the fuses."""

    PAGE = 0x5FFF0000
    PWM = PAGE + 0x2000
    FUSES = PAGE + 0x4400
    COUNT = 64

    def __init__(self, folder, monitor):
        self.connection = connect(folder, "qtest")
        self.reader = LineReader(self.connection)
        units = monitor.ask("qom-list", path="/machine/unattached")
        self.interrupts = next(f"/machine/unattached/{unit['name']}" for unit in units
                               if unit["type"] == "child<arm_gic>")

    def ask(self, request):
        self.connection.sendall(request.encode() + b"\n")
        while True:
            answer = self.reader.line().split()
            if answer[0] == "OK":
                return answer[1:]
            if answer[0] != "IRQ":
                raise BoardError(f"QEMU refuses {request}: {' '.join(answer)}")

    def read_word(self, address):
        return int(self.ask(f"readl {address:#x}")[0], 16)

    def write_word(self, address, word):
        self.ask(f"writel {address:#x} {word:#x}")

    def _place(self, line):
        if not 0 <= line < self.COUNT:
            raise BoardError(f"line {line} is not one of 0 to {self.COUNT - 1}")
        return self.PAGE + 0x1000 * (line // 32), 1 << line % 32

    def set_input(self, line, level):
        """Changes the level on an input line and raises the edge's interrupt."""
        base, bit = self._place(line)
        levels = self.read_word(base + 0x08)
        self.write_word(base + 0x08, levels | bit if level else levels & ~bit)
        self.write_word(base + 0x18, bit)
        interrupt = 100 + line // 16
        for state in 1, 0:
            self.ask(f"set_irq_in {self.interrupts} unnamed-gpio-in {interrupt} {state}")

    def input(self, line):
        base, bit = self._place(line)
        return int(bool(self.read_word(base + 0x08) & bit))

    def output(self, line):
        """The level that the board drives."""
        base, bit = self._place(line)
        return int(bool(self.read_word(base) & bit))

    def is_output(self, line):
        base, bit = self._place(line)
        return bool(self.read_word(base + 0x04) & bit)
