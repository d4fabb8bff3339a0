"""LED-class devices behave as the kernel's."""

import perimond

LED = "/sys/class/leds/sim:green:ready"
OFF = "[none] heartbeat timer default-on mmc0\n"


class LedTest(perimond.BoardTest):
    def test_the_trigger_file_lists_all_and_brackets_the_active_one(self):
        self.assertEqual(self.world.read(f"{LED}/trigger"), OFF)
        self.world.write(f"{LED}/trigger", "heartbeat\n")
        self.assertEqual(self.world.read(f"{LED}/trigger"),
                         "none [heartbeat] timer default-on mmc0\n")

    def test_an_unknown_trigger_is_refused(self):
        with self.assertErrno("EINVAL"):
            self.world.write(f"{LED}/trigger", "heart")
        self.assertEqual(self.world.read(f"{LED}/trigger"), OFF)

    def test_brightness_is_cut_at_the_maximum(self):
        self.world.write(f"{LED}/brightness", "255")
        self.assertEqual(self.world.read(f"{LED}/brightness"), "1\n")
        self.assertEqual(self.world.read(f"{LED}/max_brightness"), "1\n")

    def test_brightness_takes_numbers_only(self):
        for text in ("on", "-1", "0x1"):
            with self.subTest(text=text), self.assertErrno("EINVAL"):
                self.world.write(f"{LED}/brightness", text)

    def test_brightness_0_removes_the_trigger(self):
        self.world.write(f"{LED}/trigger", "heartbeat")
        self.world.write(f"{LED}/brightness", "0")
        self.assertEqual(self.world.read(f"{LED}/trigger"), OFF)

    def test_a_trigger_that_goes_leaves_the_led_dark(self):
        self.world.write(f"{LED}/brightness", "1")
        self.world.write(f"{LED}/trigger", "timer")
        self.world.write(f"{LED}/trigger", "none")
        self.assertEqual(self.world.read(f"{LED}/brightness"), "0\n")

    def test_a_heartbeat_is_seen(self):
        self.world.write(f"{LED}/trigger", "heartbeat")
        for level in "101":
            perimond.wait_until(lambda: self.world.do("led", "sim:green:ready") ==
                                f"heartbeat {level}\n", f"a beat of {level}")

    def test_the_maximum_cannot_be_written(self):
        with self.assertErrno("EACCES"):
            self.world.write(f"{LED}/max_brightness", "2")

    def test_a_board_may_add_an_led_with_a_trigger_of_its_own(self):
        self.world.do("add-led", "disk", "max=255", "trigger=disk-activity")
        self.assertEqual(self.world.read("/sys/class/leds/disk/trigger"),
                         "none heartbeat timer default-on mmc0 [disk-activity]\n")

    def test_an_unplugged_led_is_gone_and_may_come_back(self):
        self.world.do("add-led", "disk", "trigger=heartbeat")
        self.world.do("unplug", "leds", "disk")
        self.assertNotIn("disk", self.world.do("led"))
        with self.assertRaisesRegex(perimond.BoardError, "there is no LED disk"):
            self.world.do("led", "disk")
        self.world.do("add-led", "disk")
        self.assertEqual(self.world.do("led", "disk"), "none 0\n")


if __name__ == "__main__":
    perimond.main()
