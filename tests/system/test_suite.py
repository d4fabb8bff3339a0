"""The daemon's own tests, on the board: the daemon built for 64-bit Arm runs on simulated boards
inside it, one for each test, so that what no real kernel does at will happens here, too."""

import concurrent.futures
import pathlib
import re
import shutil
import time
import unittest

from boardtest import FOLDER, UNIT, BoardTest
from emuboard.common import SOURCE, Stamp, run
from emuboard.packages import Packages, lists, unpack
from emuboard.product import Product

TESTS = SOURCE / "tests/daemon"
BUILD = Product(FOLDER).build_folder
DISK_SIZE = "192M"
# Everything takes twenty to thirty times as long as on the host, and most of what these see on a
# simulated board is seen on this one's own kernel by the other system tests.
LEFT_OUT = ("button", "button_actions", "buzzer", "console", "dio", "dio_hooks", "led_services")
# These look at files of the source and the build, which have no architecture.
OF_THE_SOURCE = ("installation", "interface_description", "policy")
FILES = [path for path in sorted(TESTS.glob("test_*.py"))
         if path.stem.removeprefix("test_") not in (*LEFT_OUT, *OF_THE_SOURCE)]
TIME_SCALE = 4  # the time limits of the tests are wide, but not that wide
AT_ONCE = 2  # the board's processors
ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin",
    "PYTHONDONTWRITEBYTECODE": "1",
    "PYTHONPATH": "/mnt/tests",
    "PERIMOND_TEST_BOARD": "/mnt/tarvelperimond-board",
    "PERIMOND_TEST_DAEMON": "/usr/sbin/tarvelperimond",
    "PERIMOND_TEST_PLUGIN": "/mnt/libzolv-model-perimond-sim.so",
    "PERIMOND_TEST_PLUGINS": "/mnt/plugins",
    "PERIMOND_TEST_POLICY": "/usr/share/dbus-1/system.d/com.tarvel.Perimond.conf",
    "PERIMOND_TEST_TIME_SCALE": str(TIME_SCALE),
}


def make_disk():
    """The disk with what the tests need: interpreter, libraries, simulated board, plugins, tests."""
    folder = FOLDER.top / "tests"
    disk, tree = folder / "disk.img", folder / "tree"
    packages = Packages(FOLDER)
    on_board = set(packages.fetch("the image", *lists("image")))
    files = [file for file in packages.fetch("the tests", *lists("tests")) if file not in on_board]
    binaries = [BUILD / "board/tarvelperimond-board",
                BUILD / "board/libsocketcan-board.so",
                BUILD / "plugins/libzolv-model-perimond-sim.so",
                *sorted((BUILD / "tests/plugin").glob("*.so"))]
    stamp = Stamp(disk, [file.name for file in files], *binaries, TESTS, pathlib.Path(__file__))
    if stamp.fits():
        return disk
    folder.mkdir(exist_ok=True)
    unpack(files, tree)
    shutil.copytree(TESTS, tree / "tests", ignore=shutil.ignore_patterns("__pycache__"))
    (tree / "plugins").mkdir()
    for binary in binaries:
        shutil.copy(binary, tree / ("plugins" if binary.parent.name == "plugin" else "."))
    # On the board each start of an interpreter would compile the library anew, for seven seconds.
    run(["/usr/bin/python3", "-m", "compileall", "-q", "-s", tree, "--invalidation-mode",
         "unchecked-hash", tree / "usr/lib/python3.11", tree / "usr/lib/python3", tree / "tests"])
    disk.unlink(missing_ok=True)
    run(["mke2fs", "-q", "-t", "ext4", "-d", tree, disk, DISK_SIZE])
    shutil.rmtree(tree)
    stamp.set()
    return disk


class DaemonTests(BoardTest):
    """One method for each of the files."""

    @classmethod
    def setUpClass(cls):
        cls.disk = make_disk()
        super().setUpClass()
        cls.systemctl("stop", UNIT)
        cls.board.call("mount -o ro /dev/vda /mnt && modprobe -a fuse overlay && "
                       "mount -t overlay tests -o lowerdir=/mnt/usr:/usr /usr")
        pool = cls.enterClassContext(concurrent.futures.ThreadPoolExecutor(AT_ONCE))
        cls.addClassCleanup(pool.shutdown, cancel_futures=True)
        cls.runs = {path: pool.submit(cls.run_file, path) for path in FILES}

    @classmethod
    def run_file(cls, path):
        settings = " ".join(f"{name}={value}" for name, value in ENVIRONMENT.items())
        began = time.monotonic()
        result = cls.board.run(f"env -i {settings} python3 /mnt/tests/{path.name}", timeout=3600)
        return result, time.monotonic() - began


def add(path):
    def test(self):
        result, seconds = self.runs[path].result()
        self.cases = len(re.findall(r"(?m)^ok \d+ - ", result.out))
        print(f"{self.cases} cases in {seconds:.0f} s ", end="")
        self.assertEqual(result.status, 0, result.out[result.out.find("not ok"):] + result.err)
        self.assertRegex(result.out, rf"(?m)^1\.\.{self.cases}$")

    setattr(DaemonTests, path.stem, test)


for file in FILES:
    add(file)

if __name__ == "__main__":
    unittest.main(verbosity=2)
