"""Buzzers on the bus and on the board."""


import perimond
from probe import ProbeTest

DUTY = "/sys/class/pwm/pwmchip0/pwm0/duty_cycle"
PERIOD = "/sys/class/pwm/pwmchip0/pwm0/period"
ENABLE = "/sys/class/pwm/pwmchip0/pwm0/enable"
SPEAKER_NODE = "/dev/input/event2"


class BuzzerTest(perimond.DaemonTest):
    def writes(self, path):
        return [(where, data) for _, where, data, _ in self.world.accesses(path)]


class AnyBuzzerTest(BuzzerTest):
    def test_each_kind_refuses_a_state_above_one(self):
        for identifier in ("Buzzer/ALARM", "Buzzer/SPEAKER", "Buzzer/TONE"):
            with self.subTest(identifier), self.log(f"[{identifier}]") as lines:
                with self.assertBusError("InvalidArgument", "Invalid Buzzer state"):
                    self.bus_object(identifier).SetState(2)
            self.assertEqual(
                lines, [f"<info>  [{identifier}] Get method call: SetState(2)",
                        f"<error> [{identifier}] SetState(2) failed: Invalid Buzzer state"])

    def test_the_device_type_tells_the_kind_and_the_pin_only_a_line(self):
        found = {name: (buzzer.get("DeviceType"), buzzer.get("GPIOPin"), buzzer.get("Device"))
                 for name in ("ALARM", "SENSE", "SPEAKER", "TONE")
                 for buzzer in [self.bus_object(f"Buzzer/{name}")]}
        self.assertEqual(found, {"ALARM": (1, 6, ""), "SENSE": (1, 7, ""),
                                 "SPEAKER": (2, -1, ""), "TONE": (3, -1, "")})


class ProbedBuzzerTest(ProbeTest):
    def test_a_pin_that_the_model_names_is_shown(self):
        self.act("create buzzer-gpio X", "export Buzzer/X")
        buzzer = self.bus_object("Buzzer/X")
        self.assertEqual(buzzer.get("GPIOPin"), -1)
        self.act("buzzer-pin Buzzer/X 9")
        self.assertEqual((buzzer.get("GPIOPin"), buzzer.get("DeviceType")), (9, 0))

    def test_a_second_definition_that_fails_still_moves_it_to_the_new_line(self):
        self.act("create buzzer-gpio X", "buzzer-gpio Buzzer/X 6 1")
        buzzer = self.bus_object("Buzzer/X")
        self.world.do("fail", "*/gpio7/direction", "write", "EIO", 1)
        self.assertEqual([line for line in self.act("buzzer-gpio Buzzer/X 7 1")
                          if "[Common]" not in line], [])
        self.assertEqual(buzzer.get("GPIOPin"), 7)
        buzzer.SetState(1)
        self.assertEqual([self.world.do("read", 6), self.world.do("read", 7)], ["0\n", "1\n"])

    def test_a_second_definition_that_fails_still_counts_its_direction(self):
        self.act("create buzzer-gpio X", "buzzer-gpio Buzzer/X 6 1")
        self.world.do("fail", "*/gpio6/direction", "write", "EIO", 1)
        self.act("buzzer-gpio Buzzer/X 6 0")
        with self.assertBusError("OperationNotPermitted", "Buzzer pin should be set to input"):
            self.bus_object("Buzzer/X").SetState(1)

    def test_a_tone_that_fails_succeeds_and_leaves_its_first_error(self):
        self.act("buzzer-pwm X")
        self.assertEqual(self.probe("buzz Buzzer/X 1"), "OK: no error")
        self.world.do("fail", ENABLE, "write", "EIO")
        enabling_failed = f"OK: write '{ENABLE}' failed: Input/output error"
        self.assertEqual(self.probe("buzz Buzzer/X 0"), enabling_failed)
        self.assertEqual(self.probe("buzz Buzzer/X 1"), enabling_failed)
        self.world.do("fail", DUTY, "write", "EIO")
        self.assertEqual(self.probe("buzz Buzzer/X 1"),
                         f"OK: write '{DUTY}' failed: Input/output error")
        self.world.do("heal")
        self.assertEqual(self.probe("buzz Buzzer/X 0"), "OK: no error")

    def probe(self, command):
        return self.act(command)[-1].removeprefix("<info>  [Probe] ")


