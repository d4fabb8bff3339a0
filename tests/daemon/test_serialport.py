"""Serial ports on the bus: what all ways of switching a transceiver share."""

import os

import perimond
from serial_board import SerialTest

DEVICE = "serial-device ID /dev/ttyX0 /dev/ttyX0"
ALL = "serial-list ID interfaces 0 1 2 3"


class PropertyTest(SerialTest):
    def test_a_port_of_which_nothing_is_told_shows_nothing(self):
        self.define("1", "P1", "export ID")
        self.assertEqual({name: self.port().get(name) for name in (
            "Device", "OriginalDevice", "SupportedInterfaces", "SupportedBaudrates", "IOState",
            "PullUpDown", "Terminator", "SupportedDataBits", "SupportedStopBits",
            "SupportedParities", "SupportedFlowControls", "PullUpDownConfigurable",
            "TerminatorConfigurable", "Name", "PeripheralType")}, {
                "Device": "", "OriginalDevice": "", "SupportedInterfaces": [],
                "SupportedBaudrates": [], "IOState": 0, "PullUpDown": 0, "Terminator": 0,
                "SupportedDataBits": [], "SupportedStopBits": [], "SupportedParities": [],
                "SupportedFlowControls": [], "PullUpDownConfigurable": False,
                "TerminatorConfigurable": False, "Name": "P1", "PeripheralType": "SerialPort"})

    def test_each_list_is_published_as_it_was_told(self):
        lists = {"interfaces": ("SupportedInterfaces", [2, 0, 1]),
                 "baudrates": ("SupportedBaudrates", [300, 921600, 4294967295]),
                 "data-bits": ("SupportedDataBits", [7, 8]),
                 "stop-bits": ("SupportedStopBits", [1, 2]),
                 "parities": ("SupportedParities", [0, 1, 2]),
                 "flow-controls": ("SupportedFlowControls", [0])}
        self.define("1", "P1", *(f"serial-list ID {name} {' '.join(map(str, values))}"
                                 for name, (_, values) in lists.items()), "export ID")
        for name, (member, values) in lists.items():
            with self.subTest(name):
                self.assertEqual(self.port().get(member), values)
                self.define("1", "P1", f"serial-list ID {name}")
                self.assertEqual(self.port().get(member), [])

    def test_a_second_list_is_published_and_the_modes_of_both_can_be_set(self):
        self.define("1", "P1", "serial-list ID interfaces 0 1", "serial-list ID interfaces 2",
                    DEVICE)
        self.assertEqual(self.port().get("SupportedInterfaces"), [2])
        for mode in (0, 1, 2):
            self.port().SetInterface(mode)
            self.assertEqual(self.kept()["port"], mode)

    def test_switches_that_software_cannot_switch_are_published_as_they_are(self):
        self.define("1", "P1", ALL, "serial-resistors ID 2", "serial-terminator ID 1", DEVICE)
        self.assertEqual([self.port().get(name) for name in (
            "PullUpDown", "Terminator", "PullUpDownConfigurable", "TerminatorConfigurable")],
            [2, 1, False, False])
        self.assertEqual(self.stored(), {"Interface": "0"})


