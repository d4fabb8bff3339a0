"""Sockets of radio modules: what all kinds of wiring share, and those without a modem's sequence."""

import re

import perimond
from socket_board import SocketTest

NO_SLOT = "This socket does not have any SIM card slot"
FAULT = "write '/sys/class/gpio/gpio{}/value' failed: Input/output error"


class CallsTest(SocketTest):
    """A socket of type 2 whose power is line 1, high is on; line 3 selects the SIM, high slot 2."""

    def setUp(self):
        super().setUp()
        self.define("2", "S1", "socket-slots ID 2", "socket-modes ID 1 0 1", "socket-pins ID 1 2 3")
        self.steps()

    def test_a_new_socket_has_neither_slots_nor_devices(self):
        self.define("1", "S2", "socket-pins ID")
        self.assertEqual([self.socket("S2").get("NumberOfSimSlots"),
                          self.socket("S2").get("Devices")], [0, []])

    def test_each_power_call_is_logged_with_its_result(self):
        with self.lines_of() as lines:
            self.socket().SetPower(True)
            self.socket().SetPower(False)
            self.assertFalse(self.socket().GetPower())
        self.assertEqual(lines, ["<info>  [Socket/S1] Get method call: SetPower(true)",
                                 "<info>  [Socket/S1] SetPower(true) OK",
                                 "<info>  [Socket/S1] Get method call: SetPower(false)",
                                 "<info>  [Socket/S1] SetPower(false) OK",
                                 "<info>  [Socket/S1] Get method call: GetPower()",
                                 "<info>  [Socket/S1] GetPower() OK, power=false"])

    def test_each_call_for_the_sim_slot_is_logged_at_debug_level_by_its_other_name(self):
        with self.lines_of() as lines:
            self.socket().SetSimSlot(2)
            self.assertEqual(self.socket().GetSimSlot(), 2)
        self.assertEqual(lines, ["<debug> [Socket/S1] Get method call: SetSimSlot(2)",
                                 "<debug> [Socket/S1] SetState(2) OK",
                                 "<debug> [Socket/S1] Get method call: GetSimSlot()",
                                 "<debug> [Socket/S1] GetSimSlot() OK, slot=2"])

    def test_a_failed_call_is_logged_and_answered_with_the_error_of_the_line(self):
        self.world.do("fail", "*/gpio*/*", "any", "EIO")
        for method, arguments, called, ended in (
                ("SetPower", (True,), "SetPower(true)", "SetPower(true)"),
                ("GetPower", (), "GetPower()", "GetPower()"),
                ("SetSimSlot", (2,), "SetSimSlot(2)", "SetState(2)"),
                ("GetSimSlot", (), "GetSimSlot()", "GetSimSlot()")):
            with self.subTest(method), self.lines_of() as lines, \
                    self.assertRaisesRegex(Exception, "Input/output error"):
                getattr(self.socket(), method)(*arguments)
            self.assertEqual(lines[0][8:], f"[Socket/S1] Get method call: {called}")
            self.assertRegex(lines[1], rf"^<error> \[Socket/S1\] {re.escape(ended)} failed: .*: Input/output error$")

    def test_a_socket_without_a_sim_slot_selects_and_tells_none(self):
        self.define("2", "S2", "socket-modes ID 1 0 1", "socket-pins ID 1 2 3")
        for slot in (0, 1, 2):
            self.assert_refused("OperationNotSupported", NO_SLOT, "SetSimSlot", slot, name="S2")
        self.assert_refused("OperationNotSupported", NO_SLOT, "GetSimSlot", name="S2")

    def test_a_socket_with_one_sim_slot_tells_it_without_looking_and_selects_none(self):
        self.act("socket-slots Socket/S1 1")
        self.world.do("fail", "*/gpio*", "any", "EIO")
        self.assertEqual(self.socket().GetSimSlot(), 1)
        for slot in (0, 1, 2):
            self.assert_refused("OperationNotSupported", "This socket has only 1 SIM slot", "SetSimSlot", slot)

    def test_a_slot_that_is_not_there_is_refused_before_the_hardware(self):
        for slot in (0, 3, 4294967295):
            shown = slot if slot < 2**31 else slot - 2**32
            self.assert_refused("InvalidArgument", f"Invalid SIM slot: {shown}", "SetSimSlot", slot)
        self.assertEqual(self.steps(), [])

    def test_what_a_wiring_cannot_do_for_a_modem_is_logged(self):
        for command, text in (
                ("recover", "Telit is in protected mode, please repair it manually"),
                ("shutdown", "Please implement socket shutdown function")):
            lines = self.act(f"socket-{command} Socket/S1")
            self.assertEqual(lines[0], f"<error> [Socket/S1] {text}")
            self.assertRegex(lines[1], rf"\[Probe\] socket-{command} Socket/S1: zolv_core_error_quark 2")

    def test_a_call_without_a_socket_ends_the_daemon(self):
        self.exit_status = -6
        self.assertAborts(("zolv_socket_set_power", "self != NULL"), "null-socket")

    def test_a_base_class_has_no_objects(self):
        self.exit_status = -6
        self.assertAborts(("type_word", ""), "socket base S9")


