"""LEDs of the kernel's LED class and on GPIO lines."""

import contextlib
import os
import time

from gi.repository import GLib

import perimond
from probe import ProbeTest

CLASS = "/sys/class/leds/sim:green:ready"
LINE = "/sys/class/gpio/gpio4"
NOT_READY, INVALID, UNKNOWN = 41, 6, 44


class LedTest(ProbeTest):
    def setUp(self):
        super().setUp()
        self.led = self.bus_object("LED/ONE")
        self.world.do("record", "--clear")

    def writes(self, path="/sys/class/*"):
        """What was written since the last look: (attribute, text)."""
        writes = [(os.path.basename(where), data)
                  for _, where, data, _ in self.world.accesses(path)]
        self.world.do("record", "--clear")
        return writes

    def assertInternalError(self, command, code, message):
        """The operation refuses; `message` in the words that the plugin logs."""
        self.assertEqual(self.act(command)[-1],
                         f"<info>  [Probe] {' '.join(command.split()[:2])}: "
                         f"zolv_core_error_quark {code} {message}")


class CommonTest:
    """What both kinds share; the last call of the definition is theirs."""

    def test_a_state_above_2_is_refused_and_nothing_is_written(self):
        for state, shown in ((3, "3"), (4294967295, "-1")):
            with self.subTest(state), self.log("LED/ONE") as lines, \
                    self.assertBusError("InvalidArgument", "Invalid LED state"):
                self.led.SetState(state)
            self.assertEqual(lines, [f"<info>  [LED/ONE] Get method call: SetState({shown})",
                                     f"<error> [LED/ONE] SetState({shown}) failed: Invalid LED "
                                     "state"])
        self.assertEqual(self.writes(), [])

    def test_each_call_is_logged_with_its_result(self):
        for state in (0, 1, 2):
            with self.subTest(state), self.log("LED/ONE") as lines:
                self.led.SetState(state)
                self.assertEqual(self.led.GetState(), state)
            self.assertEqual(lines, [f"<info>  [LED/ONE] Get method call: SetState({state})",
                                     f"<info>  [LED/ONE] SetState({state}) OK",
                                     "<info>  [LED/ONE] Get method call: GetState()",
                                     f"<info>  [LED/ONE] GetState() OK, state={state}"])

    def test_the_alias_is_not_applicable_until_it_is_defined(self):
        self.assertEqual(self.led.get("Alias"), "N/A")
        recorder = self.recorder("LED/ONE", "PropertiesChanged")
        self.act("alias LED/ONE Front")
        recorder.expect([("LED/ONE", "PropertiesChanged", {"Alias": "Front"})])
        self.assertEqual(self.led.get("Alias"), "Front")


