"""The ways in which boards switch the transceivers of serial ports."""

import perimond
from serial_board import SerialTest

DEVICE = "serial-device ID /dev/ttyX0 /dev/ttyX0"
ALL = "serial-list ID interfaces 0 1 2 3"
REGISTER = "/sys/devices/platform/fpga/rs485_en"
NO_FILE = "No such file or directory"
EIO = "Input/output error"
NO_LINE = "write '/sys/class/gpio/export' failed: Invalid argument"


class Type1Test(SerialTest):
    def setUp(self):
        super().setUp()
        self.define("1", "P1", ALL, DEVICE)

    def test_each_mode_stands_in_the_field_port_of_the_driver(self):
        self.requests()
        for mode in (1, 2, 3, 0):
            self.port().SetInterface(mode)
            self.assertEqual(self.requests(), ["open", "ioctl 0x541e",
                                               f"ioctl 0x541f port={hex(mode)}", "close"])

    def test_it_is_read_back_as_it_stands(self):
        self.requests()
        for port in (0, 3, 4, 0x31, 0xffffffff):
            self.world.do("serial", "ttyX0", f"port={port}")
            self.assertEqual(self.port().GetInterface(), port)
            self.assertEqual(self.requests(), ["open", "ioctl 0x541e", "close"])

    def test_each_step_can_fail(self):
        for operation, text in (("open", "open"), ("ioctl:0x541e", "ioctl(TIOCGSERIAL) for"),
                                ("ioctl:0x541f", "ioctl(TIOCSSERIAL) for")):
            with self.subTest(operation):
                self.world.do("fail", "/dev/ttyX0", operation, "EINVAL")
                self.assert_refused("SetInterface", (1,), "DeviceIOFailure",
                                    f"{text} '/dev/ttyX0' failed: Invalid argument")
                self.world.do("heal")
        self.assertEqual((self.kept()["port"], self.stored()), (0, {"Interface": "0"}))
        self.assertEqual(self.requests()[-1], "close")


class PinTest(SerialTest):
    """What the types with pins share: those tests run for each of them."""

    kind = None
    pins = ()
    modes = {}          # mode: what is switched for it, in order
    steps_before = ()
    more = ()           # commands of the definition

    def setUp(self):
        super().setUp()
        if self.kind:
            self.define_port()

    def define_port(self):
        return self.define(self.kind, "P1", ALL, *self.more, DEVICE,
                           f"serial-pins ID {' '.join(map(str, self.pins))}")