class DeviceTest(SerialTest):
    def test_equal_names_make_no_link(self):
        self.define("1", "P1", ALL, DEVICE)
        self.assertEqual((self.port().get("Device"), self.port().get("OriginalDevice")),
                         ("/dev/ttyX0", "/dev/ttyX0"))
        self.assertFalse(os.path.islink(self.world.path("/dev/ttyX0")))

    def test_another_name_is_a_link_to_the_node_of_the_kernel(self):
        self.define("1", "P1", ALL, "serial-device ID /dev/ttyX0 /dev/ttyM0")
        self.assertEqual((self.port().get("Device"), self.port().get("OriginalDevice")),
                         ("/dev/ttyM0", "/dev/ttyX0"))
        self.assertEqual(os.readlink(self.world.path("/dev/ttyM0")), "/dev/ttyX0")
        self.port().SetInterface(2)
        self.assertEqual(self.kept()["port"], 2)

    def test_a_link_to_elsewhere_is_replaced(self):
        self.world.do("link", "/dev/ttyM0", "ttyX1")
        self.define("1", "P1", ALL, "serial-device ID /dev/ttyX0 /dev/ttyM0")
        self.assertEqual(os.readlink(self.world.path("/dev/ttyM0")), "/dev/ttyX0")

    def test_a_folder_in_the_way_leaves_the_node_of_the_kernel(self):
        self.world.do("preset", "/dev/ttyM0/x", "")
        lines = self.define("1", "P1", ALL, "serial-device ID /dev/ttyX0 /dev/ttyM0")
        self.assertIn("<warn>  [SerialPort/P1] Create link failed: couldn't remove file "
                      "'/dev/ttyM0'", lines)
        self.assertEqual((self.port().get("Device"), self.port().get("OriginalDevice")),
                         ("/dev/ttyX0", "/dev/ttyX0"))
        self.port().SetInterface(2)
        self.assertEqual(self.kept()["port"], 2)

    def test_a_dangling_link_in_the_way_leaves_the_node_of_the_kernel(self):
        self.world.do("link", "/dev/ttyM0", "nowhere")
        lines = self.define("1", "P1", ALL, "serial-device ID /dev/ttyX0 /dev/ttyM0")
        self.assertIn("<warn>  [SerialPort/P1] Create link failed: create symlink '/dev/ttyM0' "
                      "failed: File exists", lines)
        self.assertEqual(self.port().get("Device"), "/dev/ttyX0")

    def test_a_port_without_a_device_is_not_on_the_bus(self):
        self.define("1", "P1", ALL, "serial-init ID")
        self.assertEqual(self.objects(), [])
        self.assertEqual(self.stored(), {})


class FirstConfigurationTest(SerialTest):
    def start(self, interfaces="0 1 2 3", settings=None):
        if settings is not None:
            self.write_settings(settings)
        return self.define("1", "P1", f"serial-list ID interfaces {interfaces}",
                           "serial ttyX0", DEVICE)

    def assert_start(self, interfaces, settings, port, stored, warnings):
        self.world.do("serial", "ttyX0", "port=0x77")
        lines = self.start(interfaces, settings)
        self.assertEqual([line for line in lines if line.startswith("<warn>")],
                         [f"<warn>  [SerialPort/P1] {text}" for text in warnings])
        self.assertEqual(self.kept()["port"], port)
        self.assertEqual(self.stored(), {"Interface": stored} if stored is not None else {})
        self.assertEqual(self.objects(), ["SerialPort/P1"])

    def test_rs232_is_set_and_stored_at_first(self):
        self.assert_start("1 0", None, 0, "0", [])

    def test_the_stored_mode_is_set(self):
        self.assert_start("0 1 2", "[SerialPort/P1]\nInterface=2\n", 2, "2", [])

    def test_without_rs232_the_first_mode_is_set_and_not_stored(self):
        self.assert_start("2 1 3", None, 2, "0",
                          ["Initialize port interface failed: Interface not supported"])

    def test_a_mode_that_the_port_no_longer_has(self):
        self.assert_start("1 2", "[SerialPort/P1]\nInterface=3\n", 1, "3",
                          ["Initialize port interface failed: Interface not supported"])

    def test_a_stored_number_that_is_no_mode(self):
        for stored in ("9", "-1", "4"):
            with self.subTest(stored):
                self.assert_start("1 2", f"[SerialPort/P1]\nInterface={stored}\n", 1, stored,
                                  ["Initialize port interface failed: "
                                   "Invalid SerialPort interface"])

    def test_a_stored_word_is_no_number(self):
        self.assert_start("1 0", "[SerialPort/P1]\nInterface=RS485\n", 0, "0", [])

    def test_a_port_without_any_mode(self):
        self.assert_start("", None, 0x77, "0",
                          ["Initialize port interface failed: Interface not supported",
                           "Fallback: set first port interface failed: Interface not supported"])

    def test_a_first_mode_that_is_none(self):
        self.assert_start("7", None, 0x77, "0",
                          ["Initialize port interface failed: Interface not supported",
                           "Fallback: set first port interface failed: "
                           "Invalid SerialPort interface"])

    def test_hardware_that_fails_does_not_keep_the_port_from_the_bus(self):
        self.world.do("fail", "/dev/ttyX0", "ioctl", "EIO")
        text = "ioctl(TIOCGSERIAL) for '/dev/ttyX0' failed: Input/output error"
        self.assert_start("0 1", None, 0x77, "0",
                          [f"Initialize port interface failed: {text}",
                           f"Fallback: set first port interface failed: {text}"])

    def test_the_fallback_is_tried_when_the_stored_mode_fails_once(self):
        self.world.do("fail", "/dev/ttyX0", "open", "EBUSY", 1)
        self.assert_start("2 1", "[SerialPort/P1]\nInterface=1\n", 2, "1",
                          ["Initialize port interface failed: open '/dev/ttyX0' failed: "
                           "Device or resource busy"])

    def test_what_a_client_set_is_there_after_a_restart_and_a_kill(self):
        self.start()
        self.port().SetInterface(2)
        for end in (self.stop_daemon, self.kill_daemon):
            end()
            self.world.do("serial", "ttyX0", "port=0")
            self.start_daemon()
            self.start()
            self.assertEqual((self.kept()["port"], self.port().GetInterface()), (2, 2))