class AliveTest(SocketTest):
    """The wait for the line by which a module shows that it runs."""

    def setUp(self):
        super().setUp()
        self.define("1", "S1", "socket-pins ID")

    def alive(self, pin, level, seconds):
        lines = self.act(f"alive Socket/S1 {pin} {level} {seconds}")
        return lines[-1].removeprefix("<info>  [Probe] alive Socket/S1: "), self.steps(), lines[:-1]

    def test_a_line_that_is_there_is_not_waited_for(self):
        self.assertEqual(self.alive(7, 0, 20)[:2], ("OK", []))

    def test_a_line_is_looked_at_twice_a_second(self):
        self.at_wait(7, "turn", 7, 1)
        self.assertEqual(self.alive(7, 1, 20)[:2], ("OK", [500] * 7))

    def test_a_line_that_never_gets_there_is_an_error_that_names_the_level(self):
        for level, other in ((1, 0), (0, 1)):
            self.world.do("turn", 7, other)
            result, waits, _ = self.alive(7, level, 3)
            self.assertEqual(waits, [500] * 6)
            self.assertEqual(result, "zolv_core_error_quark 41 The socket alive pin is not in the "
                             f"expected state: {level}")

    def test_no_time_is_an_error_at_once(self):
        self.assertEqual(self.alive(7, 0, 0)[:2],
                         ("zolv_core_error_quark 41 The socket alive pin is not in the expected state: 0", []))

    def test_a_line_that_is_not_wired_is_waited_for_the_whole_time(self):
        self.assertEqual(self.alive(-1, 1, 3),
                         ("OK", [3000], ["<debug> [Socket/S1] No alive pin defined, sleep 3 seconds"]))

    def test_a_line_that_cannot_be_read_ends_the_wait_with_its_error(self):
        self.world.do("turn", 7, 0)
        self.alive(7, 0, 1)
        self.world.do("fail", "*/gpio7/value", "read", "EIO")
        result, waits, _ = self.alive(7, 1, 3)
        self.assertRegex(result, "read '/sys/class/gpio/gpio7/value' failed: Input/output error$")
        self.assertEqual(waits, [])

    def test_a_termination_cuts_the_wait_short(self):
        self.send("alive Socket/S1 7 1 1000000")
        perimond.wait_until(self.waits, "the daemon waits")
        self.stop_daemon()
        self.assertTrue(any("alive pin is not in the expected state: 1" in line
                            for line in self.log_lines()))


class Type1Test(SocketTest):
    def test_nothing_can_be_switched(self):
        self.assertEqual(self.define("1", "S1", "socket-slots ID 2", "socket-pins ID"),
                         ["<debug> [Socket/S1] Object created",
                          "<info>  [Socket/S1] Exported at '/com/tarvel/Perimond/Socket/S1'"])
        for method, *arguments in (("SetPower", True), ("SetPower", False), ("GetPower",)):
            self.assert_refused("OperationNotPermitted", "Power control is not allowed", method, *arguments)
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotPermitted", "SIM slot control is not allowed", method, *arguments)
        self.assertEqual(self.steps(), [])


