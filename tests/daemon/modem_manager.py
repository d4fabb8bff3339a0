"""A ModemManager for the board's bus: what libmm-glib asks of it, and nothing else."""

from bus_service import BusService
from gi.repository import Gio, GLib

NAME = "org.freedesktop.ModemManager1"
ROOT = "/org/freedesktop/ModemManager1"
MODEM = f"{NAME}.Modem"
UNKNOWN, OFF, LOW, ON = range(4)  # power states

UNAUTHORIZED = f"{NAME}.Error.Core.Unauthorized"
NEVER = object()

_DESCRIPTION = Gio.DBusNodeInfo.new_for_xml(f"""<node>
<interface name='org.freedesktop.DBus.ObjectManager'>
  <method name='GetManagedObjects'><arg direction='out' type='a{{oa{{sa{{sv}}}}}}'/></method>
</interface>
<interface name='{MODEM}'>
  <method name='Command'>
    <arg direction='in' type='s'/><arg direction='in' type='u'/><arg direction='out' type='s'/>
  </method>
</interface></node>""")


class ModemManager(BusService):
    """Runs in a thread of its own from start() to stop().

    modems:   for each modem a pair of its device and its power state, None leaves a property out
    answer:   what a command is answered with: a text, the name of an error, or NEVER
    listing:  called when the modems are asked for; NEVER as its result keeps the answer back
    commands: what has been sent, as (device, command, timeout)"""

    def __init__(self, bus, *modems):
        self.modems = list(modems)
        self.answer = "OK"
        self.commands = []
        self.listings = 0
        self.listing = lambda: None
        self.arrived = lambda command: None
        super().__init__(bus)

    def serve(self):
        objects, modem = _DESCRIPTION.interfaces
        self._bus.register_object(ROOT, objects, self._list, None, None)
        for number in range(len(self.modems)):
            self._bus.register_object(f"{ROOT}/Modem/{number}", modem, self._command, None, None)
        self._bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                            "RequestName", GLib.Variant("(su)", (NAME, 0)), None,
                            Gio.DBusCallFlags.NONE, -1, None)

    def _list(self, _bus, _sender, _path, _interface, _method, _arguments, call):
        self.listings += 1
        if self.listing() is NEVER:
            return
        objects = {}
        for number, (device, power) in enumerate(self.modems):
            properties = {}
            if device is not None:
                properties["Device"] = GLib.Variant("s", device)
            if power is not None:
                properties["PowerState"] = GLib.Variant("u", power)
            objects[f"{ROOT}/Modem/{number}"] = {MODEM: properties}
        call.return_value(GLib.Variant("(a{oa{sa{sv}}})", (objects,)))

    def _command(self, _bus, _sender, path, _interface, _method, arguments, call):
        command, timeout = arguments.unpack()
        device = self.modems[int(path.rpartition("/")[2])][0]
        self.commands.append((device, command, timeout))
        self.arrived(command)
        if self.answer is NEVER:
            return
        if self.answer.startswith("org."):
            call.return_dbus_error(self.answer, "no")
        else:
            call.return_value(GLib.Variant("(s)", (self.answer,)))
