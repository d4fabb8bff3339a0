"""Makes the board's root file system, kernel, device trees and boot environment.

No arm64 program runs while they are made and nothing needs root: what the packages' maintainer
scripts would have done is done here by hand.
"""

import pathlib
import shutil
import struct
import subprocess
import zlib

from .common import HERE, BoardError, Stamp, run, say, word_list
from .modules import build_modules
from .packages import Packages, lists, unpack

# What a board that lives for seconds does without. logind is left out for another reason: it obeys
# the power and restart keys, so that a pressed button would shut the board down. A getty on
# ttyAMA0 would keep that port busy.
MASKED_UNITS = """
    systemd-logind.service getty.target kmod-static-nodes.service systemd-modules-load.service
    systemd-sysctl.service timers.target paths.target swap.target cryptsetup.target
    integritysetup.target veritysetup.target dev-mqueue.mount dev-hugepages.mount
    sys-kernel-tracing.mount sys-kernel-debug.mount sys-fs-fuse-connections.mount
    proc-sys-fs-binfmt_misc.automount ldconfig.service systemd-hwdb-update.service
    systemd-journal-catalog-update.service systemd-update-done.service
    systemd-random-seed.service systemd-pcrphase.service systemd-pcrphase-sysinit.service
    systemd-update-utmp.service systemd-update-utmp-runlevel.service
    systemd-machine-id-commit.service systemd-firstboot.service e2scrub_reap.service
    """.split()

# The board's own programs, each of one source file
PROGRAMS = ("agent", "serial")

DROPPED_RULES = ["*camera*", "*v4l*", "*sound*", "*drm*", "*joystick*", "*alsa*", "*infiniband*"]

ENVIRONMENT = {"modelname": "PERIMOND-EMU", "serialnumber": "EMU0000001", "console_enable": "1"}
ENVIRONMENT_SIZE = 0x4000
DISK_SIZE = 64 << 20

# Register page, as far as it is not zero when the kernel starts: offset and 32-bit word.
BOARD_REGISTERS = {
    # Bank 0: what pulls up the active-low LED, the keys and the I2C lines
    0x0008: 1 << 3 | 1 << 8 | 1 << 9 | 1 << 20 | 1 << 21,
    # UARTs: transmitter empty
    0x9098: 0x8,
    0xA098: 0x8,
    0xB098: 0x8,
}


def chip_id(part):
    return {0x4000: 1 << 28 | part << 12 | 0x2F}


# The processors: overlay, and what their registers hold
COMPUTERS = {
    "imx8mp": ("imx8mp.dtso", {0x8800: 0x824311}),  # chip revision register
    "am64x": ("ti.dtso", chip_id(0xBB38)),
    "am62x": ("ti.dtso", chip_id(0xBB7E)),
}


def cross(tool):
    return f"aarch64-linux-gnu-{tool}"


def boot_environment(values):
    """A U-Boot environment as U-Boot stores it: checksum, NAME=VALUE entries, zeros."""
    body = b"".join(f"{name}={value}\0".encode() for name, value in values.items()) + b"\0"
    body = body.ljust(ENVIRONMENT_SIZE - 4, b"\0")
    return struct.pack("<I", zlib.crc32(body)) + body


def archive(tree, target):
    """Packs a folder as an initramfs; the kernel unpacks several of them one over the other."""
    with open(target, "wb") as out, subprocess.Popen(
            ["find", ".", "-mindepth", "1", "-print0"], cwd=tree, stdout=subprocess.PIPE) as names:
        done = subprocess.run(["cpio", "-0", "-o", "-H", "newc", "-R", "0:0", "--quiet"], cwd=tree,
                              stdin=names.stdout, stdout=out)
    if done.returncode != 0:
        raise BoardError(f"cannot pack {tree}")