class Type2Test(SocketTest):
    """Lines: 1 power, 2 function select, 3 SIM."""

    def make(self, power=0, function=0, sim=0):
        self.steps()
        self.define("2", "S1", "socket-slots ID 2", f"socket-modes ID {power} {function} {sim}",
                    "socket-pins ID 1 2 3")
        self.assertEqual(self.steps(), [], "a definition drives no line")

    def test_the_power_line_has_the_polarity_of_its_mode(self):
        for mode, high in ((1, True), (2, False)):
            self.make(power=mode)
            for on in (True, False, True):
                self.socket().SetPower(on)
                self.assertEqual((self.levels(1), self.socket().GetPower()), ([int(on == high)], on))

    def test_a_power_that_cannot_be_switched_is_on(self):
        self.make()
        self.assertTrue(self.socket().GetPower())
        self.assert_refused("OperationNotSupported", "Operation not supported", "SetPower", True)
        self.assertEqual(self.steps(), [])

    def test_a_socket_that_serves_its_other_function_is_on_and_keeps_its_power(self):
        for mode, blocking in ((1, 0), (2, 1)):
            self.make(power=1, function=mode)
            self.world.do("turn", 2, blocking)
            self.assertTrue(self.socket().GetPower())
            self.assert_refused("OperationNotPermitted", "Socket power can't be controlled due to function select",
                                "SetPower", True)
            self.assertEqual(self.steps(), [])
            self.world.do("turn", 2, 1 - blocking)
            self.assertFalse(self.socket().GetPower())
            self.socket().SetPower(True)
            self.assertTrue(self.socket().GetPower())
            self.socket().SetPower(False)
            self.steps()

    def test_the_other_function_is_asked_for_before_the_power_mode(self):
        self.make(power=0, function=1)
        self.assert_refused("OperationNotPermitted", "Socket power can't be controlled due to function select",
                            "SetPower", True)

    def test_a_line_that_cannot_be_read_ends_the_call(self):
        self.make(power=1, function=1)
        self.world.do("turn", 2, 1)
        self.socket().SetPower(False)
        self.world.do("fail", "*/gpio2/value", "read", "EIO")
        for method, *arguments in (("SetPower", True), ("GetPower",)):
            with self.assertRaisesRegex(Exception, "gpio2/value' failed: Input/output error"):
                getattr(self.socket(), method)(*arguments)
        self.assertEqual(self.levels(1), [0])

    def test_the_sim_line_has_the_polarity_of_its_mode(self):
        for mode, high in ((1, 2), (2, 1)):
            self.make(sim=mode)
            for slot in (2, 1, 2):
                self.socket().SetSimSlot(slot)
                self.assertEqual((self.levels(3), self.socket().GetSimSlot()), ([int(slot == high)], slot))

    def test_without_a_sim_mode_there_is_no_selection(self):
        self.make()
        for method, *arguments in (("SetSimSlot", 1), ("GetSimSlot",)):
            self.assert_refused("OperationNotSupported", "Socket does not support SIM select", method, *arguments)
        self.assertEqual(self.steps(), [])


