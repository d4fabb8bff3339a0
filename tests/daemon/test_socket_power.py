"""Sockets that bring a cellular module to its end before they cut its power."""

import perimond
from modem_manager import OFF
from socket_board import SocketTest

NOT_YET = "The connection to Modem Manager has not been established yet"
REFUSED = "org.freedesktop.ModemManager1.Error.Core.Failed"
NOT_EXECUTED = "[MMClient] Failed to execute AT command"
ASKED = [5000] * 5 + [5000] + ["kick"] + [5000] * 5 + ["kick"]  # for 50 s, in vain


class ModemSocketTest(SocketTest):
    def prepare(self):
        super().prepare()
        self.world.do("preset", "/dev/watchdog", "raw:")

    def power(self, on):
        """Switches the socket; its lines beside those of the call, and the steps."""
        with self.lines_of() as lines:
            self.socket().SetPower(on)
        self.assertEqual((lines.pop(0), lines.pop()),
                         (f"<info>  [Socket/S1] Get method call: SetPower({str(on).lower()})",
                          f"<info>  [Socket/S1] SetPower({str(on).lower()}) OK"))
        return lines, self.steps()

    def act_on(self, command):
        lines = self.act(f"socket-{command} Socket/S1")
        result = lines.pop().removeprefix(f"<info>  [Probe] socket-{command} Socket/S1: ")
        return result, [line for line in lines if "[Socket/S1]" in line], self.steps()

    def fail_nth(self, line, nth):
        """The nth write to a line from now on fails, and those after it."""
        if nth > 1:
            self.world.do("fail", f"*/gpio{line}/*", "write", "delay:1", nth - 1)
        self.world.do("fail", f"*/gpio{line}/*", "write", "EIO")

    def assert_fails_at(self, on, line, nth, steps):
        self.steps()
        self.fail_nth(line, nth)
        with self.assertRaisesRegex(Exception, f"gpio{line}/.*failed: Input/output error"):
            self.socket().SetPower(on)
        self.world.do("heal")
        self.assertEqual(self.steps(), steps)