class PinTests:
    def test_each_mode_is_switched_in_its_order(self):
        for mode in (1, 2, 0):
            self.switched()
            self.port().SetInterface(mode)
            self.assertEqual(self.switched(), self.modes[mode])
            self.assertEqual(self.stored(), {"Interface": str(mode)})

    def test_the_definition_of_the_pins_switches_to_the_stored_mode_and_shows_the_port(self):
        self.stop_daemon()
        self.forget_commands()
        self.write_settings("[SerialPort/P1]\nInterface=2\n")
        self.start_daemon()
        self.switched()
        self.define(self.kind, "P1", ALL, *self.more, DEVICE)
        self.assertEqual((self.switched(), self.objects()), ([], []))
        self.define_port()
        self.assertEqual(self.switched()[-len(self.modes[2]):], self.modes[2])
        self.assertEqual(self.objects(), ["SerialPort/P1"])

    def test_pins_before_the_device_wait_for_it(self):
        self.switched()
        pins = f"serial-pins ID {' '.join(map(str, self.pins))}"
        self.define(self.kind, "P2", ALL, *self.more, pins)
        self.assertEqual((self.switched(), self.objects()), ([], ["SerialPort/P1"]))
        self.define(self.kind, "P2", DEVICE)
        self.assertEqual((self.switched(), self.objects()),
                         (self.modes[0], ["SerialPort/P1", "SerialPort/P2"]))

    def test_a_port_that_is_shown_before_its_pins_are_defined_fails(self):
        self.define(self.kind, "P2", ALL, *self.more, "export ID")
        self.switched()
        for method, argument in (("SetInterface", (1,)), ("GetInterface", ())):
            self.assert_refused(method, argument, "OperationFailure", NO_LINE, name="P2")
        self.assertEqual([step for step in self.switched() if step[0] != "register"], [])

    def test_a_line_that_is_not_wired_fails_and_the_port_is_shown(self):
        pins = (-1, *self.pins[1:])
        lines = self.define(self.kind, "P2", ALL, *self.more, DEVICE,
                            f"serial-pins ID {' '.join(map(str, pins))}")
        self.assertEqual([line for line in lines if line.startswith("<warn>")],
                         [f"<warn>  [SerialPort/P2] {step} failed: {NO_LINE}" for step in (
                             "Initialize port interface", "Fallback: set first port interface")])
        self.assertEqual(self.objects(), ["SerialPort/P1", "SerialPort/P2"])

    def test_each_mode_is_read_back(self):
        for mode in (1, 2, 0):
            self.port().SetInterface(mode)
            self.assertEqual(self.port().GetInterface(), mode)

    def test_a_line_that_fails_ends_it_and_those_before_stay(self):
        last = self.pins[-1]
        self.world.do("fail", f"*/gpio{last}/value", "write", "EIO")
        self.switched()
        self.assert_refused("SetInterface", (1,), "OperationFailure",
                            f"write '/sys/class/gpio/gpio{last}/value' failed: {EIO}")
        steps = self.switched()
        self.assertEqual([step[0] for step in steps][-1], last)
        self.assertEqual(steps, (self.steps_before + self.modes[1])[:len(steps)])
        self.assertEqual(self.stored(), {"Interface": "0"})

    def test_a_line_that_cannot_be_read(self):
        self.world.do("fail", f"*/gpio{self.pins[1]}/value", "read", "EIO")
        self.assert_refused("GetInterface", (), "OperationFailure",
                            f"read '/sys/class/gpio/gpio{self.pins[1]}/value' failed: {EIO}")

    def test_lines_in_no_known_state(self):
        for pin in self.pins:
            self.world.write(f"/sys/class/gpio/gpio{pin}/value", "1")
        self.assert_refused("GetInterface", (), "PeripheralUnknownValue", "get unknown interface")

    def assert_refused_by_the_class(self, four_wires, unknown):
        self.switched()
        self.assert_refused("SetInterface", (3,), four_wires, "RS-485-4W is not supported")
        code = {"InvalidArgument": 6, "PeripheralUnknownValue": 44}[unknown]
        for mode, shown in ((4, 4), (4294967295, -1)):
            self.assertEqual(self.act(f"serial-slot SerialPort/P1 {mode}"),
                             [f"<info>  [Probe] serial-slot SerialPort/P1: zolv_core_error_quark "
                              f"{code} unknown interface: {shown}"])
        self.assertEqual((self.switched(), self.stored()), ([], {"Interface": "0"}))


def steps(lines, levels):
    return list(zip(lines, levels))


class Type2Test(PinTests, PinTest):
    kind = "2"
    pins = (8, 9, 10, 11)
    modes = {0: steps(pins, (1, 1, 0, 0)), 1: steps(pins, (0, 0, 0, 1)), 2: steps(pins, (0, 0, 1, 0))}

    steps_before = []

    def test_other_modes_are_refused(self):
        self.assert_refused_by_the_class("PeripheralNotSupported", "PeripheralUnknownValue")

    def test_the_device_is_not_opened(self):
        self.requests()
        self.port().SetInterface(1)
        self.port().GetInterface()
        self.assertEqual(self.requests(), [])


