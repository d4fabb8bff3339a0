"""The modules that come and go in a socket."""

import os

import perimond
from gi.repository import GLib
from socket_board import PATH, PORT, SocketTest

S1 = "[Socket/S1]"
KNOWN = {("1bc7", "1201"): "Telit", ("1bc7", "1031"): "Telit", ("1bc7", "1070"): "Telit",
         ("2c7c", "0125"): "Quectel", ("2c7c", "0801"): "Quectel"}
OTHERS = "<debug> {} Matching for usb device: {}/{}/{}"


class ModuleTest(SocketTest):
    """A socket without switches that calls its cellular module M1."""

    def setUp(self):
        super().setUp()
        self.define("1", "S1", "socket-names ID W1 M1", "socket-pins ID")

    def interface(self, name="wwan0", parent=PORT):
        return self.plug("net", name, f"INTERFACE={name}", parent=parent)

    def name_of(self, kind, name):
        """The module's name; the object's own, beside it, is what the plugin has said."""
        return self.bus_object(f"{kind}/{name}").call(
            "org.freedesktop.DBus.Properties", "Get",
            GLib.Variant("(ss)", (f"com.tarvel.Perimond.Obj.{kind}", "Name")))

    def m1(self, name):
        return self.bus_object("Cellular/M1").get(name)