class Type4Test(ModemSocketTest):
    """Lines: 1 enable, 2 power, 3 W-Disable, 4 SIM."""

    ON = [(3, 0), (1, 1), 1000, (2, 1)]

    def setUp(self):
        super().setUp()
        self.lines = self.define("4", "S1", "socket-names ID - M1", "socket-slots ID 2", "socket-pins ID 1 2 3 4")

    def test_the_definition_powers_the_module_and_exports_last(self):
        self.assertEqual(self.steps(), [(4, 0), *self.ON])
        self.assertEqual(self.lines[-1], "<info>  [Socket/S1] Exported at '/com/tarvel/Perimond/Socket/S1'")
        self.assertTrue(self.socket().GetPower())

    def test_the_sim_line_is_high_for_the_second_slot(self):
        for slot in (2, 1):
            self.socket().SetSimSlot(slot)
            self.assertEqual((self.levels(4), self.socket().GetSimSlot()), ([slot - 1], slot))

    def test_without_a_module_no_command_is_waited_for(self):
        self.steps()
        self.assertEqual(self.power(False), ([], [(3, 1), 500, (2, 0)]))
        self.assertEqual(self.power(False), ([], []))
        self.assertEqual(self.power(True), ([], self.ON))
        self.assertEqual(self.power(True), ([], []))

    def test_a_model_that_takes_no_command_is_switched_off_without(self):
        self.module("2c7c", "0125", "EC20")
        self.steps()
        self.assertEqual(self.power(False), ([], [(3, 1), 500, (2, 0)]))

    def test_a_modem_is_told_to_end_a_second_before_its_power_is_cut(self):
        self.module()
        manager = self.modem()
        self.steps()
        self.assertEqual(self.power(False), ([], [(3, 1), 500, "AT#FASTSHDN", 1000, (2, 0)]))
        self.assertEqual(manager.commands[0][1:], ("AT#FASTSHDN", 1))

    def test_a_modem_that_is_not_known_within_50_s_keeps_its_power(self):
        self.module()
        self.steps()
        self.assert_refused("OperationNotPermitted", NOT_YET, "SetPower", False)
        self.assertEqual(self.steps(), ASKED)
        self.assertTrue(self.socket().GetPower())

    def test_a_modem_that_refuses_the_command_keeps_its_power(self):
        self.module()
        self.modem().answer = REFUSED
        self.steps()
        self.assert_refused("OperationFailure", NOT_EXECUTED, "SetPower", False)
        self.assertEqual(self.steps(), [(3, 1), 500, "AT#FASTSHDN"])

    def test_each_line_that_fails_on_the_way_off_ends_it(self):
        self.module()
        self.modem()
        self.assert_fails_at(False, 3, 1, [])
        self.assert_fails_at(False, 2, 1, [(3, 1), 500, "AT#FASTSHDN", 1000])

    def test_each_line_that_fails_on_the_way_on_ends_it(self):
        self.power(False)
        for line, left in ((3, []), (1, [(3, 0)]), (2, [(3, 0), (1, 1), 1000])):
            with self.subTest(line):
                self.assert_fails_at(True, line, 1, left)
        self.assertFalse(self.socket().GetPower())

    def test_shutdown_sends_the_command_without_waiting_for_the_modem(self):
        self.module()
        manager = self.modem(OFF)
        self.steps()
        self.assertEqual(self.act_on("shutdown"), ("OK", [], [(3, 1), 500, "AT#FASTSHDN", 1000, (2, 0)]))
        self.assertEqual(len(manager.commands), 1)
        self.assertEqual(self.act_on("shutdown"),
                         ("OK", ["<debug> [Socket/S1] Do nothing, power is off"], []))

    def test_shutdown_without_a_modem(self):
        self.steps()
        self.assertEqual(self.act_on("shutdown"), ("OK", [], [(3, 1), 500, (2, 0)]))

    def test_shutdown_ends_with_the_error_of_the_command_and_the_power_on(self):
        self.module()
        self.modem().answer = REFUSED
        self.steps()
        self.assertEqual(self.act_on("shutdown"), (f"zolv_core_error_quark 1 {NOT_EXECUTED}", [],
                                                   [(3, 1), 500, "AT#FASTSHDN"]))

    def test_a_line_that_fails_in_a_shutdown_is_told(self):
        self.steps()
        self.world.do("fail", "*/gpio2/value", "read", "EIO")
        self.assertEqual(self.act_on("shutdown")[1:], (["<error> [Socket/S1] Failed to get Power Pin"], []))
        self.world.do("heal")
        self.fail_nth(3, 1)
        self.assertEqual(self.act_on("shutdown")[1:], (["<error> [Socket/S1] Failed to set W-Disable Pin"], []))
        self.world.do("heal")
        self.fail_nth(2, 1)
        self.assertEqual(self.act_on("shutdown")[1:],
                         (["<error> [Socket/S1] Failed to set Power Pin"], [(3, 1), 500]))

    def test_recovery_is_a_power_cycle_of_5_s(self):
        self.steps()
        self.assertEqual(self.act_on("recover"), ("OK", ["<debug> [Socket/S1] Try to revocer Telit"],
                                                  [(2, 0), 5000, (2, 1)]))
        for nth, left in ((1, []), (2, [(2, 0), 5000])):
            self.fail_nth(2, nth)
            self.assertEqual(self.act_on("recover")[1:], (["<error> [Socket/S1] Failed to set Power Pin"], left))
            self.world.do("heal")