class Type3Test(PinTests, PinTest):
    kind = "3"
    pins = (11, 10, 9, 8)
    modes = {0: steps(pins, (0, 1, 1, 1)) + [("ttyX0", "port=0x0")],
             1: steps(pins, (1, 0, 0, 1)) + [("ttyX0", "port=0x1")],
             2: steps(pins, (1, 0, 1, 0)) + [("ttyX0", "port=0x2")]}
    steps_before = []

    def test_other_modes_are_refused(self):
        self.assert_refused_by_the_class("PeripheralNotSupported", "PeripheralUnknownValue")

    def test_lines_and_driver_that_say_different_things(self):
        self.port().SetInterface(2)
        self.world.do("serial", "ttyX0", "port=0")
        self.assert_refused("GetInterface", (), "PeripheralUnknownValue",
                            "interface get by gpio (2) and ioctl (0) are not the same")

    def test_the_driver_is_not_asked_when_the_lines_say_nothing(self):
        self.world.write("/sys/class/gpio/gpio11/value", "1")
        self.requests()
        self.assert_refused("GetInterface", (), "PeripheralUnknownValue", "get unknown interface")
        self.assertEqual(self.requests(), [])

    def test_a_driver_that_fails_leaves_the_lines_as_written(self):
        self.world.do("fail", "/dev/ttyX0", "ioctl:0x541f", "EINVAL")
        self.assert_refused("SetInterface", (1,), "DeviceIOFailure",
                            "ioctl(TIOCSSERIAL) for '/dev/ttyX0' failed: Invalid argument")
        self.assertEqual(self.levels(*self.pins), [1, 0, 0, 1])
        self.world.do("heal")
        self.world.do("fail", "/dev/ttyX0", "ioctl:0x541e", "EIO")
        self.assert_refused("GetInterface", (), "DeviceIOFailure",
                            f"ioctl(TIOCGSERIAL) for '/dev/ttyX0' failed: {EIO}")


class Type4Test(PinTests, PinTest):
    kind = "4"
    pins = (8, 9, 10)
    modes = {0: [("register", "0")] + steps(pins, (1, 0, 0)),
             1: [("register", "1")] + steps(pins, (0, 1, 0)),
             2: [("register", "1")] + steps(pins, (0, 0, 1))}
    steps_before = []
    more = (f"serial-register ID {REGISTER}",)

    def prepare(self):
        super().prepare()
        self.world.do("register", REGISTER, "0\\n")

    def test_other_modes_are_refused_with_codes_of_its_own(self):
        self.assert_refused_by_the_class("DeviceIOFailure", "InvalidArgument")

    def test_a_register_that_holds_something_else(self):
        for held, shown in (("x", "x"), ("20", "2"), ("\\n", "\\n"), ("\\xff", "\ufffd")):
            self.world.do("register", REGISTER, held)
            self.assert_refused("GetInterface", (), "PeripheralUnknownValue",
                                f"unexpected value from '{REGISTER}': {shown}")

    def test_the_first_character_of_a_longer_one_counts(self):
        self.world.do("register", REGISTER, "0xff")
        self.assertEqual(self.port().GetInterface(), 0)

    def test_an_empty_register_is_a_failed_reading(self):
        self.world.do("register", REGISTER, "")
        self.assert_refused("GetInterface", (), "OperationFailure",
                            f"read '{REGISTER}' failed: No data available")

    def test_a_register_that_is_gone(self):
        self.world.do("absent", REGISTER)
        self.switched()
        text = f"open '{REGISTER}' failed: {NO_FILE}"
        self.assert_refused("GetInterface", (), "OperationFailure", text)
        self.assert_refused("SetInterface", (1,), "OperationFailure", text)
        self.assertEqual(self.switched(), [])

    def test_a_register_that_does_not_take_it_ends_it_before_the_lines(self):
        self.world.do("fail", REGISTER, "write", "EIO")
        self.switched()
        self.assert_refused("SetInterface", (1,), "OperationFailure",
                            f"write '{REGISTER}' failed: {EIO}")
        self.assertEqual(self.switched(), [("register", "1")])

    def test_a_port_without_a_register(self):
        for name, *register in (("P2",), ("P3", "serial-register ID -")):
            lines = self.define("4", name, ALL, *register, DEVICE, "serial-pins ID 8 9 10")
            self.assertIn(f"<warn>  [SerialPort/{name}] Initialize port interface failed: "
                          f"open '' failed: {NO_FILE}", lines)
            self.assertIn(f"SerialPort/{name}", self.objects())

    def test_a_pipe_that_nobody_serves_does_not_hold_the_daemon(self):
        self.world.run("mkfifo", "/run/register")
        self.define("4", "P2", ALL, "serial-register ID /run/register", DEVICE,
                    "serial-pins ID 8 9 10")
        self.assert_refused("SetInterface", (1,), "OperationFailure",
                            "open '/run/register' failed: No such device or address", name="P2")
        self.assert_refused("GetInterface", (), "OperationFailure",
                            "read '/run/register' failed: No data available", name="P2")


