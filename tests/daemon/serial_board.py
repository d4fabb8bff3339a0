"""What the tests of serial ports share."""

import os
import re

from probe import DEVICE, ProbeTest

NODES = ("ttyX0", "ttyX1")


class SerialTest(ProbeTest):
    """The board has the serial nodes ttyX0 and ttyX1, whose drivers know the field port and the RS-485
    flags, and GPIO lines 0 to 63. A test defines its ports itself."""

    settings = ""

    def prepare(self):
        super().prepare()
        for node in NODES:
            self.world.do("add-serial", node)
        if self.settings:
            self.write_settings(self.settings)

    # -- ports

    def define(self, kind, name, *commands):
        """Has the plugin create and define a port; "ID" in a command is its id. The lines about it."""
        identifier = f"SerialPort/{name}"
        lines = self.act(f"serial {kind} {name}",
                         *(command.replace("ID", identifier) for command in commands))
        return [line for line in lines if f"[{identifier}]" in line]

    def forget_commands(self):
        """A daemon that starts anew finds the probe's device as it was, with the last commands."""
        self.world.do("change", *DEVICE, "COMMAND=")

    def port(self, name="P1"):
        return self.bus_object(f"SerialPort/{name}")

    def lines_of(self, name="P1"):
        """The lines about one port that the block led to."""
        return self.log(f"[SerialPort/{name}]")

    def assert_refused(self, method, argument, error, text, level="error", name="P1"):
        """The call is refused with that error and that text, logged at that level."""
        with self.lines_of(name) as lines, self.assertBusError(error, text):
            getattr(self.port(name), method)(*argument)
        call = f"{method}({', '.join(map(str, argument))})"
        shown = f"<{level}>".ljust(7)
        self.assertEqual(lines, [f"<info>  [SerialPort/{name}] Get method call: {call}",
                                 f"{shown} [SerialPort/{name}] {call} failed: {text}"])

    # -- settings

    def write_settings(self, text):
        os.makedirs(self.world.settings, exist_ok=True)
        with open(os.path.join(self.world.settings, "peripheral-settings.conf"), "w") as file:
            file.write(text)

    def stored(self, name="P1"):
        """The settings of a port, as {key: text}."""
        try:
            with open(os.path.join(self.world.settings, "peripheral-settings.conf")) as file:
                text = file.read()
        except FileNotFoundError:
            return {}
        found = re.search(rf"^\[SerialPort/{name}\]\n((?:.+\n)*)", text, re.MULTILINE)
        return dict(line.split("=", 1) for line in found[1].splitlines()) if found else {}

    # -- the hardware

    def kept(self, node="ttyX0"):
        """What the driver of a node keeps, as {name: number}."""
        return {name: int(value, 0) for name, value in
                (word.split("=") for word in self.world.do("serial", node).split())}

    def switched(self):
        """What was written to lines, drivers and register files since the last call, in order:
        (line, level), (node, name=value), (register, text)."""
        steps = []
        for operation, path, data, result in self.world.accesses("*", ("write", "ioctl")):
            pin = re.fullmatch(r".*/gpio(\d+)/(value|direction)", path)
            if operation == "write" and pin:
                steps.append((int(pin[1]), {"low": 0, "high": 1}.get(data) if pin[2] == "direction"
                              else int(data)))
            elif operation == "write" and "rs485_en" in path:
                steps.append(("register", data))
            elif operation == "ioctl" and " " in data and result == "0":
                steps.append((path.removeprefix("/dev/"), data.split()[1]))
        self.world.do("record", "--clear")
        return steps

    def requests(self, node="ttyX0"):
        """The whole use of a node since the last call."""
        path = f"/dev/{node}"
        seen = [" ".join((operation, data)).strip() + ("" if result == "0" else f" {result}")
                for operation, _, data, result in
                self.world.accesses(path, ("open", "ioctl", "close", "read", "write"))]
        self.world.do("record", "--clear")
        return seen

    def levels(self, *lines):
        return [int(self.world.do("read", line)) for line in lines]
