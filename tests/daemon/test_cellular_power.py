"""The wait for a modem, and the models that switch their own power: each step, its time, and what
its failure does."""

import os

import perimond
from modem_manager import NEVER, OFF, ON, ModemManager
from socket_board import SocketTest

M1 = "Cellular/M1"
PATH = "/sys/devices/platform/usb/usb1/1-1"
ABSENT = "couldn't find the mm manager process in the bus"
NOT_REACHED = f"<error> [{M1}] The connection to Modem Manager has not been established yet"
UNMONITORED = f"<debug> [{M1}] Failed to monitor power"
NOT_READY = f"<warn>  [{M1}] Failed to check modem ready: "
KICK = f"<warn>  [{M1}] Kick watchdog to prevent system reboot"


def left(seconds):
    return f"<debug> [{M1}] Wait for modem ready, {seconds} seconds left"


class ModuleTest(SocketTest):
    """A module whose lines are 1 power, 2 off, 3 alive, 4 W-Disable."""

    services = (os.path.join(os.path.dirname(__file__), "modem-manager.conf"),)
    model = "fn990"
    pins = "1 2 3 4 5"
    path = PATH

    @property
    def init(self):
        pins = (f"cell-pins {M1} {self.pins}",) if self.pins else ()
        return (f"cell {self.model} M1 {self.path}", *pins)

    def modem(self, power=ON):
        manager = ModemManager(self.world.bus, (PATH, power)).start()
        self.addCleanup(manager.stop)
        return manager

    def module_lines(self, *commands):
        return [line for line in self.act(*commands) if M1 in line or "[Probe]" in line]


class WaitTest(ModuleTest):
    model = "ec20"
    pins = None

    def prepare(self):
        super().prepare()
        self.world.do("preset", "/dev/watchdog", "raw:")

    def test_a_modem_that_is_ready_is_not_waited_for(self):
        self.modem()
        self.assertEqual(self.module_lines(f"cell-wait {M1} 50"),
                         [f"<debug> [{M1}] Modem is ready", "<info>  [Probe] ready"])
        self.assertEqual(self.steps(), [])

    def test_it_asks_eleven_times_and_kicks_the_watchdog_twice(self):
        lines = self.module_lines(f"cell-wait {M1} 50")
        asked = [line for at in range(11) for line in
                 (NOT_READY + ABSENT, left(50 - 5 * at), *[KICK] * (at in (5, 10)))]
        self.assertEqual(lines, [*asked, "<info>  [Probe] not ready"])
        # A kick is an opening, a byte and a closing.
        self.assertEqual(self.steps(), [*[5000] * 6, *["kick"], *[5000] * 5, *["kick"]])

    def test_without_time_it_asks_once_and_pauses_once(self):
        self.assertEqual(self.module_lines(f"cell-wait {M1} 0"),
                         [NOT_READY + ABSENT, left(0), "<info>  [Probe] not ready"])
        self.assertEqual(self.steps(), [5000])

    def test_a_modem_that_comes_during_the_wait_is_found(self):
        manager = self.modem(OFF)
        manager.listing = lambda: manager.listings == 3 and manager.modems.__setitem__(0, (PATH, ON))
        lines = self.module_lines(f"cell-wait {M1} 50")
        self.assertEqual(lines, [
            NOT_READY + "[MMClient] Modem power state is not ready", left(50),
            NOT_READY + "[MMClient] Modem power state is not ready", left(45),
            f"<debug> [{M1}] Modem is ready", "<info>  [Probe] ready"])

    def test_a_watchdog_that_cannot_be_kicked_does_not_end_the_wait(self):
        self.world.do("fail", "/dev/watchdog", "open", "EBUSY")
        lines = self.module_lines(f"cell-wait {M1} 30")
        self.assertEqual(lines.count(
            f"<warn>  [{M1}] Failed to kick watchdog: Failed to open watchdog device"), 1)
        self.assertEqual(lines.count(NOT_READY + ABSENT), 7)

    def test_without_a_device_it_ends_at_once_and_tells(self):
        self.assertEqual(self.module_lines("cell rm520n M2 -", "cell-wait Cellular/M2 50")[-1],
                         "<info>  [Probe] not ready")
        self.assertIn("<warn>  [Cellular/M2] Failed to check modem ready: the module has not been "
                      "found", self.log_lines())
        self.assertEqual(self.steps(), [])

    def test_a_termination_cuts_it_short(self):
        self.send(f"cell-wait {M1} 1000000")
        perimond.wait_until(self.waits, "the daemon waits")
        self.stop_daemon()
        self.assertEqual(self.log_lines().count(NOT_READY + ABSENT), len(self.waits()))

    def test_the_slot_asks_once(self):
        self.modem(OFF)
        self.assertEqual(self.module_lines(f"cell-connected {M1}"), [
            f"<info>  [Probe] cell-connected {M1}: zolv_core_error_quark 1 "
            "[MMClient] Modem power state is not ready"])

    def test_the_alive_wait_names_the_module(self):
        self.assertEqual(self.module_lines(f"cell-alive {M1} 7 1 1"), [
            f"<info>  [Probe] cell-alive {M1}: zolv_core_error_quark 41 "
            "The cellular alive pin is not in the expected state: 1"])
        self.assertEqual(self.steps(), [500, 500])


