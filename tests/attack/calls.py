#!/usr/bin/python3
"""Every method of every object with random arguments, sent as fast as they are answered.

Each call is answered; another client's are, too; the daemon stays and ends in order."""

import xml.etree.ElementTree as ElementTree

import attack
import wire

DEPTH = 32  # calls under way at a time


def standard_calls(source, path):
    """Calls of the interfaces that every object has, with arguments of any sense."""
    name = source.choice(["com.tarvel.Perimond.Obj", "com.tarvel.Perimond.Obj.LED", "", "a.b"])
    return source.choice([
        (path, "org.freedesktop.DBus.Properties", "Get", "ss"),
        (path, "org.freedesktop.DBus.Properties", "Set", "ssv"),
        (path, "org.freedesktop.DBus.Properties", "GetAll", "s"),
        (path, "org.freedesktop.DBus.Introspectable", "Introspect", ""),
        (path, "org.freedesktop.DBus.Peer", "Ping", ""),
        (attack.ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", ""),
        (path + "/None", "com.tarvel.Perimond.Obj.LED", "GetState", ""),
        (path, name or "c.d", "Nothing", wire.random_signature(source)),
    ])


def methods(client):
    """Path, interface, method and signature of all methods of all peripheral objects."""
    found = []

    def walk(path):
        tree = ElementTree.fromstring(
            client.call(path, "org.freedesktop.DBus.Introspectable", "Introspect").text())
        for interface in tree.iter("interface"):
            if interface.get("name").startswith(attack.NAME):
                found.extend((path, interface.get("name"), method.get("name"),
                              "".join(argument.get("type") for argument in method.findall("arg")
                                      if argument.get("direction") == "in"))
                             for method in interface.findall("method"))
        for node in tree.findall("node"):
            walk(f"{path}/{node.get('name')}")

    walk(attack.ROOT)
    return found


def run(count):
    source = wire.generator(count)
    with attack.Target(log_level="ERR") as target:
        with attack.Witness(target) as witness, target.client() as client:
            known = methods(client)
            attack.require(len(known) > 30, f"only {len(known)} methods were found")
            waiting, sent, refused = set(), 0, 0
            while sent < count or waiting:
                while sent < count and len(waiting) < DEPTH:
                    path, interface, member, signature = \
                        source.choice(known) if source.random() < 0.8 \
                        else standard_calls(source, source.choice(known)[0])
                    if source.random() < 0.1:
                        signature = wire.random_signature(source)
                    values = [wire.random_value(source, inner) for inner in wire.types(signature)]
                    waiting.add(client.post(path, interface, member, signature, values))
                    sent += 1
                replies = client.receive(60)
                attack.require(replies, f"{len(waiting)} calls are not answered")
                waiting -= {reply.serial for reply in replies}
                refused += sum(reply.error.endswith("LimitsExceeded") for reply in replies)
        target.require_same()
        attack.require(refused == 0, f"{refused} calls were refused")
        target.stop()
        print(f"{sent} calls, all answered; {witness}")


attack.main(run)
