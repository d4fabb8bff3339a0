"""The registry of the objects, their life on the bus, and the manager's own interface."""

from unittest import mock

from gi.repository import Gio, GLib

import perimond
from perimond.bus import ROOT
from probe import ProbeTest

CREATED = ["<debug> [LED/NEW] Object created", "<debug> [Manager] Create new object: LED/NEW", ""]


class ManagerTest(perimond.DaemonTest):
    boot_environment = {"modelname": "PERIMOND-SIM-T", "serialnumber": "TB-77/x"}

    def test_the_manager_tells_version_model_and_serial_number(self):
        manager = self.bus_object("")
        self.assertEqual({name: manager.get(name) for name in
                          ("Version", "ModelName", "SerialNumber", "Security")},
                         {"Version": "1.57.3", "ModelName": "PERIMOND-SIM-T",
                          "SerialNumber": "TB-77/x", "Security": False})


class UnfitManagerTest(perimond.DaemonTest):
    boot_environment = {"modelname": r"PERIMOND-SIM\xff", "serialnumber": r"\xfe\t1"}

    def test_texts_of_the_boot_environment_are_made_fit_for_the_bus(self):
        manager = self.bus_object("")
        self.assertEqual((manager.get("ModelName"), manager.get("SerialNumber")),
                         ("PERIMOND-SIM\ufffd", "\ufffd\\t1"))


