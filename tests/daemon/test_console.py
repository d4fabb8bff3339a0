"""The console, and the state of an interface that the boot loader owns."""

import configparser
import os

import perimond
from probe import ProbeTest

NOT_APPLICABLE = "Cannot set io state for not applicable device"


class ConsoleTest(perimond.DaemonTest):
    """CONSOLE1 is bound to the variable console_enable, CONSOLE2 to none."""

    def setUp(self):
        super().setUp()
        self.console = self.bus_object("Console/CONSOLE1")

    @property
    def settings_path(self):
        return os.path.join(self.world.settings, "peripheral-settings.conf")

    def stored(self, identifier="Console/CONSOLE1"):
        """The stored wish, None where there is none."""
        settings = configparser.ConfigParser()
        settings.optionxform = str
        settings.read(self.settings_path)
        return settings.get(identifier, "IOState", fallback=None)

    def store(self, text):
        os.makedirs(self.world.settings, exist_ok=True)
        with open(self.settings_path, "w") as file:
            file.write(text)

    def variable(self):
        return self.world.do("env", "console_enable").rstrip("\n")

    def assert_refused(self, state):
        with self.log("Console/CONSOLE1") as lines:
            with self.assertBusError("PeripheralNotAvailable", NOT_APPLICABLE):
                self.console.SetIOState(state)
        self.assertEqual(lines, ["<info>  [Console/CONSOLE1] Get method call: SetIOState()",
                                 f"<error> [Console/CONSOLE1] SetIOState() failed: {NOT_APPLICABLE}"])


class EnabledConsoleTest(ConsoleTest):
    boot_environment = {"console_enable": "1"}

    def test_it_shows_its_device(self):
        self.assertEqual(self.console.get("Device"), "/dev/ttyS0")

    def test_one_is_published_and_stored_as_enabled(self):
        self.assertEqual((self.console.get("IOState"), self.stored()), (2, "true"))

    def test_the_start_writes_nothing_to_the_boot_environment(self):
        self.assertEqual([line for line in self.log_lines() if "Set ubootenv" in line], [])

    def test_switching_it_off_is_written_for_the_next_boot_and_published_then(self):
        with self.log() as lines:
            self.console.SetIOState(1)
        # The inputs are read at any time.
        self.assertEqual([line for line in lines if "[Common]" not in line], [
            "<info>  [Console/CONSOLE1] Get method call: SetIOState()",
            "<debug> [Console/CONSOLE1] Write bootenv: console_enable",
            '<debug> [UBOOTENV] Read ubootenv "console_enable": "1"',
            '<debug> [UBOOTENV] Set ubootenv "console_enable": "0"',
            "<info>  [Console/CONSOLE1] SetIOState() OK, io_state=1"])
        self.assertEqual((self.stored(), self.variable(), self.console.get("IOState")),
                         ("false", "0", 2))
        self.stop_daemon()
        self.start_daemon()
        self.assertEqual(self.console.get("IOState"), 1)

    def test_every_state_but_2_switches_it_off(self):
        for state in (0, 7, 4294967295):
            with self.subTest(state), self.log("SetIOState() OK") as lines:
                self.console.SetIOState(2)
                self.console.SetIOState(state)
            self.assertEqual((self.stored(), self.variable()), ("false", "0"))
            shown = state if state < 2 ** 31 else state - 2 ** 32
            self.assertEqual(lines[-1], "<info>  [Console/CONSOLE1] SetIOState() OK, "
                                        f"io_state={shown}")

    def test_a_variable_that_holds_the_value_already_is_not_written(self):
        with self.log('ubootenv "console_enable"') as lines:
            self.console.SetIOState(2)
            self.stop_daemon()
        self.assertEqual(lines, ['<debug> [UBOOTENV] Read ubootenv "console_enable": "1"'] * 2)

    def test_the_end_writes_the_stored_wish_over_what_was_changed_by_hand(self):
        self.console.SetIOState(1)
        self.world.do("env", "console_enable", "1")
        self.stop_daemon()
        self.assertEqual(self.variable(), "0")

    def test_a_wish_that_is_gone_is_not_written_at_the_end(self):
        self.world.do("env", "console_enable", "0")
        self.store("")
        self.stop_daemon()
        self.assertEqual(self.variable(), "0")

    def test_a_variable_that_is_gone_is_logged_and_the_call_still_succeeds(self):
        self.world.do("unenv", "console_enable")
        with self.log("Console/CONSOLE1") as lines:
            self.console.SetIOState(1)
        self.assertEqual(lines, ["<info>  [Console/CONSOLE1] Get method call: SetIOState()",
                                 "<debug> [Console/CONSOLE1] Write bootenv: console_enable",
                                 "<error> [Console/CONSOLE1] Failed to get uboot env",
                                 "<info>  [Console/CONSOLE1] SetIOState() OK, io_state=1"])
        self.assertEqual(self.stored(), "false")

    def test_a_variable_that_cannot_be_written_is_logged_and_the_call_still_succeeds(self):
        image = os.path.join(self.world.directory, "env.bin")
        self.world.run("mount", "--bind", image, image)
        self.world.run("mount", "-o", "remount,bind,ro", image)
        with self.log("Console/CONSOLE1") as lines:
            self.console.SetIOState(1)
        self.world.run("umount", image)
        self.assertEqual(lines, ["<info>  [Console/CONSOLE1] Get method call: SetIOState()",
                                 "<debug> [Console/CONSOLE1] Write bootenv: console_enable",
                                 "<error> [Console/CONSOLE1] Failed to set uboot env",
                                 "<info>  [Console/CONSOLE1] SetIOState() OK, io_state=1"])

    def test_a_console_without_a_variable_is_enabled_and_only_stores_the_wish(self):
        other = self.bus_object("Console/CONSOLE2")
        with self.log() as lines:
            other.SetIOState(1)
        self.assertEqual([line for line in lines if "[Common]" not in line],
                         ["<info>  [Console/CONSOLE2] Get method call: SetIOState()",
                                 "<info>  [Console/CONSOLE2] SetIOState() OK, io_state=1"])
        self.assertEqual((other.get("IOState"), self.stored("Console/CONSOLE2")), (2, "false"))
        self.assertEqual(self.variable(), "1")


