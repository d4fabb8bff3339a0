#!/usr/bin/python3
"""Disks that come and go, COUNT times two, as fast as the daemon takes them in.

A stick with two partitions, one of them an encrypted volume in one of ten rounds, a card, and a second
stick in the occupied socket. In every other round all is mounted automatically and pulled out while
it is mounted, in the others it goes at once. Now and then, and at the end, everything must be as it was at the beginning: objects, mounts, mount points,
mappings, descriptors, threads, memory, and what the slots show when the stick comes once more."""

import time

import attack
from attack import require
from gi.repository import Gio
from perimond import scaled, wait_until
from storage import ENVIRONMENT, set_up

SLOTS = {"USB": "platform/usb/usb1/1-2", "SD": "platform/mmc1"}
IMAGES = r"""
cd /run/disks
/usr/sbin/mke2fs -q -F -O ^has_journal -t ext4 plain 1M
truncate -s 20M blank
for node in sda1 sda3 sdb1 mmcblk1p1; do ln -s /run/disks/plain dev/$node; done
ln -s /run/disks/blank dev/sda2
"""
# A burst of events must not be more than the daemon's buffer holds.
AT_ONCE = 10


class StorageTarget(attack.Target):
    """With what the storage tests put in the place of disks and file systems."""

    def __init__(self):
        super().__init__(log_level="ERR", keeps_log=False, environment=ENVIRONMENT)
        self.bus = None

    def start(self):
        set_up(self.world)
        self.world.run("sh", "-euc", IMAGES)
        super().start()

    def plug(self, slot, disk, *partitions):
        parent = SLOTS[slot]
        self.world.do("plug", "block", disk, f"parent={parent}", f"node={disk}", "devtype=disk",
                      "ID_PART_TABLE_TYPE=dos")
        for node in partitions:
            self.world.do("plug", "block", node, f"parent={parent}/block/{disk}", f"node={node}",
                          "devtype=partition")

    def unplug(self, disk):
        self.world.do("unplug", "block", disk)

    def objects(self):
        """The disks and partitions with their properties, by path."""
        if self.bus is None:
            self.bus = self.world.bus()
        found, = self.bus.call_sync(attack.NAME, attack.ROOT, "org.freedesktop.DBus.ObjectManager",
                                    "GetManagedObjects", None, None, Gio.DBusCallFlags.NONE,
                                    int(scaled(60) * 1000), None).unpack()
        return {path.removeprefix(attack.ROOT): found[path] for path in sorted(found)
                if "/Disk/" in path or "/Partition/" in path}

    def mounts(self):
        with open(f"/proc/{self.pid}/mountinfo", encoding="utf-8") as file:
            return file.read().count(" /media/")

    def call(self, path, method, signature="", values=(), kind="Disk"):
        with self.client() as client:
            reply = client.call(f"{attack.ROOT}/{path}", f"{attack.NAME}.Obj.{kind}", method,
                                signature, list(values), seconds=scaled(60))
            require(reply is not None and not reply.error, f"{method} of {path} failed")

    def shown(self):
        """What there is to see from outside."""
        return (self.objects(), self.descriptors(), self.threads(),
                self.world.run("sh", "-c", "grep /media /proc/self/mountinfo | grep -v ' /media ';"
                               "ls /media /run/mappings /dev/mapper"))


def run_round(target, number):
    target.plug("USB", "sda", "sda1", "sda2" if number % 10 == 0 else "sda3")
    target.plug("SD", "mmcblk1", "mmcblk1p1")
    target.plug("USB", "sdb", "sdb1")
    if number % 2 == 0:
        wait_until(lambda: target.mounts() == 3, "all three are mounted", 60)
    for disk in ("sdb", "mmcblk1", "sda") if number % 2 else ("sda", "mmcblk1", "sdb"):
        target.unplug(disk)


def with_stick(target):
    """The objects while a stick and a card are in."""
    target.plug("USB", "sda", "sda1")
    target.plug("SD", "mmcblk1", "mmcblk1p1")
    wait_until(lambda: str(target.objects()).count("'MountPoint': '/media/") == 2,
               "both are shown as mounted", 60)
    objects = target.objects()
    target.unplug("sda")
    target.unplug("mmcblk1")
    return objects


def prepare(target):
    """The slots mount automatically, the volume has its passphrase."""
    target.call("Disk/SD", "SetAutoMount", "b", [True])
    target.plug("USB", "sda", "sda2")
    wait_until(lambda: "/Partition/USB_p2" in target.objects(), "the stick is there", 60)
    target.call("Partition/USB_p2", "InitializeLUKS", "s", ["known"], "Partition")
    target.call("Partition/USB_p2", "Mount", kind="Partition")
    target.call("Disk/USB", "SetAutoMount", "b", [True])
    target.unplug("sda")


def see_last_card(target):
    """Has all events handled before."""
    target.plug("SD", "mmcblk1", "mmcblk1p7")
    wait_until(lambda: "/Partition/SD_p7" in target.objects(), "the last card is seen", 120)
    target.unplug("mmcblk1")
    wait_until(lambda: not target.objects()["/Disk/SD"][f"{attack.NAME}.Obj.Disk"]["Device"],
               "the last card is gone", 60)


def require_as(target, before):
    see_last_card(target)
    wait_until(lambda: target.shown() == before,
               f"all is as before: {before}, not {target.shown()}", 120)


def settled(target):
    """What there is to see when nothing is in the slots."""
    see_last_card(target)
    wait_until(lambda: list(target.objects()) == ["/Disk/SD"], "all has gone", 60)
    return target.shown()


def run(count):
    with StorageTarget() as target:
        prepare(target)
        objects = with_stick(target)
        for number in range(min(count, 20)):
            run_round(target, number)
        before = settled(target)
        memory = target.memory_kib()
        start = time.monotonic()
        for number in range(count):
            run_round(target, number)
            if number % AT_ONCE == AT_ONCE - 1:
                require_as(target, before)
        require_as(target, before)
        took = time.monotonic() - start
        growth = target.memory_kib() - memory
        require(with_stick(target) == objects, "a stick is shown in another way than at first")
        print(f"{count} rounds in {took:.0f} s; memory was {memory} KiB and grew by {growth} KiB; "
              f"{before[1]} descriptors, {before[2]} threads")
        require(growth < 1024 or not target.memory_counts(), "memory has grown")
        target.require_same()
        target.stop()


attack.main(run)