class Type3Test(SocketTest):
    """Lines: 1 to 3 low, 4 reset, 5 power off, 6 SIM."""

    PULSE = [(4, 1), (5, 0), (4, 0), 1000, (4, 1)]

    def make(self):
        return self.define("3", "S1", "socket-slots ID 2", "socket-pins ID 1 2 3 4 5 6")

    def test_the_definition_switches_on_and_exports_last(self):
        self.assertIn("<info>  [Socket/S1] Exported at '/com/tarvel/Perimond/Socket/S1'", self.make())
        self.assertEqual(self.steps(), [(6, 0), (1, 0), (2, 0), (3, 0), *self.PULSE])
        self.assertTrue(self.socket().GetPower())

    def test_power_on_is_a_reset_pulse_of_a_second_and_off_one_line(self):
        self.make()
        self.steps()
        self.socket().SetPower(False)
        self.assertEqual((self.steps(), self.socket().GetPower()), ([(5, 1)], False))
        self.socket().SetPower(True)
        self.assertEqual((self.steps(), self.socket().GetPower()), (self.PULSE, True))

    def test_what_is_asked_for_again_is_done_again(self):
        self.make()
        self.steps()
        self.socket().SetPower(True)
        self.assertEqual(self.steps(), self.PULSE)

    def test_a_line_that_cannot_be_driven_ends_the_sequence_there(self):
        for line, count, left in ((4, 1, []), (5, 1, [(4, 1)]), (4, 2, [(4, 1), (5, 0)]),
                                  (4, 3, [(4, 1), (5, 0), (4, 0), 1000])):
            with self.subTest(line=line, count=count):
                self.make()
                self.steps()
                if count == 1:
                    self.world.do("fail", f"*/gpio{line}/value", "write", "EIO")
                else:
                    self.world.do("fail", f"*/gpio{line}/value", "write", "delay:1", count - 1)
                    self.world.do("fail", f"*/gpio{line}/value", "write", "EIO")
                with self.assertRaisesRegex(Exception, f"gpio{line}/value' failed: Input/output error"):
                    self.socket().SetPower(True)
                self.world.do("heal")
                self.assertEqual(self.steps(), left)

    def test_a_line_that_fails_in_the_definition_is_logged_and_the_others_are_driven(self):
        self.act("gpio X 2 0")
        self.steps()
        self.world.do("fail", "*/gpio2/value", "write", "EIO")
        self.make()
        self.assertEqual(self.steps(), [(6, 0), (1, 0), (3, 0), *self.PULSE])
        self.assertIn("<warn>  [Socket/S1] Definition: write '/sys/class/gpio/gpio2/value' failed: Input/output error",
                      self.log_lines())
        self.assertTrue(self.socket().GetPower())

    def test_lines_that_are_not_wired_are_passed_over(self):
        self.define("3", "S1", "socket-pins ID -1 -1 -1 -1 5 -1")
        self.assertEqual(self.steps(), [(5, 0), 1000])

    def test_the_sim_line_is_low_for_the_first_slot(self):
        self.make()
        for slot in (2, 1):
            self.socket().SetSimSlot(slot)
            self.assertEqual((self.levels(6), self.socket().GetSimSlot()), ([slot - 1], slot))


class WatchdogTest(SocketTest):
    def kick(self):
        lines = self.act("watchdog kick")
        uses = [(operation, data, result)
                for operation, _, data, result in self.world.accesses("/dev/watchdog", ("open", "write", "close"))]
        self.world.do("record", "--clear")
        return lines[-1].removeprefix("<info>  [Probe] watchdog kick: "), uses

    def test_each_kick_opens_writes_one_byte_and_closes(self):
        self.world.do("preset", "/dev/watchdog", "raw:")
        for _ in range(2):
            result, uses = self.kick()
            self.assertEqual(result, "OK")
            self.assertEqual([use[:2] for use in uses], [("open", uses[0][1]), ("write", "1"), ("close", "")])

    def test_without_a_device_it_fails(self):
        self.assertEqual(self.kick()[0], "zolv_core_error_quark 8 Failed to open watchdog device")

    def test_what_does_not_take_the_byte_fails_and_is_closed(self):
        self.world.do("preset", "/dev/watchdog", "raw:")
        for fault in ("EIO", "short:0"):
            self.world.do("fail", "/dev/watchdog", "write", fault)
            result, uses = self.kick()
            self.assertEqual(result, "zolv_core_error_quark 8 Failed to write to watchdog device")
            self.assertEqual(uses[-1][0], "close")
            self.world.do("heal")


if __name__ == "__main__":
    perimond.main()
