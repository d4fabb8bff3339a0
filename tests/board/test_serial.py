"""Serial nodes keep what programs set, and refuse what a driver without it refuses."""

import fcntl
import os

import perimond

CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "serial_client.py")
NODE = "/dev/ttyX0"


class SerialTest(perimond.BoardTest):
    def setUp(self):
        super().setUp()
        self.world.do("add-serial", "ttyX0")

    def request(self, *words, node=NODE):
        return self.world.run("/usr/bin/python3", CLIENT, node, *words).strip()

    def shown(self, name="ttyX0"):
        return self.world.do("serial", name)

    def test_what_a_program_sets_is_read_back_and_shown(self):
        self.assertEqual(self.request("port", "0x31"), "0x31")
        self.assertEqual(self.request("rs485", "0x13"), "0x13")
        self.assertEqual(self.request("port"), "0x31")
        self.assertEqual(self.shown(), "port=0x31 rs485=0x13\n")

    def test_a_command_sets_what_a_program_reads(self):
        self.world.do("serial", "/dev/ttyX0", "port=0xffffffff", "rs485=4")
        self.assertEqual((self.request("port"), self.request("rs485")), ("0xffffffff", "0x4"))

    def test_a_driver_knows_what_it_is_told_to_know(self):
        self.assertEqual(self.request("mode"), "ENOTTY")
        self.assertEqual(self.request("other"), "ENOTTY")
        self.world.do("add-serial", "ttyX1", "knows=mode", "mode=1")
        self.assertEqual(self.request("mode", "2", node="/dev/ttyX1"), "0x2")
        self.assertEqual(self.request("port", node="/dev/ttyX1"), "ENOTTY")
        self.assertEqual(self.shown("ttyX1"), "mode=0x2\n")

    def test_all_are_listed(self):
        self.world.do("add-serial", "sub/ttyX2", "port=1", "knows=port")
        listed = self.world.do("serial").splitlines()
        self.assertIn("ttyX0 port=0x0 rs485=0x0", listed)
        self.assertIn("sub/ttyX2 port=0x1", listed)

    def test_an_open_that_would_wait_for_a_carrier_is_refused(self):
        with self.assertErrno("EAGAIN"):
            os.open(self.world.path(NODE), os.O_RDWR)
        os.close(os.open(self.world.path(NODE), os.O_RDWR | os.O_NONBLOCK))

    def test_one_request_can_fail(self):
        self.world.do("fail", NODE, "ioctl:0x541F", "EINVAL", 1)
        self.assertEqual(self.world.do("faults"), f"{NODE} ioctl:0x541f EINVAL 1\n")
        self.assertEqual(self.request("rs485", "1"), "0x1")
        self.assertEqual(self.request("port"), "0x0")
        self.assertEqual(self.request("port", "1"), "EINVAL")
        self.assertEqual(self.request("port", "1"), "0x1")
        self.world.do("fail", NODE, "ioctl", "EIO", 1)
        self.assertEqual(self.request("rs485"), "EIO")

    def test_the_record_tells_what_was_set(self):
        self.world.do("record", "--clear")
        self.request("port", "0x31")
        self.assertEqual(self.world.accesses(NODE, ("open", "ioctl", "close")),
                         [("open", NODE, "", "0"), ("ioctl", NODE, "0x541e", "0"),
                          ("ioctl", NODE, "0x541f port=0x31", "0"), ("close", NODE, "", "0")])

    def test_a_node_that_was_unplugged_is_gone(self):
        self.world.do("plug", "tty", "ttyX0", "node=ttyX0", "link=/dev/serial/by-path/a-port0")
        self.assertEqual(self.request("port", "3", node="/dev/serial/by-path/a-port0"), "0x3")
        self.world.do("unplug", "tty", "ttyX0")
        self.assertEqual(self.request("port"), "ENOENT")
        self.assertNotIn("ttyX0", self.world.do("serial"))
        with self.assertRaisesRegex(perimond.BoardError, "there is no serial node ttyX0"):
            self.shown()

    def test_a_program_that_has_it_open_is_hung_up(self):
        node = os.open(self.world.path(NODE), os.O_RDWR | os.O_NONBLOCK)
        self.addCleanup(os.close, node)
        self.world.do("absent", NODE)
        with self.assertErrno("EIO"):
            fcntl.ioctl(node, 0x541E)

    def test_wrong_words_are_refused(self):
        for words, text in ((("serial", "ttyX0", "speed=1"), "has no 'speed'"),
                            (("serial", "ttyX0", "port=one"), "is not a number"),
                            (("serial", "nowhere"), "there is no serial node"),
                            (("fail", NODE, "ioctl:one", "EIO"), "is not a number"),
                            (("register", "/etc/x", "0"), "is not below /sys or /dev"),
                            (("link", "/etc/x", "y"), "is not below /sys or /dev")):
            with self.subTest(words), self.assertRaisesRegex(perimond.BoardError, text):
                self.world.do(*words)


class LinkTest(perimond.BoardTest):
    def test_programs_make_links_below_dev_only(self):
        self.world.run("ln", "-s", "ttyX9", "/dev/COM9")
        self.assertEqual(os.readlink(self.world.path("/dev/COM9")), "ttyX9")
        with self.assertErrno("EEXIST"):
            os.symlink("other", self.world.path("/dev/COM9"))
        with self.assertErrno("EACCES"):
            os.symlink("other", self.world.path("/sys/class/COM9"))
        os.unlink(self.world.path("/dev/COM9"))
        self.assertFalse(os.path.lexists(self.world.path("/dev/COM9")))

    def test_a_command_puts_links(self):
        self.world.do("preset", "/sys/class/x/one", "1")
        self.world.do("link", "/sys/class/x/other", "one")
        self.assertEqual(self.world.read("/sys/class/x/other"), "1\n")


class RegisterTest(perimond.BoardTest):
    PATH = "/sys/devices/platform/fpga/rs485_en"

    def test_it_takes_0_and_1(self):
        self.world.do("register", self.PATH, "0\\n")
        self.world.write(self.PATH, "1")
        self.assertEqual(self.world.read(self.PATH), "1\n")
        for wrong in ("2", "x", "11"):
            with self.subTest(wrong), self.assertErrno("EINVAL"):
                self.world.write(self.PATH, wrong)

    def test_a_command_may_have_it_show_anything(self):
        for text in ("x", "", "10"):
            self.world.do("register", self.PATH, text)
            self.assertEqual(self.world.read(self.PATH), text)


if __name__ == "__main__":
    perimond.main()
