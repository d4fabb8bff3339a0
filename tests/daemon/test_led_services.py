"""LEDs that show signal, SIM slot and mounted storage, told by the registry's update calls."""

import perimond
from probe import ProbeTest

BAR = ("LED/B1", "LED/B2", "LED/B3", "LED/B4")
STATUS = "LED/ST"
LEDS = tuple(f"gpio {name} {pin} 0" for pin, name in enumerate(("B1", "B2", "B3", "B4", "ST"), 10))


class ServiceTest(ProbeTest):
    init = LEDS

    def states(self, *leds):
        return [self.bus_object(led).GetState() for led in leds]

    def preset(self, state, *leds):
        for led in leds:
            self.bus_object(led).SetState(state)


class SignalTest(ServiceTest):
    init = (*LEDS, "signal wwan0 4 LED/B1 LED/B2 LED/B3 LED/B4 LED/ST")

    def test_the_bar_shows_bars_before_percentage_and_nothing_without_a_connection(self):
        dark, weak = [0, 0, 0, 0], [2, 0, 0, 0]
        one, two, three, four = [1, 0, 0, 0], [1, 1, 0, 0], [1, 1, 1, 0], [1, 1, 1, 1]
        for connection, strength, percentage, bar in (
                (9, 4, 0, four), (8, 4, 0, dark), (9, 3, 100, three), (9, 2, 100, two),
                (9, 1, 100, one), (9, 5, 100, weak), (10, 1, 100, dark), (9, 7, 100, weak),
                (0, 0, 100, dark), (9, 0, 100, four), (9, 0, 81, four), (9, 0, 80, three),
                (9, 0, 61, three), (9, 0, 60, two), (9, 0, 41, two), (9, 0, 40, one),
                (9, 0, 21, one), (9, 0, 20, weak), (9, 0, 0, weak), (9, 4294967295, 50, weak),
                (4294967295, 4, 50, dark)):
            with self.subTest(connection=connection, strength=strength, percentage=percentage):
                self.act(f"conn wwan0 {connection}", f"level wwan0 {percentage}",
                         f"strength wwan0 {strength}")
                self.assertEqual(self.states(*BAR, STATUS), [*bar, 0 if bar == dark else 1])

    def test_a_shorter_bar_is_full_at_the_levels_above_its_length(self):
        for count, bars in ((2, ([2, 0], [1, 0], [1, 1], [1, 1], [1, 1])),
                            (3, ([2, 0, 0], [1, 0, 0], [1, 1, 0], [1, 1, 1], [1, 1, 1]))):
            name = f"wwan{count}"
            self.act(f"signal {name} {count} LED/B1 LED/B2 LED/B3 - -", f"conn {name} 9")
            for strength, bar in zip((9, 1, 2, 3, 4), bars):
                with self.subTest(count=count, strength=strength):
                    self.act(f"strength {name} {strength}")
                    self.assertEqual(self.states(*BAR[:count]), bar)
        self.assertEqual(self.states(STATUS), [0])

    def test_names_beyond_the_length_of_the_bar_are_not_used(self):
        self.act("signal wwan1 2 LED/B1 LED/B2 LED/NONE LED/NONE -", "conn wwan1 9",
                 "strength wwan1 4")
        self.assertEqual(self.states(*BAR), [1, 1, 0, 0])

    def test_each_update_is_logged(self):
        ours = "<debug> [SignalLedService/wwan0]"
        self.assertEqual(self.act("level wwan0 77", "strength wwan0 4294967295", "conn wwan0 8"),
                         [f"{ours} SignalLevel changed to 77", f"{ours} No need to update LED",
                          f"{ours} SignalStrength changed to -1", f"{ours} No need to update LED",
                          f"{ours} No need to update LED"])

    def test_the_same_level_again_touches_no_led(self):
        self.act("strength wwan0 3", "conn wwan0 9")
        self.preset(0, *BAR, STATUS)
        self.world.do("record", "--clear")
        self.assertEqual(self.act("strength wwan0 3", "level wwan0 5", "conn wwan0 9"),
                         ["<debug> [SignalLedService/wwan0] SignalStrength changed to 3",
                          "<debug> [SignalLedService/wwan0] No need to update LED",
                          "<debug> [SignalLedService/wwan0] SignalLevel changed to 5",
                          "<debug> [SignalLedService/wwan0] No need to update LED",
                          "<debug> [SignalLedService/wwan0] No need to update LED"])
        self.assertEqual(self.world.accesses("/sys/class/gpio/*"), [])

    def test_a_first_update_that_shows_nothing_leaves_the_leds_as_they_are(self):
        self.preset(1, *BAR, STATUS)
        self.act("conn wwan0 8", "strength wwan0 4")
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 1, 1, 1])

    def test_the_leds_are_set_from_the_lowest_to_the_status_led(self):
        self.world.do("record", "--clear")
        self.act("strength wwan0 2", "conn wwan0 9")
        self.assertEqual([(path, data) for _, path, data, _ in
                          self.world.accesses("/sys/class/gpio/gpio*/value")],
                         [(f"/sys/class/gpio/gpio{pin}/value", value)
                          for pin, value in zip(range(10, 15), "11001")])

    def test_an_led_that_fails_does_not_keep_the_others_from_changing(self):
        self.world.do("fail", "/sys/class/gpio/gpio10/value", "write", "EIO")
        self.act("strength wwan0 4", "conn wwan0 9")
        self.assertEqual(self.states(*BAR, STATUS), [0, 1, 1, 1, 1])

    def test_without_leds_it_says_so(self):
        self.assertEqual(self.act("bare-signal wwan7", "conn wwan7 9"),
                         ["<debug> [SignalLedService/wwan7] Light up failed because of invalid "
                          "number of LEDs: 0"])

    def test_an_unknown_interface_is_ignored_without_a_line(self):
        self.assertEqual(self.act("conn wwan1 9", "level wwan1 9", "strength wwan1 9",
                                  "slot-in-use wwan0 1", "conn wwan00 9"), [])

    def test_a_second_service_of_an_interface_replaces_the_first(self):
        self.act("strength wwan0 4", "conn wwan0 9")
        self.assertEqual(self.act("signal wwan0 2 LED/B3 LED/B4 - - -"),
                         ["<info>  [Probe] released signal"])
        self.preset(0, *BAR)
        self.act("strength wwan0 4", "conn wwan0 9")
        self.assertEqual(self.states(*BAR), [0, 0, 1, 1])

    def test_an_led_that_does_not_exist_ends_the_daemon(self):
        self.act("signal wwan1 2 LED/B1 LED/NONE - - -", "strength wwan1 4")
        self.assertAborts(("zolv_base_manager_get_object", None), "conn wwan1 9")
        self.assertIn("<error> [Manager] Object 'LED/NONE' not found", self.log_lines())


