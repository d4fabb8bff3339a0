"""Runs on the board: prints each device that udev's library knows, then each event as it comes.
Its arguments are the subsystems to listen to; an empty one listens to none."""

import sys

import gi

gi.require_version("GUdev", "1.0")
from gi.repository import GLib, GUdev  # noqa: E402

client = GUdev.Client(subsystems=sys.argv[1:])


def show(word, device):
    properties = " ".join(f"{name}={device.get_property(name)}"
                          for name in sorted(device.get_property_keys())
                          if name.startswith(("ID_", "DEV", "BURST")))
    print(word, device.get_subsystem(), device.get_name(), device.get_sysfs_path(), properties,
          flush=True)


for known in client.query_by_subsystem(None):
    show("known", known)
client.connect("uevent", lambda _client, action, device: show(action, device))
print("listening", flush=True)
GLib.MainLoop().run()
