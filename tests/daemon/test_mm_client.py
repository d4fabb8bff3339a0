"""AT commands and the power state of modems, asked of ModemManager."""

import os

import modem_manager
from modem_manager import LOW, NEVER, OFF, ON, UNKNOWN, ModemManager
from perimond import main
from probe import ProbeTest

DEVICE = "/sys/devices/platform/usb/usb1/1-1"
OTHER = "/sys/devices/platform/usb/usb1/1-10"

OK = "<info>  [Probe] {}: OK"
FAILED = "<info>  [Probe] {}: zolv_core_error_quark 1 [MMClient] {}"
ABSENT = ("<error> [MMClient] Failed to get manager: couldn't find the mm manager process in the bus",
          "<info>  [Probe] {}: g-dbus-error-quark 3 couldn't find the mm manager process in the bus")


class ModemTest(ProbeTest):
    services = (os.path.join(os.path.dirname(__file__), "modem-manager.conf"),)

    def modems(self, *modems):
        """A ModemManager with these modems, each a device and a power state."""
        manager = ModemManager(self.world.bus, *modems).start()
        self.addCleanup(manager.stop)
        return manager

    def command(self, device=DEVICE, command="AT#SHDN", timeout=1):
        return self.act(f"at-command {device} {command} {timeout}")

    def ready(self, device=DEVICE):
        return self.act(f"modem-ready {device}")


class CommandTest(ModemTest):
    result = f"at-command {DEVICE}"

    def test_a_command_reaches_the_modem_with_its_time_limit(self):
        manager = self.modems((DEVICE, ON))
        self.assertEqual(self.command(command="AT+CFUN=0", timeout=10),
                         ["<info>  [MMClient] AT command result: OK", OK.format(self.result)])
        self.assertEqual(manager.commands, [(DEVICE, "AT+CFUN=0", 10)])

    def test_the_state_of_the_modem_does_not_matter(self):
        manager = self.modems((DEVICE, OFF))
        self.assertIn(OK.format(self.result), self.command())
        self.assertEqual(len(manager.commands), 1)

    def test_an_answer_is_made_fit_for_the_log(self):
        manager = self.modems((DEVICE, ON))
        manager.answer = "+CME ERROR\r\n" + "x" * 2000
        line = self.command()[0]
        self.assertTrue(line.startswith("<info>  [MMClient] AT command result: +CME ERROR\\r\\nxxx"))
        self.assertLess(len(line), 1100)

    def test_a_refusal_of_the_modem_is_a_failure(self):
        manager = self.modems((DEVICE, ON))
        manager.answer = f"{modem_manager.NAME}.Error.MobileEquipment.NotAllowed"
        self.assertEqual(self.command(),
                         [FAILED.format(self.result, "Failed to execute AT command")])

    def test_without_the_right_to_send_commands_the_log_says_what_is_needed(self):
        manager = self.modems((DEVICE, ON))
        manager.answer = modem_manager.UNAUTHORIZED
        self.assertEqual(self.command(), [
            "<warn>  [MMClient] ModemManager does not allow AT commands: it must run with --debug, "
            "or be built to allow them always",
            FAILED.format(self.result, "Failed to execute AT command")])

    def test_a_modem_manager_that_ends_in_the_middle_of_a_command_is_a_failure(self):
        manager = self.modems((DEVICE, ON))
        manager.answer = NEVER
        manager.arrived = lambda command: manager._bus.close_sync(None)
        self.assertEqual(self.command(),
                         [FAILED.format(self.result, "Failed to execute AT command")])

    def test_without_a_modem_manager_a_command_fails(self):
        self.assertEqual(self.command(), [ABSENT[0], ABSENT[1].format(self.result)])

    def test_a_modem_manager_that_is_replaced_is_found_again(self):
        self.modems((DEVICE, ON)).stop()
        self.assertEqual(self.command()[0], ABSENT[0])
        manager = self.modems((DEVICE, ON))
        self.assertIn(OK.format(self.result), self.command())
        self.assertEqual(len(manager.commands), 1)

    def test_a_modem_that_is_not_there_gets_no_command(self):
        manager = self.modems((OTHER, ON), (None, ON))
        self.assertEqual(self.command(), [FAILED.format(self.result, "Failed to get modem")])
        self.assertEqual(manager.commands, [])

    def test_without_a_device_no_modem_is_meant(self):
        manager = self.modems((None, ON), ("", ON))
        self.assertEqual(self.command("-"), [FAILED.format("at-command -", "Failed to get modem")])
        self.assertEqual(manager.commands, [])

    def test_of_two_modems_with_one_device_one_gets_the_command(self):
        manager = self.modems((DEVICE, ON), (DEVICE, ON))
        self.assertIn(OK.format(self.result), self.command())
        self.assertEqual(manager.commands, [(DEVICE, "AT#SHDN", 1)])


class LibraryTest(ModemTest):
    def test_a_library_that_cannot_be_loaded_is_a_failure_and_is_tried_again(self):
        self.modems((DEVICE, ON))
        self.world.run("sh", "-c", ": >/run/empty; mount --bind /run/empty "
                                   "$(readlink -f /usr/lib/*/libmm-glib.so.0)")
        first, second = self.ready()
        self.assertRegex(first, r"^<error> \[MMClient\] Failed to get manager: .*file too short$")
        self.assertRegex(second, r"^<info>  \[Probe\] modem-ready /.*: zolv_core_error_quark 7 ")
        self.world.run("sh", "-c", "umount $(readlink -f /usr/lib/*/libmm-glib.so.0)")
        self.assertEqual(self.ready(), [OK.format(f"modem-ready {DEVICE}")])

    def test_it_is_loaded_by_the_first_use(self):
        def loaded():
            with open(f"/proc/{self.daemon_pid}/maps") as maps:
                return "libmm-glib" in maps.read()
        self.assertFalse(loaded())
        self.ready()
        self.assertTrue(loaded())


class ReadyTest(ModemTest):
    result = f"modem-ready {DEVICE}"

    def test_a_modem_is_ready_in_low_power_and_when_it_is_on(self):
        manager = self.modems((DEVICE, LOW))
        for power in LOW, ON:
            with self.subTest(power):
                manager.modems = [(DEVICE, power)]
                self.assertEqual(self.ready(), [OK.format(self.result)])

    def test_a_modem_is_not_ready_when_it_is_off_or_its_state_is_not_known(self):
        manager = self.modems((DEVICE, OFF))
        for power in OFF, UNKNOWN, None:
            with self.subTest(power):
                manager.modems = [(DEVICE, power)]
                self.assertEqual(self.ready(), [
                    FAILED.format(self.result, "Modem power state is not ready")])

    def test_without_a_modem_manager_no_modem_is_ready(self):
        self.assertEqual(self.ready(), [ABSENT[0], ABSENT[1].format(self.result)])

    def test_a_modem_that_is_not_there_is_not_ready(self):
        self.modems((OTHER, ON))
        self.assertEqual(self.ready(), [FAILED.format(self.result, "Failed to get modem")])

    def test_many_questions_leave_nothing_behind(self):
        self.modems((DEVICE, ON))

        def descriptors():
            return len(os.listdir(f"/proc/{self.daemon_pid}/fd"))
        self.act(*[f"modem-ready {DEVICE}"] * 3)
        before = descriptors()
        self.act(*[f"modem-ready {DEVICE}"] * 50)
        self.assertEqual(descriptors(), before)


if __name__ == "__main__":
    main()