class ObjectTest(ProbeTest):
    init = ("led ONE sim:green:ready", "gpio TWO 4 0")

    def managed(self):
        return self.bus_object("").call("org.freedesktop.DBus.ObjectManager", "GetManagedObjects")

    def test_each_object_has_the_common_interface_and_that_of_its_kind(self):
        self.assertEqual({path: sorted(interfaces) for path, interfaces in self.managed().items()},
                         {f"{ROOT}/LED/{name}":
                          ["com.tarvel.Perimond.Obj", "com.tarvel.Perimond.Obj.LED"]
                          for name in ("ONE", "TWO")})

    def test_an_object_tells_its_name_its_type_and_its_path_in_sysfs(self):
        self.assertEqual(self.managed()[f"{ROOT}/LED/ONE"]["com.tarvel.Perimond.Obj"],
                         {"Name": "ONE", "PeripheralType": "LED", "SysfsPath": ""})
        recorder = self.recorder("LED/ONE", "PropertiesChanged")
        self.act("path LED/ONE /sys/devices/leds")
        recorder.expect([("LED/ONE", "PropertiesChanged", {"SysfsPath": "/sys/devices/leds"})])
        self.assertEqual(self.managed()[f"{ROOT}/LED/ONE"]["com.tarvel.Perimond.Obj"]["SysfsPath"],
                         "/sys/devices/leds")
        self.act("path LED/ONE -")
        self.assertEqual(self.bus_object("LED/ONE").get("SysfsPath"), "")

    def test_a_new_object_is_not_on_the_bus_before_its_definition(self):
        self.assertEqual(self.act("create led NEW"),
                         [*CREATED, "<info>  [Probe] created LED/NEW not exported"])
        self.assertEqual(self.objects(), ["LED/ONE", "LED/TWO"])
        recorder = self.recorder("", "InterfacesAdded")
        self.act("led NEW sim:red:fault")
        recorder.wait_for(lambda: recorder.events, "the object is announced")
        (_, _, (path, interfaces)), = recorder.events
        self.assertEqual((path, interfaces["com.tarvel.Perimond.Obj.LED"]["Label"]),
                         (f"{ROOT}/LED/NEW", "sim:red:fault"))

    def test_a_second_creation_gives_the_same_object_and_warns_each_time(self):
        warning = ["<warn>  [Manager] This OBJ has been added: LED/ONE", ""]
        self.assertEqual(self.act("same ONE"), warning * 2 + ["<info>  [Probe] same object"])

    def test_a_long_name_gives_the_same_object_too(self):
        name = "A" * 300
        self.assertEqual(self.act(f"same {name}", f"led {name} sim:red:fault",
                                  f"get LED/{name}")[-1],
                         f"<info>  [Probe] LED {name} '' exported")
        self.assertIn(f"LED/{name}", self.objects())

    def test_names_that_differ_after_their_63rd_character_are_different_objects(self):
        start = "A" * 70
        self.act(f"led {start}1 sim:green:ready", f"led {start}2 sim:green:ready")
        self.assertEqual(self.objects(),
                         [f"LED/{start}1", f"LED/{start}2", "LED/ONE", "LED/TWO"])

    def test_an_object_is_exported_once_however_often_it_is_asked_for(self):
        self.assertEqual(self.act("export LED/ONE", "export LED/ONE"), [])
        self.assertEqual(self.act("unexport LED/ONE", "unexport LED/ONE"),
                         ["<info>  [LED/ONE] Unexported"])
        self.assertEqual(self.objects(), ["LED/TWO"])
        self.assertEqual(self.act("export LED/ONE"),
                         ["<info>  [LED/ONE] Exported at '/com/tarvel/Perimond/LED/ONE'"])
        self.assertEqual(self.objects(), ["LED/ONE", "LED/TWO"])
        self.assertEqual(self.bus_object("LED/ONE").GetState(), 0)

    def test_withdrawing_an_object_that_was_never_exported_does_nothing(self):
        self.act("create led NEW")
        self.assertEqual(self.act("unexport LED/NEW"), [])

    def test_a_removed_object_leaves_the_bus_and_is_destroyed(self):
        recorder = self.recorder("", "InterfacesRemoved")
        self.assertEqual(self.act("remove LED/ONE"), ["<info>  [LED/ONE] Unexported",
                                                      "<info>  [LED/ONE] Object destroyed"])
        recorder.wait_for(lambda: recorder.events, "the removal is announced")
        (_, _, (path, interfaces)), = recorder.events
        self.assertEqual((path, sorted(interfaces)),
                         (f"{ROOT}/LED/ONE",
                          ["com.tarvel.Perimond.Obj", "com.tarvel.Perimond.Obj.LED"]))
        self.assertEqual(self.objects(), ["LED/TWO"])
        with self.assertRaises(GLib.Error) as caught:
            self.bus_object("LED/ONE").call("com.tarvel.Perimond.Obj.LED", "GetState")
        self.assertEqual(Gio.DBusError.get_remote_error(caught.exception),
                         "org.freedesktop.DBus.Error.UnknownMethod")

    def test_what_the_removal_of_an_object_sets_off_does_not_find_it_any_more(self):
        self.assertEqual(self.act("farewell LED/ONE", "remove LED/ONE"),
                         ["<debug> [LED/ONE] Object created",
                          "<debug> [Manager] Create new object: LED/ONE", "",
                          "<info>  [LED/ONE] Unexported", "<info>  [LED/ONE] Object destroyed"])
        self.assertEqual(self.act("get LED/ONE")[-1], "<info>  [Probe] LED ONE '' not exported")

    def test_what_the_end_of_an_object_sets_off_does_not_find_it_any_more(self):
        self.act("farewell LED/ONE")
        with self.log("LED/ONE") as lines:
            self.stop_daemon()
        self.assertEqual(lines, ["<debug> [LED/ONE] Object created",
                                 "<debug> [Manager] Create new object: LED/ONE",
                                 "<info>  [LED/ONE] Unexported",
                                 "<info>  [LED/ONE] Object destroyed",
                                 "<info>  [LED/ONE] Object destroyed"])

    def test_a_removed_object_comes_back_under_its_path(self):
        self.act("remove LED/ONE")
        self.assertEqual(self.act("led ONE sim:red:fault"),
                         ["<debug> [LED/ONE] Object created",
                          "<debug> [Manager] Create new object: LED/ONE", "",
                          "<info>  [LED/ONE] Exported at '/com/tarvel/Perimond/LED/ONE'"])
        self.assertEqual(self.bus_object("LED/ONE").get("Label"), "sim:red:fault")

    def test_asking_for_an_unknown_id_is_logged_and_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_get_object", None), "get LED/NONE")
        self.assertIn("<error> [Manager] Object 'LED/NONE' not found", self.log_lines())

    def test_removing_an_unknown_id_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_remove_object", "obj != NULL"), "remove LED/NONE")

    def test_a_class_without_a_type_word_ends_the_daemon(self):
        self.assertAborts(("type_word", None), "create obj NEW")

    def test_setting_no_led_ends_the_daemon(self):
        self.assertAborts(("zolv_led_set_state", "self != NULL"), "null led_set_state")

    def test_creating_without_a_name_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_create_new_object", "name != NULL"), "null name")

    def test_creating_without_a_class_ends_the_daemon(self):
        self.assertAborts(("type_word", ""), "null class")

    def test_registering_no_signal_service_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_add_led_service", "service != NULL"),
                          "null signal_service")

    def test_registering_no_sim_service_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_add_sim_led_service", "service != NULL"),
                          "null sim_service")

    def test_asking_no_manager_ends_the_daemon(self):
        self.assertAborts(("zolv_base_manager_get_object", "self != NULL"), "null manager")

    def test_exporting_no_object_ends_the_daemon(self):
        self.assertAborts(("zolv_obj_export", "ZOLV_IS_OBJ(self)"), "null obj_export")


