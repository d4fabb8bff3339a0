"""The settings of a running daemon: whatever happens, what was stored stays whole."""

import os
import random

from gi.repository import GLib

import perimond
from probe import ProbeTest

NAME = "peripheral-settings.conf"
UNTOUCHED = "".join(f"[Disk/D{number}]\nAutoMount=true\nLabel={'x' * 50}\n\n"
                    for number in range(40))


class SettingsTest(ProbeTest):
    def prepare(self):
        super().prepare()
        self.path = os.path.join(self.world.settings, NAME)

    def write(self, data):
        with open(self.path, "wb") as file:
            file.write(data)

    def read(self):
        with open(self.path, encoding="utf-8") as file:
            return file.read()

    def stored(self):
        """The number in the file, which must be a key file with all its groups."""
        settings = GLib.KeyFile()
        settings.load_from_file(self.path, GLib.KeyFileFlags.NONE)
        self.assertEqual(len(settings.get_groups()[0]), 41)
        for number in range(40):
            self.assertTrue(settings.get_boolean(f"Disk/D{number}", "AutoMount"))
        return settings.get_integer("DIO/IN1", "Event")


class KillTest(SettingsTest):
    starts = False
    KILLS = 20

    def test_a_kill_at_any_instant_leaves_the_file_whole(self):
        self.write((UNTOUCHED + "[DIO/IN1]\nEvent=0\n").encode())
        chance = random.Random(1)
        last = 0
        for _ in range(self.KILLS):
            # The numbers go on where the file is: an older one would be a setting that was lost.
            self.start_daemon(wait=False, LOG_LEVEL="WARN",
                              PROBE_INIT=f"store DIO/IN1 Event {last + 1} 1000000")
            wanted = last + chance.randint(1, 150)
            seen = perimond.wait_until(lambda: self.stored() >= wanted and self.stored(),
                                       "settings are stored", 20)
            self.kill_daemon()
            last = self.stored()
            self.assertGreaterEqual(last, seen)
        self.start_daemon(PROBE_INIT="setting DIO/IN1 Event")
        self.assertIn(f"<info>  [Probe] setting is {last}", self.log_lines())
        # The start has swept what the kills left behind.
        self.assertEqual([entry.name for entry in os.scandir(self.world.settings)
                          if entry.is_file()], [NAME])


class UnchangedTest(perimond.DaemonTest):
    """What is there already is not written again: flash wears out."""

    def prepare(self):
        self.scripts = os.path.join(self.world.settings, "button-scripts")
        self.folders = [self.world.settings, self.scripts,
                        os.path.join(self.world.settings, "dio-scripts")]
        for folder in self.folders[1:]:
            os.makedirs(folder, exist_ok=True)
        with open(os.path.join(self.scripts, "default.script"), "w", encoding="ascii") as file:
            file.write("#!/bin/true\n")

    def changes(self):
        """What tells that something was written: in a folder, each name that comes or goes."""
        info = [os.stat(path) for path in (*self.folders, os.path.join(self.world.settings, NAME))]
        return [(item.st_ino, item.st_mtime_ns, item.st_ctime_ns) for item in info]

    def test_a_start_writes_nothing_that_is_there(self):
        self.stop_daemon()
        before = self.changes()
        self.start_daemon()
        self.stop_daemon()
        self.assertEqual(self.changes(), before)

    def test_a_call_writes_nothing_that_is_there(self):
        calls = [lambda: self.bus_object("DIO/DI1").SetEvent(2),
                 lambda: self.bus_object("Button/RESET").SetAction("default"),
                 lambda: self.bus_object("Console/CONSOLE1").SetIOState(1)]
        for call in calls:
            call()
        before = self.changes()
        for call in calls:
            call()
        self.assertEqual(self.changes(), before)
        self.bus_object("DIO/DI1").SetEvent(3)
        self.assertNotEqual(self.changes(), before)


class DamageTest(SettingsTest):
    GET = "setting DIO/IN1 Event"
    SET = "store DIO/IN1 Event 7 7"

    def damaged(self):
        path = f"{self.path}.damaged"
        if not os.path.exists(path):
            return None
        with open(path, "rb") as file:
            return file.read()

    def warnings(self, lines):
        return [line for line in lines if line.startswith(("<warn>", "<error>"))]

    def assertReplaced(self, data):
        """A file with that content gives no setting, stays as it is, is kept at the next set."""
        self.write(data)
        lines = self.act(self.GET)
        self.assertEqual(lines[-1], "<info>  [Probe] no setting")
        self.assertEqual(len(self.warnings(lines)), 1, lines)
        self.assertTrue(self.warnings(lines)[0].startswith(
            "<warn>  [Config] Failed to load config file: "), lines)
        self.act(self.SET)
        self.assertEqual(self.act(self.GET)[-1], "<info>  [Probe] setting is 7")
        self.assertEqual(self.read(), "[DIO/IN1]\nEvent=7\n")
        self.assertEqual(self.damaged(), data)

    def test_a_fresh_system_has_no_settings_and_gets_them(self):
        lines = self.act(self.GET)
        self.assertEqual(self.warnings(lines),
                         ["<warn>  [Config] Failed to load config file: No such file or directory"])
        self.act(self.SET)
        self.assertEqual(self.read(), "[DIO/IN1]\nEvent=7\n")
        self.assertEqual(os.stat(self.path).st_mode & 0o777, 0o644)

    def test_garbage_is_no_setting_and_is_kept_beside_the_next_file(self):
        self.assertReplaced(bytes(range(256)) * 8)

    def test_a_file_whose_later_half_is_garbage_is_not_half_used(self):
        self.assertReplaced(b"[DIO/IN1]\nEvent=3\n\xff\xfe\x00 garbage without a sign\n")

    def test_a_file_that_ends_in_its_middle_is_replaced(self):
        self.assertReplaced(b"[DIO/IN1]\nEvent=3\n[DIO/IN")

    def test_an_empty_file_is_a_file_without_settings(self):
        self.write(b"")
        self.assertEqual(self.act(self.GET)[-1], "<info>  [Probe] no setting")
        self.act(self.SET)
        self.assertEqual((self.read(), self.damaged()), ("[DIO/IN1]\nEvent=7\n", None))

    def test_a_folder_in_its_place_ends_nothing(self):
        os.mkdir(self.path)
        self.assertEqual(self.act(self.GET)[-1], "<info>  [Probe] no setting")
        self.act(self.SET)
        self.assertEqual(self.act("led ONE sim:green:ready")[-1],
                         "<info>  [LED/ONE] Exported at '/com/tarvel/Perimond/LED/ONE'")


if __name__ == "__main__":
    perimond.main()