class RecognitionTest(ModuleTest):
    def test_each_known_model_becomes_an_object_with_its_name(self):
        for index, ((vendor, product), maker) in enumerate(KNOWN.items(), 1):
            with self.subTest(product):
                socket, cell = f"T{index}", f"C{index}"
                self.define("1", socket, f"socket-names ID - {cell}", "socket-pins ID")
                lines = self.module(vendor, product, f"X{index}", name=f"2-{index}", socket=socket)
                self.plug("net", f"wwan{index}", f"INTERFACE=wwan{index}", socket=socket,
                          parent=f"platform/usb/usb1/2-{index}")
                tag = f"[Socket/{socket}]"
                self.assertEqual([line for line in lines if tag in line or "taken" in line],
                                 [OTHERS.format(tag, vendor, product, f"X{index}"),
                                  f"<debug> {tag} Matched device: {maker} X{index}",
                                  "<info>  [Probe] taken"])
                module = self.bus_object(f"Cellular/{cell}")
                self.assertEqual([self.name_of("Cellular", cell), *(
                    module.get(key) for key in ("SysfsPath", "Socket", "DeviceDetected", "DeviceName"))],
                    [f"{maker} X{index}", f"/sys/devices/platform/usb/usb1/2-{index}", socket, True,
                     f"wwan{index}"])
                self.assertEqual(self.socket(socket).get("Devices"), [f"Cellular/{cell}"])

    def test_each_known_wifi_module_becomes_an_object_on_its_bus(self):
        for index, (subsystem, keys, name, interface) in enumerate((
                ("usb", ("devtype=usb_device", "attr/idVendor=0cf3", "attr/idProduct=9378", "attr/product=WPEQ"),
                 "SparkLAN WPEQ", ("wlan1",)),
                ("pci", ("attr/vendor=0x168c", "attr/device=0x003e"), "Qualcomm Atheros QCA6174", ("wlan2",)),
                ("pci", ("attr/vendor=0x17cb", "attr/device=0x1103"), "Qualcomm QCA2066",
                 ("wlan3", "ID_MODEL_ID=0x1103")),
                ("sdio", ("attr/vendor=0x0471", "attr/device=0x0205"), "NXP IW612", ("mlan0",))), 1):
            with self.subTest(name):
                socket, device = f"T{index}", f"X{index}"
                self.define("1", socket, f"socket-names ID W{index + 1} -", "socket-pins ID")
                self.world.do("plug", subsystem, device, "parent=platform/bus", *keys, "quiet=1")
                self.assertEqual(self.act(f"socket-known Socket/{socket} {subsystem} {device}")[-1],
                                 "<info>  [Probe] taken")
                path = next(line.split()[2] for line in self.world.do("devices").splitlines()
                            if line.startswith(f"{subsystem} {device} "))
                self.plug("net", interface[0], f"INTERFACE={interface[0]}", *interface[1:], socket=socket,
                          parent=path.removeprefix("/sys/devices/"))
                module = self.bus_object(f"WiFi/W{index + 1}")
                self.assertEqual([self.name_of("WiFi", f"W{index + 1}"), *(
                    module.get(key) for key in ("SysfsPath", "Socket", "DeviceDetected", "DeviceName"))],
                    [name, path, socket, True, interface[0]])
                self.assertEqual(self.socket(socket).get("Devices"), [f"WiFi/W{index + 1}"])

    def test_a_wifi_module_keeps_the_power_of_its_socket_from_being_switched(self):
        self.world.do("turn", 6, 1)
        self.define("6", "S6", "socket-names ID W6 -", "socket-pins ID 1 2 3 0 0 6", "socket-export ID")
        self.plug("usb", "1-1", "devtype=usb_device", "attr/idVendor=0cf3", "attr/idProduct=9378",
                  "attr/product=WPEQ", socket="S6", parent="platform/usb/usb1")
        self.plug("net", "wlan0", "INTERFACE=wlan0", socket="S6")
        self.assert_refused("OperationNotPermitted", "Power control is not allowed", "SetPower", True, name="S6")
        with self.assertBusError("OperationNotPermitted", "Power control is not allowed"):
            self.bus_object("WiFi/W6").SetPower(True)
        self.assertFalse(self.socket("S6").GetPower())
        self.unplug("usb", "1-1")
        self.assertFalse(self.bus_object("WiFi/W6").get("DeviceDetected"))
        self.assertEqual(self.steps(), [])

    def test_what_is_not_known_is_a_warning(self):
        for vendor, product, text in (("1bc7", "9999", "X"), ("1BC7", "1201", "X"), ("2C7C", "0125", "X"),
                                      ("1bc7", "12010", "X"), ("01bc7", "1201", "X"), ("0bda", "1201", "hub")):
            with self.subTest(f"{vendor}:{product}"):
                lines = self.module(vendor, product, text)
                self.assertEqual(lines, [OTHERS.format(S1, vendor, product, text),
                                         f"<warn>  {S1} Detected unknown usb device: {vendor}/{product}/{text}",
                                         "<info>  [Probe] not taken"])
                self.unplug("usb", "1-1")
        self.assertEqual(self.socket().get("Devices"), [])

    def test_a_device_without_identifiers_is_not_known(self):
        lines = self.plug("usb", "1-1", "devtype=usb_device", parent="platform/usb/usb1")
        self.assertEqual(lines, [OTHERS.format(S1, "", "", ""), f"<warn>  {S1} Detected unknown usb device: //",
                                 "<info>  [Probe] not taken"])

    def test_a_bluetooth_part_is_passed_over(self):
        self.assertEqual(self.module("0cf3", "e300", "BT"), [OTHERS.format(S1, "0cf3", "e300", "BT"),
                                                             "<info>  [Probe] not taken"])

    def test_pci_and_sdio_devices_are_told_apart(self):
        for subsystem, bus, vendor, device, known in (
                ("pci", "pcie", "0x8086", "0x9db4", True), ("pci", "pcie", "0x8086", "0x9db5", True),
                ("pci", "pcie", "0x8086", "0x1533", False), ("sdio", "sdio", "0x8086", "0x9db4", False),
                ("pci", "pcie", "8086", "9db4", False)):
            self.world.do("plug", subsystem, "X1", f"attr/vendor={vendor}", f"attr/device={device}",
                          "parent=platform/pcie0", "quiet=1")
            lines = self.act(f"socket-known Socket/S1 {subsystem} X1")
            unknown = [] if known else [f"<warn>  {S1} Detected unknown {bus} device: {vendor}/{device}"]
            self.assertEqual(lines, [f"<debug> {S1} Matching for {bus} device: {vendor}/{device}", *unknown,
                                     "<info>  [Probe] not taken"])
            self.world.do("unplug", subsystem, "X1")

    def test_other_devices_are_passed_over_with_a_debug_line(self):
        self.assertEqual(self.plug("usb", "1-1:1.0", "devtype=usb_interface", parent="platform/usb/usb1/1-1"),
                         [f"<debug> {S1} Skip create device for: {PATH}/1-1:1.0", "<info>  [Probe] not taken"])

    def test_a_product_text_that_is_not_utf_8_is_made_fit(self):
        self.module(text=os.fsdecode(b"LE\xff910"))
        self.interface()
        self.assertEqual(self.name_of("Cellular", "M1"), "Telit LE\ufffd910")

    def test_without_a_name_there_is_no_object(self):
        self.act("socket-names Socket/S1 - -")
        self.assertEqual(self.module()[-2:], [f"<warn>  {S1} No object name for device: Telit LE910",
                                              "<info>  [Probe] not taken"])
        self.assertEqual(self.socket().get("Devices"), [])

    def test_a_protected_module_has_its_power_cycled(self):
        self.environment = {**self.environment, "PWR_CYCLE_RECOVERY_TIMES_FOR_TELIT": "2"}
        self.stop_daemon()
        self.start_daemon()
        self.define("4", "S4", "socket-names ID - M4", "socket-pins ID 1 2 3 4")
        for left in (2, 1):
            self.steps()
            mark = len(self.log_lines())
            lines = self.module("1bc7", "900e", "PROT", socket="S4")
            self.assertIn("<debug> [Socket/S4] Try to revocer Telit", lines)
            self.assertIn(f"<info>  Remaining: Power Cycle Telit Times {left}, Reboot OS Times 0",
                          self.log_lines()[mark:])
            self.assertEqual((lines[-1], self.steps()), ("<info>  [Probe] not taken", [(2, 0), 5000, (2, 1)]))
            self.unplug("usb", "1-1")
        self.assertEqual(self.socket("S4").get("Devices"), [])
        self.assertFalse([name for name in self.objects() if "Prot" in name])


