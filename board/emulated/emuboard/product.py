"""Builds the daemon for the board and installs it into the image as a package would."""

import json
import os
import shlex
import shutil

from .common import SOURCE, Stamp, run, say
from .image import archive, cross
from .packages import Packages, lists, unpack

CROSS_FILE = """\
[binaries]
c = {cache}'aarch64-linux-gnu-gcc']
cpp = {cache}'aarch64-linux-gnu-g++']
ar = 'aarch64-linux-gnu-ar'
strip = 'aarch64-linux-gnu-strip'
pkgconfig = 'pkg-config'
exe_wrapper = {emulator}

[properties]
sys_root = '{sysroot}'
pkg_config_libdir = '{sysroot}/usr/lib/aarch64-linux-gnu/pkgconfig:{sysroot}/usr/share/pkgconfig'

[built-in options]
c_args = ['--sysroot={sysroot}']
cpp_args = ['--sysroot={sysroot}']
c_link_args = ['--sysroot={sysroot}']
cpp_link_args = ['--sysroot={sysroot}']

[host_machine]
system = 'linux'
cpu_family = 'aarch64'
cpu = 'aarch64'
endian = 'little'
"""


class Product:
    """The daemon, built against a sysroot: unpacked arm64 development packages. Nothing of another
    architecture is installed on this machine, whose own packages therefore stay as they are."""

    def __init__(self, folder):
        self.folder = folder
        self.top = folder.product
        self.sysroot = folder.sysroot
        self.cross_file = self.top / "arm64.ini"
        self.build_folder = self.top / "build"
        self.installed = self.top / "installed"

    @property
    def emulator(self):
        """The command that runs a program of the board on this machine. QEMU's own option for a
        sysroot would take the root folder, which libudev opens to follow links, for that, too."""
        libraries = self.sysroot / "usr/lib/aarch64-linux-gnu"
        return ["qemu-aarch64", str(libraries / "ld-linux-aarch64.so.1"), "--library-path",
                str(libraries)]

    def build(self, tests=False):
        """Builds and installs the daemon; @tests: builds its tests as well."""
        self._configure()
        self._compile([] if tests else self._installed_targets())
        self._install()

    def compile(self):
        """Builds the daemon and its tests."""
        self._configure()
        self._compile([])

    def _configure(self):
        self.top.mkdir(parents=True, exist_ok=True)
        self._sysroot()
        cache = "['ccache', " if shutil.which("ccache") else "["
        text = CROSS_FILE.format(sysroot=self.sysroot, cache=cache, emulator=self.emulator)
        if (self.build_folder / "build.ninja").exists() and self.cross_file.read_text() == text:
            return
        say("board: configuring the daemon for arm64")
        shutil.rmtree(self.build_folder, ignore_errors=True)
        self.cross_file.write_text(text)
        run(["meson", "setup", self.build_folder, SOURCE, "--cross-file", self.cross_file,
             "--prefix=/usr", "--sysconfdir=/etc", "--localstatedir=/var",
             "--libdir=lib/aarch64-linux-gnu"])

    def _compile(self, targets):
        say("board: building the daemon for arm64")
        run([SOURCE / "tools/build", self.build_folder, *targets])

    def _installed_targets(self):
        targets = json.loads(run(["meson", "introspect", "--targets", self.build_folder]))
        return [os.path.relpath(name, self.build_folder) for target in targets
                if target["installed"] for name in target["filename"]]

    def _sysroot(self):
        wanted, left_out = lists("sysroot")
        files = Packages(self.folder).fetch("the sysroot", wanted, left_out)
        stamp = Stamp(self.sysroot, [file.name for file in files])
        if stamp.fits():
            return
        say("board: unpacking the sysroot")
        unpack(files, self.sysroot)
        # Absolute links would lead out of the sysroot.
        for link in self.sysroot.rglob("*"):
            if link.is_symlink() and os.readlink(link).startswith("/"):
                target = self.sysroot / os.readlink(link).lstrip("/")
                link.unlink()
                link.symlink_to(os.path.relpath(target, link.parent))
        stamp.set()

    def _for_plugins(self):
        """The environment in which an outside author builds a plugin for the board."""
        libraries = self.sysroot / "usr/lib/aarch64-linux-gnu/pkgconfig"
        return {**os.environ, "CC": f"{cross('gcc')} --sysroot={self.sysroot} -O2 -g",
                "PKG_CONFIG_LIBDIR": f"{libraries}:{self.sysroot}/usr/share/pkgconfig",
                "PKG_CONFIG_SYSROOT_DIR": str(self.sysroot)}

    def _plugin(self):
        """Builds the board's model plugin as an outside author does: by pkg-config, against the
        development files of the package, which for that are installed in the sysroot."""
        for name in "include/tarvelperimond", "share/pkgconfig":
            shutil.copytree(self.installed / "usr" / name, self.sysroot / "usr" / name,
                            dirs_exist_ok=True)
        environment = self._for_plugins()
        folder = run(["pkg-config", "--variable=plugindir", "tarvelperimond"], env=environment)
        run(["make", "-s", "-B", "-C", SOURCE / "plugins/emu", f"OUT={self.top}",
             f"DESTDIR={self.installed}", "PLUGIN_DIR=" + folder.strip().removeprefix(
                 str(self.sysroot)), "install"], env=environment)

    def compile_plugin(self, source, target):
        """Builds another plugin, of one file."""
        environment = self._for_plugins()
        flags = run(["pkg-config", "--cflags", "tarvelperimond"], env=environment)
        run([*shlex.split(environment["CC"]), "-Wall", "-Wextra", *shlex.split(flags), "-fPIC",
             "-shared", "-o", target, source])

    def _install(self):
        shutil.rmtree(self.installed, ignore_errors=True)
        run(["meson", "install", "-C", self.build_folder, "--no-rebuild", "--quiet", "--destdir",
             self.installed])
        self._plugin()
        stamp = Stamp(self.top / "initrd", self.installed,
                      self.folder.image / "board.cpio.made-from")
        if stamp.fits():
            return
        run(["systemctl", f"--root={self.installed}", "enable", "--quiet",
             "tarvelperimond.service"])
        archive(self.installed, self.top / "product.cpio")
        new = self.top / "initrd.part"
        with open(new, "wb") as out:
            for part in self.folder.image / "board.cpio", self.top / "product.cpio":
                with open(part, "rb") as data:
                    shutil.copyfileobj(data, out, 1 << 20)
        new.rename(self.top / "initrd")
        stamp.set()
