"""CAN ports: the bit rate that the kernel knows, the terminator, the I/O state."""

import configparser
import os

import perimond
from probe import ProbeTest

LINE = 30
FAULT = "write '/sys/class/gpio/gpio30/value' failed: Input/output error"


class CANTest(ProbeTest):
    """The board has the controller canX, a network device of that name and GPIO lines. A test
    defines its port CAN/P1 itself."""

    settings = ""
    definition = ("can-terminator ID 30", "can-device ID net canX")

    def prepare(self):
        super().prepare()
        self.world.do("add-can", "canX", "state=error-active", "bitrate=250000")
        self.world.do("plug", "net", "canX", "ifindex=70", "quiet=1")
        if self.settings:
            self.write_settings(self.settings)

    def setUp(self):
        super().setUp()
        self.lines = self.define(*self.definition)

    def define(self, *commands):
        """The lines about the port, and what the plugin told, while it was defined."""
        lines = self.act("create can P1", *(word.replace("ID", "CAN/P1") for word in commands))
        return [line for line in lines if "[CAN/P1]" in line or "[Probe]" in line]

    @property
    def port(self):
        return self.bus_object("CAN/P1")

    def write_settings(self, text):
        os.makedirs(self.world.settings, exist_ok=True)
        with open(os.path.join(self.world.settings, "peripheral-settings.conf"), "w") as file:
            file.write(text)

    def stored(self, key="Terminator"):
        settings = configparser.ConfigParser()
        settings.optionxform = str
        settings.read(os.path.join(self.world.settings, "peripheral-settings.conf"))
        return settings.get("CAN/P1", key, fallback=None)

    def settings_file(self):
        """Changes with each save, which replaces the file."""
        info = os.stat(os.path.join(self.world.settings, "peripheral-settings.conf"))
        return info.st_ino, info.st_mtime_ns

    def level(self):
        return int(self.world.do("read", LINE))

    def assert_refused(self, method, arguments, error, text, level="error"):
        with self.log("[CAN/P1]") as lines, self.assertBusError(error, text):
            getattr(self.port, method)(*arguments)
        shown = f"<{level}>".ljust(7)
        self.assertEqual(lines, [f"<info>  [CAN/P1] Get method call: {method}()",
                                 f"{shown} [CAN/P1] {method}() failed: {text}"])


class BitrateTest(CANTest):
    definition = ("can-device ID net canX",)

    def asked(self):
        """Which of the two the kernel was asked for, since the last call."""
        asked = [path.rpartition("/")[2] for _, path, *_ in
                 self.world.accesses("/dev/can/*", ("open",))]
        self.world.do("record", "--clear")
        return asked

    def test_it_is_what_the_kernel_knows_at_each_call(self):
        for bitrate in (250000, 1000000, 0):
            self.world.do("can", "canX", f"bitrate={bitrate}")
            with self.log("[CAN/P1]") as lines:
                self.assertEqual(self.port.GetBitrate(), bitrate)
            self.assertEqual(lines, ["<info>  [CAN/P1] Get method call: GetBitrate()",
                                     f"<info>  [CAN/P1] GetBitrate() OK, bitrate={bitrate}"])

    def test_a_rate_beyond_31_bits_is_answered_whole(self):
        self.world.do("can", "canX", "bitrate=4294967295")
        with self.log("GetBitrate() OK") as lines:
            self.assertEqual(self.port.GetBitrate(), 4294967295)
        self.assertEqual(lines, ["<info>  [CAN/P1] GetBitrate() OK, bitrate=-1"])

    def test_every_state_but_stopped_goes_on(self):
        for state in ("error-active", "error-warning", "error-passive", "bus-off", "sleeping", "9"):
            with self.subTest(state):
                self.world.do("can", "canX", f"state={state}")
                self.assertEqual(self.port.GetBitrate(), 250000)

    def test_a_stopped_interface_has_none(self):
        self.world.do("can", "canX", "state=stopped")
        self.asked()
        self.assert_refused("GetBitrate", (), "PeripheralNotAvailable",
                            "Cannot get bitrate for inactive device: canX")
        self.assertEqual(self.asked(), ["state"])

    def test_a_state_that_is_not_known(self):
        self.world.do("fail", "/dev/can/canX/*", "read", "EIO")
        self.asked()
        self.assert_refused("GetBitrate", (), "ExternalLibraryFailure",
                            "Cannot get bus state for canX")
        self.assertEqual(self.asked(), ["state"])

    def test_a_bit_timing_that_is_not_known(self):
        self.world.do("fail", "/dev/can/canX/bitrate", "read", "EIO")
        self.asked()
        self.assert_refused("GetBitrate", (), "ExternalLibraryFailure", "Cannot get bitrate for canX")
        self.assertEqual(self.asked(), ["state", "bitrate"])

    def test_a_controller_that_is_gone(self):
        self.world.do("absent", "/dev/can/canX")
        self.assert_refused("GetBitrate", (), "ExternalLibraryFailure",
                            "Cannot get bus state for canX")

    def test_a_port_without_a_device(self):
        self.act("can-device CAN/P1 net -")
        self.asked()
        self.assert_refused("GetBitrate", (), "PeripheralNotFound",
                            "Cannot get device name or device name is not enabled")
        self.assertEqual(self.asked(), [])

    def test_a_port_that_never_had_one(self):
        self.act("create can P2", "can-export CAN/P2")
        with self.assertBusError("PeripheralNotFound",
                                 "Cannot get device name or device name is not enabled"):
            self.bus_object("CAN/P2").GetBitrate()

    def test_a_disabled_port_is_refused_before_all_else(self):
        self.act("can-state CAN/P1 1", "can-device CAN/P1 net -")
        self.asked()
        self.assert_refused("GetBitrate", (), "PeripheralNotAvailable",
                            "Cannot get bitrate for disabled CAN", "debug")
        self.assertEqual(self.asked(), [])

    def test_a_port_whose_state_is_not_applicable_or_enabled_is_served(self):
        for state in (0, 2):
            self.act(f"can-state CAN/P1 {state}")
            self.assertEqual((self.port.get("IOState"), self.port.GetBitrate()), (state, 250000))