class SetInterfaceTest(SerialTest):
    def prepare(self):
        super().prepare()
        self.environment["PROBE_INIT"] = ";".join((
            "serial 1 P1", "serial-list SerialPort/P1 interfaces 0 1 2",
            "serial-device SerialPort/P1 /dev/ttyX0 /dev/ttyX0"))

    def test_a_mode_is_set_and_stored(self):
        with self.lines_of() as lines:
            self.port().SetInterface(2)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: SetInterface(2)",
                                 "<info>  [SerialPort/P1] SetInterface(2) OK"])
        self.assertEqual((self.kept()["port"], self.stored()), (2, {"Interface": "2"}))

    def test_it_is_read_back(self):
        self.world.do("serial", "ttyX0", "port=5")
        with self.lines_of() as lines:
            self.assertEqual(self.port().GetInterface(), 5)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: GetInterface()",
                                 "<info>  [SerialPort/P1] GetInterface() OK, interface=5"])

    def test_what_is_no_mode_is_refused_and_changes_nothing(self):
        self.port().SetInterface(1)
        self.switched()
        self.assert_refused("SetInterface", (4,), "InvalidArgument",
                            "Invalid SerialPort interface")
        with self.lines_of() as lines, self.assertBusError("InvalidArgument",
                                                           "Invalid SerialPort interface"):
            self.port().SetInterface(4294967295)
        self.assertEqual(lines[0], "<info>  [SerialPort/P1] Get method call: SetInterface(-1)")
        self.assert_refused("SetInterface", (3,), "PeripheralNotSupported",
                            "Interface not supported")
        self.assertEqual((self.switched(), self.kept()["port"], self.stored()),
                         ([], 1, {"Interface": "1"}))

    def test_the_mode_that_is_stored_is_not_written_again(self):
        self.port().SetInterface(2)
        file = os.path.join(self.world.settings, "peripheral-settings.conf")
        before = os.stat(file)
        self.port().SetInterface(2)
        # A save replaces the file.
        self.assertEqual((os.stat(file).st_ino, os.stat(file).st_mtime_ns),
                         (before.st_ino, before.st_mtime_ns))

    def test_a_device_that_is_gone_is_told_and_nothing_is_stored(self):
        self.world.do("absent", "/dev/ttyX0")
        text = "open '/dev/ttyX0' failed: No such file or directory"
        self.assert_refused("SetInterface", (2,), "DeviceIOFailure", text)
        self.assert_refused("GetInterface", (), "DeviceIOFailure", text)
        self.assertEqual(self.stored(), {"Interface": "0"})

    def test_a_driver_that_does_not_know_the_request(self):
        self.world.do("serial", "ttyX0", "knows=rs485")
        self.assert_refused("SetInterface", (2,), "DeviceIOFailure",
                            "ioctl(TIOCGSERIAL) for '/dev/ttyX0' failed: "
                            "Inappropriate ioctl for device")

    def test_the_base_checks_the_mode_before_the_class_does(self):
        self.assertEqual(self.act("serial-set SerialPort/P1 4", "serial-set SerialPort/P1 3",
                                  "serial-slot SerialPort/P1 9"),
                         ["<info>  [Probe] serial-set SerialPort/P1: zolv_core_error_quark 6 "
                          "Invalid SerialPort interface",
                          "<info>  [Probe] serial-set SerialPort/P1: zolv_core_error_quark 42 "
                          "Interface not supported",
                          "<info>  [Probe] serial-slot SerialPort/P1: OK"])
        self.assertEqual(self.kept()["port"], 9)

    def test_a_failed_reading_leaves_the_output_alone(self):
        self.world.do("fail", "/dev/ttyX0", "ioctl", "EIO")
        self.assertIn("<info>  [Probe] mode 77", self.act("serial-get SerialPort/P1"))

    def test_the_getters_of_the_switches_have_no_handler(self):
        for method in ("GetPullUpDown", "GetTerminator"):
            with self.subTest(method), self.assertBusError(
                    "org.freedesktop.DBus.Error.UnknownMethod",
                    f"Method {method} is not implemented on interface "
                    "com.tarvel.Perimond.Obj.SerialPort"):
                getattr(self.port(), method)(0)

    def test_a_base_class_has_no_way_of_its_own(self):
        for word, function in (("check", "check_ready"), ("set", "set_interface"),
                               ("get", "get_interface")):
            with self.subTest(word):
                self.assertAborts((function, None), f"serial-base SerialPort/P1 {word}")
                self.forget_commands()
                self.start_daemon()

    def test_the_base_class_has_no_objects(self):
        self.assertAborts(("type_word", None), "serial base P2")