class Image:
    def __init__(self, folder):
        self.folder = folder
        self.top = folder.image
        self.root = self.top / "root"
        self.cpio = self.top / "board.cpio"
        self.kernel = self.top / "vmlinuz"
        self.version = self.top / "kernel-version"

    def build(self, update=False):
        self.top.mkdir(parents=True, exist_ok=True)
        packages = Packages(self.folder)
        if update:
            packages.update()
        wanted, left_out = lists("image")
        files = packages.fetch("the image", wanted, left_out)
        kernel, headers = packages.fetch_kernel()
        stamp = Stamp(self.cpio, [file.name for file in [*files, kernel, *headers]],
                      HERE / "image/root", HERE / "image/modules", HERE / "modules",
                      *[HERE / f"{name}.c" for name in PROGRAMS], pathlib.Path(__file__))
        if not stamp.fits():
            say("board: making the image")
            unpack(files, self.root)
            self._add_kernel(kernel, headers)
            self._configure()
            archive(self.root, self.cpio)
            with open(self.top / "disk.img", "wb") as disk:
                disk.truncate(DISK_SIZE)
            run(["mke2fs", "-q", "-F", "-t", "ext4", "-L", "board", self.top / "disk.img"])
            stamp.set()
        self._device_trees()

    def _add_kernel(self, package, headers):
        tree = self.top / "kernel"
        shutil.rmtree(tree, ignore_errors=True)
        run(["dpkg-deb", "-x", package, tree])
        image = next((tree / "boot").glob("vmlinuz-*"))
        version = image.name.removeprefix("vmlinuz-")
        shutil.copyfile(image, self.kernel)
        self.version.write_text(version)
        run(["depmod", "-b", tree, version])
        modules = set()
        for name in word_list(HERE / "image/modules"):
            steps = run(["modprobe", "-d", tree, "-S", version, "--show-depends", name])
            modules |= {line.split()[1] for line in steps.splitlines() if line.startswith("insmod")}
        for module in modules:
            target = self.root / "usr" / pathlib.Path(module).relative_to(tree)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(module, target)
        build_modules(headers, version, self.top / "modules",
                      self.root / "usr/lib/modules" / version / "extra")
        for name in "modules.order", "modules.builtin", "modules.builtin.modinfo":
            shutil.copyfile(tree / "lib/modules" / version / name,
                            self.root / "usr/lib/modules" / version / name)
        run(["depmod", "-b", self.root, version])
        shutil.rmtree(tree)

    def _configure(self):
        root = self.root
        shutil.copytree(HERE / "image/root", root, symlinks=True, dirs_exist_ok=True)
        run(["systemd-sysusers", f"--root={root}"])
        for name in "shadow", "gshadow":
            (root / "etc" / name).chmod(0o600)  # whoever is not root could not pack them else
        # GLib looks for the bus below /var/run, libubootenv for its lock below /var/lock: with folders
        # there one would find none, the other one that nobody keeps for root.
        for name, target in ("run", "/run"), ("lock", "/run/lock"):
            place = root / "var" / name
            shutil.rmtree(place, ignore_errors=True)
            place.unlink(missing_ok=True)
            place.symlink_to(target)
        (root / "usr/bin/awk").unlink(missing_ok=True)
        (root / "usr/bin/awk").symlink_to("mawk")
        (root / "init").symlink_to("usr/lib/systemd/systemd")
        (root / "etc/machine-id").write_text("6d1f0c5e2b7a4c5d9e8f7a6b5c4d3e2f\n")
        (root / "etc/hostname").write_text("perimond-emu\n")
        (root / "etc/fstab").write_text("")
        (root / "etc/fw_env.config").write_text(f"/boot/uboot.env 0x0000 {ENVIRONMENT_SIZE:#x}\n")
        (root / "boot").mkdir(exist_ok=True)
        (root / "boot/uboot.env").write_bytes(boot_environment(ENVIRONMENT))
        for folder in "proc", "sys", "dev", "run", "tmp", "root", "mnt", "media":
            (root / folder).mkdir(exist_ok=True)
        (root / "tmp").chmod(0o1777)
        units = root / "etc/systemd/system"
        for unit in MASKED_UNITS:
            (units / unit).unlink(missing_ok=True)
            (units / unit).symlink_to("/dev/null")
        (units / "default.target").symlink_to("/usr/lib/systemd/system/multi-user.target")
        shutil.rmtree(root / "usr/lib/systemd/system-generators", ignore_errors=True)
        for pattern in DROPPED_RULES:
            for rule in (root / "usr/lib/udev/rules.d").glob(pattern):
                rule.unlink()
        for name in PROGRAMS:
            run([cross("gcc"), "-O2", "-Wall", "-Wextra", "-s", "-o",
                 root / f"usr/libexec/board-{name}", HERE / f"{name}.c"])

    def _device_trees(self):
        """QEMU's own device tree with the board's peripherals laid over it."""
        from .machine import MACHINE
        stamp = Stamp(self.top / "trees", MACHINE, *sorted(HERE.glob("*.dtso")),
                      pathlib.Path(__file__))
        if stamp.fits():
            return
        base = self.top / "base.dtb"
        machine = list(MACHINE)
        machine[machine.index("-M") + 1] += f",dumpdtb={base}"
        run(["qemu-system-aarch64", *machine, "-nodefaults", "-display", "none"])
        clock = run(["fdtget", base, "/apb-pclk", "phandle"]).strip()

        def overlay(name):
            text = self.top / name
            text.write_text((HERE / name).read_text().replace("CLOCK", clock))
            run(["dtc", "-q", "-@", "-O", "dtb", "-o", text.with_suffix(".dtbo"), text])
            return text.with_suffix(".dtbo")

        for name, (processor, registers) in COMPUTERS.items():
            run(["fdtoverlay", "-i", base, "-o", self.top / f"{name}.dtb", overlay("board.dtso"),
                 overlay(processor)])
            page = bytearray(0x10000)
            for offset, word in {**BOARD_REGISTERS, **registers}.items():
                struct.pack_into("<I", page, offset, word)
            (self.top / f"{name}.regs").write_bytes(page)
        stamp.set()
