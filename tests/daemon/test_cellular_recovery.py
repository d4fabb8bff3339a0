"""What the recovery of a module in its protection mode may spend, across restarts of the computer."""

import os
import re

import perimond
from probe import DEVICE, ProbeTest

RECORD = "/etc/tarvel/TarvelPerimond/.telit_reboot_record"
STANDINS = os.environ.get("PERIMOND_TEST_STANDINS", "")
NO_POWER_CYCLE = "<error> [Socket/S1] Telit is in protected mode, please repair it manually"
NO_SHUTDOWN = "<error> [Socket/S1] Please implement socket shutdown function"
CYCLES = "PWR_CYCLE_RECOVERY_TIMES_FOR_TELIT"
RESTARTS = "REBOOT_CYCLE_TIMES_FOR_TELIT"


class RecoveryTest(ProbeTest):
    """A socket that leaves the module as it is, and tells so in the log. The restart of the computer
    is noted, and ends the daemon."""

    init = ("slot-for-cell S1 0 48 -1",)
    granted = {}

    def prepare(self):
        super().prepare()
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        self.environment = {**self.environment, CYCLES: None, RESTARTS: None, **self.granted,
                            "LD_PRELOAD": os.path.join(STANDINS, "standin-restart.so"),
                            "ASAN_OPTIONS": f"{sanitizer}:verify_asan_link_order=0"}
        self.sh("mkdir /run/calls")

    def sh(self, script, **options):
        return self.world.run("sh", "-euc", script, **options)

    def keep(self, content):
        """Puts a record there."""
        with open(self.record_path, "wb") as file:
            file.write(content)

    @property
    def record_path(self):
        return os.path.join(self.world.settings, os.path.basename(RECORD))

    @property
    def record(self):
        with open(self.record_path, "rb") as file:
            return file.read().decode()

    def recover(self):
        """A module comes up in its protection mode; what follows from that. The daemon is there
        again when the computer has been restarted."""
        mark = len(self.log_lines())
        restarts = self.restarts()
        self.send("cell-recover Socket/S1", "log 2 end-of-recovery")
        perimond.wait_until(lambda: "<info>  end-of-recovery" in self.log_lines()[mark:]
                            or self.daemon.poll() is not None, "the recovery ends")
        if "<info>  end-of-recovery" not in self.log_lines()[mark:]:
            self.assertEqual((self.wait_for_exit(), self.restarts()), (-9, restarts + 1))
            # Of the event nothing is left after a restart.
            self.world.do("change", *DEVICE, "COMMAND=")
        lines = [line for line in self.log_lines()[mark:]
                 if re.search(r"Remaining|Socket/S1\]|Failed|not restarted|recovered|nothing", line)]
        if self.daemon is None:
            self.start_daemon()
        return lines

    def calls(self):
        return self.sh("cat /run/calls/record 2>/dev/null || true").splitlines()

    def restarts(self):
        return self.calls().count("reboot RB_AUTOBOOT")

    def spent(self, events=10):
        """Power cycles and restarts that so many events lead to."""
        cycles = sum(line == NO_POWER_CYCLE for _ in range(events) for line in self.recover())
        return cycles, self.restarts()


def remaining(cycles, restarts):
    return f"<info>  Remaining: Power Cycle Telit Times {cycles}, Reboot OS Times {restarts}"


class NothingGrantedTest(RecoveryTest):
    def test_without_record_and_environment_an_empty_record_is_begun_and_nothing_done(self):
        for event in 1, 2:
            with self.subTest(event=event):
                self.assertEqual(self.recover(),
                                 [remaining(0, 0), "<info>  [Probe] nothing left"])
                self.assertEqual(self.record, "")
        self.assertEqual(os.stat(self.record_path).st_mode & 0o777, 0o400)
        self.assertEqual(self.restarts(), 0)

    def test_a_record_grants_power_cycles(self):
        self.keep(b"PWR=2 REBOOT=0")
        self.assertEqual(self.recover(), [remaining(2, 0), NO_POWER_CYCLE,
                                          "<info>  [Probe] recovered"])
        self.assertEqual(self.record, "PWR=1 REBOOT=0")
        self.assertEqual(self.spent(3), (1, 0))
        self.assertEqual(self.record, "PWR=0 REBOOT=0")

    def test_a_record_is_on_the_disk_before_the_computer_restarts(self):
        self.keep(b"PWR=0 REBOOT=1")
        self.assertEqual(self.recover()[:2], [remaining(0, 1), NO_SHUTDOWN])
        self.assertEqual(self.record, "PWR=0 REBOOT=0")
        calls = self.calls()
        self.assertEqual(calls[-2:], ["sync", "reboot RB_AUTOBOOT"])
        folder = os.path.dirname(RECORD)
        self.assertEqual(calls[-4:-2], [f"fsync {folder}/.perimond-unfinished", f"fsync {folder}"])

    def test_what_is_no_record_grants_nothing(self):
        for content in (b"", b"\n", b"garbage", b"PWR=2", b"PWR=2 REBOOT=", b"PWR= REBOOT=1",
                        b"PWR=-1 REBOOT=-1", b"PWR=99999999999 REBOOT=1", b"REBOOT=1 PWR=1",
                        b"\xff\xfePWR=1 REBOOT=1", b"PWR=x REBOOT=1", b"\0" * 100000,
                        b" " * 40 + b"PWR=1 REBOOT=1"):
            with self.subTest(content[:40]):
                self.keep(content)
                self.assertEqual(self.recover()[1:], ["<info>  [Probe] nothing left"])
                os.unlink(self.record_path)
        self.assertEqual(self.restarts(), 0)

    def test_a_shorter_record_leaves_nothing_of_a_longer_one(self):
        self.keep(b"PWR=100 REBOOT=100\nPWR=9 REBOOT=9")
        self.assertEqual(self.recover()[0], remaining(100, 100))
        self.assertEqual(self.record, "PWR=99 REBOOT=100")

    def test_a_module_that_has_come_up_in_order_clears_the_record(self):
        self.keep(b"PWR=0 REBOOT=0")
        told = "<debug> [Cellular/M1] Failed to clear record or no record"
        self.assertIn(told, self.act("cell le910 M1 -"))
        self.assertFalse(os.path.exists(self.record_path))
        self.keep(b"PWR=0 REBOOT=0")
        self.assertNotIn(told, self.act("cell le910 M1 -", "cell le910c4wwx M2 -", "cell fn990 M3 -"))
        self.assertEqual(self.record, "PWR=0 REBOOT=0")

    def test_without_a_record_there_is_nothing_to_clear_or_to_tell(self):
        self.assertNotIn("record", "".join(self.act("cell le910 M1 -")))