class GpioBuzzerTest(BuzzerTest):
    def setUp(self):
        super().setUp()
        self.alarm = self.bus_object("Buzzer/ALARM")

    def test_setting_the_state_drives_the_line(self):
        with self.log("Buzzer/ALARM") as lines:
            self.alarm.SetState(1)
        self.assertEqual(lines, ["<info>  [Buzzer/ALARM] Get method call: SetState(1)",
                                 "<info>  [Buzzer/ALARM] SetState(1) OK"])
        self.assertEqual(self.world.do("read", 6), "1\n")

    def test_the_state_is_read_from_the_line(self):
        self.alarm.SetState(1)
        with self.log("Buzzer/ALARM") as lines:
            self.assertEqual(self.alarm.GetState(), 1)
        self.assertEqual(lines, ["<info>  [Buzzer/ALARM] Get method call: GetState()",
                                 "<info>  [Buzzer/ALARM] GetState() OK, state=1"])

    def test_a_line_that_does_not_read_is_a_failure(self):
        self.world.do("fail", "*/gpio6/value", "read", "EIO")
        text = "read '/sys/class/gpio/gpio6/value' failed: Input/output error"
        with self.log("Buzzer/ALARM") as lines, self.assertBusError("OperationFailure", text):
            self.alarm.GetState()
        self.assertEqual(lines[-1], f"<error> [Buzzer/ALARM] GetState() failed: {text}")

    def test_a_buzzer_on_an_input_refuses_to_sound_but_tells_its_state(self):
        sense = self.bus_object("Buzzer/SENSE")
        with self.log("Buzzer/SENSE") as lines:
            with self.assertBusError("OperationNotPermitted", "Buzzer pin should be set to input"):
                sense.SetState(1)
        self.assertEqual(lines, ["<info>  [Buzzer/SENSE] Get method call: SetState(1)",
                                 "<error> [Buzzer/SENSE] SetState(1) failed: "
                                 "Buzzer pin should be set to input"])
        self.world.do("turn", 7, 1)
        self.assertEqual(sense.GetState(), 1)

    def test_the_state_is_checked_before_the_direction(self):
        with self.assertBusError("InvalidArgument", "Invalid Buzzer state"):
            self.bus_object("Buzzer/SENSE").SetState(2)

    def test_it_is_silent_when_the_daemon_ends(self):
        self.alarm.SetState(1)
        self.stop_daemon()
        self.assertEqual(self.world.do("read", 6), "0\n")

    def test_a_buzzer_that_cannot_be_silenced_at_the_end_is_logged(self):
        with self.log("[Buzzer]") as lines:
            self.stop_daemon()
        self.assertEqual(lines, ["<warn>  [Buzzer] failed to turn off buzzer "
                                 "Buzzer pin should be set to input"])


class UnreachableGpioBuzzerTest(BuzzerTest):
    starts = False

    def test_a_line_without_a_direction_keeps_the_buzzer_off_the_bus(self):
        self.world.do("fail", "*/gpio6/direction", "write", "EIO")
        self.start_daemon()
        self.assertNotIn("Buzzer/ALARM", self.objects())
        with self.log("[Buzzer]") as lines:
            self.stop_daemon()
        self.assertIn("<warn>  [Buzzer] failed to turn off buzzer Buzzer pin is not set", lines)


