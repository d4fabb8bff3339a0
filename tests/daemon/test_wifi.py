"""Wi-Fi modules: how each model knows its devices, and the power of the socket that holds it."""

from gi.repository import GLib

import perimond
from probe import ProbeTest

MODULE = {  # the bus of each model, and its identifiers as the kernel writes them
    "qca6174": ("pci", "vendor", "0x168c", "device", "0x003e"),
    "qca9377": ("usb", "idVendor", "0cf3", "idProduct", "9378"),
    "qca2066": ("pci", "vendor", "0x17cb", "device", "0x1103"),
    "iw612": ("sdio", "vendor", "0x0471", "device", "0x0205"),
}
UNEXPECTED = "<warn>  [WiFi/W1] Detected a unexpected device"


class WiFiTest(ProbeTest):
    """The model's module is the device "module"; a test names the object WiFi/W1 itself."""

    model = "qca6174"

    def plug(self, name, subsystem="net", parent="module", **properties):
        self.world.do("plug", subsystem, name, f"parent=platform/{parent}", "quiet=1",
                      *(f"{key}={value}" for key, value in properties.items()))

    def plug_module(self, name, vendor=None, product=None, model=None):
        subsystem, vendor_file, right_vendor, product_file, right_product = \
            MODULE[model or self.model]
        self.plug(name, subsystem, "bus", **{f"attr/{vendor_file}": vendor or right_vendor,
                                             f"attr/{product_file}": product or right_product})
        return f"{subsystem} {name}"

    def create(self, model=None):
        self.act(f"create wifi-{model or self.model} W1")

    def tell(self, *commands):
        """The lines about the module, and what the plugin told, while it acted."""
        lines = self.act(*(word.replace("ID", "WiFi/W1") for word in commands))
        return [line for line in lines if "[WiFi/W1]" in line or "[Probe]" in line]

    @property
    def wifi(self):
        return self.bus_object("WiFi/W1")

    def seen(self):
        """The properties of the module; every object has another one that is called Name."""
        return self.wifi.call("org.freedesktop.DBus.Properties", "GetAll",
                              GLib.Variant("(s)", ("com.tarvel.Perimond.Obj.WiFi",)))


class DescriptionTest(WiFiTest):
    model = "ti-wl1837"

    def setUp(self):
        super().setUp()
        self.create()

    def test_the_network_interface_puts_it_on_the_bus(self):
        self.tell("wifi-name ID Radio")
        self.assertEqual(self.objects(), [])
        self.tell("wifi-interface ID wlan0")
        self.assertEqual(self.objects(), ["WiFi/W1"])
        self.assertEqual(self.seen(), {"Name": "Radio", "DeviceName": "wlan0",
                                       "DeviceDetected": False, "Socket": ""})

    def test_a_new_module_has_nothing_and_text_is_made_fit(self):
        self.tell("wifi-interface ID wlan\\377", "wifi-name ID -")
        self.assertEqual(self.seen(), {"Name": "", "DeviceName": "wlan\ufffd",
                                       "DeviceDetected": False, "Socket": ""})

    def test_changes_are_announced(self):
        self.tell("wifi-interface ID wlan0", "wifi-socket S1 10")
        recorder = self.recorder("WiFi/W1", "PropertiesChanged")
        self.tell("wifi-name ID Radio", "wifi-interface ID wlan1", "wifi-bind ID Socket/S1")
        recorder.expect([("WiFi/W1", "PropertiesChanged",
                          {"Name": "Radio", "DeviceName": "wlan1", "Socket": "S1"})])

    def test_no_device_is_handed_to_a_radio_of_the_main_board(self):
        self.plug("wlan0", ifindex=80)
        self.assertAborts(("wifi_device_add", None), "wifi-add WiFi/W1 net wlan0")

    def test_it_does_not_tell_whose_a_device_is(self):
        self.plug("wlan0", ifindex=80)
        self.assertAborts(("wifi_check_matched", None), "wifi-match WiFi/W1 net wlan0")

    def test_binding_no_socket_ends_the_daemon(self):
        self.assertAborts(("zolv_wifi_bind_socket", "socket != NULL"), "wifi-bind WiFi/W1 -")

    def test_binding_what_is_no_socket_ends_the_daemon(self):
        self.assertAborts(("zolv_wifi_bind_socket", "ZOLV_IS_SOCKET(socket)"),
                          "wifi-bind WiFi/W1 WiFi/W1")


