"""The running daemon shows on the bus what was promised."""

from gi.repository import Gio, GLib

import perimond
from interface_table import INTERFACES
from introspection import interfaces

COMMON = "com.tarvel.Perimond.Obj"
KINDS = [  # which of the peripheral interfaces objects of the simulated board carry
    "Button",
    "Buzzer",
    "CAN",
    "Console",
    "DIO",
    "Disk",
    "Ethernet",
    "LED",
    "Partition",
    "SerialPort",
]


class InterfaceTest(perimond.DaemonTest):
    def prepare(self):
        """A stick is plugged in, so that there is a partition."""
        self.world.do("plug", "block", "sda", "parent=platform/usb/usb1/1-2", "devtype=disk",
                      "node=sda", "quiet=1")
        self.world.do("plug", "block", "sda1", "parent=platform/usb/usb1/1-2/block/sda",
                      "devtype=partition", "node=sda1", "quiet=1")

    def described(self, identifier):
        """Our interfaces of an object, without those that every bus object has."""
        return {
            name: interface
            for name, interface in interfaces(self.bus_object(identifier).introspect()).items()
            if name.startswith("com.tarvel.")
        }

    def managed(self):
        return self.bus_object("").call("org.freedesktop.DBus.ObjectManager", "GetManagedObjects")

    def test_the_manager_is_as_published(self):
        self.assertEqual(self.described(""),
                         {"com.tarvel.Perimond": INTERFACES["com.tarvel.Perimond"]})

    def test_the_manager_manages_objects(self):
        self.assertIn("org.freedesktop.DBus.ObjectManager",
                      interfaces(self.bus_object("").introspect()))

    def test_every_object_is_as_published(self):
        for identifier in self.objects():
            kind = f"{COMMON}.{identifier.partition('/')[0]}"
            with self.subTest(identifier):
                self.assertEqual(self.described(identifier),
                                 {COMMON: INTERFACES[COMMON], kind: INTERFACES[kind]})

    def test_the_board_has_objects_of_these_kinds(self):
        self.assertEqual(sorted({name.partition("/")[0] for name in self.objects()}), sorted(KINDS))

    def test_every_managed_object_has_two_interfaces_and_all_their_properties(self):
        for path, carried in self.managed().items():
            kind = f"{COMMON}.{path.split('/')[4]}"
            with self.subTest(path):
                self.assertEqual(sorted(carried), [COMMON, kind])
                for name, properties in carried.items():
                    self.assertEqual(set(properties), set(INTERFACES[name].properties))

    def test_no_property_can_be_set(self):
        for identifier in ["", *self.objects()]:
            for name, interface in self.described(identifier).items():
                for member in interface.properties:
                    with self.subTest(identifier, property=member):
                        arguments = GLib.Variant("(ssv)", (name, member, GLib.Variant("s", "")))
                        with self.assertRaises(GLib.Error) as refused:
                            self.bus_object(identifier).call("org.freedesktop.DBus.Properties",
                                                             "Set", arguments)
                        self.assertEqual(Gio.DBusError.get_remote_error(refused.exception),
                                         "org.freedesktop.DBus.Error.AccessDenied")


if __name__ == "__main__":
    perimond.main()