class SpeakerTest(BuzzerTest):
    def setUp(self):
        super().setUp()
        self.speaker = self.bus_object("Buzzer/SPEAKER")

    def sounds(self):
        return self.world.do("sounds", "pcspkr").splitlines()

    def test_its_definition_silences_it(self):
        self.assertEqual(self.sounds(), ["18 2 0"])

    def test_sounding_writes_one_tone_of_440_hz_and_silence_one_of_0(self):
        self.world.do("record", "--clear")
        self.speaker.SetState(1)
        self.speaker.SetState(0)
        self.assertEqual(self.sounds(), ["18 2 0", "18 2 440", "18 2 0"])
        zero_time = r"\0" * 16
        data = [access[1].replace(r"\x00", r"\0").replace(r"\000", r"\0")
                for access in self.writes(SPEAKER_NODE)]
        self.assertEqual([text.startswith(zero_time) for text in data], [True, True], data)
        self.assertEqual([access[3] for access in self.world.accesses(SPEAKER_NODE)], ["24", "24"])

    def test_the_state_is_the_one_set_last_without_a_look_at_the_device(self):
        self.speaker.SetState(1)
        self.world.do("record", "--clear")
        self.assertEqual(self.speaker.GetState(), 1)
        self.assertEqual(self.world.do("record", SPEAKER_NODE), "")

    def test_a_node_that_cannot_be_opened_refuses_the_state_and_keeps_the_last(self):
        self.world.do("fail", SPEAKER_NODE, "open", "EACCES")
        with self.log("Buzzer/SPEAKER") as lines:
            with self.assertBusError("PeripheralNotAvailable", f"Cannot open {SPEAKER_NODE}"):
                self.speaker.SetState(1)
        self.assertEqual(lines, ["<info>  [Buzzer/SPEAKER] Get method call: SetState(1)",
                                 "<error> [Buzzer/SPEAKER] SetState(1) failed: "
                                 f"Cannot open {SPEAKER_NODE}"])
        self.assertEqual(self.speaker.GetState(), 0)

    def test_a_tone_that_is_not_taken_counts_as_set(self):
        self.world.do("fail", SPEAKER_NODE, "write", "EIO")
        self.speaker.SetState(1)
        self.assertEqual(self.speaker.GetState(), 1)

    def test_it_is_silent_when_the_daemon_ends(self):
        self.speaker.SetState(1)
        self.stop_daemon()
        self.assertEqual(self.sounds()[-1], "18 2 0")

    def test_it_leaves_the_bus_with_its_device_and_comes_back_with_it(self):
        self.world.do("remove-input", "pcspkr")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Unexported")
        self.assertNotIn("Buzzer/SPEAKER", self.objects())
        self.world.do("add-input", "pcspkr", "event=2")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Exported at "
                          "'/com/tarvel/Perimond/Buzzer/SPEAKER'", count=2)
        self.speaker.SetState(1)
        self.assertEqual(self.sounds(), ["18 2 0", "18 2 440"])

    def test_a_removal_that_cannot_silence_it_is_logged_and_takes_it_off_the_bus(self):
        self.world.do("fail", SPEAKER_NODE, "open", "EACCES")
        self.world.do("remove-input", "pcspkr")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Unexported")
        self.assertIn("<warn>  [Buzzer/SPEAKER] failed to turn off buzzer "
                      f"Cannot open {SPEAKER_NODE}", self.log_lines())

    def test_the_end_after_a_removal_does_not_touch_the_device(self):
        self.world.do("remove-input", "pcspkr")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Unexported")
        self.world.do("add-input", "other", "event=2")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Exported at "
                          "'/com/tarvel/Perimond/Buzzer/SPEAKER'", count=2)
        self.world.do("fail", SPEAKER_NODE, "open", "EACCES")
        self.world.do("remove-input", "other")
        self.wait_for_log("<info>  [Buzzer/SPEAKER] Unexported", count=2)
        self.world.do("record", "--clear")
        with self.log("failed to turn off") as lines:
            self.stop_daemon()
        self.assertEqual(self.world.do("record", SPEAKER_NODE), "")
        self.assertEqual([line for line in lines if "SPEAKER" in line], [])


class UnreachableSpeakerTest(BuzzerTest):
    starts = False

    def test_a_node_that_cannot_be_opened_keeps_the_buzzer_off_the_bus(self):
        self.world.do("fail", SPEAKER_NODE, "open", "EACCES")
        self.start_daemon()
        self.assertIn("<warn>  [Buzzer Pcspkr] Failed to disable beep: "
                      f"Cannot open {SPEAKER_NODE}", self.log_lines())
        self.assertIn(f"<warn>  [Buzzer/SPEAKER] Definition: Cannot open {SPEAKER_NODE}",
                      self.log_lines())
        self.assertNotIn("Buzzer/SPEAKER", self.objects())
        self.stop_daemon()
        self.assertIn("<warn>  [Buzzer/SPEAKER] failed to turn off buzzer "
                      f"Cannot open {SPEAKER_NODE}", self.log_lines())


