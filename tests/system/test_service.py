"""The installed package on a computer: systemd, the journal, the model, the bus policy."""

import re
import time
import unittest

from boardtest import STARTED, UNIT, BoardTest
from gi.repository import Gio, GLib
from interface_table import ADMIN, INTERFACES, OPERATE, READ
from introspection import interfaces
from journal import message
from perimond.world import scaled

OBJECTS = ["Button/RESET", "Button/USER", "Buzzer/ALARM", "Buzzer/TONE", "CAN/CAN1", "CAN/CAN2",
           "Console/CONSOLE1", "DIO/DI1", "DIO/DI2", "DIO/DIO1", "DIO/DO1", "DIO/DO2",
           "Disk/FLASH", "Ethernet/LAN1", "LED/ALARM", "LED/RADIO", "LED/STICK", "LED/SYS",
           "LED/USER", "SerialPort/P1", "SerialPort/P2", "SerialPort/P3", "SerialPort/P4"]

# Warnings and errors in the journal of a board that has just booted, each with its cause
EXPLAINED = {
    r"kernel: hrtimer: interrupt took \d+ ns": "the emulation was held up by the host",
    r"kernel: pci-host-generic .*: Memory resource size exceeds max for 32 bits":
        "QEMU's PCI bridge has a window above 4 GiB",
    r"kernel: clocksource: timekeeping watchdog on CPU\d+: .*":
        "the emulation was held up by the host",
    r"kernel: sched: RT throttling activated": "the emulation was held up by the host",
    r"kernel: device-mapper: core: CONFIG_IMA_DISABLE_HTABLE is disabled\. .*":
        "dm-mod tells how the kernel was configured",
    r"tarvelperimond: <warn>  \[Disk\] Fail to match regex info /proc/cmdline with .*":
        "the board's root file system is in memory",
    r"tarvelperimond: <warn>  \[Config\] Failed to load config file: No such file or directory":
        "the first start: nothing is stored yet",
    r"tarvelperimond: <warn>  \[Config\] Failed to read property from config file: Key file does "
    r"not have (group|key) .*": "the first start: nothing is stored yet",
}