class BaseTest(WiFiTest):
    def test_the_base_of_the_models_has_no_objects(self):
        self.assertAborts(("type_word", None), "create wifi W1")


class PowerTest(WiFiTest):
    NOT_BOUND = "Operation not supported"

    def setUp(self):
        super().setUp()
        self.create()
        self.tell("wifi-interface ID wlan0", "wifi-socket S1 10")

    def test_without_a_socket_the_call_alone_is_logged(self):
        for method, arguments, shown in (("SetPower", (True,), "SetPower(true)"),
                                         ("GetPower", (), "GetPower()")):
            with self.subTest(method), self.log("[WiFi/W1]") as lines, \
                    self.assertBusError("OperationNotSupported", self.NOT_BOUND):
                getattr(self.wifi, method)(*arguments)
            self.assertEqual(lines, [f"<info>  [WiFi/W1] Get method call: {shown}"])

    def test_power_is_that_of_the_socket(self):
        self.tell("wifi-bind ID Socket/S1")
        with self.log("/") as lines:
            self.wifi.SetPower(True)
            self.assertTrue(self.bus_object("Socket/S1").GetPower())
            self.wifi.SetPower(False)
            self.assertFalse(self.wifi.GetPower())
        self.assertEqual([line for line in lines if "[WiFi/W1]" in line], [
            "<info>  [WiFi/W1] Get method call: SetPower(true)",
            "<info>  [WiFi/W1] SetPower(true) OK",
            "<info>  [WiFi/W1] Get method call: SetPower(false)",
            "<info>  [WiFi/W1] SetPower(false) OK",
            "<info>  [WiFi/W1] Get method call: GetPower()",
            "<info>  [WiFi/W1] GetPower() OK, power=false"])
        self.assertEqual(self.world.do("read", 10).strip(), "0")

    def test_failures_are_those_of_the_socket(self):
        self.tell("wifi-bind ID Socket/S1")
        self.wifi.SetPower(False)  # the line is an output from here on
        self.world.do("fail", "*/gpio10/value", "open", "EIO")
        text = "open '/sys/class/gpio/gpio10/value' failed: Input/output error"
        for method, arguments, shown in (("SetPower", (True,), "SetPower(true)"),
                                         ("GetPower", (), "GetPower()")):
            with self.subTest(method), self.log("[WiFi/W1]") as lines, \
                    self.assertBusError("OperationFailure", text):
                getattr(self.wifi, method)(*arguments)
            self.assertEqual(lines, [f"<info>  [WiFi/W1] Get method call: {shown}",
                                     f"<error> [WiFi/W1] {shown} failed: {text}"])


class ModelTest(WiFiTest):
    """All models, one after the other."""

    def each(self):
        for number, model in enumerate(MODULE):
            with self.subTest(model):
                yield f"WiFi/M{number}", model, number

    def test_it_knows_its_own_identifiers_and_no_other(self):
        for model in MODULE:
            self.plug_module(f"of-{model}", model=model)
        for identifier, model, number in self.each():
            self.act(f"create wifi-{model} M{number}")
            for other, (subsystem, *_) in MODULE.items():
                self.assertEqual(
                    self.act(f"wifi-match {identifier} {subsystem} of-{other}")[-1],
                    "<info>  [Probe] " + ("the model" if other == model else "another"))

    def test_what_is_like_its_identifiers_is_another(self):
        for identifier, model, number in self.each():
            self.act(f"create wifi-{model} M{number}")
            _, _, vendor, _, product = MODULE[model]
            for name, near in (("v", (vendor + "0", product)), ("p", (vendor, product + "0")),
                               ("c", (vendor.upper().replace("0X", "0x"),
                                      product.upper().replace("0X", "0x"))),
                               ("s", (vendor[:-1], product)), ("n", ("\udcff", product))):
                if near == (vendor, product):
                    continue  # digits alone
                device = self.plug_module(f"{name}-{model}", *near, model=model)
                self.assertEqual(self.act(f"wifi-match {identifier} {device}")[-1],
                                 "<info>  [Probe] another")
            self.plug(f"bare-{model}", MODULE[model][0])
            self.assertEqual(self.act(f"wifi-match {identifier} {MODULE[model][0]} bare-{model}")[-1],
                             "<info>  [Probe] another")

    def test_its_own_network_interface_names_it(self):
        interfaces = {
            "wlan0": ({"ID_MODEL_ID": "0x1103"}, {"qca6174", "qca9377", "qca2066"}),
            "wlan1": ({"ID_MODEL_ID": "0x1104"}, {"qca6174", "qca9377"}),
            "wlan2": ({}, {"qca6174", "qca9377"}),
            "mlan0": ({}, {"qca6174", "qca9377", "iw612"}),
        }
        for index, (name, (properties, _)) in enumerate(interfaces.items(), 90):
            self.plug(name, ifindex=index, **properties)
        self.plug("unnamed")
        self.plug("ttyX", "tty", INTERFACE="mlan0", ID_MODEL_ID="0x1103")
        for identifier, model, number in self.each():
            for name, (_, models) in interfaces.items():
                self.act(f"create wifi-{model} M{number}")
                lines = self.act(f"wifi-add {identifier} net {name}")
                taken = model in models
                self.assertEqual(lines[-1],
                                 "<info>  [Probe] " + ("taken" if taken else "not taken"))
                if taken:
                    self.assertEqual(self.bus_object(identifier).get("DeviceName"), name)
            for device in ("net unnamed", "tty ttyX"):
                self.assertEqual(self.act(f"wifi-add {identifier} {device}")[-1],
                                 "<info>  [Probe] not taken")


