"""Device events: what the kernel and udev tell reaches the model plugin's handler, in order."""

import collections
import re
import unittest

from boardtest import BoardTest
from perimond.world import wait_until

EVENT = re.compile(r"<info>  \[Board\] (\S+) (\S+) '(.*)'")


def events(lines):
    """The events that the plugin's handler was given, as (action, subsystem, name)."""
    return [match.groups() for match in map(EVENT.fullmatch, lines) if match]


class DevicesTest(BoardTest):
    def wait_events(self, mark, condition, what):
        """Waits until the events since a mark are as they should be; returns them."""
        return events(self.wait_lines(mark, lambda lines: condition(events(lines)), what))


class ScanTest(BoardTest):
    def test_the_scan_passes_every_device_of_the_computer_once(self):
        lines = self.restart()
        seen = collections.Counter(events(lines))
        # Every device has a link to its subsystem.
        links = self.board.call("ls -l $(busybox find /sys/devices -name subsystem -type l)")
        wanted = collections.Counter(
            ("add", target.rsplit("/", 1)[1], path.split("/")[-2]) for path, target in
            (line.split(maxsplit=8)[8].split(" -> ") for line in links.splitlines()))
        # A "/" in a device's name is a "!" in sysfs.
        self.assertEqual(collections.Counter(
            (action, subsystem, name.replace("/", "!")) for action, subsystem, name in
            seen.elements()), wanted)


class HotPlugTest(DevicesTest):
    SUBSYSTEMS = ("usb", "usbmisc", "tty", "net", "block", "input", "mdio_bus")

    def test_what_udev_announces_arrives_in_its_order(self):
        matches = " ".join(f"-s {subsystem}" for subsystem in self.SUBSYSTEMS)
        early = self.mark()
        # The monitor listens once it has heard of "lo".
        self.board.call(f"udevadm monitor -u {matches} > /tmp/announced 2>&1 & "
                        "until grep -q /net/lo /tmp/announced; do "
                        "echo change > /sys/class/net/lo/uevent; sleep 0.2; done; udevadm settle")
        mark = self.mark()
        devices = {"stick": "block", "cable": "net", "keys": "input", "port": "tty"}
        for name, subsystem in devices.items():
            self.do("plug", subsystem, name)
        for subsystem in devices.values():
            self.wait_events(mark, lambda seen: any(event[:2] == ("add", subsystem)
                                                    for event in seen), f"{subsystem} appears")
        self.board.call("udevadm settle")
        for name in devices:
            self.do("unplug", name)
        for subsystem in devices.values():
            self.wait_events(mark, lambda seen: any(event[:2] == ("remove", subsystem)
                                                    for event in seen), f"{subsystem} goes")
        self.board.call("udevadm settle")
        self.do("plug", "usb", "last")
        self.wait_events(mark, lambda seen: seen[-1][0] == "bind", "the last one")
        wait_until(lambda: " bind " in self.board.call("grep ^UDEV /tmp/announced | tail -n 1"),
                   "the monitor has heard of the last one, too", 30)
        self.board.call("udevadm settle; sleep 0.5; pkill udevadm")
        # UDEV  [52.322623] add      /devices/.../usb1/1-2 (usb)
        announced = self.after_lo(
            (words[2], words[4].strip("()"), words[3]) for words in
            map(str.split, self.board.call("grep ^UDEV.*/devices/ /tmp/announced |"
                                           " tr -s '[ '").splitlines()))
        self.assertEqual({(action, subsystem) for action, subsystem, _ in announced
                          if action in ("add", "remove")},
                         {(action, subsystem) for action in ("add", "remove")
                          for subsystem in ("usb", "block", "net", "input", "tty")})
        # The handler knows names; the same name comes again as the same or as a later device.
        paths = collections.defaultdict(list)
        for action, subsystem, path in announced:
            paths[action, subsystem, path.rsplit("/", 1)[1]].append(path)
        seen = [(*event[:2], paths[event].pop(0) if paths[event] else None)
                for event in self.after_lo(events(self.lines_since(early)))]
        self.assertEqual(sorted(map(str, seen)), sorted(map(str, announced)))
        # udev keeps the order of a device and what it hangs on. Devices of which neither hangs on
        # the other are announced by different processes at the same time.
        for path in {path for _, _, path in announced}:
            def in_line(event):
                return f"{path}/".startswith(f"{event[2]}/")
            self.assertEqual(list(filter(in_line, seen)), list(filter(in_line, announced)))

    @staticmethod
    def after_lo(seen):
        """The events after those of "lo": what comes before is left from another test."""
        seen = list(seen)
        return seen[max(place for place, event in enumerate(seen)
                        if event[2].rsplit("/", 1)[-1] == "lo") + 1:]

    def test_a_device_that_comes_back_is_heard_of_each_time(self):
        for _ in range(3):
            for command, action in (("plug", "add"), ("unplug", "remove")):
                mark = self.mark()
                self.do(command, "input", "again")
                self.wait_events(mark, lambda seen: any(
                    event[:2] == (action, "input") and event[2].startswith("event")
                    for event in seen), f"{action} of the event device")


class BurstTest(DevicesTest):
    COUNT = 900

    def test_a_burst_of_events_loses_none_and_keeps_each_devices_order(self):
        self.board.call("mkdir -p /run/systemd/journald.conf.d && printf '[Journal]\\n"
                        "RateLimitIntervalSec=0\\n' > /run/systemd/journald.conf.d/burst.conf && "
                        "systemctl restart systemd-journald")
        self.restart()
        mark = self.mark()
        # The daemon sleeps meanwhile, so that all of them pile up. Turns of "change" and "offline": a
        # lost or swapped event of a device breaks the pattern.
        daemon = self.property("MainPID")
        self.board.call(f"kill -STOP {daemon}")
        self.board.call(
            f"n=0; while [ $n -lt {self.COUNT} ]; do for d in /sys/class/tty/tty[1-9]; do "
            "echo change > $d/uevent; echo offline > $d/uevent; n=$((n+2)); done; done",
            timeout=900)
        self.board.call(f"udevadm settle --timeout=900; kill -CONT {daemon}", timeout=900)

        def of_ttys(seen):
            return [event for event in seen if event[1] == "tty"]
        rounds = -(-self.COUNT // 18)
        seen = self.wait_events(mark, lambda seen: len(of_ttys(seen)) >= rounds * 18,
                                "every event of the burst")
        per_device = collections.defaultdict(list)
        for action, _, name in of_ttys(seen):
            per_device[name].append(action)
        self.assertEqual(dict(per_device),
                         {f"tty{n}": ["change", "offline"] * rounds for n in range(1, 10)})


if __name__ == "__main__":
    unittest.main(verbosity=2)
