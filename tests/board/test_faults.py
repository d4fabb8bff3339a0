"""Any access can be made to fail, and each is recorded."""

import fcntl
import os
import time

import perimond

LINES = "/sys/class/gpio"
VALUE = f"{LINES}/gpio5/value"


class FaultsTest(perimond.BoardTest):
    def setUp(self):
        super().setUp()
        self.world.write("/sys/class/gpio/export", "5")
        self.world.do("record", "--clear")

    def test_each_operation_can_fail(self):
        cases = (("open", "EACCES", lambda: self.world.read(VALUE)),
                 ("read", "EIO", lambda: self.world.read(VALUE)),
                 ("write", "EROFS", lambda: self.world.write(VALUE, "1")),
                 ("find", "ENOENT", lambda: os.stat(self.world.path(VALUE))),
                 ("any", "ENXIO", lambda: self.world.read(VALUE)))
        for operation, error, access in cases:
            with self.subTest(operation=operation):
                self.world.do("fail", VALUE, operation, error)
                with self.assertErrno(error):
                    access()
                self.world.do("heal")
                self.world.read(VALUE)

    def test_a_folder_can_refuse_to_be_listed(self):
        self.world.do("fail", "/sys/class/gpio", "list", "EIO")
        with self.assertErrno("EIO"):
            os.listdir(self.world.path("/sys/class/gpio"))

    def test_a_link_can_refuse_to_be_read(self):
        link = self.world.path("/sys/class/leds/sim:red:fault")
        self.world.do("fail", "/sys/class/leds/sim:red:fault", "follow", "EIO")
        with self.assertErrno("EIO"):
            os.readlink(link)
        self.assertTrue(os.path.islink(link))

    def test_a_folder_that_was_seen_can_be_hidden_and_go(self):
        folder = "/sys/class/gpio"

        def assert_seen(seen):
            if seen:
                os.stat(self.world.path(folder))
                self.world.read(VALUE)
                return
            for path in folder, VALUE:
                with self.assertErrno("ENOENT"):
                    os.stat(self.world.path(path))

        assert_seen(True)
        for pattern in folder, "/sys/cl*io":
            self.world.do("fail", pattern, "find", "ENOENT")
            assert_seen(False)
            self.world.do("heal")
            assert_seen(True)
        # What is open there stays open, and the next one is not found.
        with open(self.world.path(VALUE)):
            self.world.do("absent", folder)
            assert_seen(False)

    def test_a_fault_may_last_for_a_count(self):
        self.world.do("fail", VALUE, "read", "EIO", 2)
        for _ in range(2):
            with self.assertErrno("EIO"):
                self.world.read(VALUE)
        self.assertEqual(self.world.read(VALUE), "0\n")

    def test_a_file_can_be_read_short_or_empty(self):
        self.world.do("fail", VALUE, "read", "empty", 1)
        self.assertEqual(self.world.read(VALUE), "")
        self.world.do("fail", "/sys/class/leds/*/trigger", "read", "short:3", 1)
        with open(self.world.path("/sys/class/leds/sim:red:fault/trigger"), "rb", 0) as file:
            self.assertEqual(file.read(255), b"[no")

    def test_a_write_can_be_short(self):
        self.world.write("/sys/class/gpio/gpio5/direction", "out")
        self.world.do("fail", VALUE, "write", "short:1")
        with open(self.world.path(VALUE), "wb", 0) as file:
            self.assertEqual(file.write(b"1\n"), 1)
        self.assertEqual(self.world.read(VALUE), "1\n")

    def test_an_access_can_be_slow_and_does_not_hold_others_up(self):
        self.world.do("fail", VALUE, "read", "delay:1500")
        reader = self.world.popen("cat", VALUE)
        start = time.monotonic()
        perimond.wait_until(lambda: self.world.accesses(VALUE, ["open"]), "cat has begun")
        self.world.read("/sys/class/gpio/gpio5/direction")
        self.assertLess(time.monotonic() - start, perimond.scaled(1.2))
        self.assertEqual(reader.communicate()[0], "0\n")
        self.assertGreaterEqual(time.monotonic() - start, 1.4)

    def test_opening_and_listing_can_be_slow(self):
        for operation, access in (("open", lambda: self.world.read(VALUE)),
                                  ("list", lambda: os.listdir(self.world.path(LINES)))):
            with self.subTest(operation=operation):
                self.world.do("fail", "*gpio*", operation, "delay:100", 1)
                start = time.monotonic()
                access()
                self.assertGreaterEqual(time.monotonic() - start, 0.1)
                self.assertEqual(self.world.do("faults"), "")

    def test_a_request_can_be_slow(self):
        self.world.do("fail", "/dev/input/event0", "ioctl", "delay:100", 1)
        with open(self.world.path("/dev/input/event0"), "rb", 0) as node:
            start = time.monotonic()
            with self.assertErrno("ENOTTY"):
                fcntl.ioctl(node, 0x1234)
        self.assertGreaterEqual(time.monotonic() - start, 0.1)

    def test_what_cuts_data_passes_over_what_has_none(self):
        self.world.do("fail", VALUE, "any", "short:1", 1)
        with open(self.world.path(VALUE), "rb", 0) as file:
            self.assertEqual(file.read(255), b"0")
        self.assertEqual(self.world.read(VALUE), "0\n")

    def test_a_pattern_is_about_either_path_of_a_device(self):
        self.world.do("fail", "/sys/devices/*/gpio5/value", "read", "EIO")
        with self.assertErrno("EIO"):
            self.world.read(VALUE)

    def test_faults_are_listed(self):
        self.world.do("fail", VALUE, "read", "EIO", 3)
        self.world.do("fail", "*", "any", "delay:10")
        self.assertEqual(self.world.do("faults"), f"{VALUE} read EIO 3\n* any delay:10\n")

    def test_a_wrong_fault_is_refused(self):
        cases = (("read", "EWRONG", "'EWRONG' is no error name"),
                 ("read", "delay:0", "'delay:0' is no error name"),
                 ("read", "short:-1", "'short:-1' is no error name"),
                 ("wirte", "EIO", "'wirte' is no operation"),
                 ("close", "EIO", "'close' is no operation"),
                 ("open", "short:1", "'short:1' has no effect on 'open'"),
                 ("ioctl", "empty", "'empty' has no effect on 'ioctl'"),
                 ("list", "empty", "'empty' has no effect on 'list'"),
                 ("find", "delay:1", "'delay:1' has no effect on 'find'"))
        for operation, what, text in cases:
            with self.subTest(what), self.assertRaisesRegex(perimond.BoardError, text):
                self.world.do("fail", VALUE, operation, what)
        with self.assertRaisesRegex(perimond.BoardError, "a fault hits at least once"):
            self.world.do("fail", VALUE, "read", "EIO", 0)
        self.assertEqual(self.world.do("faults"), "")

    def test_accesses_are_recorded_in_order_with_their_time(self):
        before = time.monotonic() * 1e6
        self.world.write("/sys/class/gpio/gpio5/direction", "high")
        self.world.read(VALUE)
        with self.assertErrno("EINVAL"):
            self.world.write(VALUE, "one")
        after = time.monotonic() * 1e6
        self.assertEqual(self.world.accesses("*/gpio5/*", ["read", "write"]),
                         [("write", "/sys/class/gpio/gpio5/direction", "high", "4"),
                          ("read", VALUE, "1\\n", "2"), ("read", VALUE, "", "0"),
                          ("write", VALUE, "one", "EINVAL")])
        times = [int(line.split()[0]) for line in self.world.do("record").splitlines()]
        self.assertEqual(times, sorted(times))
        self.assertGreaterEqual(times[0], int(before))
        self.assertLessEqual(times[-1], after)

    def test_the_record_can_be_cleared(self):
        self.world.read(VALUE)
        self.assertNotEqual(self.world.do("record", "--clear"), "")
        self.assertEqual(self.world.do("record"), "")


if __name__ == "__main__":
    perimond.main()