class BootTest(BoardTest):
    def test_systemd_has_started_it_at_boot_and_nothing_has_failed(self):
        self.assertEqual([self.property(name) for name in
                          ("Type", "ActiveState", "SubState", "Result", "NRestarts")],
                         ["dbus", "active", "running", "success", "0"])
        self.assertEqual(self.board.call("systemctl is-system-running"), "running")
        status = self.systemctl("status", "--no-pager", "--lines=0", UNIT)
        self.assertRegex(status, r"Loaded: loaded \(.*; enabled; preset: enabled\)")
        self.assertRegex(status, r"Active: active \(running\)")

    def test_its_lines_are_in_the_journal_in_order(self):
        lines = [message(entry).rstrip("\n") for entry in self.journal("-u", UNIT)
                 if entry.get("SYSLOG_IDENTIFIER") == "tarvelperimond"]
        text = "\n".join(lines)
        wanted = ["<info>  [Manager] TarvelPerimond process started",
                  "<info>  [Manager] Acquired system bus",
                  "<info>  [Manager] Use model plugin 'libzolv-model-perimond-emu.so'",
                  "<info>  [Manager] Acquired service name 'com.tarvel.Perimond'",
                  "<info>  [Manager] Running platform init function",
                  "<info>  [LED/SYS] Exported at '/com/tarvel/Perimond/LED/SYS'",
                  "<info>  [Udev] Start listening",
                  "<info>  [Udev] Start device scanning",
                  "<info>  [LNV Client] Started",
                  STARTED]
        places = [text.find(line) for line in wanted]
        self.assertNotIn(-1, places)
        self.assertEqual(places, sorted(places))

    def test_no_warning_is_left_unexplained(self):
        entries = self.journal("-b", "-p", "warning")
        # The daemon writes its level into the line; the journal takes every line as information.
        entries += [entry for entry in self.journal("-u", UNIT)
                    if re.match("<(warn|error)", message(entry))]
        texts = [f"{entry.get('SYSLOG_IDENTIFIER')}: {message(entry)}" for entry in entries]
        self.assertEqual([text for text in texts if not any(
            re.fullmatch(pattern, text) for pattern in EXPLAINED)], [])

    def test_it_is_installed_as_the_package_says(self):
        files = {"/usr/sbin/tarvelperimond": "755 root",
                 "/usr/lib/aarch64-linux-gnu/tarvelperimond/libzolv-model-perimond-emu.so":
                     "644 root",
                 "/usr/share/dbus-1/system.d/com.tarvel.Perimond.conf": "644 root",
                 "/lib/systemd/system/tarvelperimond.service": "644 root"}
        for path, wanted in files.items():
            self.assertEqual(self.board.call(f"stat -c '%a %U' {path}"), wanted, path)
        self.assertEqual(self.board.call("stat -c '%a %U' /run/lock/fw_printenv.lock"), "600 root")
        self.assertIn("perimond", self.board.call("id -nG operator").split())

    def test_the_published_interface_is_the_promised_one(self):
        self.assertEqual(self.objects(), OBJECTS)
        for identifier in "", *OBJECTS:
            kind = "com.tarvel.Perimond" + (
                f".Obj.{identifier.split('/')[0]}" if identifier else "")
            seen = interfaces(self.bus_object(identifier).introspect())
            wanted = INTERFACES[kind]
            self.assertEqual({name: arguments for name, (_, *arguments)
                              in seen[kind].methods.items()},
                             {name: arguments for name, (_, *arguments)
                              in wanted.methods.items()})
            self.assertEqual((seen[kind].signals, seen[kind].properties),
                             (wanted.signals, wanted.properties))

    def test_numbers_have_the_full_range_of_their_types(self):
        led = self.bus_object("LED/SYS")
        for state in 2**31, 2**32 - 1:
            with self.assertBusError("InvalidArgument", "Invalid LED state"):
                led.SetState(state)


class LifeTest(BoardTest):
    def pid(self):
        return int(self.property("MainPID"))

    def test_it_is_started_again_after_a_kill(self):
        for signal in "KILL", "SEGV":
            before, mark = self.pid(), self.mark()
            self.board.call(f"kill -{signal} {before}")
            self.started_since(mark)
            self.assertNotEqual(self.pid(), before)
            self.assertEqual(self.property("ActiveState"), "active")
            self.assertEqual(self.objects(), OBJECTS)

    def test_it_stops_in_order(self):
        mark = self.mark()
        self.systemctl("stop", UNIT)
        lines = self.lines_since(mark)
        self.assertEqual(lines[:2], ["<info>  [Manager] Caught signal, Start to shutdown process",
                                     "<info>  [Manager] Running platform shutdown function"])
        for name in OBJECTS:
            self.assertLess(lines.index(f"<info>  [{name}] Unexported"),
                            lines.index(f"<info>  [{name}] Object destroyed"))
        self.assertEqual(lines[-2:], ["<info>  [Manager] TarvelPerimond Shutdown finished",
                                      "<info>  [Manager] TarvelPerimond process shut down"])
        self.assertEqual([self.property(name) for name in ("Result", "ExecMainStatus",
                                                           "ActiveState")],
                         ["success", "0", "inactive"])
        self.restart()

    def test_a_program_that_calls_it_during_a_restart_is_not_left_waiting(self):
        mark, before = self.mark(), self.owner()
        self.systemctl("restart", "--no-block", UNIT)
        began = time.monotonic()
        slowest, errors, other = 0, set(), False
        while not other and time.monotonic() < began + scaled(30):
            called = time.monotonic()
            try:
                self.assertEqual(self.bus_object("").call(
                    "org.freedesktop.DBus.Properties", "Get",
                    GLib.Variant("(ss)", ("com.tarvel.Perimond", "ModelName"))), "PERIMOND-EMU")
                other = self.owner() != before
            except GLib.Error as error:
                errors.add(Gio.DBusError.get_remote_error(error))
            slowest = max(slowest, time.monotonic() - called)
        self.assertTrue(other)
        self.assertLess(slowest, scaled(8))  # a call to nobody would wait for 20 s, scaled as well
        self.assertLessEqual(errors, {f"org.freedesktop.DBus.Error.{name}" for name in
                                      ("ServiceUnknown", "NameHasNoOwner", "NoReply")})
        self.started_since(mark)

    def owner(self):
        return self.bus_object("/", "root", "org.freedesktop.DBus").call(
            "org.freedesktop.DBus", "GetNameOwner", GLib.Variant("(s)", ("com.tarvel.Perimond",)))


