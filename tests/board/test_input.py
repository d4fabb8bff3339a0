"""Input event devices behave as the kernel's."""

import errno
import os
import select
import struct
import threading

import perimond

NODE = "/dev/input/event0"
EVENT = "llHHi"
KEY, SYN, SND = 1, 0, 0x12
RESET = 0x198


class InputTest(perimond.BoardTest):
    def open(self, flags=os.O_RDONLY | os.O_NONBLOCK):
        file = os.open(self.world.path(NODE), flags)
        self.addCleanup(os.close, file)
        return file

    def read(self, file, size=24 * 64):
        """The events there are, as (type, code, value)."""
        return [event[2:] for event in struct.iter_unpack(EVENT, os.read(file, size))]

    def test_a_press_is_a_key_going_down_and_up(self):
        file = self.open()
        self.world.do("press", "reset")
        self.assertEqual(self.read(file), [(KEY, RESET, 1), (SYN, 0, 0),
                                           (KEY, RESET, 0), (SYN, 0, 0)])

    def test_a_button_can_be_held_for_a_time(self):
        file = self.open()
        self.world.do("press", "reset", 0.05)
        times = [seconds * 1e6 + micro for seconds, micro, kind, _, _ in
                 struct.iter_unpack(EVENT, os.read(file, 24 * 64)) if kind == KEY]
        self.assertGreaterEqual(times[1] - times[0], 50000)

    def test_events_are_read_in_whole_and_as_many_as_fit(self):
        file = self.open()
        self.world.do("press", "reset")
        with self.assertErrno("EINVAL"):
            os.read(file, 23)
        self.assertEqual(self.read(file, 24 + 23), [(KEY, RESET, 1)])
        self.assertEqual(len(self.read(file)), 3)

    def test_nothing_to_read_is_eagain_or_waits(self):
        with self.assertErrno("EAGAIN"):
            os.read(self.open(), 24)
        file = self.open(os.O_RDONLY)
        timer = threading.Timer(0.05, self.world.do, ("hold", "reset"))
        timer.start()
        self.assertEqual(self.read(file, 24), [(KEY, RESET, 1)])
        timer.join()

    def test_a_signal_ends_a_read_that_waits(self):
        reader = self.world.popen("timeout", "0.1", "head", "-c", "24", NODE)
        self.assertEqual(reader.wait(perimond.scaled(5)), 124)

    def test_each_reader_has_all_events(self):
        files = [self.open(), self.open()]
        self.world.do("press", "reset")
        self.assertEqual(self.read(files[0]), self.read(files[1]))

    def test_what_came_before_the_open_is_not_seen(self):
        self.world.do("hold", "reset")
        file = self.open()
        self.world.do("release", "reset")
        self.assertEqual(self.read(file), [(KEY, RESET, 0), (SYN, 0, 0)])

    def test_events_are_seen_from_their_report_on(self):
        file = self.open()
        poll = select.epoll()
        poll.register(file, select.EPOLLIN)
        self.world.do("event", "reset-button", KEY, RESET, 1)
        self.assertEqual(poll.poll(0), [])
        self.world.do("event", "reset-button", SYN, 0, 0)
        self.assertEqual(poll.poll(1), [(file, select.EPOLLIN)])
        self.read(file)
        self.assertEqual(poll.poll(0), [])

    def test_a_key_that_is_down_does_not_go_down_again(self):
        file = self.open()
        self.world.do("hold", "reset")
        self.world.do("hold", "reset")
        self.world.do("release", "reset")
        self.world.do("release", "reset")
        self.assertEqual(self.read(file), [(KEY, RESET, 1), (SYN, 0, 0),
                                           (KEY, RESET, 0), (SYN, 0, 0)])

    def test_repeats_pass_and_reports_of_nothing_do_not(self):
        file = self.open()
        self.world.do("hold", "reset")
        for value in (2, 2):
            self.world.do("event", "reset-button", KEY, RESET, value)
        for _ in range(2):
            self.world.do("event", "reset-button", SYN, 0, 0)
        self.assertEqual(self.read(file), [(KEY, RESET, 1), (SYN, 0, 0), (KEY, RESET, 2),
                                           (KEY, RESET, 2), (SYN, 0, 0)])

    def test_what_is_queued_is_announced_though_the_device_is_gone(self):
        file = self.open()
        poll = select.poll()
        poll.register(file, select.POLLIN)
        self.world.do("press", "reset")
        self.world.do("remove-input", "reset-button")
        self.assertEqual(poll.poll(1000),
                         [(file, select.POLLIN | select.POLLHUP | select.POLLERR)])
        with self.assertErrno("ENODEV"):
            os.read(file, 24)

    def test_a_queue_that_overflows_is_dropped_and_says_so(self):
        file = self.open()
        for _ in range(20):
            self.world.do("press", "reset")
        events = self.read(file)
        self.assertEqual(events[0], (SYN, 3, 0))
        self.assertLess(len(events), 64)

    def test_unplugging_wakes_and_fails_whoever_has_it_open(self):
        waiting = self.open(os.O_RDONLY)
        seen = []

        def read():
            try:
                os.read(waiting, 24)
            except OSError as error:
                seen.append(error.errno)

        thread = threading.Thread(target=read)
        thread.start()
        polled = self.open()
        poll = select.poll()
        poll.register(polled, select.POLLIN)
        self.world.do("remove-input", "reset-button")
        self.assertEqual(poll.poll(1000), [(polled, select.POLLHUP | select.POLLERR)])
        with self.assertErrno("ENODEV"):
            os.read(polled, 24)
        thread.join(5)
        self.assertEqual(seen, [errno.ENODEV])
        self.assertFalse(os.path.exists(self.world.path(NODE)))

    def test_a_node_may_come_late(self):
        self.world.do("fail", NODE, "find", "ENOENT")
        self.assertFalse(os.path.exists(self.world.path(NODE)))
        self.world.do("heal", NODE)
        self.open()

    def test_a_device_may_come_back(self):
        self.world.do("remove-input", "reset-button")
        self.world.do("add-input", "reset-button", "event=0", "reset=0x198")
        file = self.open()
        self.world.do("press", "reset")
        self.assertEqual(len(self.read(file)), 4)

    def test_tones_are_noted(self):
        with open(self.world.path("/dev/input/event2"), "wb") as speaker:
            speaker.write(struct.pack(EVENT, 0, 0, SND, 2, 440))
        self.assertEqual(self.world.do("sounds", "pcspkr"), "18 2 440\n")

    def test_an_event_node_is_a_device_of_class_input_with_a_parent(self):
        self.assertEqual(self.world.read("/sys/class/input/event0/uevent"),
                         "MAJOR=13\nMINOR=64\nDEVNAME=input/event0\n")
        self.assertEqual(self.world.read("/sys/class/input/event0/device/name"),
                         "reset-button\n")


if __name__ == "__main__":
    perimond.main()