class ClassLedTest(CommonTest, LedTest):
    init = ("led ONE sim:green:ready",)

    def assertFails(self, call, line, code, message):
        with self.log("[LED/ONE]") as lines, self.assertBusError(code, message):
            call()
        self.assertEqual(lines[1:], [f"<error> [LED/ONE] {line} failed: {message}"])

    def test_off_and_on_take_the_trigger_away_first(self):
        for state in (1, 0):
            with self.subTest(state):
                self.led.SetState(state)
                self.assertEqual(self.writes(), [("trigger", "none"), ("brightness", str(state))])
                self.assertEqual(self.world.do("led", "sim:green:ready"), f"none {state}\n")

    def test_heartbeat_is_the_kernels_trigger_alone(self):
        self.led.SetState(2)
        self.assertEqual(self.writes(), [("trigger", "heartbeat")])
        self.assertTrue(self.world.do("led", "sim:green:ready").startswith("heartbeat "))
        self.assertEqual(self.led.GetState(), 2)

    def test_a_steady_state_ends_the_heartbeat(self):
        self.led.SetState(2)
        self.led.SetState(1)
        self.assertEqual(self.led.GetState(), 1)

    def test_the_state_is_read_from_the_trigger_and_then_from_the_brightness(self):
        self.led.SetState(1)
        self.world.do("record", "--clear")
        self.led.GetState()
        self.assertEqual([(os.path.basename(path), result) for _, path, _, result in
                          self.world.accesses("/sys/class/leds/*", ("read",))],
                         [("trigger", "39"), ("brightness", "1")])

    def test_another_trigger_is_an_unknown_state(self):
        self.world.run("sh", "-c", f"echo timer > {CLASS}/trigger")
        self.assertFails(self.led.GetState, "GetState()", "PeripheralUnknownValue",
                         "LED is in an unknown state")

    def test_another_trigger_is_replaced_by_any_state(self):
        for state in (0, 1, 2):
            with self.subTest(state):
                self.world.run("sh", "-c", f"echo timer > {CLASS}/trigger")
                self.led.SetState(state)
                self.assertEqual(self.led.GetState(), state)

    def test_a_trigger_file_without_brackets_is_an_unknown_state(self):
        self.world.do("preset", f"{CLASS}/trigger", "none heartbeat timer")
        self.assertFails(self.led.GetState, "GetState()", "PeripheralUnknownValue",
                         "LED is in an unknown state")

    def test_a_name_that_begins_like_a_known_trigger_is_an_unknown_state(self):
        for trigger in ("none-at-all", "heartbeat2", "non", "None"):
            with self.subTest(trigger):
                self.world.do("preset", f"{CLASS}/trigger", f"[{trigger}] none")
                self.assertFails(self.led.GetState, "GetState()", "PeripheralUnknownValue",
                                 "LED is in an unknown state")

    def test_a_brightness_of_neither_0_nor_1_ends_the_daemon(self):
        self.world.do("preset", f"{CLASS}/brightness", "255")
        with self.assertRaises(GLib.Error):
            self.led.GetState()
        self.assertEqual(self.wait_for_exit(), -6)
        # 255 is read to its first character.
        self.assertTrue(any("code should not be reached" in line for line in self.error_lines()))

    def test_a_failed_trigger_write_is_the_answer_and_keeps_the_brightness(self):
        self.world.do("fail", f"{CLASS}/trigger", "write", "EIO")
        self.assertFails(lambda: self.led.SetState(1), "SetState(1)", "OperationFailure",
                         f"write '{CLASS}/trigger' failed: Input/output error")
        self.assertEqual(self.world.accesses(f"{CLASS}/brightness"), [])

    def test_a_failed_brightness_write_is_the_answer(self):
        self.world.do("fail", f"{CLASS}/brightness", "write", "EACCES")
        self.assertFails(lambda: self.led.SetState(1), "SetState(1)", "OperationFailure",
                         f"write '{CLASS}/brightness' failed: Permission denied")

    def test_a_failed_heartbeat_is_the_answer(self):
        self.world.do("fail", f"{CLASS}/trigger", "open", "EACCES")
        self.assertFails(lambda: self.led.SetState(2), "SetState(2)", "OperationFailure",
                         f"open '{CLASS}/trigger' failed: Permission denied")

    def test_a_failed_read_is_the_answer(self):
        for attribute in ("trigger", "brightness"):
            with self.subTest(attribute):
                self.world.do("fail", f"{CLASS}/{attribute}", "read", "EIO")
                self.assertFails(self.led.GetState, "GetState()", "OperationFailure",
                                 f"read '{CLASS}/{attribute}' failed: Input/output error")
                self.world.do("heal")

    def test_an_led_that_goes_away_is_an_error_and_no_end(self):
        self.world.do("unplug", "leds", "sim:green:ready")
        self.assertFails(lambda: self.led.SetState(0), "SetState(0)", "OperationFailure",
                         f"open '{CLASS}/trigger' failed: No such file or directory")
        self.assertFails(self.led.GetState, "GetState()", "OperationFailure",
                         f"open '{CLASS}/trigger' failed: No such file or directory")

    def test_before_its_definition_an_led_has_no_label_and_refuses(self):
        self.act("create led NEW")
        self.assertEqual(self.act("label LED/NEW"), ["<info>  [Probe] label is not set"])
        for command in ("set LED/NEW 0", "set LED/NEW 2", "state LED/NEW"):
            self.assertInternalError(command, NOT_READY, "LED label is not set")
        self.assertInternalError("set LED/NEW 3", INVALID, "Invalid LED state")

    def test_the_label_is_the_folder_of_the_led(self):
        self.assertEqual(self.led.get("Label"), "sim:green:ready")
        self.assertEqual(self.act("label LED/ONE"), ["<info>  [Probe] label sim:green:ready"])