class Type5Test(ModemSocketTest):
    """Lines: 1 power, 2 its status, 3 pin2, 4 W-Disable. The status follows the power at once."""

    ON = [(4, 0), (3, 0), (1, 1)]

    def setUp(self):
        super().setUp()
        self.act("gpio X 1 0")
        self.world.do("wire", 1, 2)
        self.steps()
        self.define("5", "S1", "socket-names ID - M1", "socket-slots ID 2", "socket-pins ID 1 2 3 4")

    def test_the_definition_powers_the_module_at_once(self):
        self.assertEqual(self.steps(), self.ON)
        self.assertTrue(self.socket().GetPower())

    def test_the_power_is_that_of_its_status_line(self):
        self.assertEqual(self.power(True), ([], self.ON))
        self.power(False)
        self.assertFalse(self.socket().GetPower())
        self.assertEqual(self.power(False), ([], []))
        self.assertEqual(self.power(True), ([], self.ON))

    def test_a_modem_is_waited_for_30_s(self):
        self.module()
        self.steps()
        self.assert_refused("OperationNotPermitted", NOT_YET, "SetPower", False)
        self.assertEqual(self.steps(), [5000] * 6 + ["kick", 5000])

    def test_a_modem_is_told_to_end(self):
        self.module()
        self.modem()
        self.steps()
        self.assertEqual(self.power(False), ([], [(4, 1), 500, "AT#FASTSHDN", 1000, (1, 0)]))

    def test_a_locked_power_can_only_be_read(self):
        self.act("socket-lock Socket/S1")
        for on in (True, False):
            self.assert_refused("OperationNotPermitted", "Power control is not allowed", "SetPower", on)
        self.assertTrue(self.socket().GetPower())

    def test_there_is_no_sim_selection(self):
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotPermitted", "SIM slot control is not allowed", method, *arguments)

    def test_shutdown_is_that_of_type_4(self):
        self.steps()
        self.assertEqual(self.act_on("shutdown"), ("OK", [], [(4, 1), 500, (1, 0)]))
        self.assertEqual(self.act_on("shutdown")[1], ["<debug> [Socket/S1] Do nothing, power is off"])

    def test_recovery_needs_the_power(self):
        self.steps()
        self.assertEqual(self.act_on("recover"), ("OK", ["<debug> [Socket/S1] Try to revocer Telit"],
                                                  [(1, 0), 5000, (1, 1)]))
        self.power(False)
        self.steps()
        text = "SOCKET power should be high because we detected it in protection mode"
        self.assertEqual(self.act_on("recover"), (f"zolv_core_error_quark 1 {text}", [f"<error> [Socket/S1] {text}"], []))
        self.world.do("fail", "*/gpio2/value", "read", "EIO")
        self.assertEqual(self.act_on("recover")[1:], (["<error> [Socket/S1] Failed to get Power Pin"], []))