class GrantedTest(RecoveryTest):
    granted = {CYCLES: "2", RESTARTS: "1"}

    def test_ten_events_spend_what_the_environment_grants_and_no_more(self):
        # Two at first, two more after the restart.
        self.assertEqual(self.spent(10), (4, 1))
        self.assertEqual(self.record, "PWR=0 REBOOT=0")

    def test_a_restart_gives_the_power_cycles_back(self):
        self.keep(b"PWR=0 REBOOT=1")
        self.recover()
        self.assertEqual(self.record, "PWR=2 REBOOT=0")
        self.assertEqual(self.restarts(), 1)

    def test_a_record_counts_more_than_the_environment(self):
        self.keep(b"PWR=0 REBOOT=0")
        self.assertEqual(self.spent(3), (0, 0))

    def test_a_link_is_not_followed(self):
        self.sh(f"echo 'PWR=5 REBOOT=5' >/run/elsewhere; ln -s /run/elsewhere {RECORD}")
        self.assertEqual(self.spent(7), (4, 1))
        self.assertEqual(self.sh("cat /run/elsewhere"), "PWR=5 REBOOT=5\n")

    def test_a_computer_that_does_not_restart_is_told(self):
        self.sh("touch /run/calls/no-reboot")
        self.keep(b"PWR=0 REBOOT=1")
        self.assertIn("<error> Failed to restart the computer: Operation not permitted",
                      self.recover())
        self.assertEqual(self.record, "PWR=2 REBOOT=0")


class FolderTest(RecoveryTest):
    granted = {CYCLES: "1", RESTARTS: "1"}

    def test_what_cannot_be_counted_is_spent_once_and_the_computer_not_restarted(self):
        self.sh(f"mkdir -p {RECORD}/inside")
        first = self.recover()
        self.assertEqual(first, [f"<error> Failed to create {RECORD}", remaining(1, 1),
                                 NO_POWER_CYCLE, "<error> Failed to set reboot times",
                                 "<info>  [Probe] recovered"])
        self.assertIn("<error> Computer not restarted, since the restart cannot be counted",
                      self.recover())
        self.assertEqual(self.restarts(), 0)
        self.assertEqual(self.sh(f"ls {RECORD}"), "inside\n")


class FullDiskTest(RecoveryTest):
    granted = {CYCLES: "1", RESTARTS: "2"}

    def full(self):
        """A small disk without room beside what is in it."""
        self.sh("dd if=/dev/zero of=/etc/tarvel/TarvelPerimond/filler bs=4k 2>/dev/null || true")

    def setUp(self):
        super().setUp()
        self.stop_daemon()
        self.sh("mount -t tmpfs -o size=64k none /etc/tarvel/TarvelPerimond")

    @property
    def record(self):
        return self.sh(f"cat {RECORD}")

    def test_an_old_record_is_written_over(self):
        self.sh(f"echo 'PWR=1 REBOOT=2 and more' >{RECORD}")
        self.full()
        self.start_daemon()
        self.assertEqual(self.spent(8), (3, 2))
        self.assertEqual(self.record, "PWR=0 REBOOT=0")

    def test_a_record_without_room_grants_nothing_after_a_restart(self):
        self.full()
        self.start_daemon()
        cycles, restarts = self.spent(8)
        self.assertLessEqual(cycles, 3)
        self.assertLessEqual(restarts, 2)


class CapTest(RecoveryTest):
    def test_the_environment_grants_at_most_five(self):
        for text, granted in (("9", 5), ("5", 5), ("3", 3), ("0", 0), ("-1", 5), ("x", 0), ("", 0),
                              ("99999999999999999999", 5), ("-99999999999999999999", 5)):
            self.stop_daemon()
            if os.path.exists(self.record_path):
                os.unlink(self.record_path)
            self.world.do("change", *DEVICE, "COMMAND=")
            self.start_daemon(**{CYCLES: text, RESTARTS: text})
            with self.subTest(text):
                self.assertEqual(self.recover()[0], remaining(granted, granted))


if __name__ == "__main__":
    perimond.main()