class Type5Test(PinTests, PinTest):
    kind = "5"
    pins = (8, 9, 10)
    steps_before = steps(pins, (0, 0, 0))
    modes = {0: steps_before + steps(pins, (1, 0, 0)) + [("ttyX0", "rs485=0x12")],
             1: steps_before + steps(pins, (0, 0, 1)) + [("ttyX0", "rs485=0x13")],
             2: steps_before + steps(pins, (0, 1, 0)) + [("ttyX0", "rs485=0x12")]}

    def define_port(self):
        # Off clears one flag only, so the others show what was set before.
        self.world.do("serial", "ttyX0", "rs485=0x12")
        return super().define_port()

    def test_other_modes_are_refused(self):
        self.assert_refused_by_the_class("PeripheralNotSupported", "PeripheralUnknownValue")

    def test_a_line_that_fails_ends_it_and_those_before_stay(self):
        # The third line fails when all are cleared, then when they are set.
        self.world.do("fail", "*/gpio10/value", "write", "EIO", 1)
        self.switched()
        text = f"write '/sys/class/gpio/gpio10/value' failed: {EIO}"
        self.assert_refused("SetInterface", (1,), "OperationFailure", text)
        self.assertEqual(self.switched(), self.steps_before)
        self.assertEqual(self.levels(8, 9, 10), [0, 0, 0])
        self.assertEqual(self.stored(), {"Interface": "0"})

    def test_on_sets_three_flags_and_clears_one(self):
        for before, after in ((0, 0x13), (0xffffffff, 0xfffffffb), (0x4, 0x13)):
            self.world.do("serial", "ttyX0", f"rs485={before}")
            self.port().SetInterface(1)
            self.assertEqual(self.kept()["rs485"], after)

    def test_off_clears_one_flag_only(self):
        for mode in (0, 2):
            self.world.do("serial", "ttyX0", "rs485=0xffffffff")
            self.port().SetInterface(mode)
            self.assertEqual(self.kept()["rs485"], 0xfffffffe)

    def test_the_flags_are_not_read_back(self):
        self.port().SetInterface(1)
        self.world.do("absent", "/dev/ttyX0")
        self.assertEqual(self.port().GetInterface(), 1)

    def test_a_driver_that_cannot_leaves_the_lines_as_written(self):
        for request, name in ((0x542e, "TIOCGRS485"), (0x542f, "TIOCSRS485")):
            self.world.do("fail", "/dev/ttyX0", f"ioctl:{request}", "ENOTTY", 1)
            self.assert_refused("SetInterface", (1,), "DeviceIOFailure",
                                f"ioctl({name}) for '/dev/ttyX0' failed: "
                                "Inappropriate ioctl for device")
            self.assertEqual(self.levels(*self.pins), [0, 0, 1])

    def test_both_requests_are_made_on_one_descriptor(self):
        self.requests()
        self.port().SetInterface(1)
        self.assertEqual(self.requests(), ["open", "ioctl 0x542e", "ioctl 0x542f rs485=0x13",
                                           "close"])