class SimTest(ServiceTest):
    init = (*LEDS, "sim wwan0 3 LED/B1 LED/B2 LED/B3")

    def test_the_led_of_the_slot_in_use_is_lit_and_the_others_are_dark(self):
        for slot, leds in ((2, [0, 1, 0]), (1, [1, 0, 0]), (3, [0, 0, 1]), (0, [0, 0, 0]),
                           (2, [0, 1, 0]), (4, [0, 0, 0])):
            with self.subTest(slot):
                self.assertEqual(
                    [line for line in self.act(f"slot-in-use wwan0 {slot}")
                     if not line.startswith("<debug> [Common] ")], [])
                self.assertEqual(self.states(*BAR[:3]), leds)

    def test_a_second_service_of_an_interface_replaces_the_first(self):
        self.assertEqual(self.act("sim wwan0 1 LED/B4"), ["<info>  [Probe] released sim"])
        self.act("slot-in-use wwan0 1")
        self.assertEqual(self.states(*BAR), [0, 0, 0, 1])

    def test_services_of_one_interface_and_of_two_do_not_replace_each_other(self):
        self.assertEqual(self.act("signal wwan0 2 LED/B3 LED/B4 - - -", "sim wwan1 1 LED/B4"), [])
        self.act("slot-in-use wwan0 1", "slot-in-use wwan1 1")
        self.assertEqual(self.states(*BAR), [1, 0, 0, 1])

    def test_no_led_is_a_service_too(self):
        self.assertEqual(self.act("sim wwan3 0", "slot-in-use wwan3 1"), [])