class IdentityTest(BoardTest):
    FUSE = 1 << 9  # bit 1 of the second byte: closed

    def manager(self, name):
        return self.bus_object("").get(name)

    def start_again(self):
        """Starts the daemon, which may end, and returns its lines."""
        mark = self.mark()
        self.systemctl("restart", "--no-block", UNIT)
        return self.wait_lines(
            mark, lambda lines: any(line == STARTED or "Failed to create manager" in line
                                    for line in lines), "the daemon starts or ends")

    def mend(self):
        """The boot environment as the board has it."""
        self.do("env", "modelname", "PERIMOND-EMU")
        self.do("env", "serialnumber", "EMU0000001")

    def test_model_and_serial_number_come_from_the_boot_environment(self):
        self.assertEqual([self.manager(name) for name in ("ModelName", "SerialNumber", "Version")],
                         ["PERIMOND-EMU", "EMU0000001", "1.57.3"])
        self.addCleanup(self.mend)
        self.do("env", "modelname", "perimond-emu-T")
        self.do("env", "serialnumber", "X 42")
        self.restart()
        self.assertEqual([self.manager(name) for name in ("ModelName", "SerialNumber")],
                         ["perimond-emu-T", "X 42"])

    def test_an_unknown_model_ends_it_and_systemd_tries_again(self):
        self.addCleanup(self.mend)
        self.do("env", "modelname", "QX-9")
        lines = self.start_again()
        self.assertIn("<error> [Manager] Failed to create manager: model 'QX-9' not supported",
                      lines)
        mark = self.mark()
        self.mend()
        self.started_since(mark)

    def test_a_missing_serial_number_is_named(self):
        self.addCleanup(self.mend)
        self.do("unenv", "serialnumber")
        self.assertIn("<error> [Manager] Failed to create manager: "
                      "read 'serialnumber' from ubootenv failed", self.start_again())
        mark = self.mark()
        self.mend()
        self.started_since(mark)

    def test_security_is_the_fuse_of_an_imx8mp(self):
        self.assertIs(self.manager("Security"), False)
        fuses = self.board.lines.FUSES
        for word, secure in (self.FUSE, True), (0xFFFFFFFF & ~self.FUSE, False):
            self.board.lines.write_word(fuses, word)
            self.restart()
            self.assertIs(self.manager("Security"), secure)
        self.board.lines.write_word(fuses, 0)


class OtherComputerTest:
    """The other processor families: the same board with another device tree."""

    def security(self, *command):
        """Security after a command and a new start; the boot environment would say that it is."""
        self.do(*command)
        self.restart()
        self.assertEqual(self.bus_object("").get("ModelName"), "PERIMOND-EMU")
        return self.bus_object("").get("Security")

    def test_its_family_is_known(self):
        self.assertEqual(self.board.call("cat /sys/devices/soc0/family"), self.family)

    def test_what_cannot_be_read_is_not_secure(self):
        self.assertIs(self.security("env", "secure", "1"), False)


