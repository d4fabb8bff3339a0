"""What the tests of sockets share."""

import os
import re
import threading

import perimond
import perimond.bus
from gi.repository import GLib
from modem_manager import ON, ModemManager
from probe import ProbeTest

PORT = "platform/usb/usb1/1-1"
PATH = f"/sys/devices/{PORT}"


class SocketTest(perimond.FastTime, ProbeTest):
    """The board has GPIO lines 0 to 63, all of them low. A test defines its sockets itself; modules
    come and go at the USB port 1-1, and are in the socket S1."""

    services = (os.path.join(os.path.dirname(__file__), "modem-manager.conf"),)

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
        for _, path, data, result in self.world.accesses("*", ("write", "run")):
            line = re.fullmatch(r".*/gpio(\d+)/(value|direction)", path)
            if path == "/dev/waits":
                found.append(int(data))
            elif line and not result.startswith("E"):
                level = {"low": 0, "high": 1}.get(data, data)
                found.append((int(line[1]), int(level)))
            elif path == "/dev/watchdog":
                found.append("kick")
            elif path == "AT":
                found.append(data)
        self.world.do("record", "--clear")
        return found

    def levels(self, *lines):
        return [int(self.world.do("read", line)) for line in lines]

    def assert_refused(self, error, text, method, *arguments, name="S1"):
        with self.assertBusError(error, text):
            getattr(self.socket(name), method)(*arguments)

    # -- modules

    def plug(self, subsystem, name, *keys, socket="S1", parent=PORT):
        """A device comes; the lines about the socket, and whether it took the device."""
        return self._event("plug", subsystem, name, f"parent={parent}", *keys,
                           f"COMMAND=socket-event Socket/{socket}")

    def unplug(self, subsystem, name):
        return self._event("unplug", subsystem, name)

    def _event(self, *words):
        mark = len(self.log_lines())
        self.world.do(*words)
        self.act()
        return [line for line in self.log_lines()[mark:]
                if "[Socket/" in line or "[Cellular/" in line or line.endswith("taken")]

    def module(self, vendor="1bc7", product="1201", text="LE910", name="1-1", socket="S1"):
        """The USB device of a module comes."""
        return self.plug("usb", name, "devtype=usb_device", f"attr/idVendor={vendor}",
                         f"attr/idProduct={product}", f"attr/product={text}", socket=socket,
                         parent="platform/usb/usb1")

    def modem(self, power=ON, path=PATH):
        """ModemManager comes, with the modem; commands to it are steps."""
        manager = ModemManager(self.world.bus, (path, power))
        manager.arrived = lambda command: self.world.do("note", "AT", command)
        self.addCleanup(manager.stop)
        return manager.start()

    def call_later(self, method, *arguments):
        """A call from a thread, for one that the daemon's end may answer."""
        def call():
            try:
                getattr(perimond.bus.BusObject(self.world.bus(), "Socket/S1"), method)(*arguments, timeout=60)
            except GLib.Error:
                pass
        thread = threading.Thread(target=call, daemon=True)
        thread.start()
        return thread