class SilenceTest(ModuleTest):
    """ModemManager is there and does not answer, for which the bus waits 25 s."""

    speed = 40
    fast_clock = True

    def test_it_keeps_the_watchdog_quiet_and_the_time(self):
        self.world.do("preset", "/dev/watchdog", "raw:")
        self.modem().listing = lambda: NEVER
        lines = self.module_lines(f"cell-wait {M1} 50")
        self.assertEqual([line for line in lines if not line.endswith("Timeout was reached")],
                         [left(50), KICK, left(20), KICK, "<info>  [Probe] not ready"])
        self.assertEqual(len(lines), 7)


class LeavesTest(ModuleTest):
    """What happens to the module or to ModemManager while the daemon waits."""

    model = "rm520n"

    def setUp(self):
        super().setUp()
        self.world.do("plug", "usb", "1-1", "parent=platform/usb/usb1", "devtype=usb_device",
                      "attr/idVendor=2c7c", "attr/idProduct=0801", f"COMMAND=cell-event {M1}")
        self.act(f"export {M1}")
        self.assertTrue(self.bus_object(M1).get("DeviceDetected"))

    def wait_until_gone(self):
        perimond.wait_until(lambda: not self.bus_object(M1).get("DeviceDetected"),
                            "the module is gone")

    def test_a_module_that_leaves_during_the_wait_is_gone_after_it(self):
        self.at_wait(1, "unplug", "usb", "1-1")
        self.assertEqual(self.module_lines(f"cell-wait {M1} 0")[-1], "<info>  [Probe] not ready")
        self.wait_until_gone()

    def test_a_module_that_leaves_during_a_command_has_its_power_cut(self):
        manager = self.modem()
        manager.arrived = lambda command: self.world.do("unplug", "usb", "1-1")
        self.act(f"cell-power {M1} on")
        self.assertEqual(self.module_lines(f"cell-power {M1} off")[-1],
                         f"<info>  [Probe] cell-power {M1}: OK")
        self.assertEqual(self.levels(1), [0])
        self.wait_until_gone()

    def test_a_modem_manager_that_starts_during_the_wait_is_asked(self):
        self.send(f"cell-wait {M1} 1000000")
        perimond.wait_until(self.waits, "the daemon waits")
        self.modem()
        self.wait_for_log("<info>  [Probe] ready")

    def test_a_modem_manager_that_goes_during_the_wait_is_missed(self):
        manager = self.modem(OFF)
        self.send(f"cell-wait {M1} 1000000")
        perimond.wait_until(self.waits, "the daemon waits")
        manager.stop()
        self.wait_for_log(NOT_READY + ABSENT)
        self.stop_daemon()


class PowerTest(ModuleTest):
    """What every model with lines of its own does."""

    def power(self, word):
        lines = self.module_lines(f"cell-power {M1} {word}")
        return lines[-1].removeprefix(f"<info>  [Probe] cell-power {M1}: "), lines[:-1]

    def is_on(self):
        """Switches the module on and forgets about it."""
        self.world.do("turn", 3, 1)
        self.power("on")
        self.steps()