class TerminatorTest(CANTest):
    def set(self, state, shown=None):
        with self.log("[CAN/P1]") as lines:
            self.port.SetTerminator(state)
        self.assertEqual(lines, ["<info>  [CAN/P1] Get method call: SetTerminator()",
                                 f"<info>  [CAN/P1] SetTerminator() OK, state={shown or state}"])

    def seen(self):
        return (self.port.get("Terminator"), self.level(), self.stored())

    def test_at_the_first_use_it_is_off(self):
        self.assertEqual(self.lines[:2], [
            "<debug> [CAN/P1] Object created",
            "<info>  [Probe] created CAN/P1 not exported"])
        self.assertIn("<info>  [CAN/P1] First time to use terminator, set to default", self.lines)
        self.assertEqual(self.seen(), (1, 0, "false"))

    def test_it_is_switched_and_stored(self):
        recorder = self.recorder("CAN/P1", "PropertiesChanged")
        self.set(2)
        self.assertEqual(self.seen(), (2, 1, "true"))
        self.set(1)
        self.assertEqual(self.seen(), (1, 0, "false"))
        recorder.wait_for(lambda: len(recorder.events) == 2, "both changes")
        self.assertEqual([event[2] for event in recorder.events],
                         [{"Terminator": 2}, {"Terminator": 1}])

    def test_what_is_stored_already_is_not_written_again(self):
        self.set(2)
        before = self.settings_file()
        self.set(2)
        self.define("can-terminator ID 30")
        self.assertEqual((self.settings_file(), self.seen()), (before, (2, 1, "true")))

    def test_any_number_is_published_and_all_but_2_are_off(self):
        self.set(2)
        self.set(7)
        self.assertEqual(self.seen(), (7, 0, "false"))
        self.set(4294967295, "-1")
        self.assertEqual(self.seen(), (4294967295, 0, "false"))

    def test_0_says_that_there_is_none_until_it_is_defined_anew(self):
        self.set(0)
        self.assertEqual(self.seen(), (0, 0, "false"))
        self.assert_refused("SetTerminator", (2,), "PeripheralNotSupported",
                            "Cannot set terminator for not applicable device", "debug")
        self.define("can-terminator ID 30")
        self.assertEqual(self.seen(), (1, 0, "false"))

    def test_a_line_that_fails_leaves_the_wish_published_and_the_setting_as_it_was(self):
        self.world.do("fail", "*/gpio30/value", "write", "EIO")
        self.assert_refused("SetTerminator", (2,), "OperationFailure", FAULT)
        self.assertEqual(self.seen(), (2, 0, "false"))
        self.world.do("heal")
        self.set(2)
        self.world.do("fail", "*/gpio30/value", "write", "EIO")
        self.assert_refused("SetTerminator", (1,), "OperationFailure", FAULT)
        self.assertEqual(self.seen(), (1, 1, "true"))

    def test_a_disabled_port_is_refused_before_all_else(self):
        self.act("can-state CAN/P1 1")
        self.assert_refused("SetTerminator", (2,), "PeripheralNotAvailable",
                            "Cannot set terminator for disabled CAN", "debug")
        self.assertEqual(self.seen(), (1, 0, "false"))
        self.act("create can P2", "can-state CAN/P2 1", "can-export CAN/P2")
        with self.assertBusError("PeripheralNotAvailable", "Cannot set terminator for disabled CAN"):
            self.bus_object("CAN/P2").SetTerminator(2)

    def test_a_port_whose_state_is_not_applicable_is_served(self):
        self.assertEqual(self.port.get("IOState"), 0)
        self.set(2)

    def test_a_port_without_a_line_has_none(self):
        self.act("create can P2", "can-export CAN/P2")
        other = self.bus_object("CAN/P2")
        with self.log("[CAN/P2]") as lines, self.assertBusError(
                "PeripheralNotSupported", "Cannot set terminator for not applicable device"):
            other.SetTerminator(2)
        self.assertEqual(lines, ["<info>  [CAN/P2] Get method call: SetTerminator()",
                                 "<debug> [CAN/P2] SetTerminator() failed: Cannot set terminator "
                                 "for not applicable device"])
        self.assertEqual(other.get("Terminator"), 0)

    def test_the_state_is_read_from_the_property_only(self):
        with self.assertBusError("org.freedesktop.DBus.Error.UnknownMethod",
                                 "Method GetTerminator is not implemented on interface "
                                 "com.tarvel.Perimond.Obj.CAN"):
            self.port.GetTerminator(0)

    def test_it_is_as_it_was_after_a_restart_and_keeps_its_level_in_between(self):
        self.set(2)
        self.stop_daemon()
        self.assertEqual(self.level(), 1)
        self.world.do("change", "net", "probe", "COMMAND=")
        self.start_daemon()
        self.world.do("record", "--clear")
        lines = self.define(*self.definition)
        self.assertNotIn("First time", "\n".join(lines))
        self.assertEqual(self.seen(), (2, 1, "true"))