class Type8Test(SerialTest):
    def prepare(self):
        super().prepare()
        for node in ("ttyV0", "ttyV1", "ttyV2"):
            self.world.do("add-serial", node, "knows=mode")

    def setUp(self):
        super().setUp()
        for number in range(3):
            self.define("8", f"V{number}", ALL,
                        f"serial-device ID /dev/ttyV{number} /dev/ttyV{number}")
        self.switched()

    def modes(self):
        return [self.kept(f"ttyV{number}")["mode"] for number in range(3)]

    def test_rs485_with_two_wires_is_set_for_both_whichever_was_asked(self):
        for name in ("V0", "V1", "V2"):
            with self.subTest(name):
                self.port(name).SetInterface(1)
                self.assertEqual(self.switched(), [("ttyV0", "mode=0x1"), ("ttyV1", "mode=0x1")])

    def test_any_other_mode_is_set_for_the_one_that_was_asked(self):
        for name in ("V0", "V1", "V2"):
            for mode in (0, 2, 3):
                self.port(name).SetInterface(mode)
                self.assertEqual(self.switched(), [(f"tty{name}", f"mode={hex(mode)}")])

    def test_the_first_port_is_read_as_it_stands(self):
        for mode in (0, 1, 2, 3, 9, 4294967295):
            self.world.do("serial", "ttyV0", f"mode={mode}")
            self.assertEqual(self.port("V0").GetInterface(), mode)

    def test_the_second_port_has_no_interface_unless_the_first_is_in_rs485(self):
        self.port("V1").SetInterface(2)
        self.assertEqual(self.modes(), [0, 2, 0])
        for first, second in ((0, 4), (2, 4), (3, 4), (1, 1)):
            self.world.do("serial", "ttyV0", f"mode={first}")
            self.assertEqual(self.port("V1").GetInterface(), second)

    def test_the_requests_of_a_reading(self):
        self.port("V1").GetInterface()
        self.assertEqual([(operation, path) for operation, path, _, _ in
                          self.world.accesses("/dev/ttyV*", ("open", "ioctl", "close"))],
                         [(operation, f"/dev/ttyV{number}") for number in (1, 0)
                          for operation in ("open", "ioctl", "close")])

    def test_a_device_with_another_name_is_read_as_it_stands(self):
        # The second port is known by its name alone.
        self.define("8", "M1", ALL, "serial-device ID /dev/ttyV1 /dev/ttyM1")
        self.world.do("serial", "ttyV1", "mode=2")
        self.assertEqual(self.port("M1").GetInterface(), 2)

    def test_each_step_can_fail(self):
        cases = ((("ttyV0", "open"), "V1", 1, "open '/dev/ttyV0' failed: "),
                 (("ttyV1", "ioctl:0x442"), "V0", 1,
                  "ioctl(TARVEL_SET_OP_MODE) for '/dev/ttyV1' failed: "),
                 (("ttyV0", "ioctl:0x442"), "V0", 2,
                  "ioctl(TARVEL_SET_OP_MODE) for '/dev/ttyV0' failed: "))
        for (node, operation), name, mode, text in cases:
            with self.subTest(text):
                self.world.do("fail", f"/dev/{node}", operation, "EIO", 1)
                self.assert_refused("SetInterface", (mode,), "DeviceIOFailure", text + EIO,
                                    name=name)
        # What was set before the failure stays.
        self.assertEqual(self.modes(), [1, 0, 0])
        for node, operation, text in (("ttyV1", "ioctl:0x443", "ttyV1"),
                                      ("ttyV0", "ioctl:0x443", "ttyV0")):
            self.world.do("fail", f"/dev/{node}", operation, "EIO", 1)
            self.assert_refused("GetInterface", (), "DeviceIOFailure",
                                f"ioctl(TARVEL_GET_OP_MODE) for '/dev/{text}' failed: {EIO}",
                                name="V1")