class GpioLedTest(CommonTest, LedTest):
    init = ("gpio ONE 4 0",)

    def threads(self):
        """The daemon's threads that blink."""
        found = []
        for task in os.listdir(f"/proc/{self.daemon_pid}/task"):
            with contextlib.suppress(FileNotFoundError), \
                    open(f"/proc/{self.daemon_pid}/task/{task}/comm") as file:
                if file.read() == "led_heartbeat\n":
                    found.append(task)
        return found

    def blinks(self, count, line=LINE):
        """Waits for `count` values of the blinking line: (microseconds, value)."""
        def found():
            accesses = [text.split() for text in
                        self.world.do("record", f"{line}/value").splitlines()]
            return [(int(access[0]), access[5].strip('"')) for access in accesses
                    if access[2] == "write"]
        perimond.wait_until(lambda: len(found()) >= count, "the LED blinks", 10)
        return found()[:count]

    def test_a_steady_state_is_the_value_of_the_line(self):
        for state in (1, 0):
            with self.subTest(state):
                self.led.SetState(state)
                self.assertEqual(self.writes(), [("value", str(state))])
                self.assertEqual(self.world.do("read", 4), f"{state}\n")

    def test_the_state_is_read_from_the_line(self):
        self.world.run("sh", "-c", f"echo 1 > {LINE}/value")
        self.assertEqual(self.led.GetState(), 1)

    def test_an_active_low_led_is_lit_by_the_low_level(self):
        self.act("gpio LOW 5 1")
        led = self.bus_object("LED/LOW")
        for state, level in ((1, "0\n"), (0, "1\n")):
            with self.subTest(state):
                led.SetState(state)
                self.assertEqual((led.GetState(), self.world.do("read", 5)), (state, level))

    def test_the_heartbeat_repeats_its_four_steps(self):
        steps = (70_000, 245_000, 70_000, 875_000)
        count = 9

        def shortest():
            """The shortest hold of each step: a busy machine holds longer, never shorter."""
            nonlocal count
            blinks = self.blinks(count)
            count += 1
            self.assertEqual([value for _, value in blinks],
                             ["10"[number % 2] for number in range(len(blinks))])
            holds = [later - earlier for (earlier, _), (later, _) in zip(blinks, blinks[1:])]
            return [min(holds[step::4]) for step in range(4)]

        def as_wanted():
            return all(hold < wanted + perimond.scaled(20_000)
                       for hold, wanted in zip(shortest(), steps))

        self.led.SetState(2)
        perimond.wait_until(as_wanted, "each step is held as long as it shall be", 15)
        for hold, wanted in zip(shortest(), steps):
            self.assertGreater(hold, wanted - 10_000)

    def test_the_heartbeat_has_one_thread_however_often_it_is_set(self):
        self.led.SetState(2)
        thread, = perimond.wait_until(self.threads, "the thread has its name")
        self.led.SetState(2)
        self.act("set LED/ONE 2")
        self.assertEqual(self.threads(), [thread])
        self.led.SetState(1)
        self.assertEqual(self.threads(), [])

    def test_reading_a_blinking_led_does_not_touch_the_line(self):
        self.led.SetState(2)
        self.assertEqual([self.led.GetState() for _ in range(3)], [2, 2, 2])
        self.assertEqual(self.world.accesses(f"{LINE}/value", ("read",)), [])

    def test_a_steady_state_ends_a_hold_at_once_and_is_the_last_write(self):
        def took(state):
            """How long a call takes when the long hold has begun, in seconds."""
            self.led.SetState(2)
            self.blinks(4)
            start = time.monotonic()
            self.led.SetState(state)
            took = time.monotonic() - start
            self.assertEqual(self.writes()[-1], ("value", str(state)))
            self.assertEqual(self.led.GetState(), state)
            return took

        for state in (0, 1):
            with self.subTest(state):
                # A busy computer may need longer now and then.
                perimond.wait_until(lambda state=state: took(state) < perimond.scaled(0.5),
                                    "a steady state does not wait for the hold")
        time.sleep(0.1)
        self.assertEqual(self.writes(), [])

    def test_the_heartbeat_begins_with_its_first_step_each_time(self):
        for _ in range(3):
            self.led.SetState(2)
            self.assertEqual(self.blinks(1)[0][1], "1")
            self.led.SetState(0)
            self.world.do("record", "--clear")

    def test_a_blink_that_fails_is_followed_by_the_next(self):
        self.world.do("fail", f"{LINE}/value", "write", "EIO", 2)
        self.led.SetState(2)
        self.assertEqual([value for _, value in self.blinks(4)], list("1010"))
        self.assertEqual(self.led.GetState(), 2)

    def test_a_failed_write_is_the_answer_and_leaves_the_led_steady(self):
        self.led.SetState(2)
        self.world.do("fail", f"{LINE}/value", "write", "EIO")
        with self.assertBusError("OperationFailure",
                                 f"write '{LINE}/value' failed: Input/output error"):
            self.led.SetState(1)
        self.assertEqual(self.threads(), [])
        self.assertIn(self.led.GetState(), (0, 1))

    def test_a_failed_read_is_the_answer(self):
        self.world.do("fail", f"{LINE}/value", "read", "EIO")
        with self.log("[LED/ONE]") as lines, \
                self.assertBusError("OperationFailure",
                                    f"read '{LINE}/value' failed: Input/output error"):
            self.led.GetState()
        self.assertEqual(lines, ["<info>  [LED/ONE] Get method call: GetState()",
                                 "<error> [LED/ONE] GetState() failed: "
                                 f"read '{LINE}/value' failed: Input/output error"])

    def test_a_line_that_was_turned_into_an_input_is_an_output_again(self):
        self.world.run("sh", "-c", f"echo in > {LINE}/direction")
        self.world.do("record", "--clear")
        self.led.SetState(1)
        self.assertEqual(self.writes(), [("direction", "high")])
        self.assertEqual(self.world.do("read", 4), "1\n")

    def test_past_its_caller_the_operation_refuses_a_state_above_2_itself(self):
        self.assertInternalError("slot LED/ONE 3", INVALID, "LED GPIO is not support state")
        self.assertEqual(self.writes(), [])

    def test_before_its_definition_it_has_no_pin_and_refuses(self):
        self.act("create led-gpio NEW")
        for command in ("set LED/NEW 1", "set LED/NEW 2", "state LED/NEW", "slot LED/NEW 3"):
            self.assertInternalError(command, NOT_READY, "LED GPIO pin is not set")
        self.assertInternalError("set LED/NEW 3", INVALID, "Invalid LED state")
        self.assertEqual(self.act("remove LED/NEW"),
                         ["<warn>  Failed to turn off LED LED GPIO pin is not set",
                          "<info>  [LED/NEW] Object destroyed"])

    def test_a_negative_pin_ends_the_daemon(self):
        self.assertAborts(("zolv_led_gpio_define_gpio", "pin >= 0"), "gpio BAD -1 0")

    def test_an_led_that_goes_leaves_its_line_dark(self):
        self.led.SetState(1)
        self.act("remove LED/ONE")
        self.assertEqual(self.world.do("read", 4), "0\n")

    def test_a_blinking_led_that_goes_leaves_its_line_dark_and_no_thread(self):
        self.act("gpio LOW 5 1")
        self.bus_object("LED/LOW").SetState(2)
        self.blinks(2, "/sys/class/gpio/gpio5")
        self.act("remove LED/LOW")
        self.assertEqual(self.world.do("read", 5), "1\n")
        self.assertEqual(self.threads(), [])

    def test_the_end_of_the_daemon_darkens_all_leds(self):
        self.act("gpio TWO 6 0")
        self.led.SetState(1)
        self.bus_object("LED/TWO").SetState(2)
        self.blinks(4, "/sys/class/gpio/gpio6")
        self.stop_daemon()
        self.assertEqual([self.world.do("read", 4), self.world.do("read", 6)], ["0\n", "0\n"])

    def test_an_led_that_cannot_be_darkened_says_so(self):
        self.world.do("fail", f"{LINE}/value", "write", "EIO")
        self.assertEqual(
            [line for line in self.act("remove LED/ONE") if "[Common]" not in line],
            ["<info>  [LED/ONE] Unexported",
             f"<warn>  Failed to turn off LED write '{LINE}/value' failed: Input/output error",
             "<info>  [LED/ONE] Object destroyed"])