class TypeWordTest(ProbeTest):
    WORDS = {
        "Console": "console",
        "Button": "button",
        "Buzzer": "buzzer-gpio buzzer-pcspkr buzzer-pwm",
        "LED": "led led-gpio",
        "DIO": "dio dio-dualgpio",
        "CAN": "can",
        "Ethernet": "ethernet",
        "WiFi": "wifi-ti-wl1837 wifi-qca6174 wifi-qca9377 wifi-qca2066 wifi-iw612",
    }

    def test_each_class_has_its_word(self):
        for word, types in self.WORDS.items():
            for name, type_ in enumerate(types.split()):
                with self.subTest(type_):
                    self.assertEqual(self.act(f"create {type_} N{name}")[-1],
                                     f"<info>  [Probe] created {word}/N{name} not exported")

    def test_a_base_class_has_none(self):
        self.assertAborts(("type_word", None), "create buzzer NEW")

    def test_a_class_does_not_inherit_one(self):
        self.assertAborts(("type_word", None), "derive led NEW")


class NameTest(ProbeTest):
    def assertNotExported(self, words, name):
        self.assertEqual(self.act(f"led {words} sim:green:ready"),
                         [f"<debug> [LED/{name}] Object created",
                          f"<debug> [Manager] Create new object: LED/{name}", "",
                          f"<error> [LED/{name}] Not exported: the name is not a valid object path "
                          "element"])

    def test_names_that_are_no_path_elements_are_logged_and_not_exported(self):
        for words, name in (("LED-1", "LED-1"), ("SD.1", "SD.1"), (r"a\040b", "a b"),
                            ("a/b", "a/b"), ("a/", "a/"), ("/", "/"), (r"\351", "\ufffd"),
                            (r"\303\251", "é"), (r"a\nb", r"a\nb")):
            with self.subTest(words):
                self.assertNotExported(words, name)
        self.act("led GOOD_1 sim:green:ready")
        self.assertEqual(self.objects(), ["LED/GOOD_1"])

    def test_an_object_that_was_not_exported_is_found_and_removed_like_any_other(self):
        self.assertNotExported("LED-1", "LED-1")
        self.assertEqual(self.act("same LED-1")[-1], "<info>  [Probe] same object")
        self.assertEqual(self.act("set LED/LED-1 1", "remove LED/LED-1")[-2:],
                         ["<info>  [Probe] set LED/LED-1: OK",
                          "<info>  [LED/LED-1] Object destroyed"])
        self.assertEqual(self.world.do("led", "sim:green:ready"), "none 1\n")

    def test_a_name_that_is_not_utf_8_still_names_one_object(self):
        self.assertNotExported(r"x\377", "x\ufffd")
        self.assertEqual(self.act(r"same x\377")[-1], "<info>  [Probe] same object")
        self.assertEqual(self.act(r"get LED/x\377")[-1],
                         "<info>  [Probe] LED x\ufffd '' not exported")
        self.assertEqual(self.act(r"remove LED/x\377")[-1],
                         "<info>  [LED/x\ufffd] Object destroyed")

    def test_texts_that_are_not_utf_8_are_made_fit_for_the_bus(self):
        self.act(r"led ONE sim\377\n", r"alias LED/ONE A\377\033[31m", r"path LED/ONE /sys/\376")
        led = self.bus_object("LED/ONE")
        self.assertEqual([led.get(name) for name in ("Label", "Alias", "SysfsPath")],
                         ["sim\ufffd\\n", "A\ufffd\\x1b[31m", "/sys/\ufffd"])


class ReadOnlyTest(ProbeTest):
    """On a bus that lets root do everything, so that the daemon itself refuses."""

    init = ("led ONE sim:green:ready",)

    def setUp(self):
        with mock.patch("perimond.world.POLICY", ""):
            super().setUp()

    def test_no_property_can_be_set(self):
        values = {"ONE": ("Name", "PeripheralType", "SysfsPath", "Label", "Alias"),
                  "": ("Version", "SerialNumber", "ModelName")}
        for name, properties in values.items():
            target = self.bus_object(f"LED/{name}" if name else "")
            for entry in properties:
                with self.subTest(entry):
                    before = target.get(entry)
                    with self.assertBusError("org.freedesktop.DBus.Error.InvalidArgs",
                                             f"Property “{entry}” is not writable"):
                        target.set(entry, GLib.Variant("s", "changed"))
                    self.assertEqual(target.get(entry), before)

    def test_an_unknown_method_is_answered_as_such(self):
        with self.assertRaises(GLib.Error) as caught:
            self.bus_object("LED/ONE").call("com.tarvel.Perimond.Obj.LED", "Blink")
        self.assertEqual(Gio.DBusError.get_remote_error(caught.exception),
                         "org.freedesktop.DBus.Error.UnknownMethod")

    def test_a_call_with_wrong_arguments_is_refused_and_not_logged(self):
        with self.log("LED/ONE") as lines, self.assertRaises(GLib.Error) as caught:
            self.bus_object("LED/ONE").call("com.tarvel.Perimond.Obj.LED", "SetState",
                                            GLib.Variant("(s)", ("1",)))
        self.assertEqual(Gio.DBusError.get_remote_error(caught.exception),
                         "org.freedesktop.DBus.Error.InvalidArgs")
        self.assertEqual(lines, [])


if __name__ == "__main__":
    perimond.main()
