"""Cellular modules: the object on the bus, the devices of each model, power and SIM slot of the
socket, and the models that switch their own power."""

import os

import perimond
from probe import ProbeTest

M1 = "Cellular/M1"
USB = "platform/usb/usb1/1-1"
PATH = f"/sys/devices/{USB}"

# Model: identifiers, the interface numbers of GPS and AT port, whether a command shuts it down.
MODELS = {
    "le910": ("1bc7", "1201", "03", "04", True),
    "le910c4wwx": ("1bc7", "1031", "02", "01", True),
    "fn990": ("1bc7", "1070", "03", "04", True),
    "ec20": ("2c7c", "0125", "01", "02", False),
    "rm520n": ("2c7c", "0801", "01", "02", True),
}


class CellularTest(ProbeTest):
    """A module at the USB port 1-1, of which no device is there."""

    services = (os.path.join(os.path.dirname(__file__), "modem-manager.conf"),)
    model = "ec20"

    @property
    def init(self):
        return (f"cell {self.model} M1 {PATH}",)

    @property
    def m1(self):
        return self.bus_object(M1)

    def module_device(self, vendor, product, *keys, command=f"cell-event {M1}", name="1-1"):
        """The module's USB device comes; what the daemon writes."""
        identifiers = [f"attr/{name}={value}" for name, value in
                       (("idVendor", vendor), ("idProduct", product)) if value is not None]
        return self.device("usb", name, "parent=platform/usb/usb1", "devtype=usb_device",
                           *identifiers, *keys, command=command)

    def device(self, subsystem, name, *keys, command=f"cell-event {M1}"):
        mark = len(self.log_lines())
        parent = () if any(key.startswith("parent=") for key in keys) else (f"parent={USB}",)
        self.world.do("plug", subsystem, name, *parent, *keys, f"COMMAND={command}")
        self.act()
        return self.since(mark)

    def since(self, mark):
        return [line for line in self.log_lines()[mark:]
                if M1 in line or "[Probe]" in line and line.endswith(("taken", "ignored"))]

    def unplug(self, subsystem, name):
        mark = len(self.log_lines())
        self.world.do("unplug", subsystem, name)
        self.act()
        return self.since(mark)

    def interface(self, name="wwan0"):
        """The module's network interface comes."""
        return self.device("net", name, f"INTERFACE={name}")


class ObjectTest(CellularTest):
    def test_it_is_on_the_bus_when_its_network_interface_is_known(self):
        self.module_device("2c7c", "0125")
        self.assertNotIn(M1, self.objects())
        lines = self.interface()
        self.assertIn(f"<info>  [{M1}] Exported at '/com/tarvel/Perimond/{M1}'", lines)
        self.assertIn(M1, self.objects())
        self.assertEqual(self.m1.get("DeviceName"), "wwan0")

    def test_all_properties_are_empty_at_first(self):
        self.act(f"export {M1}")
        self.assertEqual(
            {name: self.m1.get(name) for name in
             ("Name", "DeviceName", "ATPort", "QMIPort", "GPSPort", "DeviceDetected", "Socket",
              "NumberOfSimSlots")},
            {"Name": "", "DeviceName": "", "ATPort": "", "QMIPort": "", "GPSPort": "",
             "DeviceDetected": False, "Socket": "", "NumberOfSimSlots": 0})

    def test_a_module_that_goes_and_comes_back_stays_the_same_object(self):
        self.module_device("2c7c", "0125")
        self.interface()
        self.assertTrue(self.m1.get("DeviceDetected"))
        self.unplug("usb", "1-1")
        self.assertFalse(self.m1.get("DeviceDetected"))
        self.assertEqual(self.m1.get("DeviceName"), "wwan0")
        self.module_device("2c7c", "0125")
        self.interface()
        self.assertTrue(self.m1.get("DeviceDetected"))
        self.assertNotIn(f"<info>  [{M1}] Unexported", self.log_lines())

    def test_a_device_below_that_goes_leaves_the_module_there(self):
        self.module_device("2c7c", "0125")
        self.interface()
        self.unplug("net", "wwan0")
        self.assertTrue(self.m1.get("DeviceDetected"))

    def test_other_identifiers_at_its_place_are_told_and_change_nothing(self):
        self.act(f"export {M1}")
        warning = f"<warn>  [{M1}] Detected a unexpected device"
        for vendor, product in (("1bc7", "0125"), ("2c7c", "0801"), ("2C7C", "0125"),
                                (None, "0125"), ("2c7c", None), ("2c7c0", "0125"),
                                ("raw:2c7\\xff", "0125")):
            with self.subTest(vendor=vendor, product=product):
                self.assertEqual(self.module_device(vendor, product),
                                 [warning, "<info>  [Probe] ignored"])
                self.assertFalse(self.m1.get("DeviceDetected"))
                self.unplug("usb", "1-1")

    def test_a_device_whose_path_begins_like_the_modules_is_not_the_module(self):
        self.act(f"export {M1}")
        self.assertEqual(self.module_device("2c7c", "0125", name="1-10"),
                         ["<info>  [Probe] ignored"])
        self.assertFalse(self.m1.get("DeviceDetected"))

    def test_text_that_is_not_utf8_is_made_fit(self):
        self.act(f"export {M1}", f"cell-name {M1} Quectel\\040\\377\\n")
        self.assertEqual(self.m1.get("Name"), "Quectel \N{REPLACEMENT CHARACTER}\\n")