class GpioDefinitionTest(LedTest):
    def definition(self, *words):
        """What the definition does to line 7: its accesses and its lines."""
        self.world.do("record", "--clear")
        lines = self.act(f"gpio NEW 7 {' '.join(words)}")
        self.assertEqual(self.objects(), ["LED/NEW"])
        return ([(operation, os.path.basename(path), data) for operation, path, data, _ in
                 self.world.accesses("/sys/class/gpio/*", ("read", "write"))
                 if not path.endswith("/uevent")],
                [line for line in lines if line.startswith("<error>")])

    def test_an_input_becomes_an_output_that_keeps_its_level(self):
        self.world.do("turn", 7, 1)
        accesses, errors = self.definition("0")
        self.assertEqual([access for access in accesses if access[0] == "write"],
                         [("write", "export", "7"), ("write", "active_low", "0"),
                          ("write", "direction", "high")])
        self.assertEqual((errors, self.world.do("read", 7)), ([], "1\n"))

    def test_an_active_low_input_keeps_its_level_too(self):
        self.world.do("turn", 7, 1)
        accesses, errors = self.definition("1")
        self.assertEqual([access for access in accesses if access[0] == "write"],
                         [("write", "export", "7"), ("write", "active_low", "1"),
                          ("write", "direction", "high")])
        self.assertEqual((errors, self.world.do("read", 7)), ([], "1\n"))
        self.assertEqual(self.bus_object("LED/NEW").GetState(), 0)

    def test_an_output_stays_as_it_is(self):
        self.world.run("sh", "-c", "echo 7 > /sys/class/gpio/export; "
                       "echo high > /sys/class/gpio/gpio7/direction")
        accesses, errors = self.definition("0")
        self.assertEqual([access for access in accesses if access[0] == "write"],
                         [("write", "active_low", "0")])
        self.assertEqual((errors, self.bus_object("LED/NEW").GetState()), ([], 1))

    def test_any_true_value_makes_it_active_low(self):
        accesses, _ = self.definition("4")
        self.assertIn(("write", "active_low", "1"), accesses)

    def test_a_failed_step_names_the_led(self):
        self.world.do("fail", "/sys/class/gpio/gpio7/*", "write", "EIO")
        lines = self.act("gpio NEW 7 0")
        named = [line for line in lines if "Definition" in line]
        self.assertEqual(named, ["<warn>  [LED/NEW] Definition: Set GPIO active low failed",
                                 "<warn>  [LED/NEW] Definition: Set GPIO direction for pin failed"])
        self.assertEqual(lines[lines.index(named[0]) - 1], "<error> Set GPIO active low failed")

    def test_a_failed_active_low_is_logged_and_the_definition_goes_on(self):
        self.world.do("fail", "/sys/class/gpio/gpio7/active_low", "write", "EIO")
        accesses, errors = self.definition("1")
        self.assertEqual(errors, ["<error> Set GPIO active low failed"])
        self.assertEqual(accesses[-1], ("write", "direction", "low"))

    def test_a_failed_direction_is_logged_and_the_definition_goes_on(self):
        self.world.do("fail", "/sys/class/gpio/gpio7/direction", "read", "EIO")
        accesses, errors = self.definition("0")
        self.assertEqual(errors, ["<error> Get GPIO direction failed"])
        self.assertEqual(accesses[-1], ("write", "direction", "low"))

    def test_an_output_that_fails_is_logged_and_the_object_is_exported(self):
        self.world.do("fail", "/sys/class/gpio/gpio7/direction", "write", "EIO")
        self.assertEqual(self.definition("0")[1], ["<error> Set GPIO direction for pin failed"])

    def test_a_line_that_does_not_exist_fails_each_step_and_is_exported(self):
        lines = self.act("gpio NEW 999 0")
        self.assertEqual([line for line in lines if line.startswith("<error>")],
                         ["<error> Set GPIO active low failed",
                          "<error> Get GPIO direction failed",
                          "<error> Set GPIO direction for pin failed"])
        self.assertEqual(self.objects(), ["LED/NEW"])
        with self.assertBusError("OperationFailure",
                                 "write '/sys/class/gpio/export' failed: Invalid argument"):
            self.bus_object("LED/NEW").SetState(1)


if __name__ == "__main__":
    perimond.main()