class NodeTest(SerialTest):
    """What stands where the node should be."""

    def assert_fails(self, device, text):
        self.define("1", "P1", ALL, f"serial-device ID {device} {device}")
        self.assert_refused("SetInterface", (1,), "DeviceIOFailure", text)
        self.assert_refused("GetInterface", (), "DeviceIOFailure", text)

    def test_a_folder(self):
        self.assert_fails("/dev/input", "open '/dev/input' failed: Is a directory")

    def test_a_link_to_a_file_that_is_no_serial_port(self):
        self.world.do("link", "/dev/ttyX9", "/etc/fw_env.config")
        self.assert_fails("/dev/ttyX9", "ioctl(TIOCGSERIAL) for '/dev/ttyX9' failed: "
                                        "Inappropriate ioctl for device")

    def test_a_link_in_a_circle(self):
        self.world.do("link", "/dev/ttyX9", "ttyX9")
        self.assert_fails("/dev/ttyX9", "open '/dev/ttyX9' failed: "
                                        "Too many levels of symbolic links")

    def test_a_pipe_that_nobody_serves_does_not_hold_the_daemon(self):
        self.world.run("mkfifo", "/run/pipe")
        self.assert_fails("/run/pipe", "ioctl(TIOCGSERIAL) for '/run/pipe' failed: "
                                       "Inappropriate ioctl for device")

    def test_a_node_that_would_wait_for_a_carrier_is_opened_all_the_same(self):
        # The board's nodes refuse an open() that would wait.
        with self.assertRaises(BlockingIOError):
            os.open(self.world.path("/dev/ttyX0"), os.O_RDWR)
        self.define("1", "P1", ALL, DEVICE)
        self.port().SetInterface(1)


class SwitchTest(SerialTest):
    """Switches that the base class has: none can be switched."""

    def define_with(self, resistors, terminator):
        self.define("1", "P1", ALL, f"serial-resistors ID {resistors}",
                    f"serial-terminator ID {terminator}", DEVICE)

    def test_a_port_without_the_switch(self):
        self.define_with(0, 0)
        self.assert_refused("SetPullUpDown", (2,), "PeripheralNotAvailable",
                            "Cannot set pull up/down for not applicable device", "debug")
        self.assert_refused("SetTerminator", (2,), "PeripheralNotAvailable",
                            "Cannot set terminator for not applicable device", "debug")

    def test_a_switch_that_software_cannot_switch(self):
        self.define_with(1, 2)
        for state in (0, 1, 2, 7):
            self.assert_refused("SetPullUpDown", (state,), "OperationNotSupported",
                                "Operation not supported")
            self.assert_refused("SetTerminator", (state,), "OperationNotSupported",
                                "Operation not supported")
        self.assertEqual((self.port().get("PullUpDown"), self.port().get("Terminator")), (1, 2))
        self.assertEqual(self.stored(), {"Interface": "0"})