class ModelTest(CellularTest):
    init = tuple(f"cell {model} {model} {PATH}" for model in MODELS)

    def test_each_model_takes_its_own_identifiers_alone(self):
        for model, (vendor, product, *_) in MODELS.items():
            command = ";".join(f"cell-match Cellular/{other}" for other in MODELS)
            mark = len(self.log_lines())
            self.module_device(vendor, product, command=command)
            told = [line.rpartition("[Probe] ")[2] for line in self.log_lines()[mark:]
                    if "match" in line]
            with self.subTest(model):
                self.assertEqual(told, [f"Cellular/{other} " + (
                    "matches" if other == model else "does not match") for other in MODELS])
            self.unplug("usb", "1-1")

    def test_each_model_knows_its_ports_by_their_interface_number(self):
        for model, (_, _, gps, at, _) in MODELS.items():
            command = f"export Cellular/{model};cell-event Cellular/{model}"
            expected = {gps: "GPSPort", at: "ATPort"}
            for number in ("00", "01", "02", "03", "04", "1", None):
                keys = [] if number is None else [f"ID_USB_INTERFACE_NUM={number}"]
                lines = self.device("tty", f"ttyUSB{number}", f"node=ttyUSB{number}", *keys,
                                    command=command)
                with self.subTest(model, number=number):
                    self.assertIn("<info>  [Probe] " + ("taken" if number in expected else "ignored"),
                                  lines)
                self.unplug("tty", f"ttyUSB{number}")
            module = self.bus_object(f"Cellular/{model}")
            with self.subTest(model):
                self.assertEqual((module.get("GPSPort"), module.get("ATPort")),
                                 (f"/dev/ttyUSB{gps}", f"/dev/ttyUSB{at}"))

    def test_each_model_takes_the_control_device_and_ignores_others(self):
        for model in MODELS:
            command = f"export Cellular/{model};cell-event Cellular/{model}"
            with self.subTest(model):
                self.assertIn("<info>  [Probe] taken", self.device(
                    "usbmisc", "cdc-wdm0", "node=cdc-wdm0", command=command))
                self.assertIn("<info>  [Probe] ignored",
                              self.device("input", "input9", command=command))
                self.assertEqual(self.bus_object(f"Cellular/{model}").get("QMIPort"),
                                 "/dev/cdc-wdm0")
            self.unplug("usbmisc", "cdc-wdm0")
            self.unplug("input", "input9")

    def test_only_one_model_needs_no_command_to_be_shut_down(self):
        told = [line for line in self.act(*(f"cell-at Cellular/{model}" for model in MODELS))]
        self.assertEqual(told, [f"<info>  [Probe] Cellular/{model} " + (
            "is shut down by a command" if row[4] else "needs no command")
            for model, row in MODELS.items()])


