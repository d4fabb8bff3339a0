"""A key of a Linux input device that a GPIO line makes."""

import struct

import perimond
from perimond import wait_until
from probe import ProbeTest

LINE = 9
NAME = "a key of the board with a name that is longer than the field has room for, by far"[:79]
SYN = (0, 0, 0)


def key(value):
    return (1, 256, value)


class UinputTest(perimond.FastTime, ProbeTest):
    def prepare(self):
        super().prepare()
        self.world.do("add-uinput")
        self.world.do("preset", "/dev/uinput-bits", "raw:")
        self.world.do("turn", LINE, 1)

    def make(self):
        return self.act(f"uinput {LINE}")[-1]

    def made(self):
        """Makes the key and waits until its thread waits for the line."""
        self.assertEqual(self.make(), "<info>  [Probe] key has a thread, running 1")
        wait_until(lambda: ("ioctl", "create") in self.uses(), "the device is there")
        wait_until(lambda: self.value_reads() >= 2, "the line is watched")

    def value_reads(self):
        return len(self.world.accesses(f"*/gpio{LINE}/value", ("read",)))

    def uses(self):
        """What was asked of the device, in order."""
        return [(operation, data.partition(" ")[2] if operation == "ioctl" else data)
                for operation, _, data, _ in self.world.accesses("/dev/uinput*", ("ioctl", "write", "close"))]

    def events(self):
        text = "".join(data for _, path, data, _ in self.world.accesses("/dev/uinput", ("write",)))
        raw = text.encode().decode("unicode_escape").encode("latin-1")
        size = struct.calcsize("llHHi")
        found = [struct.unpack("llHHi", raw[at:at + size]) for at in range(0, len(raw), size)]
        self.assertTrue(all(event[:2] == (0, 0) for event in found), "the time is 0")
        return [event[2:] for event in found]

    def turn(self, level, count):
        self.world.do("turn", LINE, level)
        wait_until(lambda: len(self.events()) >= count, "the events arrive")

    def test_the_device_is_made_with_its_one_key(self):
        self.made()
        self.assertEqual(self.uses()[:4], [("write", "UI_SET_EVBIT 1"), ("close", ""),
                                           ("write", "UI_SET_KEYBIT 256"), ("close", "")])
        self.assertEqual(self.uses()[4:6], [("ioctl", f"setup bus=3 id=0 effects=0 name={NAME}"), ("ioctl", "create")])
        self.assertIn("both", [data for _, _, data, _ in self.world.accesses(f"*/gpio{LINE}/edge")])

    def test_a_low_level_presses_the_key_and_a_high_one_releases_it(self):
        self.made()
        self.turn(0, 2)
        self.turn(1, 4)
        self.turn(0, 6)
        self.assertEqual(self.events(), [key(1), SYN, key(0), SYN, key(1), SYN])

    def test_a_second_creation_does_nothing(self):
        self.made()
        self.assertEqual(self.make(), "<info>  [Probe] key has a thread, running 1")
        self.assertEqual([use for use in self.uses() if use == ("ioctl", "create")], [("ioctl", "create")])

    def test_the_device_stays_a_second_for_its_readers(self):
        self.made()
        self.world.do("record", "--clear")
        self.assertEqual(self.act("uinput -")[-1], "<info>  [Probe] key has no thread, running 0")
        self.assertEqual((self.waits(), self.uses()), ([1000], [("ioctl", "destroy"), ("close", "")]))

    def test_a_key_can_be_made_again(self):
        for _ in range(2):
            self.made()
            self.act("uinput -")
            self.world.do("record", "--clear")

    def test_a_line_that_cannot_be_read_makes_no_thread(self):
        self.world.do("fail", f"*/gpio{LINE}/value", "read", "EIO")
        self.assertEqual(self.make(), "<info>  [Probe] key has no thread, running 0")

    def assert_ends(self, *lines):
        """The thread ends by itself after these lines; the key is ended by the plugin all the same."""
        for line in lines:
            self.wait_for_log(line)
        self.assertEqual(self.act("uinput -")[-1], "<info>  [Probe] key has no thread, running 0")

    def test_an_edge_that_cannot_be_set_ends_it(self):
        self.make()
        self.act("uinput -")
        for operation, word in (("open", "open"), ("write", "write")):
            self.world.do("fail", f"*/gpio{LINE}/edge", operation, "EACCES")
            self.make()
            self.assert_ends(f"<error> {word} /sys/class/gpio/gpio{LINE}/edge fail")
            self.world.do("heal")

    def test_a_device_that_cannot_be_made_ends_it_silently(self):
        for path, operation in (("/dev/uinput", "open"), ("/dev/uinput-bits", "write"), ("/dev/uinput", "ioctl")):
            with self.subTest(path=path, operation=operation):
                self.world.do("fail", path, operation, "ENODEV")
                self.make()
                self.assert_ends()
                self.world.do("heal")
        self.assertEqual([line for line in self.log_lines() if line.startswith("<error>")], [])

    def test_a_line_that_fails_while_it_is_watched_ends_the_device_a_second_later(self):
        self.made()
        self.world.do("record", "--clear")
        self.world.do("fail", f"*/gpio{LINE}/value", "read", "EIO")
        self.world.do("turn", LINE, 0)
        self.wait_for_log("<error> read fail")
        wait_until(lambda: ("ioctl", "destroy") in self.uses(), "the device goes")
        self.assertEqual((self.waits(), self.events()), ([1000], []))
        self.assert_ends()


if __name__ == "__main__":
    perimond.main()
