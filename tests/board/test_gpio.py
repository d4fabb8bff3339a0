"""GPIO lines behave as the kernel's."""

import os
import select

import perimond

LINES = "/sys/class/gpio"
LINE = f"{LINES}/gpio5"


class GpioTest(perimond.BoardTest):
    def export(self, line=5):
        self.world.write(f"{LINES}/export", str(line))

    def test_export_makes_the_folder_of_a_line(self):
        self.assertFalse(os.path.exists(self.world.path(LINE)))
        self.export()
        self.assertLessEqual({"value", "direction", "active_low", "edge"},
                             set(os.listdir(self.world.path(LINE))))

    def test_a_number_may_end_in_a_newline(self):
        self.export("5\n")
        self.assertEqual(self.world.read(f"{LINE}/value"), "0\n")

    def test_a_line_is_exported_once(self):
        self.export()
        with self.assertErrno("EBUSY"):
            self.export()

    def test_an_unknown_line_and_a_word_are_refused(self):
        for line in ("64", "-1", "five", "", " 5"):
            with self.subTest(line=line), self.assertErrno("EINVAL"):
                self.export(line or "\n")

    def test_unexport_removes_the_folder(self):
        self.export()
        self.world.write(f"{LINES}/unexport", "5")
        self.assertFalse(os.path.exists(self.world.path(LINE)))
        with self.assertErrno("EINVAL"):
            self.world.write(f"{LINES}/unexport", "5")

    def test_export_and_unexport_cannot_be_read(self):
        with self.assertErrno("EACCES"):
            self.world.read(f"{LINES}/export")

    def test_a_new_line_is_an_input_that_shows_its_level(self):
        self.world.do("turn", 5, 1)
        self.export()
        self.assertEqual(self.world.read(f"{LINE}/direction"), "in\n")
        self.assertEqual(self.world.read(f"{LINE}/value"), "1\n")
        self.world.do("turn", 5, 0)
        self.assertEqual(self.world.read(f"{LINE}/value"), "0\n")

    def test_an_input_cannot_be_written(self):
        self.export()
        with self.assertErrno("EPERM"):
            self.world.write(f"{LINE}/value", "1")

    def test_direction_takes_four_words(self):
        self.export()
        for word, shown, level in (("out", "out\n", "0\n"), ("high", "out\n", "1\n"),
                                   ("low", "out\n", "0\n"), ("in", "in\n", "0\n")):
            with self.subTest(word=word):
                self.world.write(f"{LINE}/direction", word)
                self.assertEqual(self.world.read(f"{LINE}/direction"), shown)
                self.assertEqual(self.world.do("read", 5), level)
        with self.assertErrno("EINVAL"):
            self.world.write(f"{LINE}/direction", "up")

    def test_active_low_turns_the_value_but_not_the_direction_words(self):
        self.export()
        self.world.write(f"{LINE}/active_low", "1")
        self.world.write(f"{LINE}/direction", "high")
        self.assertEqual(self.world.do("read", 5), "1\n")
        self.assertEqual(self.world.read(f"{LINE}/value"), "0\n")
        self.world.write(f"{LINE}/value", "1")
        self.assertEqual(self.world.do("read", 5), "0\n")

    def test_an_output_cannot_be_turned(self):
        self.export()
        self.world.write(f"{LINE}/direction", "out")
        with self.assertRaisesRegex(perimond.BoardError, "line 5 is an output"):
            self.world.do("turn", 5, 1)

    def test_a_wired_output_drives_an_input(self):
        self.world.do("wire", 5, 6)
        self.export(5)
        self.export(6)
        self.world.write(f"{LINE}/direction", "high")
        self.assertEqual(self.world.read(f"{LINES}/gpio6/value"), "1\n")

    def test_lines_may_be_wired_in_a_ring(self):
        self.world.do("wire", 6, 7)
        self.world.do("wire", 7, 6)
        for level in ("1", "0"):
            self.world.do("turn", 6, level)
            self.assertEqual((self.world.do("read", 6), self.world.do("read", 7)),
                             (f"{level}\n", f"{level}\n"))

    def test_a_wire_carries_the_level_that_its_output_has(self):
        self.export()
        self.world.write(f"{LINE}/direction", "high")
        self.world.do("wire", 5, 6)
        self.assertEqual(self.world.do("read", 6), "1\n")

    def test_a_wired_line_that_becomes_an_input_shows_its_wire(self):
        self.world.do("wire", 5, 6)
        self.export(5)
        self.export(6)
        self.world.write(f"{LINES}/gpio6/direction", "low")
        self.world.write(f"{LINE}/direction", "high")
        self.assertEqual(self.world.read(f"{LINES}/gpio6/value"), "0\n")
        self.world.write(f"{LINES}/gpio6/direction", "in")
        self.assertEqual(self.world.read(f"{LINES}/gpio6/value"), "1\n")

    def test_a_line_whose_device_was_unplugged_can_be_exported_again(self):
        self.export()
        self.world.write(f"{LINE}/edge", "both")
        self.world.write(f"{LINE}/active_low", "1")
        self.world.do("unplug", "gpio", "gpio5")
        self.assertEqual(self.world.do("lines"), "")
        self.world.do("turn", 5, 1)
        with self.assertErrno("EINVAL"):
            self.world.write(f"{LINES}/unexport", "5")
        self.export()
        self.assertEqual(self.world.do("lines"), "5 in 1\n")

    def test_a_line_whose_device_was_plugged_is_busy(self):
        self.world.do("plug", "gpio", "gpio5")
        with self.assertErrno("EBUSY"):
            self.export()

    def test_what_is_open_when_a_line_goes_fails(self):
        self.export()
        with open(self.world.path(f"{LINE}/value"), "r+b", 0) as value:
            self.world.write(f"{LINES}/unexport", "5")
            with self.assertErrno("ENODEV"):
                value.read()
            with self.assertErrno("ENODEV"):
                value.write(b"1")

    def test_an_edge_wakes_a_poller(self):
        """POLLPRI on the edges chosen, by the logical value, until the value is read again."""
        cases = (("rising", 0, [1]), ("falling", 0, [0]), ("both", 0, [1, 0]), ("none", 0, []),
                 ("rising", 1, [0]), ("falling", 1, [1]))
        self.export()
        for edge, active_low, waking in cases:
            with self.subTest(edge=edge, active_low=active_low), \
                    open(self.world.path(f"{LINE}/value")) as value:
                self.world.do("turn", 5, 0)
                self.world.write(f"{LINE}/active_low", str(active_low))
                self.world.write(f"{LINE}/edge", edge)
                poll = select.poll()
                poll.register(value, select.POLLPRI | select.POLLERR)
                value.read()
                self.assertEqual(poll.poll(0), [])
                for level in (1, 0):
                    self.world.do("turn", 5, level)
                    expected = [(value.fileno(), select.POLLPRI | select.POLLERR)]
                    self.assertEqual(poll.poll(20), expected if level in waking else [])
                    value.seek(0)
                    self.assertEqual(value.read(), f"{level ^ active_low}\n")
                    self.assertEqual(poll.poll(0), [])

    def test_a_value_that_was_never_read_is_due(self):
        self.export()
        with open(self.world.path(f"{LINE}/value")) as value:
            poll = select.poll()
            poll.register(value, select.POLLPRI)
            self.assertEqual(len(poll.poll(0)), 1)

    def test_an_edge_wakes_a_poller_that_sleeps(self):
        self.export()
        self.world.write(f"{LINE}/edge", "both")
        waiter = self.world.popen("/usr/bin/python3", "-c", f"""
import select
value = open("{LINE}/value")
value.read()
poll = select.epoll()
poll.register(value, select.EPOLLPRI)
print("waiting", flush=True)
poll.poll(5)
value.seek(0)
print(value.read(), end="")
""")
        self.assertEqual(waiter.stdout.readline(), "waiting\n")
        self.world.do("turn", 5, 1)
        self.assertEqual(waiter.communicate(timeout=5)[0], "1\n")

    def test_an_output_takes_no_edge(self):
        self.export()
        self.world.write(f"{LINE}/direction", "out")
        with self.assertErrno("EIO"):
            self.world.write(f"{LINE}/edge", "both")


if __name__ == "__main__":
    perimond.main()