class Type9Test(SerialTest):
    def define_port(self, *commands):
        return self.define("9", "P1", ALL, *commands, DEVICE)

    def define_switches(self):
        return self.define_port("serial-resistors ID", "serial-terminator ID")

    def shown(self):
        return tuple(self.port().get(name) for name in (
            "PullUpDown", "PullUpDownConfigurable", "Terminator", "TerminatorConfigurable"))

    def test_the_switches_are_off_at_first_and_stored_so(self):
        lines = self.define_switches()
        for text in ("First time to use pull up/down, set to default",
                     "First time to use terminator, set to default"):
            self.assertIn(f"<info>  [SerialPort/P1] {text}", lines)
        self.assertEqual(self.shown(), (1, True, 1, True))
        self.assertEqual(self.stored(),
                         {"PullUpDown": "false", "Terminator": "false", "Interface": "0"})

    def test_stored_switches_reach_the_driver_with_the_first_mode(self):
        for resistors, terminator, port in (("true", "true", 0x31), ("true", "false", 0x11),
                                            ("false", "true", 0x21), ("false", "false", 1)):
            with self.subTest(hex(port)):
                self.write_settings(f"[SerialPort/P1]\nPullUpDown={resistors}\n"
                                    f"Terminator={terminator}\nInterface=1\n")
                self.switched()
                self.define_switches()
                self.assertEqual(self.switched(), [("ttyX0", f"port={hex(port)}")])
                self.assertEqual(self.shown(), (2 if resistors == "true" else 1, True,
                                                2 if terminator == "true" else 1, True))

    def test_a_switch_that_is_stored_as_a_word_is_off(self):
        self.write_settings("[SerialPort/P1]\nTerminator=on\nPullUpDown=2\n")
        self.define_switches()
        self.assertEqual(self.shown(), (1, True, 1, True))
        self.assertEqual(self.stored(),
                         {"PullUpDown": "false", "Terminator": "false", "Interface": "0"})

    def test_each_mode_stands_in_the_low_bits_and_only_rs485_takes_the_switches(self):
        self.write_settings("[SerialPort/P1]\nPullUpDown=true\nTerminator=true\n")
        self.define_switches()
        for mode, port in ((0, 0), (1, 0x31), (2, 2), (3, 0x33)):
            self.port().SetInterface(mode)
            self.assertEqual((self.kept()["port"], self.port().GetInterface()), (port, mode))

    def test_a_reading_takes_the_low_four_bits(self):
        self.define_switches()
        for port, mode in ((0xfffffff0, 0), (0x12345f, 15), (0x31, 1)):
            self.world.do("serial", "ttyX0", f"port={port}")
            self.assertEqual(self.port().GetInterface(), mode)

    def test_a_switch_is_set_in_the_driver_published_and_stored(self):
        self.define_switches()
        self.port().SetInterface(1)
        self.switched()
        with self.lines_of() as lines:
            self.port().SetTerminator(2)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: SetTerminator(2)",
                                 "<info>  [SerialPort/P1] SetTerminator(2) OK"])
        self.assertEqual(self.switched(), [("ttyX0", "port=0x21")])
        with self.lines_of() as lines:
            self.port().SetPullUpDown(2)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: SetPullUpDown(2)",
                                 "<info>  [SerialPort/P1] SetPullUpDown(2) OK"])
        self.assertEqual(self.switched(), [("ttyX0", "port=0x31")])
        self.assertEqual(self.shown(), (2, True, 2, True))
        self.assertEqual(self.stored(),
                         {"PullUpDown": "true", "Terminator": "true", "Interface": "1"})

    def test_a_switch_is_announced_and_neither_the_mode_nor_the_wish_for_a_state_is(self):
        self.define_port("serial-state ID directly", "serial-resistors ID", "serial-terminator ID")
        recorder = self.recorder("SerialPort/P1", "PropertiesChanged")
        self.port().SetInterface(1)
        self.port().SetIOState(1)
        self.port().SetTerminator(2)
        recorder.expect([("SerialPort/P1", "PropertiesChanged", {"Terminator": 2})])
        self.port().SetPullUpDown(2)
        recorder.expect([("SerialPort/P1", "PropertiesChanged", {"PullUpDown": 2})])

    def test_every_state_but_2_switches_off(self):
        self.define_switches()
        self.port().SetInterface(3)
        for state in (1, 7, 4294967295):
            self.port().SetTerminator(2)
            self.assertEqual(self.kept()["port"], 0x23)
            self.port().SetTerminator(state)
            self.assertEqual((self.kept()["port"], self.port().get("Terminator"),
                              self.stored()["Terminator"]), (3, state, "false"))

    def test_a_switch_set_to_0_is_then_one_that_is_not_there(self):
        self.define_switches()
        self.port().SetInterface(1)
        self.port().SetTerminator(0)
        self.assert_refused("SetTerminator", (2,), "PeripheralNotAvailable",
                            "Cannot set terminator for not applicable device", "debug")

    def test_outside_of_rs485_it_is_refused_and_changes_nothing(self):
        self.define_switches()
        for mode in (0, 2):
            self.port().SetInterface(mode)
            self.switched()
            self.assert_refused("SetTerminator", (2,), "PeripheralNotSupported",
                                "set terminator is only supported on RS485 interfaces")
            self.assert_refused("SetPullUpDown", (2,), "PeripheralNotSupported",
                                "set pull up/down is only supported on RS485 interfaces")
            self.assertEqual(self.switched(), [])
        self.assertEqual(self.shown(), (1, True, 1, True))
        self.assertEqual(self.stored()["Terminator"], "false")

    def test_a_port_without_the_switch(self):
        self.define_port("serial-terminator ID")
        self.port().SetInterface(1)
        self.assert_refused("SetPullUpDown", (2,), "PeripheralNotAvailable",
                            "Cannot set pull up/down for not applicable device", "debug")
        self.port().SetTerminator(2)
        self.assertEqual(self.shown(), (0, False, 2, True))
        self.assertEqual(self.stored(), {"Terminator": "true", "Interface": "1"})

    def test_a_driver_that_cannot_be_read_changes_nothing(self):
        self.define_switches()
        self.port().SetInterface(1)
        self.world.do("fail", "/dev/ttyX0", "ioctl:0x541e", "EIO")
        self.assert_refused("SetTerminator", (2,), "DeviceIOFailure",
                            f"ioctl(TIOCGSERIAL) for '/dev/ttyX0' failed: {EIO}")
        self.assertEqual((self.shown()[2], self.stored()["Terminator"]), (1, "false"))

    def test_a_driver_that_does_not_take_it_leaves_the_wish_published_and_not_stored(self):
        self.define_switches()
        self.port().SetInterface(1)
        self.world.do("fail", "/dev/ttyX0", "ioctl:0x541f", "EINVAL")
        self.assert_refused("SetTerminator", (2,), "DeviceIOFailure",
                            "ioctl(TIOCSSERIAL) for '/dev/ttyX0' failed: Invalid argument")
        self.assertEqual((self.shown()[2], self.stored()["Terminator"], self.kept()["port"]),
                         (2, "false", 1))