class WatchedTest:
    """Lines: 1 reset, 2 power, 3 W-Disable, 4 alive, 5 SIM, of type 6 also 6 function select."""

    ON = [(3, 0), (1, 0), 1000, (2, 1)]

    def make(self, alive=4, sim=5):
        """The lines of its definition."""
        function = "6" if self.kind == "6" else ""
        if self.kind == "6":
            self.world.do("turn", 6, 1)
        lines = self.define(self.kind, "S1", "socket-names ID - M1", "socket-slots ID 2", "socket-modes ID 1"
                            if self.kind == "6" else "log 1 -",
                            f"socket-pins ID 1 2 3 {alive} {sim} {function}".strip())
        self.act("socket-export Socket/S1")
        return lines

    def switch_on(self):
        self.world.do("turn", 4, 1)
        self.socket().SetPower(True)
        self.steps()

    def test_the_module_is_waited_for_until_it_is_alive(self):
        self.make()
        self.steps()
        self.at_wait(1 + 7, "turn", 4, 1)
        self.assertEqual(self.power(True), ([], [*self.ON, *[500] * 7]))
        self.assertEqual(self.power(True), ([], []))
        self.assertTrue(self.socket().GetPower())

    def test_a_module_that_is_never_alive_is_on_all_the_same(self):
        self.make()
        self.steps()
        self.assertEqual(self.power(True), (["<debug> [Socket/S1] Failed to monitor power"], [*self.ON, *[500] * 40]))
        self.assertTrue(self.socket().GetPower())

    def test_without_an_alive_line_nothing_is_waited_for(self):
        for alive in (0, -1):
            self.make(alive=alive)
            self.steps()
            self.assertEqual(self.power(True), ([], self.ON))
            self.assertEqual(self.power(False), ([], [(3, 1), 200, 1000, (2, 0)]))

    def test_a_modem_ends_in_its_own_time(self):
        self.make()
        self.switch_on()
        self.module()
        self.modem()
        self.steps()
        self.at_wait(1 + 3, "turn", 4, 0)
        self.assertEqual(self.power(False), (["<debug> [Socket/S1] Run AT: AT#SHDN"],
                                             [(3, 1), 200, "AT#SHDN", *[500] * 3, (2, 0)]))

    def test_without_an_alive_line_it_is_told_to_be_fast(self):
        self.make(alive=0)
        self.socket().SetPower(True)
        self.module()
        self.modem()
        self.steps()
        self.assertEqual(self.power(False), (["<debug> [Socket/S1] Run AT: AT#FASTSHDN"],
                                             [(3, 1), 200, "AT#FASTSHDN", 1000, (2, 0)]))

    def test_a_modem_that_does_not_end_within_15_s_loses_its_power(self):
        self.make()
        self.switch_on()
        self.module()
        self.modem()
        self.steps()
        self.assertEqual(self.power(False),
                         (["<debug> [Socket/S1] Run AT: AT#SHDN", "<debug> [Socket/S1] Failed to monitor power"],
                          [(3, 1), 200, "AT#SHDN", *[500] * 30, (2, 0)]))

    def test_a_modem_that_is_never_known_loses_its_power_without_a_command(self):
        self.make(alive=0)
        self.socket().SetPower(True)
        self.module()
        self.steps()
        self.assertEqual(self.power(False), ([f"<error> [Socket/S1] {NOT_YET}"],
                                             [*ASKED, (3, 1), 200, 1000, (2, 0)]))

    def test_a_modem_that_refuses_the_command_loses_its_power(self):
        self.make(alive=0)
        self.socket().SetPower(True)
        self.module()
        self.modem().answer = REFUSED
        self.steps()
        self.assertEqual(self.power(False), (["<debug> [Socket/S1] Run AT: AT#FASTSHDN",
                                              "<error> [Socket/S1] Failed to shutdown by AT Command"],
                                             [(3, 1), 200, "AT#FASTSHDN", 1000, (2, 0)]))

    def test_each_line_that_fails_ends_the_sequence(self):
        self.make(alive=0)
        for line, left in ((3, []), (1, [(3, 0)]), (2, [(3, 0), (1, 0), 1000])):
            self.assert_fails_at(True, line, 1, left)
        self.socket().SetPower(True)
        for line, left in ((3, []), (2, [(3, 1), 200, 1000])):
            self.assert_fails_at(False, line, 1, left)
        self.assertTrue(self.socket().GetPower())

    def test_shutdown_is_switching_off(self):
        self.make(alive=0)
        self.socket().SetPower(True)
        self.steps()
        self.assertEqual(self.act_on("shutdown"), ("OK", [], [(3, 1), 200, 1000, (2, 0)]))

    def test_recovery_needs_the_power(self):
        self.make()
        self.steps()
        text = "Power status should be high because cellular is in protection mode"
        self.assertEqual(self.act_on("recover"), (f"zolv_core_error_quark 1 {text}", [f"<error> [Socket/S1] {text}"], []))
        self.switch_on()
        self.assertEqual(self.act_on("recover"), ("OK", ["<debug> [Socket/S1] Recover is done"],
                                                  [(2, 0), 5000, (2, 1)]))
        for nth, text, left in ((1, "low", []), (2, "high", [(2, 0), 5000])):
            self.fail_nth(2, nth)
            self.assertEqual(self.act_on("recover")[1:], ([f"<error> [Socket/S1] Set power {text} failed"], left))
            self.world.do("heal")
            self.act("gpio X 2 0")
            self.socket().SetPower(True)
            self.steps()
        self.world.do("fail", "*/gpio2/value", "read", "EIO")
        self.assertEqual(self.act_on("recover")[1:], (["<error> [Socket/S1] Get power status failed"], []))

    def test_a_sim_line_that_is_not_wired_refuses_the_selection(self):
        self.make(sim=0)
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotPermitted", "SIM slot control is not allowed", method, *arguments)

    def test_the_sim_line_is_high_for_the_second_slot(self):
        self.make()
        for slot in (2, 1):
            self.socket().SetSimSlot(slot)
            self.assertEqual((self.levels(5), self.socket().GetSimSlot()), ([slot - 1], slot))

    def test_the_start_powers_the_module_from_a_thread(self):
        self.make(alive=0)
        self.act("socket-start Socket/S1")
        perimond.wait_until(lambda: self.levels(2) == [1], "the power is on")

    def test_a_start_that_fails_is_told(self):
        self.make()
        self.socket().GetPower()
        self.world.do("fail", "*/gpio2/value", "read", "EIO")
        self.act("socket-start Socket/S1")
        self.wait_for_log("<error> [Socket/S1] Failed to power on: read '/sys/class/gpio/gpio2/value' "
                          "failed: Input/output error")

    def test_a_start_that_waits_for_the_module_does_not_hold_the_end(self):
        self.make()
        self.act("socket-start Socket/S1")
        perimond.wait_until(lambda: len(self.waits()) > 2, "the start waits")
        self.stop_daemon()
        self.assertEqual(self.levels(2), [1])

    def test_a_termination_while_a_modem_is_waited_for_leaves_it_its_power(self):
        self.make()
        self.switch_on()
        self.module()
        self.steps()
        call = self.call_later("SetPower", False)
        perimond.wait_until(lambda: len(self.waits()) >= 3, "the daemon waits for the modem")
        self.stop_daemon()
        self.assertIn("<error> [Socket/S1] SetPower(false) failed: The service is stopping", self.log_lines())
        self.assertEqual(self.levels(2, 3), [1, 0])
        call.join(perimond.scaled(20))

    def test_a_termination_while_a_modem_ends_cuts_the_power_after_it(self):
        self.make()
        self.switch_on()
        self.module()
        self.modem()
        self.steps()
        call = self.call_later("SetPower", False)
        perimond.wait_until(lambda: len(self.waits()) >= 5, "the daemon waits for the modem's end")
        self.stop_daemon()
        steps = self.steps()
        # The signal interrupts a wait, which is then told once more.
        self.assertEqual([*steps[:3], *steps[-1:]], [(3, 1), 200, "AT#SHDN", (2, 0)])
        self.assertIn(steps[3:-1], ([500] * 30, [500] * 31))
        call.join(perimond.scaled(20))