class SocketTest(CellularTest):
    """Power at line 48, SIM slot at line 49."""

    slots = 2

    @property
    def init(self):
        return (*super().init, f"slot-for-cell S1 {self.slots} 48 49", f"export {M1}",
                f"cell-bind {M1} Socket/S1")

    def calls(self, call, *error):
        with self.log(f"[{M1}]") as lines:
            if error:
                with self.assertBusError(*error):
                    call()
            else:
                self.result = call()
        return [line.replace(f"[{M1}] ", "") for line in lines]

    def test_it_names_its_socket_and_the_slots_of_that(self):
        self.assertEqual((self.m1.get("Socket"), self.m1.get("NumberOfSimSlots")), ("S1", 2))

    def test_power_is_that_of_the_socket(self):
        self.assertEqual(self.calls(lambda: self.m1.SetPower(True)),
                         ["<info>  Get method call: SetPower(true)", "<info>  SetPower(true) OK"])
        self.assertEqual(self.calls(self.m1.GetPower),
                         ["<info>  Get method call: GetPower()", "<info>  GetPower() OK, power=true"])
        self.assertTrue(self.result)
        self.assertTrue(self.bus_object("Socket/S1").GetPower())

    def test_the_slot_is_that_of_the_socket(self):
        self.assertEqual(self.calls(lambda: self.m1.SetSimSlot(2)),
                         ["<debug> Get method call: SetSimSlot(2)", "<debug> SetState(2) OK"])
        self.assertEqual(self.calls(self.m1.GetSimSlot),
                         ["<debug> Get method call: GetSimSlot()", "<debug> GetSimSlot() OK, slot=2"])
        self.assertEqual(self.result, 2)

    def test_a_slot_that_is_not_there_is_refused(self):
        self.assertEqual(
            self.calls(lambda: self.m1.SetSimSlot(3), "InvalidArgument", "Invalid SIM slot: 3"),
            ["<debug> Get method call: SetSimSlot(3)",
             "<error> SetState(3) failed: Invalid SIM slot: 3"])


class UnboundTest(CellularTest):
    def test_without_a_socket_nothing_is_supported_and_only_the_call_is_logged(self):
        self.act(f"export {M1}")
        for call, name in ((lambda: self.m1.SetPower(True), "SetPower(true)"),
                           (self.m1.GetPower, "GetPower()"),
                           (lambda: self.m1.SetSimSlot(0), "SetSimSlot(0)"),
                           (self.m1.GetSimSlot, "GetSimSlot()")):
            with self.subTest(name), self.log(f"[{M1}]") as lines:
                with self.assertBusError("OperationNotSupported", "Operation not supported"):
                    call()
            self.assertEqual([line.rpartition("] ")[2] for line in lines],
                             [f"Get method call: {name}"])


class MistakeTest(CellularTest):
    def test_a_socket_must_be_one(self):
        self.assertAborts(("zolv_cellular_bind_socket", "socket != NULL"), "cell-null socket")

    def test_a_module_must_be_one(self):
        self.assertAborts(("zolv_cellular_bind_socket", "self != NULL"), "cell-null self")

    def test_a_path_is_needed_to_ask_for_the_modem(self):
        self.assertAborts(("cellular_mm_cli_connected", "self->cellular_syspath"), "cell-null path")

    def test_a_model_without_lines_has_no_power_of_its_own(self):
        self.assertAborts(("cellular_set_power", None), "cell-null power")

    def test_the_manager_makes_no_module_in_its_protection_mode(self):
        self.assertAborts(("type_word", None), "cell-null prot")

    def tearDown(self):
        """The daemon has ended."""


if __name__ == "__main__":
    perimond.main()
