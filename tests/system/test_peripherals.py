"""Buzzers, digital inputs and outputs and the console, on the kernel's drivers."""

import time
import unittest

from boardtest import UNIT, BoardTest
from perimond.world import wait_until

HORN, DI1, DO1, DIO1_IN, DIO1_OUT = 6, 16, 24, 28, 29  # lines


class BuzzerTest(BoardTest):
    def test_a_buzzer_on_a_line_drives_it(self):
        buzzer = self.bus_object("Buzzer/ALARM")
        for state in 1, 0:
            buzzer.SetState(state)
            self.assertEqual((self.board.read(HORN), buzzer.GetState()), (state, state))

    def test_a_pwm_buzzer_sounds_at_440_hertz(self):
        buzzer = self.bus_object("Buzzer/TONE")
        lines = self.board.lines
        buzzer.SetState(1)
        self.assertEqual(self.do("pwm", 0, 0), "2272727 1136363 normal on\n")
        # Control register: enabled, divided clock. The period register counts from -2.
        control, sample, period = (lines.read_word(lines.PWM + offset)
                                   for offset in (0x00, 0x0C, 0x10))
        self.assertTrue(control & 1)
        prescaler = (control >> 4 & 0xFFF) + 1
        self.assertAlmostEqual(24e6 / prescaler / (period + 2), 440, delta=1)
        self.assertAlmostEqual(sample / (period + 2), 0.5, delta=0.01)
        self.assertEqual(buzzer.GetState(), 1)
        buzzer.SetState(0)
        self.assertFalse(lines.read_word(lines.PWM) & 1)
        self.assertEqual(buzzer.GetState(), 0)

    def test_it_is_silent_once_the_daemon_has_stopped(self):
        for name in "ALARM", "TONE":
            self.bus_object(f"Buzzer/{name}").SetState(1)
        self.systemctl("stop", UNIT)
        self.assertEqual(self.board.read(HORN), 0)
        self.assertFalse(self.board.lines.read_word(self.board.lines.PWM) & 1)
        self.restart()


class DioTest(BoardTest):
    def test_an_output_drives_its_line(self):
        output = self.bus_object("DIO/DO1")
        for state in 1, 0:
            output.SetState(state)
            self.assertEqual((self.board.read(DO1), output.GetState()), (state, state))

    def test_each_edge_of_an_input_is_announced_and_runs_its_hook(self):
        dio = self.bus_object("DIO/DI1")
        self.board.put("/run/edge.sh", b"#!/bin/sh\nid -un >> /run/edges\n", 0o755)
        self.do("turn", DI1, 0)
        low = dio.GetState()
        dio.AddHook("edge", "/run/edge.sh")
        dio.SetHook("edge")
        dio.SetEvent(3)
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for level in 1, 0, 1, 0:
            self.do("turn", DI1, level)
            recorder.expect([("DIO/DI1", "StateChanged", (low ^ level,))], 10)
            self.assertEqual(dio.GetState(), low ^ level)
        wait_until(lambda: self.board.call("cat /run/edges || true").split() == ["root"] * 4,
                   "the hook has run four times", 20)

    def test_a_channel_on_two_lines_turns_round(self):
        dio = self.bus_object("DIO/DIO1")
        dio.SetDirection(1)
        self.assertTrue(self.board.lines.is_output(DIO1_OUT))
        levels = []
        for state in 0, 1:
            dio.SetState(state)
            levels.append(self.board.read(DIO1_OUT))
        self.assertEqual(set(levels), {0, 1})
        dio.SetDirection(0)
        self.assertEqual(dio.GetDirection(), 0)
        self.do("turn", DIO1_IN, 1)
        first = dio.GetState()
        self.do("turn", DIO1_IN, 0)
        self.assertNotEqual(dio.GetState(), first)

    def test_event_and_direction_survive_a_restart(self):
        self.bus_object("DIO/DI2").SetEvent(2)
        self.bus_object("DIO/DIO1").SetDirection(1)
        self.restart()
        self.assertEqual((self.bus_object("DIO/DI2").get("Event"),
                          self.bus_object("DIO/DIO1").GetDirection()), (2, 1))
        self.bus_object("DIO/DIO1").SetDirection(0)


class ButtonTest(BoardTest):
    def test_press_holding_and_release_are_announced_and_run_the_action(self):
        button = self.bus_object("Button/USER")
        self.board.put("/run/used.sh", b'#!/bin/sh\necho "$1 $2" >> /run/used\n', 0o755)
        button.AddAction("used", "/run/used.sh")
        button.SetAction("used")
        recorder = self.recorder("Button/USER", "actionChanged")
        self.do("hold", "user")
        expected = ["press", "hold", "hold"]
        for kind in expected:
            recorder.expect([("Button/USER", "actionChanged", (kind,))], 10)
        self.do("release", "user")
        recorder.wait_for(lambda: recorder.events and recorder.events[-1][2] == ("release",),
                          "the release", 10)
        expected += [event[2][0] for event in recorder.events]
        # Nobody waits for an action, so a later one may be done first.
        wait_until(lambda: sorted(self.board.call("cut -d ' ' -f 1 /run/used").split())
                   == sorted(expected), "the actions have run", 20)

    def test_short_presses_are_all_heard_by_their_own_button(self):
        other = self.recorder("Button/RESET", "actionChanged")
        recorder = self.recorder("Button/USER", "actionChanged")

        def kinds():
            return [event[2][0] for event in recorder.events]
        seconds = 0
        for presses in range(1, 6):
            began = time.monotonic()
            self.do("hold", "user")
            recorder.wait_for(lambda: kinds().count("press") == presses, "a press", 20)
            self.do("release", "user")
            recorder.wait_for(lambda: kinds().count("release") == presses, "a release", 20)
            seconds += int(time.monotonic() - began)
        self.assertEqual([kind for kind in kinds() if kind != "hold"], ["press", "release"] * 5)
        # None but a press that a busy host has made long is held.
        self.assertLessEqual(kinds().count("hold"), seconds)
        self.assertEqual(other.events, [])


class ConsoleTest(BoardTest):
    def test_it_is_switched_off_from_the_next_start_on(self):
        console = self.bus_object("Console/CONSOLE1")
        for wish, variable in (1, "0"), (2, "1"):
            before = console.get("IOState")
            console.SetIOState(wish)
            self.assertEqual((self.do("env", "console_enable").strip(), console.get("IOState")),
                             (variable, before))
            self.restart()
            self.assertEqual(console.get("IOState"), wish)


if __name__ == "__main__":
    unittest.main(verbosity=2)
