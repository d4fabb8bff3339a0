"""Disks and partitions on the simulated board.

Their nodes hold nothing: what a device holds is a file below /run/disks of the board, which the
libraries of tests/standins find. File systems are made for real and probed for real; mounted in
their place is an empty one in memory, by a helper program such as mount.ext4."""

import contextlib
import os

from perimond import wait_until, world
from probe import ProbeTest

STANDINS = os.environ.get("PERIMOND_TEST_STANDINS", "")
COMMAND_LINE = "console=ttyS0 root=/dev/mmcblk0p2 rw"

SETUP = r"""
standin=$1 board=$2 line=$3
mkdir -p /run/disks/dev/mapper /run/calls /run/mappings /run/real
library=$(readlink -f /usr/lib/*/libcryptsetup.so.12)
cp "$library" /run/real/libcryptsetup.so.12
mount --bind "$standin" "$library"
mount -t tmpfs none /dev/mapper
printf '%s\n' "$line" >/run/cmdline
mount --bind /run/cmdline /proc/cmdline
script() {
    rm -f "/usr/sbin/$1"
    printf '#!/bin/sh\nunset LD_PRELOAD\n%s note "$0" "$@"\n[ ! -e /run/calls/%s ] || . /run/calls/%s\n%s\n' \
        "$board" "$1" "$1" "$2" >"/usr/sbin/$1"
    chmod 755 "/usr/sbin/$1"
}
for type in ext2 ext4; do script mount.$type 'exec mount -i -t tmpfs "$@"'; done
script umount.tmpfs 'exec umount -i "$1"'
for type in ext4 EXT4 fat ntfs; do script mkfs.$type 'exec /usr/sbin/mke2fs -q -O ^has_journal -t ext4 -F "/run/disks$2"'; done
"""

# Lines that say nothing of storage, or come at their own time.
OTHERS = ("[Udev]", "[Probe]", " end-", "[Config]", "[Common]", "[LUKS]", "mount table changed",
          "[PartitionLedService]", "[Manager]", "Object created", "[CONFIG/LUKS]")


_SANITIZER = os.environ.get("ASAN_OPTIONS", "")
# Of the daemon.
ENVIRONMENT = {"LD_PRELOAD": os.path.join(STANDINS, "standin-storage.so"),
               "ASAN_OPTIONS": f"{_SANITIZER}:verify_asan_link_order=0"}


def set_up(where, line=COMMAND_LINE):
    """Puts the stand-ins on a board, before the daemon starts."""
    where.do("preset", "/dev/mapper/control", "")
    where.run("sh", "-euc", SETUP, "sh", os.path.join(STANDINS, "standin-cryptsetup.so"),
              os.path.abspath(world.BOARD), line)


class StorageTest(ProbeTest):
    """A slot USB of type 1, empty."""

    command_line = COMMAND_LINE
    init = ("disk USB 1",)
    storage_environment = {}
    _first_mounts = ()  # the world's own

    def prepare(self):
        super().prepare()
        self.environment = {**self.environment, **self.storage_environment, **ENVIRONMENT}
        set_up(self.world, self.command_line)
        self._first_mounts = self.mounts()

    def sh(self, script, *arguments, **options):
        """Runs a shell script on the board."""
        return self.world.run("sh", "-euc", script, "sh", *arguments, **options)

    # -- the world

    def blank(self, device, size="20M"):
        self.sh('truncate -s "$2" "/run/disks$1"', device, size)

    def filesystem(self, device, kind="ext4", uuid="01234567-89ab-cdef-0123-456789abcdef"):
        self.sh('/usr/sbin/mke2fs -q -F -O ^has_journal -t "$2" -U "$3" "/run/disks$1" 1M', device, kind, uuid)

    def call(self, function, script):
        """What happens at each call of a library's function, or in a helper program."""
        self.sh('printf "%s\n" "$2" >"/run/calls/$1"', function, script)

    def refuse(self, function, calls_before=0):
        """The call fails; so many calls before it do not."""
        self.call(function, f"n=$(cat /run/n.{function} 2>/dev/null || echo 0); "
                  f"echo $((n + 1)) >/run/n.{function}; [ $n -lt {calls_before} ]")

    def allow(self, function):
        self.sh('rm -f "/run/calls/$1" "/run/n.$1"', function)

    def calls(self, *functions):
        """The calls of those functions so far, as "function argument"."""
        with contextlib.suppress(FileNotFoundError):
            return [line for line in self.world.read("/run/calls/record").splitlines()
                    if line.split(" ")[0] in functions]
        return []

    def noted(self, program):
        """The arguments of each run of a helper program."""
        return [data for _, _, data, _ in
                self.world.accesses(f"*/{program}", ("run",))]

    def mounts(self):
        """Sources and targets of what is mounted from devices by now."""
        found = []
        for line in self.sh("cat /proc/self/mountinfo").splitlines():
            before, _, after = line.partition(" - ")
            source = after.split(" ")[1]
            mount = (source, before.split(" ")[4])
            if source.startswith("/dev/") and mount not in self._first_mounts:
                found.append(mount)
        return found

    # -- devices

    def lines(self, *verbs):
        """The daemon's lines about storage while the verbs act."""
        mark = len(self.log_lines())
        for verb in verbs:
            self.world.do(*verb)
        self.act()
        return [line for line in self.log_lines()[mark:]
                if line and not any(other in line for other in OTHERS)]

    def told(self, *commands):
        """What the plugin finds out."""
        return [line.removeprefix("<info>  [Probe] ") for line in self.act(*commands)
                if "[Probe]" in line]

    def disk(self, node, *keys, slot="USB"):
        """The verb that plugs a disk into the slot."""
        return ("plug", "block", node, "devtype=disk", f"node={node}",
                f"COMMAND=disk-event Disk/{slot}", *keys)

    def partition(self, node, disk="sda", *keys, slot="USB"):
        return ("plug", "block", node, "devtype=partition", f"node={node}",
                f"parent=platform/board/block/{disk}", f"COMMAND=disk-event Disk/{slot}", *keys)

    def insert(self, *nodes, slot="USB"):
        """A disk and its partitions; the lines that it leads to."""
        first, *others = nodes
        return self.lines(self.disk(first, "ID_PART_TABLE_TYPE=gpt", slot=slot),
                          *(self.partition(node, first, slot=slot) for node in others))

    def unplug(self, node):
        return self.lines(("unplug", "block", node))

    def wait_for(self, identifier, **properties):
        """Waits until the object has these properties."""
        obj = self.bus_object(identifier)
        for name, value in properties.items():
            wait_until(lambda: obj.get(name) == value,
                       f"{name} of {identifier} is {value!r}, not {obj.get(name)!r}")

