"""What the tests of sockets share."""

import re

import perimond
from probe import ProbeTest

LINES = 64


class SocketTest(perimond.FastTime, ProbeTest):
    """The board has GPIO lines 0 to 63, all of them low. A test defines its sockets itself."""

    def define(self, kind, name, *commands):
        """Has the plugin create and define a socket; "ID" in a command is its id. Its lines."""
        identifier = f"Socket/{name}"
        lines = self.act(f"socket {kind} {name}",
                         *(command.replace("ID", identifier) for command in commands))
        return [line for line in lines if f"[{identifier}]" in line or "Definition" in line]

    def socket(self, name="S1"):
        return self.bus_object(f"Socket/{name}")

    def lines_of(self, name="S1"):
        """The lines about one socket that the block led to."""
        return self.log(f"[Socket/{name}]")

    def steps(self):
        """What was switched and waited for since the last call, in order: (line, level), and a wait
        in milliseconds."""
        found = []
        for _, path, data, result in self.world.accesses("*"):
            line = re.fullmatch(r".*/gpio(\d+)/(value|direction)", path)
            if path == "/dev/waits":
                found.append(int(data))
            elif line and not result.startswith("E"):
                level = {"low": 0, "high": 1}.get(data, data)
                found.append((int(line[1]), int(level)))
            elif path == "/dev/watchdog":
                found.append("kick")
        self.world.do("record", "--clear")
        return found

    def levels(self, *lines):
        return [int(self.world.do("read", line)) for line in lines]

    def assert_refused(self, error, text, method, *arguments, name="S1"):
        with self.assertBusError(error, text):
            getattr(self.socket(name), method)(*arguments)
