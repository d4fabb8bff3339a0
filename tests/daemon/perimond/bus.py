"""Bus objects as Python objects, and a recorder of what they announce."""

import time
import xml.etree.ElementTree as ElementTree

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from .world import scaled, wait_until  # noqa: E402

NAME = "com.tarvel.Perimond"
ROOT = "/com/tarvel/Perimond"
ERRORS = "com.tarvel.Perimond.Error.Core."


def object_path(identifier):
    """LED/LED1 to its path; the manager is the empty identifier, a path is itself."""
    if identifier.startswith("/"):
        return identifier
    return f"{ROOT}/{identifier}" if identifier else ROOT


class BusObject:
    """Calls a method by its name: relay.SetState(1). No result is None, one is itself, more are a
    tuple. Arguments get the types of the object's own description."""

    def __init__(self, connection, identifier, name=NAME):
        self._connection = connection
        self._name = name
        self._path = object_path(identifier)
        self._methods = None
        self._properties = None

    def __getattr__(self, member):
        if member.startswith("_"):
            raise AttributeError(member)

        def call(*arguments, timeout=20):
            interface, signature = self._describe()[member]
            return self.call(interface, member, GLib.Variant(signature, arguments), timeout)

        return call

    def call(self, interface, member, arguments=None, timeout=20):
        """A call that needs no description of the object."""
        reply = self._connection.call_sync(
            self._name, self._path, interface, member, arguments, None,
            Gio.DBusCallFlags.NO_AUTO_START, int(scaled(timeout) * 1000), None).unpack()
        return None if not reply else reply[0] if len(reply) == 1 else reply

    def introspect(self):
        return self.call("org.freedesktop.DBus.Introspectable", "Introspect")

    def get(self, name):
        """A property, asked of the daemon each time."""
        self._describe()
        return self.call("org.freedesktop.DBus.Properties", "Get",
                         GLib.Variant("(ss)", (self._properties[name], name)))

    def set(self, name, value):
        """Sets a property to a GLib.Variant."""
        self._describe()
        self.call("org.freedesktop.DBus.Properties", "Set",
                  GLib.Variant("(ssv)", (self._properties[name], name, value)))

    def _describe(self):
        if self._methods is None:
            self._methods, self._properties = {}, {}
            for interface in ElementTree.fromstring(self.introspect()).iter("interface"):
                for method in interface.iter("method"):
                    types = "".join(argument.get("type") for argument in method.iter("arg")
                                    if argument.get("direction", "in") == "in")
                    self._methods[method.get("name")] = (interface.get("name"), f"({types})")
                for entry in interface.iter("property"):
                    self._properties[entry.get("name")] = interface.get("name")
        return self._methods


class Recorder:
    """The signals of the daemon since it was made, each as (object, member, arguments). A change
    of properties is (object, "PropertiesChanged", {name: value})."""

    def __init__(self, connection, identifier=None, member=None):
        self.events = []
        self._connection = connection
        self._subscription = connection.signal_subscribe(
            NAME, None, member, object_path(identifier) if identifier is not None else None, None,
            Gio.DBusSignalFlags.NONE, self._arrived)
        # The bus has the match rule once it has answered something sent after it.
        BusObject(connection, "/", "org.freedesktop.DBus").call("org.freedesktop.DBus", "GetId")

    def _arrived(self, _connection, _sender, path, _interface, member, arguments):
        arguments = arguments.unpack()
        if member == "PropertiesChanged":
            arguments = arguments[1]
        self.events.append((path.removeprefix(ROOT).lstrip("/"), member, arguments))

    def wait_for(self, condition, what, seconds=20):
        """Handles signals until condition() is true."""
        def holds():
            while not (held := condition()) and GLib.MainContext.default().iteration(False):
                pass
            return held
        try:
            wait_until(holds, what, seconds)
        except AssertionError as late:
            raise AssertionError(f"{late}; signals so far: {self.events}") from None

    def expect(self, events, seconds=20):
        """The next signals are these; they are forgotten then."""
        self.wait_for(lambda: len(self.events) >= len(events), events, seconds)
        seen, self.events[:] = self.events[:], []
        if seen != events:
            raise AssertionError(f"signals {seen}, expected {events}")

    def expect_none(self, seconds=0.3):
        """No signal arrives in that time."""
        time.sleep(scaled(seconds))
        while GLib.MainContext.default().iteration(False):
            pass
        if self.events:
            raise AssertionError(f"unexpected signals: {self.events}")

    def close(self):
        self._connection.signal_unsubscribe(self._subscription)