class Type6Test(WatchedTest, ModemSocketTest):
    kind = "6"

    def test_the_definition_drives_no_line(self):
        self.make()
        self.assertEqual(self.steps(), [])

    def test_it_comes_and_goes_as_the_plugin_says(self):
        self.assertNotIn("Exported", "".join(self.make()))
        self.assertIn("Socket/S1", self.objects())
        self.act("socket-unexport Socket/S1")
        self.assertNotIn("Socket/S1", self.objects())

    def test_a_socket_that_serves_its_other_function_is_on_and_keeps_its_power(self):
        self.make()
        self.world.do("turn", 6, 0)
        self.assertTrue(self.socket().GetPower())
        self.assert_refused("OperationNotPermitted", "Socket power can't be controlled due to function select",
                            "SetPower", True)
        self.assertEqual(self.levels(2), [0])

    def test_without_a_sim_mode_there_is_no_selection(self):
        self.make()
        self.act("socket-modes Socket/S1 0")
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotSupported", "Socket does not support SIM select", method, *arguments)

    def test_the_second_sim_mode_turns_the_line(self):
        self.make()
        self.act("socket-modes Socket/S1 2")
        for slot in (2, 1):
            self.socket().SetSimSlot(slot)
            self.assertEqual((self.levels(5), self.socket().GetSimSlot()), ([2 - slot], slot))


class TypeLTETest(WatchedTest, ModemSocketTest):
    kind = "lte"

    def test_the_definition_selects_the_first_slot(self):
        self.act("gpio X 5 0")
        self.act("set LED/X 1")
        self.steps()
        self.make()
        self.assertEqual(self.steps(), [(5, 0)])

    def test_a_sim_line_that_is_not_wired_is_not_driven(self):
        for sim in (0, -1):
            self.make(sim=sim)
            self.assertEqual(self.steps(), [])