class PartitionTest(ServiceTest):
    def line(self, usb, sd, bay1, bay2):
        return (f"<debug> [PartitionLedService] Number of Mount USB {usb}, Number of SD {sd}, "
                f"Number of hotswap1 {bay1}, Number of hotswap2 {bay2}")

    def test_each_led_follows_the_disks_of_its_kind(self):
        leds = "4 LED/B1 1 LED/B2 2 LED/B3 3 LED/B4 4"
        self.assertIn(self.line(1, 2, 1, 2), self.act(f"mounted 9,1,2,1,2,9 {leds}"))
        self.assertEqual(self.states(*BAR), [1, 0, 1, 0])
        self.act(f"mounted 0,2,1,2,1,0 {leds}")
        self.assertEqual(self.states(*BAR), [0, 1, 0, 1])

    def test_a_kind_with_nothing_present_leaves_its_led_as_it_is(self):
        self.preset(1, "LED/B1")
        self.preset(2, "LED/B2")
        # The thread that makes the second one blink may write lines of its own.
        self.assertEqual([line for line in self.act("mounted 1,0,0,0,0,1 2 LED/B1 1 LED/B2 2")
                          if not line.startswith("<debug> [Common] ")], [self.line(0, 0, 0, 0)])
        self.assertEqual(self.states(*BAR[:2]), [1, 2])

    def test_two_leds_of_a_kind_follow_the_same_status(self):
        self.act("mounted 0,1,0,0,0,0 5 LED/B1 1 LED/B2 1 LED/B3 2 LED/B4 1 LED/ST 1")
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 0, 1, 1])

    def test_an_led_of_an_unknown_kind_never_changes(self):
        self.preset(1, "LED/B2")
        self.act("mounted 1,1,1,1,1,1 3 LED/B1 0 LED/B2 5 LED/B3 4294967295",
                 "mounted 2,2,2,2,2,2 3 LED/B1 0 LED/B2 5 LED/B3 4294967295")
        self.assertEqual(self.states(*BAR[:3]), [0, 1, 0])

    def test_a_status_that_has_no_meaning_leaves_the_led_as_it_is(self):
        self.preset(1, "LED/B1")
        self.act("mounted 0,3,0,0,0,0 1 LED/B1 1")
        self.assertEqual(self.states("LED/B1"), [1])

    def test_an_led_that_fails_does_not_keep_the_others_from_changing(self):
        self.world.do("fail", "/sys/class/gpio/gpio10/value", "write", "EIO")
        self.act("mounted 0,1,1,0,0,0 2 LED/B1 1 LED/B2 2")
        self.assertEqual(self.states(*BAR[:2]), [0, 1])

    def test_a_second_service_replaces_the_first(self):
        self.assertEqual(self.act("ptn 0", "ptn 0"), ["<info>  [Probe] released partition"])


class MountTableTest(ServiceTest):
    def changes(self, *command):
        with self.log() as lines:
            self.world.run(*command)
            self.act()
        return [line for line in lines if "[Probe]" not in line and "end-" not in line
                and "[Udev]" not in line]

    def test_a_change_is_logged(self):
        self.assertEqual(set(self.changes("mount", "-t", "tmpfs", "none", "/media")),
                         {"<info>  [Manager] mount table changed"})
        self.assertEqual(set(self.changes("umount", "/media")),
                         {"<info>  [Manager] mount table changed"})

    def test_a_change_reaches_the_partition_leds_which_nothing_present_leaves_alone(self):
        self.act("ptn 1 LED/B1 1")
        self.preset(1, "LED/B1")
        self.assertEqual(self.changes("mount", "-t", "tmpfs", "none", "/media")[:2],
                         ["<info>  [Manager] mount table changed",
                          "<debug> [PartitionLedService] Number of Mount USB 0, Number of SD 0, "
                          "Number of hotswap1 0, Number of hotswap2 0"])
        self.assertEqual(self.states("LED/B1"), [1])


class AssertionTest(ServiceTest):
    def test_a_signal_bar_has_two_leds_at_least(self):
        self.assertAborts(("zolv_signal_led_service_new", "(number_of_leds == 2) || "
                           "(number_of_leds == 3) || (number_of_leds == 4)"),
                          "signal wwan0 1 LED/B1 - - - -")

    def test_a_signal_bar_has_four_leds_at_most(self):
        self.assertAborts(("zolv_signal_led_service_new", "(number_of_leds == 2) || "
                           "(number_of_leds == 3) || (number_of_leds == 4)"),
                          "signal wwan0 5 LED/B1 LED/B1 LED/B1 LED/B1 -")

    def test_there_are_three_sim_leds_at_most(self):
        self.assertAborts(("zolv_sim_led_service_new", "number_of_leds <= MAX_LED_NUM"),
                          "sim wwan0 4 LED/B1 LED/B1 LED/B1")

    def test_there_are_five_partition_leds_at_most(self):
        self.assertAborts(("zolv_partition_led_service_new", "led_n <= ZOLV_PTN_LED_MAX_N"),
                          "ptn 6")


def null_test(function, assertion):
    def test(self):
        self.assertAborts((f"zolv_{function}", assertion),
                          f"null {function.removeprefix('base_manager_')}")
    return test


for _function, _assertion in (
        ("base_manager_add_led_service", "interace != NULL"),
        ("base_manager_add_sim_led_service", "interface != NULL"),
        ("base_manager_add_ptn_led_service", "service != NULL"),
        ("base_manager_update_signal_level", "interface_name != NULL"),
        ("base_manager_update_signal_strength", "interface_name != NULL"),
        ("base_manager_update_conn_state", "interface_name != NULL"),
        ("base_manager_update_sim_leds", "interface_name != NULL"),
        ("signal_led_service_new", "interface != NULL"),
        ("sim_led_service_new", "manager != NULL"),
        ("partition_led_service_new", "manager != NULL"),
        ("partition_led_service_update_led", "ZOLV_IS_PARTITION_LED_SERVICE(self)")):
    setattr(AssertionTest, f"test_{_function}_needs_its_arguments",
            null_test(_function, _assertion))


if __name__ == "__main__":
    perimond.main()
