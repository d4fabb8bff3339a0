"""LEDs: what the bus says is what a meter on the line shows."""

import itertools
import time
import unittest

from boardtest import BoardTest

SYS, USER, ALARM, RADIO = 0, 1, 2, 3  # their lines
HEARTBEAT = [(1, 0.07), (0, 0.245), (1, 0.07), (0, 0.875)]


class ClassLedTest(BoardTest):
    def test_each_state_is_seen_on_its_line(self):
        led = self.bus_object("LED/SYS")
        for state in 1, 0, 1:
            led.SetState(state)
            self.assertEqual((self.board.read(SYS), led.GetState()), (state, state))

    def test_the_heartbeat_is_the_kernels(self):
        led = self.bus_object("LED/SYS")
        led.SetState(2)
        self.assertEqual(self.do("led", "sys").split()[0], "heartbeat")
        self.assertEqual(led.GetState(), 2)
        self.assertEqual({level for level, *_ in self.changes(SYS, 4)}, {0, 1})
        led.SetState(0)
        self.assertEqual(self.do("led", "sys"), "none 0\n")
        self.assertEqual(self.board.read(SYS), 0)

    def test_a_foreign_trigger_is_an_unknown_state_until_it_is_replaced(self):
        led = self.bus_object("LED/USER")
        self.board.call("echo panic > /sys/class/leds/user/trigger")
        with self.assertBusError("PeripheralUnknownValue", "LED is in an unknown state"):
            led.GetState()
        for state in 1, 0:
            led.SetState(state)
            self.assertEqual((self.do("led", "user"), self.board.read(USER)),
                             (f"none {state}\n", state))

    def test_a_state_above_two_is_refused_and_changes_nothing(self):
        led = self.bus_object("LED/USER")
        led.SetState(1)
        with self.log("LED/USER") as lines, self.assertBusError("InvalidArgument",
                                                                "Invalid LED state"):
            led.SetState(3)
        self.assertEqual(lines, ["<info>  [LED/USER] Get method call: SetState(3)",
                                 "<error> [LED/USER] SetState(3) failed: Invalid LED state"])
        self.assertEqual(self.board.read(USER), 1)


class GpioLedTest(BoardTest):
    def test_each_state_is_seen_on_its_line(self):
        led = self.bus_object("LED/ALARM")
        for state in 1, 0, 1:
            led.SetState(state)
            self.assertEqual((self.board.read(ALARM), led.GetState()), (state, state))

    def test_an_active_low_led_is_lit_by_the_low_level(self):
        led = self.bus_object("LED/RADIO")
        for state in 1, 0:
            led.SetState(state)
            self.assertEqual((self.board.read(RADIO), led.GetState()), (1 - state, state))

    def test_the_heartbeat_has_four_holds_in_order_and_length(self):
        led = self.bus_object("LED/ALARM")
        led.SetState(2)
        self.addCleanup(led.SetState, 0)
        self.assertEqual(led.GetState(), 2)
        # The emulated processor may be late, also for a while, but the LED is never early.
        late = set(range(4))
        for _ in range(12):
            late &= self.late_holds(self.changes(ALARM, 12))
            if not late:
                return
        self.fail(f"these holds are always longer than they should be: {late}")

    def late_holds(self, seen):
        """Which of the four holds, numbered from nought, were longer than they should be each time."""
        for first in range(4):  # one of them is the first hold
            if all(level == wanted_level and most > wanted - 0.01 for (level, _, most),
                   (wanted_level, wanted) in zip(seen[first:], itertools.cycle(HEARTBEAT))):
                return {hold for hold, (_, wanted) in enumerate(HEARTBEAT)
                        if min(least for _, least, _ in seen[first + hold::4]) >= wanted + 0.06}
        self.fail(f"not the holds of a heartbeat, or too short ones: {seen}")

    def test_leaving_the_heartbeat_does_not_wait_for_the_end_of_a_hold(self):
        led = self.bus_object("LED/ALARM")
        shortest = 20
        # A busy host may make any of the calls a long one.
        for _ in range(4):
            led.SetState(2)
            self.changes(ALARM, 3)  # now comes the longest hold, of 0.875 s
            began = time.monotonic()
            led.SetState(0)
            shortest = min(shortest, time.monotonic() - began)
            self.assertEqual(self.board.read(ALARM), 0)
        self.assertLess(shortest, 0.6)

    def test_a_line_that_starts_as_input_becomes_an_output_with_the_level_it_showed(self):
        for level in 1, 0:
            with self.subTest(level=level):
                self.systemctl("stop", "tarvelperimond")
                self.board.call("echo in > /sys/class/gpio/gpio2/direction")
                self.assertFalse(self.board.lines.is_output(ALARM))
                self.board.turn(ALARM, level)
                self.restart()
                self.assertTrue(self.board.lines.is_output(ALARM))
                self.assertEqual(self.board.read(ALARM), level)
                self.assertEqual(self.bus_object("LED/ALARM").GetState(), level)

    def test_the_led_is_dark_once_the_daemon_has_stopped(self):
        for state in 1, 2:
            self.bus_object("LED/ALARM").SetState(state)
            self.bus_object("LED/RADIO").SetState(state)
            self.wait_level(ALARM, 1)
            self.systemctl("stop", "tarvelperimond")
            self.assertEqual((self.board.read(ALARM), self.board.read(RADIO)), (0, 1))
            self.restart()


if __name__ == "__main__":
    unittest.main(verbosity=2)
