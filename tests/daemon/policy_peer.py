#!/usr/bin/python3
"""The two ends of the calls that test_policy makes, each a process of its own.

policy_peer.py service ADDRESS: owns the daemon's name and answers every call with an empty reply;
prints its unique name once it is there, and a line for each signal it hears.

policy_peer.py client ADDRESS UID GID...: becomes that user, with exactly these groups, and makes
the calls read from standard input, a JSON list of [destination, interface, member] where the
interface may be null; prints what became of each. A fourth element says what else it is: "signal"
for a signal to that destination, "descriptor" for a call that carries one. After an empty list it
sends a broadcast.
"""

import json
import os
import sys

import dbus.bus
import dbus.lowlevel
import dbus.mainloop.glib
from gi.repository import GLib

NAME = "com.tarvel.Perimond"
PATH = "/com/tarvel/Perimond/LED/L1"


def service(address):
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(address)

    def answer(connection, message):
        if message.get_member() in ("NameAcquired", "NameLost"):
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        if isinstance(message, dbus.lowlevel.MethodCallMessage):
            connection.send_message(dbus.lowlevel.MethodReturnMessage(message))
        elif isinstance(message, dbus.lowlevel.SignalMessage):
            print("heard", message.get_member(), flush=True)
        else:
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    bus.add_match_string("type='signal',interface='com.example.Weather'")
    bus.request_name(NAME)
    bus.add_message_filter(answer)
    print(bus.get_unique_name(), flush=True)
    GLib.MainLoop().run()


def send_signal(bus, interface, member, destination=None):
    message = dbus.lowlevel.SignalMessage(PATH, interface, member)
    if destination:
        message.set_destination(destination)
    bus.send_message(message)
    bus.flush()


def outcome(bus, destination, interface, member, kind="call"):
    if kind == "signal":
        send_signal(bus, interface, member, destination)
        return "sent"
    message = dbus.lowlevel.MethodCallMessage(destination, PATH, interface, member)
    if kind == "descriptor":
        message.append(dbus.types.UnixFd(0), signature="h")
    if member == "RequestName":
        message.append(NAME, dbus.UInt32(0), signature="su")
    try:
        bus.send_message_with_reply_and_block(message, 10.0)
    except dbus.DBusException as error:
        return error.get_dbus_name()
    return "passed"


def client(address, uid, *groups):
    os.setgroups([int(group) for group in groups])
    os.setgid(int(groups[0]))
    os.setuid(int(uid))
    bus = dbus.bus.BusConnection(address)
    calls = json.load(sys.stdin)
    print(json.dumps([outcome(bus, *call) for call in calls]))
    if not calls:
        send_signal(bus, "com.example.Weather", "Rain")


if __name__ == "__main__":
    {"service": service, "client": client}[sys.argv[1]](*sys.argv[2:])
