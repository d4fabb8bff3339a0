"""Power cuts while settings are written: the emulator is killed, nothing is told beforehand."""

import concurrent.futures
import configparser
import os
import random
import re
import unittest

from boardtest import BOARDS_TO_CUT, FOLDER, HERE, PLUGIN, UNIT
from emuboard.machine import Board
from emuboard.product import Product
from perimond.world import wait_until

SETTINGS = "TarvelPerimond/peripheral-settings.conf"
# A name of capitals, digits, or digits behind capitals could be a person's.
LEFT = r"peripheral-settings\.conf(\nperipheral-settings\.conf\.[A-Z]*[0-9]*)*"
CUTS = int(os.environ.get("PERIMOND_TEST_CUTS", "10"))
# What else is stored. The file is larger than a page and than a block of the disk.
OTHERS = {f"DIO/D{n}": {"Event": str(n % 4), "HookName": "x" * 80} for n in range(60)}


class PowerCutTest(unittest.TestCase):
    maxDiff = None

    def prepare(self, name):
        """A board whose daemon writes settings to its disk on a word, as a snapshot."""
        board = Board(FOLDER, name)
        self.addCleanup(board.cut)
        board.start()
        plugin = board.top / "settings-writer.so"
        Product(FOLDER).compile_plugin(HERE / "settings-writer.c", plugin)
        board.put(PLUGIN, plugin.read_bytes())
        text = "[Counter]\nCount=1\n" + "".join(
            f"\n[{group}]\n" + "".join(f"{key}={value}\n" for key, value in keys.items())
            for group, keys in OTHERS.items())
        board.call("mount /dev/vda /mnt && mkdir /mnt/TarvelPerimond")
        board.put(f"/mnt/{SETTINGS}", text.encode())
        # The board knows nothing of the disk when it is saved: its content will have moved on.
        board.call("umount /mnt && blockdev --flushbufs /dev/vda && "
                   f"journalctl --rotate && journalctl --vacuum-size=1 && systemctl restart {UNIT}")
        board.wait_started()
        board.snapshot("writing")
        board.cut()
        return board

    def cut_and_look(self, board, writes):
        """Lets the daemon write until the disk has seen that many writes, which is somewhere in the
        midst of saving, then cuts the power; returns the counter that the file held before, and
        those that the daemon had stored."""
        board.restore("writing")
        # Else ext4 writes the content out when a file takes another's place, whoever forgets to.
        text = board.call("blockdev --flushbufs /dev/vda && "
                          "mount -o noauto_da_alloc /dev/vda /etc/tarvel && "
                          f"cat /etc/tarvel/{SETTINGS} && "
                          "echo change > /sys/class/net/lo/uevent")
        file = configparser.ConfigParser()
        file.optionxform = str
        file.read_string(text)
        count = int(file["Counter"].pop("Count"))
        self.assertEqual({group: dict(file[group]) for group in file.sections() if file[group]},
                         OTHERS)
        before = self.disk_writes(board)
        wait_until(lambda: self.disk_writes(board) >= before + writes, "the daemon writes", 60)
        board.cut()
        stored = re.findall(r"^stored (\d+)\r?$", (board.top / "serial.log").read_text(), re.M)
        return count, [int(number) for number in stored]

    @staticmethod
    def disk_writes(board):
        return sum(disk["stats"]["wr_operations"] for disk in board.monitor.ask("query-blockstats")
                   if disk.get("device") == "disk")

    def run_cuts(self, name):
        board = self.prepare(name)
        chance = random.Random(name)
        counts, stored = zip(*[self.cut_and_look(board, chance.randrange(5, 45))
                               for _ in range(CUTS // len(BOARDS_TO_CUT))])
        # What the last cut has left
        board.restore("writing")
        board.call("blockdev --flushbufs /dev/vda && mount /dev/vda /etc/tarvel")
        count = board.call(f"sed -n s/Count=//p /etc/tarvel/{SETTINGS}")
        board.call(f"systemctl restart {UNIT}")
        # The daemon tidies up once it has its name, which is all that systemd waits for. Files that a
        # cut left half written go, but for those that somebody may have named so.
        wait_until(lambda: re.fullmatch(LEFT, board.call("ls -A /etc/tarvel/TarvelPerimond")),
                   "the half written files go", 20)
        return [*counts, int(count)], stored

    def test_the_settings_are_whole_after_each_power_cut(self):
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for counts, stored in pool.map(self.run_cuts, BOARDS_TO_CUT):
                for before, told, after in zip(counts, stored, counts[1:]):
                    self.assertEqual(told, list(range(before + 1, before + 1 + len(told))))
                    # The last value that was stored, or the one that was being stored
                    self.assertIn(after, (before + len(told), before + len(told) + 1))
                # The cuts came amid writes.
                self.assertGreater(len(set(counts)), CUTS // 4)
                print(f"settings written {counts[-1]} times in {len(counts) - 1} power cuts")


if __name__ == "__main__":
    unittest.main(verbosity=2)