class DisabledConsoleTest(ConsoleTest):
    boot_environment = {"console_enable": "0"}

    def test_zero_is_published_and_stored_as_disabled(self):
        self.assertEqual((self.console.get("IOState"), self.stored()), (1, "false"))
        self.assertIn("<debug> [Console/CONSOLE1] The interface is not enabled", self.log_lines())

    def test_it_can_be_switched_on_for_the_next_boot(self):
        self.console.SetIOState(2)
        self.assertEqual((self.stored(), self.variable(), self.console.get("IOState")),
                         ("true", "1", 1))


class NotApplicableConsoleTest(ConsoleTest):
    starts = False

    def assert_not_applicable(self, lines):
        with self.log("[Console/CONSOLE1]") as seen:
            self.start_daemon()
        self.assertEqual([line for line in seen if not line.startswith("<info>")],
                         ["<debug> [Console/CONSOLE1] Object created", *lines])
        self.assertEqual((self.console.get("IOState"), self.stored()), (0, None))
        self.assert_refused(2)
        self.assertIsNone(self.stored())

    def test_a_missing_variable(self):
        self.world.do("unenv", "console_enable")
        self.assert_not_applicable(["<warn>  [Console/CONSOLE1] read 'console_enable' from "
                                    "ubootenv failed"])

    def test_another_word(self):
        self.world.do("env", "console_enable", "yes")
        self.assert_not_applicable([])

    def test_a_number_with_something_behind_it(self):
        self.world.do("env", "console_enable", "10")
        self.assert_not_applicable([])

    def test_a_value_longer_than_the_daemon_reads(self):
        self.world.do("env", "console_enable", "1" * 256)
        self.assert_not_applicable(["<warn>  [Console/CONSOLE1] read 'console_enable' from "
                                    "ubootenv failed"])

    def test_what_was_stored_before_is_left_alone(self):
        self.world.do("env", "console_enable", "yes")
        self.store("[Console/CONSOLE1]\nIOState=false\n")
        self.start_daemon()
        self.assert_refused(2)
        self.assertEqual((self.console.get("IOState"), self.stored()), (0, "false"))


class EmptyVariableTest(ConsoleTest):
    boot_environment = {"console_enable": ""}

    def test_an_empty_variable_is_not_defined(self):
        self.assertIn("<warn>  [Console/CONSOLE1] The console_enable is not defined",
                      self.log_lines())
        self.assertEqual((self.console.get("IOState"), self.stored()), (0, None))
        self.assert_refused(1)


class ProbedConsoleTest(ProbeTest):
    """A console that the test defines itself."""

    def define(self, *commands):
        return self.act("create console X", *commands, "export Console/X")

    def test_a_console_that_is_off_is_not_available_and_any_other_is(self):
        self.world.do("env", "other_enable", "0")
        self.define()
        for variable, answer in (("other_enable", "not available"), ("console_enable", "available"),
                                 ("nowhere", "available")):
            with self.subTest(variable):
                lines = self.act(f"bootenv Console/X {variable}", "bootstate Console/X",
                                 "available Console/X")
                self.assertEqual(lines[-1], f"<info>  [Probe] {answer}")

    def test_an_empty_name_is_a_variable_that_cannot_be_read(self):
        # The word between the two blanks.
        self.assertIn("<warn>  [Console/X] read '' from ubootenv failed",
                      self.define("bootenv Console/X  -", "bootstate Console/X"))
        self.assertEqual(self.bus_object("Console/X").get("IOState"), 0)

    def test_the_state_of_a_variable_that_was_never_bound_ends_the_daemon(self):
        self.assertAborts(("read_boot_state", "bootenv"),
                          "create console X", "bootstate Console/X")

    def test_no_name_takes_the_binding_away(self):
        self.assertAborts(("read_boot_state", "bootenv"), "create console X",
                          "bootenv Console/X console_enable", "bootenv Console/X -",
                          "bootstate Console/X")


if __name__ == "__main__":
    perimond.main()
