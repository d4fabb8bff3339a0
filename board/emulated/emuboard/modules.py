"""Builds the board's own kernel modules: what neither QEMU nor Debian's kernel has."""

import shutil

from .common import HERE, run
from .packages import EXCLUDED, unpack


def build_modules(headers, version, work, target):
    """Builds the sources in modules/ with the kernel's header packages, and lays the modules into
    @target. @work is a folder for it, which is made anew."""
    unpack(headers, work / "headers", [*EXCLUDED, "./usr/share"])
    tree = work / f"headers/usr/src/linux-headers-{version}"
    makefile = tree / "Makefile"
    # It names its place on the computer where the package is installed.
    makefile.write_text(makefile.read_text().replace(" /usr/src/", f" {work}/headers/usr/src/"))
    sources = work / "sources"
    shutil.copytree(HERE / "modules", sources, dirs_exist_ok=True)
    run(["make", "-C", tree, "ARCH=arm64", "CROSS_COMPILE=aarch64-linux-gnu-", f"M={sources}",
         "W=1", "modules"])
    target.mkdir(parents=True)
    for module in sources.glob("*.ko"):
        run(["aarch64-linux-gnu-strip", "--strip-debug", "-o", target / module.name, module])
    shutil.rmtree(work)
