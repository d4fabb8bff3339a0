"""PWM channels behave as the kernel's."""

import os

import perimond

CHIP = "/sys/class/pwm/pwmchip0"
CHANNEL = f"{CHIP}/pwm0"


class PwmTest(perimond.BoardTest):
    def setUp(self):
        super().setUp()
        self.world.write(f"{CHIP}/export", "0")

    def test_export_and_unexport_make_and_remove_the_channel(self):
        with self.assertErrno("EBUSY"):
            self.world.write(f"{CHIP}/export", "0")
        self.world.write(f"{CHIP}/unexport", "0")
        self.assertFalse(os.path.exists(self.world.path(CHANNEL)))
        with self.assertErrno("ENODEV"):
            self.world.write(f"{CHIP}/unexport", "0")

    def test_an_unknown_channel_is_refused(self):
        with self.assertErrno("ENODEV"):
            self.world.write(f"{CHIP}/export", "1")
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHIP}/export", "one")

    def test_the_duty_cycle_stays_within_the_period(self):
        self.world.write(f"{CHANNEL}/period", "2000000")
        self.world.write(f"{CHANNEL}/duty_cycle", "2000000")
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHANNEL}/duty_cycle", "2000001")
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHANNEL}/period", "1999999")
        self.assertEqual(self.world.read(f"{CHANNEL}/duty_cycle"), "2000000\n")
        self.assertEqual(self.world.read(f"{CHANNEL}/period"), "2000000\n")

    def test_a_period_of_0_is_refused(self):
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHANNEL}/period", "0")

    def test_polarity_is_fixed_while_enabled(self):
        self.world.write(f"{CHANNEL}/polarity", "inversed")
        self.world.write(f"{CHANNEL}/enable", "1")
        with self.assertErrno("EBUSY"):
            self.world.write(f"{CHANNEL}/polarity", "normal")
        self.assertEqual(self.world.read(f"{CHANNEL}/polarity"), "inversed\n")
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHANNEL}/polarity", "upside down")

    def test_enable_takes_0_and_1(self):
        self.world.write(f"{CHANNEL}/enable", "1")
        with self.assertErrno("EINVAL"):
            self.world.write(f"{CHANNEL}/enable", "2")
        self.assertEqual(self.world.do("pwm", 0, 0), "1000000 0 normal on\n")

    def test_a_channel_that_was_never_set_has_no_period(self):
        self.world.do("pwmchip", 1, 1, 0)
        self.world.write("/sys/class/pwm/pwmchip1/export", "0")
        for attribute, value in (("duty_cycle", "0"), ("polarity", "normal"),
                                 ("polarity", "inversed"), ("enable", "1"), ("enable", "0")):
            with self.subTest(attribute=attribute), self.assertErrno("EINVAL"):
                self.world.write(f"/sys/class/pwm/pwmchip1/pwm0/{attribute}", value)

    def test_a_chip_has_channels_and_no_period_below_0(self):
        for words in ((5, 0), (5, -1), (5, 1, -1)):
            with self.subTest(words), self.assertRaisesRegex(perimond.BoardError, "a chip has"):
                self.world.do("pwmchip", *words)

    def test_an_unplugged_chip_is_gone(self):
        with open(self.world.path(f"{CHIP}/unexport"), "wb", 0) as unexport:
            self.world.do("unplug", "pwm", "pwmchip0")
            with self.assertErrno("ENODEV"):
                unexport.write(b"0")
        with self.assertRaisesRegex(perimond.BoardError, "there is no PWM channel 0 0"):
            self.world.do("pwm", 0, 0)


if __name__ == "__main__":
    perimond.main()
