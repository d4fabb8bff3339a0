"""No order in which sticks are swapped lets a volume or a file system be made on one that nobody
named: at each step of each operation in turn, the stick is pulled out and another one put in.

The other gets the name of the first one, as the kernel gives it: at once, or, while the daemon or a
mapping has the first one open, the next name that is free. The daemon is told afterwards.

PERIMOND_TEST_ALL=1 tries each step with each kind of stick, for minutes; else those of which another
test has the same are left out."""

import os

import perimond
from gi.repository import GLib
from storage import StorageTest

P1 = "Partition/USB_p1"
SECRET = "known of both"
ALL = "PERIMOND_TEST_ALL" in os.environ

# Before each call of a library: what it does is told in the file beside it.
SWAP = r"""
read -r n </run/steps
read -r swap_at </run/swap-at
n=$((n + 1))
echo $n >/run/steps
[ $n = "$swap_at" ] || exit 0
node=$(stat -c %d:%i /dev/sda1)
name=sda1
for fd in /proc/$PPID/fd/*; do
    [ "$(stat -L -c %d:%i "$fd" 2>/dev/null)" = "$node" ] || continue
    flags=$(sed -n 's/^flags:[^0-9]*//p' "/proc/$PPID/fdinfo/${fd##*/}")
    [ $((flags & 010000000)) != 0 ] || name=sdb1 # O_PATH opens nothing
done
! grep -qx /dev/sda1 /run/mappings/* 2>/dev/null || name=sdb1
BOARD absent /dev/sda1
rm /run/disks/dev/sda1
BOARD plug block other devtype=partition node=$name quiet=1
ln -s /run/disks/other /run/disks/dev/$name
echo $name >/run/swapped
"""

RESET = r"""
rm -rf /run/swapped /run/disks/mapped-* /run/disks/dev/sd*
cp "/run/images/$1" /run/disks/stick
cp "/run/images/$2" /run/disks/other
ln -s /run/disks/stick /run/disks/dev/sda1
echo 0 >/run/swap-at
"""


class SwapTest(StorageTest):
    def setUp(self):
        super().setUp()
        self.sh("mkdir /run/images; truncate -s 20M /run/images/blank /run/images/ext4;"
                "/usr/sbin/mke2fs -q -F -O ^has_journal -t ext4 /run/images/ext4 1M;"
                "echo 0 >/run/steps; echo 0 >/run/swap-at")
        self.uuids = {}
        for name in ("volume", "other-volume"):
            self.insert_stick("blank", "blank")
            self.p1.InitializeLUKS(SECRET)
            self.uuids[name] = self.p1.GetUUID()
            self.sh("cp /run/disks/stick /run/images/$1", name)
            self.unplug("sda")
        self.call("every", SWAP.replace("BOARD", perimond.world.BOARD))

    @property
    def p1(self):
        return self.bus_object(P1)

    def mount(self):
        """And has the table's change looked at before the steps are counted."""
        self.p1.Mount()
        self.wait_for(P1, MountPoint="/media/USB_p1")
        self.act()

    def insert_stick(self, stick, other):
        self.sh(RESET, stick, other)
        self.insert("sda", "sda1")

    def swapped_at(self, step, stick, other, prepare, operation):
        """Whether the operation has so many steps. The other stick is swapped in before that step,
        and must stay as it is."""
        self.insert_stick(stick, other)
        prepare()
        self.sh("echo 0 >/run/steps; echo $1 >/run/swap-at", str(step))
        failure = None
        try:
            operation()
        except GLib.Error as error:
            failure = error
        name = self.sh("cat /run/swapped 2>/dev/null || true").strip()
        where = f"swapped at step {step}, the other one is called {name}"
        self.sh("echo 0 >/run/swap-at")
        self.assertTrue(name or failure is None, f"it fails without a swap: {failure}")
        self.assertEqual(self.sh("cmp /run/images/$1 /run/disks/other || true", other), "", where)
        # What the other volume holds would be here.
        self.assertNotIn(self.uuids["other-volume"], self.sh("ls /run/disks"), where)
        self.unplug("sda")
        if name:
            self.world.do("unplug", "block", "other")
        self.sh("rm -f /run/mappings/* /dev/mapper/sd* /run/disks/dev/mapper/*")
        return name != ""

    def swap_at_each_step(self, stick, others, prepare, operation, steps):
        """The operation has more steps than those of interest: what it does in them would be seen."""
        for other in ("blank", "other-volume") if ALL else others:
            step = 1
            while (ALL or step <= steps) and self.swapped_at(step, stick, other, prepare, operation):
                step += 1
            with self.subTest(other):
                self.assertGreater(step, steps)

    def test_while_a_volume_is_made(self):
        self.swap_at_each_step("blank", ("blank", "other-volume"), lambda: None,
                               lambda: self.p1.InitializeLUKS(SECRET), 3)

    def test_while_a_volume_is_made_of_a_mounted_partition(self):
        self.swap_at_each_step("ext4", ("other-volume",), self.mount,
                               lambda: self.p1.InitializeLUKS(SECRET), 16 if ALL else 6)

    def test_while_an_empty_volume_is_mounted(self):
        self.swap_at_each_step("volume", ("other-volume",), lambda: None,
                               lambda: self.p1.Mount(), 12)

    def test_while_a_passphrase_is_adopted(self):
        self.swap_at_each_step("volume", ("other-volume",), self.mount,
                               lambda: self.p1.RemapLUKS(SECRET), 25 if ALL else 11)


if __name__ == "__main__":
    perimond.main()
