"""Whether the daemon takes the chip for secured, from what the chip's description says."""

import perimond

FAMILY = "/sys/devices/soc0/family"
MACHINE = "/sys/devices/soc0/machine"
SOC_ID = "/sys/devices/soc0/soc_id"
FUSES = "/sys/bus/nvmem/devices/imx-ocotp0/nvmem"
SECURE = "/sys/kernel/tarvel/secure"

CLOSED = r"raw:\x00\x02\x00\x00"
OPEN = r"raw:\xff\xfd\xff\xff"


class SecurityTest(perimond.DaemonTest):
    starts = False

    def security(self, *commands, soc=None, **files):
        """Security on a board with these files; `soc` is what the log shows of the chip."""
        for name, value in files.items():
            self.world.do("preset", globals()[name], value)
        for command in commands:
            self.world.do(*command)
        mark = len(self.log_lines())
        self.start_daemon()
        secured = self.bus_object("").get("Security")
        self.stop_daemon()
        del self._bus
        lines = self.log_lines()[mark:]
        shown = [number for number, line in enumerate(lines)
                 if line.startswith("<debug> [Manager] SoC ")]
        self.assertEqual([lines[number:number + 2] for number in shown],
                         [[f"<debug> [Manager] SoC '{soc}'", ""]] if soc is not None else [])
        return secured

    # -- no description

    def test_without_a_family_it_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), SECURE="1", FUSES=CLOSED))

    def test_an_unreadable_family_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), ("fail", FAMILY, "read", "EIO"),
                                       FAMILY="Other"))

    def test_an_unreadable_machine_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), ("fail", MACHINE, "read", "EIO"),
                                       FAMILY="AM33xx", MACHINE="board"))

    def test_a_missing_chip_name_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="Freescale i.MX",
                                       FUSES=CLOSED))

    # -- fuses

    def test_an_imx7d_with_the_closing_fuse_is_secured(self):
        self.assertTrue(self.security(FAMILY="Freescale i.MX", SOC_ID="i.MX7D", FUSES=CLOSED,
                                      soc="i.MX7D"))

    def test_an_imx7d_with_all_other_fuses_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="Freescale i.MX",
                                       SOC_ID="i.MX7D", FUSES=OPEN, soc="i.MX7D"))

    def test_an_imx8mp_with_the_closing_fuse_is_secured(self):
        self.assertTrue(self.security(FAMILY="freescale I.mx", SOC_ID="i.mx8mp", FUSES=CLOSED,
                                      soc="i.mx8mp"))

    def test_an_imx8mp_with_all_other_fuses_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="Freescale i.MX",
                                       SOC_ID="i.MX8MP", FUSES=OPEN, soc="i.MX8MP"))

    def test_missing_fuses_are_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="Freescale i.MX",
                                       SOC_ID="i.MX8MP", soc="i.MX8MP"))

    def test_unreadable_fuses_are_not_secured(self):
        self.assertFalse(self.security(("fail", FUSES, "read", "EIO"), FAMILY="Freescale i.MX",
                                       SOC_ID="i.MX8MP", FUSES=CLOSED, soc="i.MX8MP"))

    def test_another_imx_is_secured_by_the_boot_environment(self):
        self.assertTrue(self.security(("env", "secure", "1"), FAMILY="Freescale i.MX",
                                      SOC_ID="i.MX6ULL", FUSES=OPEN, soc="i.MX6ULL"))

    # -- one-time-programmable memory

    def test_an_am64x_is_secured_by_the_first_byte_of_its_locked_memory(self):
        self.assertTrue(self.security(("otp", "0", "locked", r"\xfe\x00\x00\x00"),
                                      FAMILY="AM64X", soc="Other"))

    def test_an_am64x_with_another_first_byte_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"),
                                       ("otp", "0", "locked", r"\xff\xfe\xfe\xfe"),
                                       FAMILY="AM64X", soc="Other"))

    def test_an_am64x_with_unlocked_memory_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"),
                                       ("otp", "0", "unlocked", r"\xfe\xfe\xfe\xfe"),
                                       FAMILY="AM64X", soc="Other"))

    def test_an_am64x_without_flash_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="am64x", soc="Other"))

    # -- the file of the AM62x

    def test_an_am62x_is_secured_by_its_file(self):
        self.assertTrue(self.security(FAMILY="AM62X", SECURE="1", soc="Other"))

    def test_an_am62x_is_secured_by_the_first_character_of_its_file(self):
        self.assertTrue(self.security(FAMILY="AM62x", SECURE="1023456", soc="Other"))

    def test_an_am62x_with_another_first_character_is_not_secured(self):
        for content in ("01", "2"):
            with self.subTest(content):
                self.assertFalse(self.security(("env", "secure", "1"), FAMILY="AM62X",
                                               SECURE=content, soc="Other"))

    def test_an_am62x_without_its_file_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "1"), FAMILY="AM62X", soc="Other"))

    # -- the boot environment

    def test_an_am33xx_is_secured_by_the_boot_environment(self):
        self.assertTrue(self.security(("env", "secure", "1"), FAMILY="AM33XX",
                                      MACHINE="The board of an AM335x", SECURE="0", FUSES=OPEN,
                                      soc="The board of an AM335x"))

    def test_another_family_is_secured_by_the_boot_environment(self):
        self.assertTrue(self.security(("env", "secure", "1"), FAMILY="Some other", soc="Other"))

    def test_a_boot_variable_that_begins_with_1_is_not_secured(self):
        self.assertFalse(self.security(("env", "secure", "10"), FAMILY="Some other", soc="Other"))

    def test_a_missing_boot_variable_is_not_secured(self):
        self.assertFalse(self.security(FAMILY="Some other", SECURE="1", FUSES=CLOSED, soc="Other"))

    # -- how names are matched

    def test_a_name_with_more_behind_it_matches(self):
        self.assertTrue(self.security(FAMILY="Freescale i.MXRT family", SOC_ID="i.MX7Dual",
                                      FUSES=CLOSED, soc="i.MX7Dual"))

    def test_a_family_that_is_the_beginning_of_a_name_matches(self):
        # "AM6" is tried for AM33xx and for Freescale i.MX in vain, then for AM64X.
        self.assertTrue(self.security(("otp", "0", "locked", r"\xfe"), FAMILY="AM6", SECURE="0",
                                      soc="Other"))

    def test_a_family_that_is_the_beginning_of_the_first_name_is_that(self):
        self.assertTrue(self.security(("env", "secure", "1"), FAMILY="am3", MACHINE="board",
                                      soc="board"))

    def test_a_chip_that_is_the_beginning_of_a_name_matches_the_first(self):
        # Both i.MX7D and i.MX8MP begin so; the test is the same.
        self.assertTrue(self.security(FAMILY="Freescale i.MX", SOC_ID="i.MX", FUSES=CLOSED,
                                      soc="i.MX"))

    def test_a_machine_that_is_the_beginning_of_a_chip_name_is_tried_by_its_fuses(self):
        self.assertTrue(self.security(FAMILY="AM33xx", MACHINE="i", FUSES=CLOSED, soc="i"))

    def test_descriptions_are_read_to_their_64th_byte(self):
        self.assertFalse(self.security(FAMILY="AM33xx", MACHINE="M" * 100, soc="M" * 64))

    def test_a_chip_name_that_is_not_utf_8_is_made_readable(self):
        self.assertFalse(self.security(FAMILY="AM33xx", MACHINE=r"M\xff\x01", soc="M\ufffd\\x01"))

    def test_a_failed_read_does_not_spoil_the_rest_of_the_start(self):
        self.assertFalse(self.security(("otp", "0", "unlocked", "x"), FAMILY="AM64X", soc="Other"))
        self.assertIn(perimond.daemon.STARTED, self.log_lines())


if __name__ == "__main__":
    perimond.main()