class ToneTest(BuzzerTest):
    def setUp(self):
        super().setUp()
        self.tone = self.bus_object("Buzzer/TONE")

    def test_its_definition_switches_the_channel_off(self):
        self.assertEqual(self.writes("*/pwm0/*"), [(ENABLE, "0")])

    def test_sounding_clears_the_duty_cycle_sets_440_hz_and_enables(self):
        self.world.do("record", "--clear")
        with self.log("Buzzer/TONE") as lines:
            self.tone.SetState(1)
        self.assertEqual(self.writes("*/pwm0/*"), [(DUTY, "0"), (PERIOD, "2272727"),
                                                   (DUTY, "1136363"), (ENABLE, "1")])
        self.assertEqual(self.world.do("pwm", 0, 0), "2272727 1136363 normal on\n")
        self.assertEqual(lines, ["<info>  [Buzzer/TONE] Get method call: SetState(1)",
                                 "<info>  [Buzzer/TONE] SetState(1) OK"])

    def test_silence_only_disables_the_channel(self):
        self.tone.SetState(1)
        self.world.do("record", "--clear")
        self.tone.SetState(0)
        self.assertEqual(self.writes("*/pwm0/*"), [(ENABLE, "0")])

    def test_a_channel_that_does_not_take_the_writes_still_counts_as_set(self):
        self.world.do("fail", "*/pwm0/*", "write", "EIO")
        with self.log("Buzzer/TONE") as lines:
            self.tone.SetState(1)
        self.assertEqual(lines[-1], "<info>  [Buzzer/TONE] SetState(1) OK")
        self.assertEqual(self.tone.GetState(), 1)
        self.assertEqual([line for line in self.error_lines() if line], [])

    def test_it_is_silent_when_the_daemon_ends(self):
        self.tone.SetState(1)
        self.stop_daemon()
        self.assertEqual(self.world.do("pwm", 0, 0), "2272727 1136363 normal off\n")


class ToneWithoutPeriodTest(BuzzerTest):
    """The platform gives the channel no period: the kernel then takes no duty cycle, not even 0."""

    def prepare(self):
        self.world.do("unplug", "pwm", "pwmchip0")
        self.world.do("pwmchip", 0, 1, 0)

    def test_sounding_counts_as_set_and_changes_nothing(self):
        self.world.do("record", "--clear")
        self.bus_object("Buzzer/TONE").SetState(1)
        self.assertEqual(
            [(path, data, result) for _, path, data, result in self.world.accesses("*/pwm0/*")],
            [(DUTY, "0", "EINVAL"), (ENABLE, "1", "EINVAL")])
        self.assertEqual(self.world.do("pwm", 0, 0), "0 0 normal off\n")


class FrequencyTest(BuzzerTest):
    starts = False

    def assert_tone(self, frequency, period, duty_cycle):
        self.start_daemon(BUZZER_FREQUENCY=frequency)
        self.bus_object("Buzzer/TONE").SetState(1)
        self.assertEqual(self.writes("*/pwm0/*")[-4:],
                         [(DUTY, "0"), (PERIOD, period), (DUTY, duty_cycle), (ENABLE, "1")])

    def test_a_number_is_the_frequency_in_hz(self):
        self.assert_tone("1000", "1000000", "500000")

    def test_the_period_and_the_duty_cycle_are_truncated(self):
        self.assert_tone("3000", "333333", "166666")

    def test_a_word_means_440_hz(self):
        self.assert_tone("abc", "2272727", "1136363")

    def test_an_empty_text_means_440_hz(self):
        self.assert_tone("", "2272727", "1136363")

    def test_zero_means_440_hz(self):
        self.assert_tone("0", "2272727", "1136363")

    def test_digits_in_front_of_a_word_count(self):
        self.assert_tone("1000Hz", "1000000", "500000")

    def test_a_negative_number_means_440_hz(self):
        self.assert_tone("-1000", "2272727", "1136363")

    def test_a_number_that_is_no_frequency_means_440_hz(self):
        self.assert_tone("99999999999999999999", "2272727", "1136363")


if __name__ == "__main__":
    perimond.main()
