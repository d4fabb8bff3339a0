"""Disks, partitions and encrypted volumes, with the kernel's drivers, file systems and dm-crypt."""

import contextlib
import os
import pathlib
import random
import tempfile
import threading
import time
import unittest

import images
from boardtest import UNIT, BoardTest
from gi.repository import GLib
from perimond.world import wait_until

STICK_LED = 4  # line
CUTS = int(os.environ.get("PERIMOND_TEST_CUTS", "2"))
FIRST, SECOND = "9f2d6c0a-0a3b-4f0e-9a55-2f4c8f1f0001", "9f2d6c0a-0a3b-4f0e-9a55-2f4c8f1f0002"
GREETING = "The first partition of the stick.\n"
KEYS = "/etc/tarvel/TarvelPerimond/luks"
PASSPHRASE = "correct horse battery staple"
# Key derivation is to take two seconds of the board's processor, and that is an emulated one.
LUKS_SECONDS = 120


class StorageTest(BoardTest):
    plugged = False  # the stick

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.folder / "files").mkdir()
        (cls.folder / "files/greeting").write_text(GREETING)

    def image(self, name, table, *partitions):
        """An image; a partition with a file system is given by its size and UUID."""
        path = self.folder / name
        images.make(path, table, *[
            part if isinstance(part, int) else (part[0], self.folder / "files", part[1])
            for part in partitions])
        return path

    def tearDown(self):
        if self.plugged:
            self.unplug()
        super().tearDown()

    def plug(self, image, *partitions):
        """Plugs a stick in and waits until it is on the bus with its partitions; returns its
        device file."""
        self.do("plug", "block", "stick", image)
        type(self).plugged = True
        self.wait_there("Disk/USB", *[f"Partition/{name}" for name in partitions])
        return self.bus_object("Disk/USB").get("Device")

    def unplug(self):
        type(self).plugged = False
        self.do("unplug", "stick")
        self.wait_there()

    def wait_there(self, *names):
        """Waits until of storage these are on the bus, besides the built-in disk."""
        def there():
            return [name for name in self.objects() if name.startswith(("Disk/", "Partition/"))]
        wait_until(lambda: there() == sorted(["Disk/FLASH", *names]), f"of storage {names}", 30)

    def partition(self, name):
        return self.bus_object(f"Partition/{name}")

    def shown(self, name):
        """What the bus shows of a partition's mount: (mounted, kind, where)."""
        partition = self.partition(name)
        return tuple(partition.get(each) for each in ("IsMounted", "FilesystemType", "MountPoint"))

    def wait_shown(self, name, *state):
        wait_until(lambda: self.shown(name) == state, f"{name} is shown as {state}", 60)

    def mounts(self):
        """The mount table below /media, as {where: (kind, what)}."""
        return {where: (kind, what) for what, where, kind, *_ in
                map(str.split, self.board.call("cat /proc/mounts").splitlines())
                if where.startswith("/media/")}

    @contextlib.contextmanager
    def automatic(self):
        """Mounts the stick's partitions automatically from the next time on that it comes."""
        disk = self.bus_object("Disk/USB")
        disk.SetAutoMount(True)
        try:
            yield
        finally:
            disk.SetAutoMount(False)