class Fn990Test(PowerTest):
    def test_it_is_switched_on_and_waited_for(self):
        self.at_wait(4, "turn", 3, 1)
        self.assertEqual(self.power("on"), ("OK", []))
        self.assertEqual(self.steps(), [(4, 0), 500, (1, 1), (2, 0), 500, 500, 500])

    def test_a_module_that_does_not_show_itself_is_on_all_the_same(self):
        self.assertEqual(self.power("on"), ("OK", [UNMONITORED]))
        self.assertEqual(self.steps(), [(4, 0), 500, (1, 1), (2, 0), *[500] * 20])

    def test_it_is_switched_off_without_a_command(self):
        self.is_on()
        manager = self.modem()
        self.at_wait(2, "turn", 3, 0)
        self.assertEqual(self.power("off"), ("OK", [f"<debug> [{M1}] Modem is ready"]))
        self.assertEqual(self.steps(), [(2, 1), 500, 500, (1, 0)])
        self.assertEqual(manager.commands, [])

    def test_the_state_that_it_has_is_a_success_at_once(self):
        self.assertEqual(self.power("off"), ("OK", []))
        self.assertEqual(self.power("get")[0], f"<info>  [Probe] {M1} is off")
        self.is_on()
        self.assertEqual(self.power("on"), ("OK", []))
        self.assertEqual(self.power("get")[0], f"<info>  [Probe] {M1} is on")
        self.assertEqual(self.steps(), [])

    def test_a_line_that_fails_ends_the_sequence_with_its_error(self):
        for line, done in ((4, []), (1, [(4, 0), 500]), (2, [(4, 0), 500, (1, 1)])):
            with self.subTest(line):
                self.world.do("fail", f"*/gpio{line}/*", "write", "EIO")
                self.assertRegex(self.power("on")[0], f"gpio{line}/.*' failed: Input/output error")
                self.assertEqual(self.steps(), done)
                self.world.do("heal")

    def test_a_termination_leaves_a_module_on_that_is_waited_for(self):
        self.is_on()
        self.send(f"cell-power {M1} off")
        perimond.wait_until(self.waits, "the daemon waits")
        self.stop_daemon()
        self.assertNotIn((1, 0), self.steps())


class Rm520nTest(PowerTest):
    model = "rm520n"

    def test_it_is_switched_on_without_a_look_at_its_alive_line(self):
        self.assertEqual(self.power("on"), ("OK", []))
        self.assertEqual(self.steps(), [(4, 0), 500, (1, 1), 500, (2, 0)])

    def test_a_command_comes_before_its_lines(self):
        self.is_on()
        manager = self.modem()
        self.assertEqual(self.power("off"), ("OK", [f"<debug> [{M1}] Modem is ready"]))
        self.assertEqual(self.steps(), [100, (4, 1), 100, (2, 1), 1000, (1, 0)])
        self.assertEqual(manager.commands, [(PATH, "AT+CFUN=0", 10)])

    def test_a_command_that_is_refused_is_told_and_the_power_cut(self):
        self.is_on()
        self.modem().answer = "org.freedesktop.ModemManager1.Error.Core.Failed"
        self.assertEqual(self.power("off"), ("OK", [
            f"<debug> [{M1}] Modem is ready", f"<error> [{M1}] Failed to shutdown by AT Command"]))
        self.assertEqual(self.steps(), [100, (4, 1), 100, (2, 1), 1000, (1, 0)])

    def test_a_modem_manager_that_ends_during_the_command_is_the_same(self):
        self.is_on()
        manager = self.modem()
        manager.answer = NEVER
        manager.arrived = lambda command: manager._bus.close_sync(None)
        self.assertEqual(self.power("off")[1][-1],
                         f"<error> [{M1}] Failed to shutdown by AT Command")
        self.assertEqual(self.steps()[-1], (1, 0))

    def test_each_line_that_fails_on_the_way_off_ends_it_with_its_error(self):
        self.modem()
        for line, done in ((4, [100]), (2, [100, (4, 1), 100]),
                           (1, [100, (4, 1), 100, (2, 1), 1000])):
            with self.subTest(line):
                self.is_on()
                self.world.do("fail", f"*/gpio{line}/*", "write", "EIO")
                self.assertRegex(self.power("off")[0], f"gpio{line}/.*' failed: Input/output error")
                self.assertEqual(self.steps(), done)
                self.world.do("heal")


class UnreachedFn990Test(PowerTest):
    """A module that has not been found yet, so that nobody can be asked for it."""

    path = "-"

    def test_without_a_modem_and_an_end_its_power_is_cut_all_the_same(self):
        self.is_on()
        result, lines = self.power("shutdown")
        self.assertEqual((result, lines[-2:]), ("OK", [NOT_REACHED, UNMONITORED]))
        self.assertEqual(self.steps(), [(2, 1), *[500] * 20, (1, 0)])


class UnreachedRm520nTest(PowerTest):
    model = "rm520n"
    path = "-"

    def test_without_a_modem_no_command_is_sent(self):
        self.is_on()
        result, lines = self.power("off")
        self.assertEqual((result, lines[-1]), ("OK", NOT_REACHED))
        self.assertEqual(self.steps(), [100, (4, 1), 100, (2, 1), 1000, (1, 0)])


class UndefinedTest(PowerTest):
    pins = None

    def test_lines_that_are_not_defined_are_an_error(self):
        self.assertRegex(self.power("on")[0], "^zolv_core_error_quark ")
        self.assertEqual(self.steps(), [])


if __name__ == "__main__":
    perimond.main()