class IOStateTest(SerialTest):
    boot_environment = {"p1_enable": "1"}

    def define_with(self, *commands):
        return self.define("1", "P1", *commands, ALL, "serial-resistors ID 0", DEVICE)

    def define_disabled(self):
        self.world.do("env", "p1_enable", "0")
        self.define_with("serial-bootenv ID p1_enable", "serial-state ID bootenv")

    def test_a_variable_says_whether_the_port_is_on(self):
        for value, state, stored in (("1", 2, "true"), ("0", 1, "false")):
            with self.subTest(value):
                self.world.do("env", "p1_enable", value)
                self.define_with("serial-bootenv ID p1_enable", "serial-state ID bootenv")
                self.assertEqual(self.port().get("IOState"), state)
                self.assertEqual(self.stored()["IOState"], stored)

    def test_a_port_without_a_variable_is_on(self):
        self.define_with("serial-state ID directly")
        self.assertEqual((self.port().get("IOState"), self.stored()["IOState"]), (2, "true"))

    def test_a_port_that_was_told_nothing_cannot_be_switched_off(self):
        self.define_with()
        text = "Cannot set io state for not applicable device"
        with self.lines_of() as lines, self.assertBusError("PeripheralNotAvailable", text):
            self.port().SetIOState(1)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: SetIOState()",
                                 f"<debug> [SerialPort/P1] SetIOState() failed: {text}"])

    def test_a_wish_is_written_for_the_next_boot_and_the_port_works_until_then(self):
        self.define_with("serial-bootenv ID p1_enable", "serial-state ID bootenv")
        with self.lines_of() as lines:
            self.port().SetIOState(1)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: SetIOState()",
                                 "<debug> [SerialPort/P1] Write bootenv: p1_enable",
                                 "<info>  [SerialPort/P1] SetIOState() OK, io_state=1"])
        self.assertEqual((self.world.do("env", "p1_enable"), self.stored()["IOState"],
                          self.port().get("IOState")), ("0\n", "false", 2))
        self.port().SetInterface(1)
        self.assertEqual(self.port().GetInterface(), 1)

    def test_the_end_writes_the_wish_once_more(self):
        self.define_with("serial-bootenv ID p1_enable", "serial-state ID bootenv")
        self.port().SetIOState(1)
        self.world.do("env", "p1_enable", "1")
        self.stop_daemon()
        self.assertEqual(self.world.do("env", "p1_enable"), "0\n")

    def test_a_disabled_port_refuses_its_methods(self):
        self.define_disabled()
        self.switched()
        self.assert_refused("SetInterface", (1,), "PeripheralNotAvailable",
                            "Cannot set interface for disabled SerialPort")
        self.assert_refused("SetInterface", (9,), "PeripheralNotAvailable",
                            "Cannot set interface for disabled SerialPort")
        # Also where there is no such switch: that is asked afterwards.
        self.assert_refused("SetPullUpDown", (2,), "PeripheralNotAvailable",
                            "Cannot set pull up/down for disabled SerialPort")
        self.assert_refused("SetTerminator", (2,), "PeripheralNotAvailable",
                            "Cannot set terminator for disabled SerialPort")
        self.assertEqual(self.switched(), [])

    def test_a_disabled_port_says_that_it_has_no_interface(self):
        self.define_disabled()
        self.world.do("absent", "/dev/ttyX0")
        with self.lines_of() as lines:
            self.assertEqual(self.port().GetInterface(), 4)
        self.assertEqual(lines, ["<info>  [SerialPort/P1] Get method call: GetInterface()",
                                 "<debug> [SerialPort/P1] SetInterface() failed: Cannot get "
                                 "interface for disabled SerialPort"])

    def test_a_disabled_port_is_switched_to_its_mode_and_shown(self):
        self.write_settings("[SerialPort/P1]\nInterface=2\n")
        self.define_disabled()
        self.assertEqual((self.kept()["port"], self.objects()), (2, ["SerialPort/P1"]))

    def test_a_disabled_port_stays_so_until_the_next_start(self):
        self.define_disabled()
        self.port().SetIOState(2)
        self.assert_refused("SetInterface", (1,), "PeripheralNotAvailable",
                            "Cannot set interface for disabled SerialPort")

    def test_only_a_disabled_port_is_not_available(self):
        self.define_with()
        for state, answer in ((0, "available"), (1, "not available"), (2, "available"),
                              (7, "available")):
            self.assertEqual(self.act(f"serial-state SerialPort/P1 {state}")[-1],
                             f"<info>  [Probe] {answer}")

    def test_no_name_is_no_variable(self):
        self.define_with()
        self.assertAborts(("bind", "bootenv"), "serial-bootenv SerialPort/P1 -")

    def test_the_state_of_a_variable_that_was_never_bound_ends_the_daemon(self):
        self.define_with()
        self.assertAborts(("read_boot_state", "bootenv"), "serial-state SerialPort/P1 bootenv")

    def test_it_can_be_withdrawn_and_shown_again(self):
        self.define_with()
        self.act("serial-unexport SerialPort/P1")
        self.assertEqual(self.objects(), [])
        self.act("serial-export SerialPort/P1")
        self.assertEqual(self.objects(), ["SerialPort/P1"])


if __name__ == "__main__":
    perimond.main()