class StickTest(StorageTest):
    def test_a_stick_comes_is_mounted_and_goes_while_it_is(self):
        signals = self.recorder("Disk/USB", "hotPlug")
        device = self.plug(self.image("mbr", "mbr", (8, FIRST), 8), "USB_p1", "USB_p2")
        signals.expect([("Disk/USB", "hotPlug", ("add", device))])
        disk, first, second = (self.bus_object("Disk/USB"), self.partition("USB_p1"),
                               self.partition("USB_p2"))
        self.assertEqual((disk.get("NumberOfPartitions"), disk.get("IsSystemDisk")), (2, False))
        self.assertCountEqual(disk.get("Partitions"), [f"{device}1", f"{device}2"])
        self.assertEqual(first.GetUUID(), FIRST)
        self.assertEqual(self.board.read(STICK_LED), 0)
        first.Mount()
        self.assertEqual(self.mounts(), {"/media/USB_p1": ("ext4", f"{device}1")})
        self.assertEqual(self.board.call("cat /media/USB_p1/greeting") + "\n", GREETING)
        self.wait_shown("USB_p1", True, "ext4", "/media/USB_p1")
        self.wait_level(STICK_LED, 1)
        with self.assertBusError("OperationNotPermitted",
                                 "Partition is already mounted at '/media/USB_p1'"):
            first.Mount()
        with self.assertBusError("ExternalLibraryFailure", "Failed to probe device"):
            second.Mount()  # nothing is in it
        for kind in "vfat", "exfat":
            self.board.call(f"mkfs.{kind} {device}2")
            second.Mount()
            self.wait_shown("USB_p2", True, kind, "/media/USB_p2")
            if kind == "vfat":
                second.Unmount()
                self.wait_shown("USB_p2", False, "", "")
        first.Unmount()
        self.assertEqual(self.board.call("ls /media"), "USB_p2")
        self.assertEqual(self.board.read(STICK_LED), 1)  # for the other one
        self.unplug()
        signals.expect([("Disk/USB", "hotPlug", ("remove", device))])
        wait_until(lambda: self.mounts() == {}, "nothing is mounted", 10)
        self.assertEqual(self.board.call("ls /media"), "")

    def test_what_others_mount_and_unmount_is_shown(self):
        device = self.plug(self.image("others", "mbr", (8, FIRST)), "USB_p1")
        self.board.call(f"mkdir -p /run/elsewhere && mount {device}1 /run/elsewhere")
        self.wait_shown("USB_p1", True, "ext4", "/run/elsewhere")
        with self.assertBusError("OperationNotPermitted",
                                 "Partition is already mounted at '/run/elsewhere'"):
            self.partition("USB_p1").Mount()
        self.partition("USB_p1").Unmount()
        self.assertEqual(self.board.run("mountpoint -q /run/elsewhere").status, 32)
        self.partition("USB_p1").Mount()
        with_file = "exec 9</media/USB_p1/greeting; umount --lazy /media/USB_p1; sleep 1000"
        self.board.call(f"sh -c '{with_file}' >/dev/null 2>&1 & echo $! >/run/holder")
        self.wait_shown("USB_p1", False, "", "")
        self.board.call("kill $(cat /run/holder)")
        self.unplug()

    def test_partitions_are_mounted_when_they_come_and_when_the_daemon_starts(self):
        image = self.image("gpt", "gpt", (8, FIRST), (4, SECOND))
        device = self.plug(image, "USB_p1", "USB_p2")
        with self.automatic():
            self.unplug()
            device = self.plug(image, "USB_p1", "USB_p2")
            both = {f"/media/USB_p{n}": ("ext4", f"{device}{n}") for n in (1, 2)}
            self.assertEqual(self.mounts(), both)
            mark = self.mark()
            self.systemctl("stop", UNIT)
            self.assertEqual(self.mounts(), {})
            self.systemctl("start", UNIT)
            self.started_since(mark)
            self.assertEqual(self.mounts(), both)
        self.unplug()

    def test_the_disk_that_the_system_is_on_is_left_alone(self):
        image = self.image("system", "mbr", (8, FIRST))
        device = self.plug(image, "USB_p1")
        self.board.call(f"echo root={device}1 rw >/run/cmdline && "
                        "mount --bind /run/cmdline /proc/cmdline")
        self.addCleanup(self.restart)
        self.addCleanup(self.board.call, "umount /proc/cmdline")
        with self.automatic():
            lines = self.restart()
            self.assertIn("<error> [Partition/USB_p1] Mount() failed: "
                          "Mount operation on system disk is not permitted", lines)
            self.assertIs(self.bus_object("Disk/USB").get("IsSystemDisk"), True)
            for method, arguments, message in (
                    ("Mount", (), "Mount operation on system disk is not permitted"),
                    ("Unmount", (), "Unmount operation on system disk is not permitted"),
                    ("InitializeLUKS", ("x",), "LUKS initialization process failed: "
                     "operation on system disk is not permitted")):
                with self.assertBusError("OperationNotPermitted", message):
                    getattr(self.partition("USB_p1"), method)(*arguments)
        self.assertEqual(self.mounts(), {})
        self.assertEqual(self.partition("USB_p1").GetUUID(), FIRST)
        self.unplug()

    def test_the_built_in_disk_is_there_from_the_start(self):
        disk = self.bus_object("Disk/FLASH")
        self.assertEqual([disk.get(name) for name in
                          ("Device", "NumberOfPartitions", "IsSystemDisk", "IOState")],
                         ["/dev/vda", 0, False, 0])