class DeviceTest(WiFiTest):
    def setUp(self):
        super().setUp()
        self.create()
        self.module = self.plug_module("module")
        self.tell(f"wifi-module ID {self.module}", "wifi-interface ID wlan0")

    def test_the_module_is_there_from_its_event_to_the_next(self):
        recorder = self.recorder("WiFi/W1", "PropertiesChanged")
        self.assertEqual(self.tell(f"wifi-add ID {self.module}"), ["<info>  [Probe] not taken"])
        self.assertEqual(self.tell(f"wifi-remove ID {self.module}"), [])
        recorder.wait_for(lambda: len(recorder.events) == 2, "both changes")
        self.assertEqual([event[2] for event in recorder.events],
                         [{"DeviceDetected": True}, {"DeviceDetected": False}])
        self.assertEqual((self.wifi.get("DeviceName"), self.objects()), ("wlan0", ["WiFi/W1"]))

    def test_what_is_another_in_its_place_is_told(self):
        other = self.plug_module("other", product="0x003f")
        self.tell(f"wifi-module ID {other}")
        self.assertEqual(self.tell(f"wifi-add ID {other}"),
                         [UNEXPECTED, "<info>  [Probe] not taken"])
        self.assertFalse(self.wifi.get("DeviceDetected"))

    def test_another_module_takes_nothing_from_one_that_is_there(self):
        other = self.plug_module("module0")
        self.assertEqual(self.tell(f"wifi-add ID {other}"), ["<info>  [Probe] not taken"])
        self.assertFalse(self.wifi.get("DeviceDetected"))
        self.tell(f"wifi-add ID {self.module}", f"wifi-remove ID {other}")
        self.assertTrue(self.wifi.get("DeviceDetected"))

    def test_its_interface_tells_nothing_of_the_module(self):
        self.plug("wlan5", ifindex=95)
        self.assertEqual(self.tell("wifi-add ID net wlan5"), ["<info>  [Probe] taken"])
        self.assertEqual((self.wifi.get("DeviceDetected"), self.wifi.get("DeviceName")),
                         (False, "wlan5"))
        self.tell(f"wifi-add ID {self.module}", "wifi-remove ID net wlan5")
        self.assertEqual((self.wifi.get("DeviceDetected"), self.wifi.get("DeviceName")),
                         (True, "wlan5"))

    def test_an_interface_that_is_the_module_itself_is_taken_all_the_same(self):
        self.plug("wlan5", ifindex=95)
        self.tell("wifi-module ID net wlan5")
        self.assertEqual(self.tell("wifi-add ID net wlan5"), [UNEXPECTED, "<info>  [Probe] taken"])

    def test_a_module_that_comes_back_is_the_same_object(self):
        self.tell(f"wifi-add ID {self.module}", f"wifi-remove ID {self.module}")
        lines = self.act("create wifi-qca6174 W1")
        self.assertIn("<warn>  [Manager] This OBJ has been added: WiFi/W1", lines)
        self.tell(f"wifi-add ID {self.module}")
        self.assertTrue(self.wifi.get("DeviceDetected"))


if __name__ == "__main__":
    perimond.main()
