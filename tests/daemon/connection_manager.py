"""A connection manager for the board's bus: objects with properties that change."""

from bus_service import BusService
from gi.repository import Gio, GLib

NAME = "com.tarvel.Linkvane"
ROOT = "/com/tarvel/Linkvane"
INTERFACE = f"{NAME}.Interface"
OBJECTS = "org.freedesktop.DBus.ObjectManager"
NEVER = object()

_ALLOW_REPLACEMENT, _REPLACE = 1, 2
_PRIMARY_OWNER = 1

_DESCRIPTION = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name='{OBJECTS}'>
<method name='GetManagedObjects'><arg direction='out' type='a{{oa{{sa{{sv}}}}}}'/></method>
</interface></node>""")


def path_of(name):
    """wwan0 to its object; a path is itself."""
    return name if name.startswith("/") else f"{ROOT}/Interface/{name}"


class ConnectionManager(BusService):
    """Answers in a thread of its own from start() to stop().

    names:  the network interfaces, or paths, that it lists
    answer: None for the list, the text of an error, the arguments of another answer, or NEVER
    asked:  how often the list was asked for"""

    def __init__(self, bus, *names, answer=None):
        self.names = list(names)
        self.answer = answer
        self.asked = 0
        super().__init__(bus)

    def start(self, replace=False):
        """Leads the name, in the place of another one if asked to."""
        self._flags = _ALLOW_REPLACEMENT | (_REPLACE if replace else 0)
        return super().start()

    def change(self, name, properties, invalidated=(), interface=INTERFACE):
        """Tells of changed properties, {name: GLib.Variant}."""
        self.emit(path_of(name), "org.freedesktop.DBus.Properties", "PropertiesChanged",
                   GLib.Variant("(sa{sv}as)", (interface, properties, invalidated)))

    def add(self, name):
        self.announce("InterfacesAdded",
                      GLib.Variant("(oa{sa{sv}})", (path_of(name), {INTERFACE: {}})))

    def remove(self, name):
        self.announce("InterfacesRemoved", GLib.Variant("(oas)", (path_of(name), [INTERFACE])))

    def announce(self, member, arguments):
        """Tells of objects, in whatever way."""
        self.emit(ROOT, OBJECTS, member, arguments)

    def emit(self, path, interface, member, arguments):
        self._bus.emit_signal(None, path, interface, member, arguments)
        self._bus.flush_sync(None)

    def serve(self):
        self._bus.register_object(ROOT, _DESCRIPTION.interfaces[0], self._list, None, None)
        reply = self._bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            GLib.Variant("(su)", (NAME, self._flags)), None, Gio.DBusCallFlags.NONE, -1, None)
        assert reply.unpack() == (_PRIMARY_OWNER,), reply

    def _list(self, bus, _sender, _path, _interface, _method, _arguments, call):
        self.asked += 1
        if self.answer is NEVER:
            return
        if isinstance(self.answer, GLib.Variant):
            reply = Gio.DBusMessage.new_method_reply(call.get_message())
            reply.set_body(self.answer)
            bus.send_message(reply, Gio.DBusSendMessageFlags.NONE)
            return
        if self.answer:
            call.return_dbus_error(f"{NAME}.Error", self.answer)
            return
        objects = {path_of(name): {INTERFACE: {}} for name in self.names}
        call.return_value(GLib.Variant("(a{oa{sa{sv}}})", (objects,)))