class EncryptedTest(StorageTest):
    """The settings lie on the built-in disk, which a power cut leaves as it is."""

    NAME = "USB_p1"

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.board.call("mount /dev/vda /mnt && cp -a /etc/tarvel/. /mnt && umount /mnt && "
                       "blockdev --flushbufs /dev/vda")
        cls.board.snapshot("whole")
        cls.mount_settings()

    @classmethod
    def mount_settings(cls):
        # Else ext4 writes the content out when a file takes another's place, whoever forgets to.
        cls.board.call("blockdev --flushbufs /dev/vda && "
                       "mount -o noauto_da_alloc /dev/vda /etc/tarvel && "
                       f"systemctl restart {UNIT}")

    def power_cut(self, image, cut=lambda: None):
        """Cuts the power, calls cut(), and starts the board again with the stick in it."""
        self.board.cut()
        cut()
        self._connections.clear()
        type(self).followed = None
        self.board.restore("whole")
        self.do("plug", "block", "stick", image)
        self.board.call("udevadm settle; until [ -e /dev/sda1 ]; do sleep 0.1; done")
        self.mount_settings()

    def opened(self):
        """The volume that dm-crypt has open, by its table without the key."""
        return self.board.call("dmsetup table").split("\n")

    def mount(self):
        self.partition(self.NAME).Mount(timeout=LUKS_SECONDS)

    def wait_mounted(self, content):
        """Waits until the volume has been mounted by itself, and reads what is in it."""
        wait_until(lambda: "/media/USB_p1" in self.mounts(), "the volume is mounted by itself", 60)
        self.assertEqual(self.board.call("cat /media/USB_p1/secret"), content)

    def test_a_volume_is_made_mounted_and_opened_by_itself_after_a_power_cut(self):
        image = self.image("volume", "mbr", 48)
        device = self.plug(image, self.NAME)
        with self.log() as lines:
            self.partition(self.NAME).InitializeLUKS(PASSPHRASE, timeout=LUKS_SECONDS)
            self.mount()
        self.assertIn("<info>  [Partition/USB_p1] LUKS initialization process OK", lines)
        self.assertIn("<info>  [Partition/USB_p1] LUKS open process OK", lines)
        self.assertEqual([line for line in lines if PASSPHRASE in line], [])
        mapper = f"{os.path.basename(device)}1_encrypted"
        self.assertEqual(self.mounts(), {"/media/USB_p1": ("ext4", f"/dev/mapper/{mapper}")})
        self.assertEqual(self.partition(self.NAME).get("MapperDevice"), mapper)
        self.assertRegex(self.opened()[0], rf"^{mapper}: 0 \d+ crypt aes-xts-plain64 :64:")
        self.assertEqual(self.partition(self.NAME).GetUUID(),
                         self.board.call(f"cryptsetup luksUUID {device}1"))
        self.assertEqual(self.board.call(f"stat -c '%a %U' {KEYS}/*"),
                         "640 root")
        self.board.call("echo it is a secret >/media/USB_p1/secret && sync /media/USB_p1/secret")
        self.assertNotIn(b"it is a secret", image.read_bytes())
        self.bus_object("Disk/USB").SetAutoMount(True)
        self.power_cut(image)
        self.wait_mounted("it is a secret")
        self.unplug()
        wait_until(lambda: self.opened() == ["No devices found"], "the volume is closed", 10)
        self.plug(image, self.NAME)
        self.wait_mounted("it is a secret")
        self.partition(self.NAME).Unmount()
        self.assertEqual(self.opened(), ["No devices found"])
        self.bus_object("Disk/USB").SetAutoMount(False)
        self.unplug()

    def test_a_volume_opens_after_power_cuts_amid_a_change_of_its_key(self):
        image = self.image("keys", "mbr", 48)
        device = self.plug(image, self.NAME)
        keys = "first key", "second key"
        # Cheap to open: what is cut is not the key derivation.
        cheap = "--batch-mode --pbkdf pbkdf2 --pbkdf-force-iterations 1000"
        self.board.call(f"printf '{keys[0]}' >/run/k0 && printf '{keys[1]}' >/run/k1 && "
                        f"cryptsetup luksFormat {cheap} {device}1 /run/k0 && "
                        f"cryptsetup luksAddKey {cheap} --key-file /run/k0 {device}1 /run/k1 && "
                        "udevadm settle", timeout=LUKS_SECONDS)
        with self.assertBusError("OperationFailure",
                                 "LUKS open process failed: cannot get passphrase from config"):
            self.mount()
        with self.assertBusError("ExternalLibraryFailure",
                                 "LUKS changekey process failed: cannot activate LUKS"):
            self.partition(self.NAME).RemapLUKS("no key", timeout=LUKS_SECONDS)
        self.partition(self.NAME).RemapLUKS(keys[0], timeout=LUKS_SECONDS)
        self.mount()
        self.board.call("echo kept >/media/USB_p1/secret; sync")
        self.bus_object("Disk/USB").SetAutoMount(True)
        chance = random.Random(CUTS)
        for _ in range(CUTS):
            answered = [self.stored_key()]
            changes = threading.Thread(target=self.change_keys, args=(keys, answered))
            changes.start()
            began = time.monotonic()
            wait_until(lambda: len(answered) > 1, "a key is changed", 60)
            time.sleep(chance.random() * (time.monotonic() - began))
            self.power_cut(image, changes.join)
            self.wait_mounted("kept")
            # The key that was answered last, or the one that was being stored
            self.assertIn(self.stored_key(), (answered[-1], keys[answered[-1] == keys[0]]))
        self.partition(self.NAME).Unmount()
        self.bus_object("Disk/USB").SetAutoMount(False)
        self.unplug()

    def change_keys(self, keys, answered):
        """Changes the stored key to another one that opens the volume, until the power goes."""
        partition = self.partition(self.NAME)
        with contextlib.suppress(GLib.Error):
            while True:
                key = keys[answered[-1] == keys[0]]
                partition.RemapLUKS(key, timeout=LUKS_SECONDS)
                answered.append(key)

    def stored_key(self):
        return self.board.call(f"cat {KEYS}/$(cryptsetup luksUUID /dev/sda1)")


if __name__ == "__main__":
    unittest.main(verbosity=2)