class Type10Test(SerialTest):
    def define_port(self, pin=8, modes="0 1"):
        return self.define("10", "P1", f"serial-list ID interfaces {modes}", DEVICE,
                           f"serial-pins ID {pin}")

    def test_device_and_line_make_the_port_ready_whichever_comes_first(self):
        parts = (DEVICE, "serial-pins ID 8")
        for name, (first, second) in (("P2", parts), ("P3", reversed(parts))):
            self.switched()
            self.define("10", name, "serial-list ID interfaces 0 1", first)
            self.assertEqual((self.switched(), self.objects()), ([], []))
            self.define("10", name, second)
            self.assertEqual((self.switched(), self.objects()),
                             ([(8, 1), ("ttyX0", "rs485=0x0")], [f"SerialPort/{name}"]))
            self.act(f"serial-unexport SerialPort/{name}")

    def test_a_port_that_is_shown_before_its_line_is_defined_fails(self):
        self.define("10", "P1", "serial-list ID interfaces 0 1", "export ID")
        self.assert_refused("SetInterface", (1,), "DeviceIOFailure", "Set GPIO pin -1 failed")

    def test_the_line_is_driven_and_then_the_kernel_told(self):
        self.define_port()
        self.switched()
        self.port().SetInterface(1)
        self.assertEqual(self.switched(), [(8, 0), ("ttyX0", "rs485=0x13")])
        self.port().SetInterface(0)
        self.assertEqual(self.switched(), [(8, 1), ("ttyX0", "rs485=0x12")])

    def test_line_0_is_none(self):
        self.define_port(0)
        self.switched()
        self.port().SetInterface(1)
        self.assertEqual(self.switched(), [("ttyX0", "rs485=0x13")])
        self.assertFalse(self.world.accesses("*/gpio/export"))

    def test_a_line_that_cannot_be_is_told_and_the_port_is_there(self):
        lines = self.define_port(-1)
        self.assertIn("<warn>  [SerialPort/P1] Initialize port interface failed: "
                      "Set GPIO pin -1 failed", lines)
        self.assertEqual(self.objects(), ["SerialPort/P1"])

    def test_other_modes_are_refused(self):
        self.define_port(modes="0 1 2 3")
        self.switched()
        for mode in (2, 3):
            self.assert_refused("SetInterface", (mode,), "PeripheralUnknownValue",
                                f"unknown interface: {mode}")
        self.assertEqual((self.switched(), self.stored()), ([], {"Interface": "0"}))

    def test_a_line_that_fails_is_told_by_its_number(self):
        self.define_port()
        self.world.do("fail", "*/gpio8/value", "write", "EIO")
        self.switched()
        self.assert_refused("SetInterface", (1,), "DeviceIOFailure", "Set GPIO pin 8 failed")
        self.assertEqual((self.switched(), self.stored()), ([(8, 0)], {"Interface": "0"}))

    def test_a_driver_that_cannot_leaves_the_line_as_written_and_stores_nothing(self):
        self.define_port()
        self.world.do("serial", "ttyX0", "knows=port")
        self.assert_refused("SetInterface", (1,), "DeviceIOFailure",
                            "ioctl(TIOCGRS485) for '/dev/ttyX0' failed: "
                            "Inappropriate ioctl for device")
        self.assertEqual((self.levels(8), self.stored()), ([0], {"Interface": "0"}))

    def test_the_mode_is_read_from_the_settings(self):
        self.define_port()
        self.port().SetInterface(1)
        self.world.do("absent", "/dev/ttyX0")
        self.assertEqual(self.port().GetInterface(), 1)
        self.write_settings("[SerialPort/P1]\nInterface=9\n")
        self.assertEqual(self.port().GetInterface(), 9)

    def test_without_a_stored_mode_the_reading_fails(self):
        self.define_port()
        for settings in ("", "[SerialPort/P1]\nInterface=RS485\n"):
            self.write_settings(settings)
            self.assert_refused("GetInterface", (), "SystemLevelFailure",
                                "Failed to get interface from config")

    def test_the_fallback_of_the_start_is_stored_since_each_switch_stores(self):
        self.define_port(modes="1")
        self.assertEqual(self.stored(), {"Interface": "1"})

    def test_a_switch_of_the_plugin_is_stored_too(self):
        self.define_port()
        self.act("serial-set SerialPort/P1 1")
        self.assertEqual(self.stored(), {"Interface": "1"})


if __name__ == "__main__":
    perimond.main()