class LifeTest(ModuleTest):
    def test_what_is_below_a_module_is_handed_to_it(self):
        self.module()
        self.assertEqual(self.plug("usb", "1-1:1.3", "devtype=usb_interface")[-1], "<info>  [Probe] taken")
        self.plug("tty", "ttyUSB2", "node=ttyUSB2", "ID_USB_INTERFACE_NUM=04", parent=f"{PORT}/1-1:1.3")
        self.interface()
        self.assertEqual((self.m1("ATPort"), self.m1("DeviceName")), ("/dev/ttyUSB2", "wwan0"))

    def test_a_path_that_begins_alike_is_another_device(self):
        self.module()
        lines = self.plug("usb", "1-10", "devtype=usb_device", "attr/idVendor=0bda", "attr/idProduct=1",
                          parent="platform/usb/usb1")
        self.assertEqual(lines[-1], "<info>  [Probe] not taken")
        self.interface()
        self.unplug("usb", "1-10")
        self.assertTrue(self.m1("DeviceDetected"))

    def test_a_module_that_goes_and_comes_back_is_the_same_object(self):
        for _ in range(2):
            self.module()
            self.interface()
            self.assertTrue(self.m1("DeviceDetected"))
            self.unplug("usb", "1-1")
            self.assertFalse(self.m1("DeviceDetected"))
        self.assertEqual(self.socket().get("Devices"), ["Cellular/M1"])
        self.assertEqual("".join(self.log_lines()).count("[Cellular/M1] Object created"), 1)

    def test_a_module_at_another_port_is_the_same_object_once(self):
        self.module()
        self.unplug("usb", "1-1")
        self.module(name="1-2")
        self.interface(parent="platform/usb/usb1/1-2")
        self.assertEqual(self.m1("SysfsPath"), "/sys/devices/platform/usb/usb1/1-2")
        self.assertEqual(self.socket().get("Devices"), ["Cellular/M1"])

    def test_another_model_in_the_same_socket_is_not_taken_for_the_first(self):
        self.module()
        self.interface()
        self.unplug("usb", "1-1")
        lines = self.module("2c7c", "0125", "EC20")
        self.assertIn("<warn>  [Cellular/M1] Detected a unexpected device", lines)
        self.assertFalse(self.m1("DeviceDetected"))

    def test_two_modules_at_once_are_both_devices_of_the_socket(self):
        self.module()
        self.act("socket-names Socket/S1 - M2")
        self.module("2c7c", "0125", "EC20", name="1-2")
        self.assertEqual(sorted(self.socket().get("Devices")), ["Cellular/M1", "Cellular/M2"])

    def test_power_and_sim_slot_of_a_module_are_those_of_its_socket(self):
        self.define("2", "S2", "socket-names ID - M3", "socket-slots ID 2", "socket-modes ID 1 0 1",
                    "socket-pins ID 1 2 3")
        self.module(name="1-3", socket="S2")
        self.plug("net", "wwan3", "INTERFACE=wwan3", socket="S2", parent="platform/usb/usb1/1-3")
        module = self.bus_object("Cellular/M3")
        module.SetPower(True)
        module.SetSimSlot(2)
        self.assertEqual((self.levels(1, 3), module.GetPower(), module.GetSimSlot()), ([1, 1], True, 2))

    def test_the_daemon_is_after_many_rounds_as_after_the_first(self):
        self.module()
        self.interface()
        seen = []
        for _ in range(int(os.environ.get("PERIMOND_TEST_ROUNDS", "5"))):
            self.world.do("unplug", "usb", "1-1")
            self.module()
            self.interface()
            seen.append((len(os.listdir(f"/proc/{self.daemon_pid}/task")),
                         len(os.listdir(f"/proc/{self.daemon_pid}/fd"))))
        self.assertEqual(seen[0], seen[-1])
        self.assertEqual([name for name in self.objects() if "Cellular" in name], ["Cellular/M1"])


if __name__ == "__main__":
    perimond.main()