class StoredTerminatorTest(CANTest):
    settings = "[CAN/P1]\nTerminator=true\n"

    def test_it_is_on_at_once(self):
        self.assertNotIn("First time", "\n".join(self.lines))
        self.assertEqual((self.port.get("Terminator"), self.level()), (2, 1))


class DamagedTerminatorTest(CANTest):
    settings = "[CAN/P1]\nTerminator=strong\n"

    def test_a_word_counts_as_nothing_stored(self):
        self.assertIn("<info>  [CAN/P1] First time to use terminator, set to default", self.lines)
        self.assertEqual((self.port.get("Terminator"), self.level(), self.stored()), (1, 0, "false"))


class DefinitionTest(CANTest):
    definition = ()

    def test_a_line_that_fails_is_logged_and_the_port_is_exported(self):
        self.world.do("fail", "*/gpio30/direction", "write", "EIO")
        lines = self.define("can-terminator ID 30", "can-device ID net canX")
        self.assertIn("<error> [CAN/P1] Failed to set terminator: write "
                      "'/sys/class/gpio/gpio30/direction' failed: Input/output error", lines)
        self.assertEqual((self.port.get("Terminator"), self.port.get("DeviceName"), self.stored()),
                         (1, "canX", "false"))

    def test_a_line_that_does_not_exist_is_logged_only(self):
        self.assertIn("<error> [CAN/P1] Failed to set terminator: write '/sys/class/gpio/export' "
                      "failed: Invalid argument",
                      self.define("can-terminator ID 0xffffffff", "can-export ID"))

    def test_all_begins_empty(self):
        self.define("can-export ID")
        self.assertEqual([self.port.get(name) for name in
                          ("DeviceName", "MaximumSupportedBitrate", "IOState", "Terminator")],
                         ["", 0, 0, 0])

    def test_the_highest_bit_rate_is_as_defined(self):
        for bitrate in (1000000, 4294967295):
            self.define(f"can-bitrate ID {bitrate}", "can-export ID")
            self.assertEqual(self.port.get("MaximumSupportedBitrate"), bitrate)

    def test_the_device_names_the_port_and_exports_it(self):
        self.define("can-device ID net -")
        self.assertEqual(self.objects(), [])
        self.define("can-device ID net canX")
        self.assertEqual((self.objects(), self.port.get("DeviceName")), (["CAN/P1"], "canX"))

    def test_without_a_device_the_name_is_cleared_and_the_port_stays_where_it_is(self):
        self.define("can-device ID net canX")
        recorder = self.recorder("CAN/P1", "PropertiesChanged")
        self.define("can-device ID net -")
        recorder.expect([("CAN/P1", "PropertiesChanged", {"DeviceName": ""})])
        self.assertEqual(self.objects(), ["CAN/P1"])

    def test_a_device_that_is_no_network_interface_ends_the_daemon(self):
        self.world.do("plug", "tty", "ttyX", "quiet=1")
        self.assertAborts(("zolv_can_define_device_name_by_udev", "interface != NULL"),
                          "can-device CAN/P1 tty ttyX")

    def test_a_name_that_is_no_text_is_made_fit_for_the_bus(self):
        self.world.do("plug", "net", "canY", "INTERFACE=can\udcff\x1b", "quiet=1")
        self.define("can-device ID net canY")
        self.assertEqual(self.port.get("DeviceName"), "can\ufffd\\x1b")

    def test_it_is_exported_and_withdrawn_at_will(self):
        self.define("can-export ID")
        self.assertEqual(self.objects(), ["CAN/P1"])
        self.define("can-unexport ID")
        self.assertEqual(self.objects(), [])