class Am64xTest(OtherComputerTest, BoardTest):
    computer, family = "am64x", "AM64X"

    def test_security_is_the_first_byte_of_the_locked_otp_area(self):
        self.do("env", "secure", "1")
        for lock, area, secure in (("locked", r"\xfe\x00\x00\x00", True),
                                   ("unlocked", r"\xfe\x00\x00\x00", False),
                                   ("locked", r"\xff\xfe\xfe\xfe", False),
                                   ("locked", "", False)):
            with self.subTest(lock=lock, area=area):
                self.assertIs(self.security("otp", 0, lock, area), secure)
        self.do("absent", "/dev/mtd0")


class Am62xTest(OtherComputerTest, BoardTest):
    computer, family = "am62x", "AM62X"
    FILE = "/sys/kernel/tarvel/secure"

    def test_security_is_the_first_character_of_its_file(self):
        self.do("env", "secure", "1")
        for value, secure in ("1", True), ("0", False), ("10234", True), ("01", False):
            with self.subTest(value):
                self.assertIs(self.security("preset", self.FILE, value), secure)
        self.do("absent", self.FILE)


class PolicyTest(BoardTest):
    def test_everybody_reads(self):
        for user in "nobody", "operator", "root":
            led = self.bus_object("LED/SYS", user)
            self.assertIn(led.GetState(), (0, 1))
            self.assertEqual(led.get("Label"), "sys")
            self.assertEqual(self.bus_object("", user).get("SerialNumber"), "EMU0000001")

    def test_an_ordinary_user_is_refused_what_changes(self):
        led = self.bus_object("LED/SYS")
        led.SetState(0)
        other = self.bus_object("LED/SYS", "nobody")
        other.GetState()
        with self.assertBusError("org.freedesktop.DBus.Error.AccessDenied"):
            other.SetState(1)
        self.assertEqual((led.GetState(), self.board.read(0)), (0, 0))

    def test_the_group_may_operate_and_root_all(self):
        for user in "operator", "root":
            led = self.bus_object("LED/SYS", user)
            for state in 1, 0:
                led.SetState(state)
                self.assertEqual(self.board.read(0), state)

    def test_each_method_is_for_its_tier(self):
        allowed = {READ: {"nobody", "operator", "root"}, OPERATE: {"operator", "root"},
                   ADMIN: {"root"}}
        one_of_each = {name.split("/")[0]: name for name in OBJECTS}
        calls = [("", "com.tarvel.Perimond"), *[
            (name, interface) for kind, name in one_of_each.items()
            for interface in ("com.tarvel.Perimond.Obj", f"com.tarvel.Perimond.Obj.{kind}")]]
        wanted = {(name, interface, method): allowed[tier] for name, interface in calls
                  for method, (tier, *_) in INTERFACES[interface].methods.items()}
        wanted |= {(name, "org.freedesktop.DBus.Properties", "Set"): set()
                   for name in one_of_each.values()}
        self.assertEqual({(*call, user) for call, users in wanted.items() for user in users},
                         {(*call, user) for call in wanted for user in allowed[READ]
                          if self.reaches_the_daemon(user, *call)})

    def reaches_the_daemon(self, user, name, interface, method):
        """Whether the bus lets a call pass. No method takes these arguments, so none acts."""
        with self.assertRaises(GLib.Error) as caught:
            self.bus_object(name, user).call(interface, method, GLib.Variant("(yyyyy)", (0,) * 5))
        error = Gio.DBusError.get_remote_error(caught.exception)
        self.assertIn(error, [f"org.freedesktop.DBus.Error.{word}"
                              for word in ("InvalidArgs", "AccessDenied")], (name, method))
        return error.endswith("InvalidArgs")

    def test_nobody_but_root_may_take_the_name(self):
        self.systemctl("stop", UNIT)
        self.addCleanup(self.restart)
        for user in "nobody", "operator":
            with self.assertBusError("org.freedesktop.DBus.Error.AccessDenied"):
                self.bus(user).call_sync(
                    "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                    GLib.Variant("(su)", ("com.tarvel.Perimond", 4)), None, 0, -1, None)


if __name__ == "__main__":
    unittest.main(verbosity=2)