class Type5GTest(ModemSocketTest):
    """Lines 1 to 4 tell the module, the lowest bit first: 12 an FN990, 13 an RM520N."""

    def make(self, *levels, lines=(1, 2, 3, 4)):
        for line, level in zip(lines, levels):
            self.world.do("turn", line, level)
        return self.define("5g", "S1", "socket-names ID - M1", "socket-slots ID 2",
                           f"socket-module ID {' '.join(map(str, lines[:len(levels)]))}".strip(), "socket-export ID")

    def test_the_lines_tell_the_module(self):
        for levels, line in (((0, 0, 1, 1), "<info>  [Socket/S1] PIN Config Module: Telit/FN990"),
                             ((1, 0, 1, 1), "<info>  [Socket/S1] PIN Config Module: Quectel/RM520N"),
                             ((0, 1, 1, 1), "<warn>  [Socket/S1] No module or unsuppoted module"),
                             ((), "<warn>  [Socket/S1] No module or unsuppoted module")):
            with self.subTest(levels):
                self.assertIn(line, self.make(*levels))

    def test_a_line_that_cannot_be_read_ends_the_daemon(self):
        self.exit_status = -6
        self.make(0, 0, 1, 1)
        self.world.do("fail", "*/gpio3/value", "read", "EIO")
        self.assertAborts(("read_bit", ""), "socket-module Socket/S1 1 2 3 4")
        self.assertIn("<error> [Socket/S1] Failed to get GPIO value", self.log_lines())

    def test_no_module_can_be_made_that_is_not_fitted(self):
        self.exit_status = -6
        self.make(1, 1, 1, 1)
        self.assertAborts(("zolv_socket_type_5g_create_module", "module != NULL"), "socket-create Socket/S1")

    def test_without_a_module_reading_and_switching_differ(self):
        self.make(1, 1, 1, 1)
        self.assert_refused("PeripheralNotFound", "Cellular is not bound", "GetPower")
        self.assert_refused("OperationNotPermitted", "Cellular is not bound", "SetPower", True)
        self.assertEqual(self.act_on("shutdown")[:2], ("OK", []))

    def test_there_is_no_sim_selection(self):
        self.make(0, 0, 1, 1)
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotPermitted", "SIM slot control is not allowed", method, *arguments)

    def test_an_fn990_has_its_own_alive_line(self):
        self.make(0, 0, 1, 1)
        self.act("socket-create Socket/S1")
        self.steps()
        self.world.do("turn", 20, 1)
        self.assertEqual(self.power(True)[1], [(13, 0), 500, (10, 1), (11, 0)])
        self.assertTrue(self.socket().GetPower())
        self.world.do("turn", 20, 0)
        self.modem()
        self.plug_5g("1070")
        self.steps()
        self.assertEqual(self.power(False)[1], [(11, 1), (10, 0)])

    def test_an_rm520n_is_shut_down_by_a_command(self):
        self.make(1, 0, 1, 1)
        self.act("socket-create Socket/S1")
        self.steps()
        self.assertEqual(self.power(True)[1], [(13, 0), 500, (10, 1), 500, (11, 0)])
        self.modem()
        self.plug_5g("0801", "2c7c")
        self.steps()
        self.assertEqual(self.act_on("shutdown"), ("OK", [], ["AT+CFUN=0", 100, (13, 1), 100, (11, 1), 1000, (10, 0)]))

    def plug_5g(self, product, vendor="1bc7"):
        self.assertIn("taken", self.module(vendor, product, "5G")[-1])

    def test_the_module_that_is_recognised_is_the_one_that_was_made(self):
        self.make(0, 0, 1, 1)
        self.act("socket-create Socket/S1")
        lines = self.module("1bc7", "1070", "FN990")
        self.assertNotIn("<debug> [Cellular/M1] Object created", lines)
        self.assertEqual(self.socket().get("Devices"), ["Cellular/M1"])

    def test_a_module_that_has_no_lines_cannot_be_switched(self):
        self.make(1, 1, 1, 1)
        self.module("2c7c", "0125", "EC20")
        for method, *arguments in (("SetPower", True), ("GetPower",)):
            self.assert_refused("OperationNotSupported", "Operation not supported", method, *arguments)

    def test_recovery_is_up_to_people(self):
        self.make(1, 1, 1, 1)
        self.assertEqual(self.act_on("recover")[1],
                         ["<error> [Socket/S1] Telit is in protected mode, please repair it manually"])

    def test_the_start_powers_the_module_from_a_thread(self):
        self.make(1, 0, 1, 1)
        self.act("socket-create Socket/S1", "socket-start Socket/S1")
        perimond.wait_until(lambda: self.levels(10, 11, 13) == [1, 0, 0], "the power is on")

    def test_a_start_without_a_module_is_told(self):
        self.make(1, 1, 1, 1)
        self.act("socket-start Socket/S1")
        self.wait_for_log("<error> [Socket/S1] Failed to power on: Cellular is not bound")


if __name__ == "__main__":
    perimond.main()