class IOStateTest(CANTest):
    definition = ("can-bootenv ID can_enable", "can-state ID bootenv", "can-device ID net canX")
    boot_environment = {"can_enable": "1"}

    def test_it_is_switched_off_from_the_next_boot_on(self):
        with self.log("[CAN/P1]") as lines:
            self.port.SetIOState(1)
        self.assertEqual(lines, ["<info>  [CAN/P1] Get method call: SetIOState()",
                                 "<debug> [CAN/P1] Write bootenv: can_enable",
                                 "<info>  [CAN/P1] SetIOState() OK, io_state=1"])
        self.assertEqual((self.stored("IOState"), self.world.do("env", "can_enable"),
                          self.port.get("IOState")), ("false", "0\n", 2))
        self.assertEqual(self.port.GetBitrate(), 250000)

    def test_every_number_but_2_switches_it_off(self):
        for state, value in ((2, "1\n"), (7, "0\n"), (2, "1\n"), (0, "0\n")):
            self.port.SetIOState(state)
            self.assertEqual(self.world.do("env", "can_enable"), value)

    def test_the_end_writes_the_wish_over_what_was_changed_by_hand(self):
        self.world.do("env", "can_enable", "0")
        self.stop_daemon()
        self.assertEqual(self.world.do("env", "can_enable"), "1\n")

    def test_a_port_that_is_off_is_not_available(self):
        self.world.do("env", "can_enable", "0")
        lines = self.define("can-state ID bootenv")
        self.assertEqual(lines[-2:], ["<debug> [CAN/P1] The interface is not enabled",
                                      "<info>  [Probe] not available"])

    def test_one_without_a_variable_is_on_directly(self):
        self.act("create can P2", "can-state CAN/P2 directly", "can-export CAN/P2")
        self.assertEqual(self.bus_object("CAN/P2").get("IOState"), 2)

    def test_one_that_is_not_applicable_refuses(self):
        self.define("can-state ID 0")
        self.assert_refused("SetIOState", (2,), "PeripheralNotAvailable",
                            "Cannot set io state for not applicable device")

    def test_binding_no_name_ends_the_daemon(self):
        self.assertAborts(("bind", "bootenv"), "can-bootenv CAN/P1 -")


if __name__ == "__main__":
    perimond.main()
