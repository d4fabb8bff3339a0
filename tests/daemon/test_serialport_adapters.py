"""Ports of USB serial adapters come and go with their tty devices."""

import os
import time

import perimond
from perimond import scaled, wait_until
from serial_board import SerialTest

# How often the adapter of RoundsTest is plugged in and pulled.
ROUNDS = int(os.environ.get("PERIMOND_TEST_ROUNDS", "20"))

BAUDRATES = [50, 300, 600, 1200, 1800, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800,
             921600]
PORT = "SerialPort/USB1_SERIVO4711_X_PORT0"
NAME = PORT.partition("/")[2]


class AdapterTest(SerialTest):
    """The commands of a device are what the plugin does with its events."""

    def plug(self, node="ttyUSB0", *properties, command="serivo USB1", link="port0", vendor="ffff",
             product="0201", model="Serivo_4711-X"):
        """Plugs in one port of an adapter."""
        self.world.do("add-serial", node, "knows=port")
        self.world.do("plug", "tty", node, f"node={node}",
                      f"link=/dev/serial/by-path/usb-0:1:1.0-{link}",
                      f"ID_VENDOR_ID={vendor}", f"ID_MODEL_ID={product}", f"ID_MODEL={model}",
                      f"COMMAND={command};log 2 {node}-told", *properties)

    def pull(self, node="ttyUSB0"):
        self.world.do("unplug", "tty", node)

    def log_of(self, word):
        return [line for line in self.log_lines() if word in line]

    def wait_for_events(self, count, node="ttyUSB0", seconds=20):
        """Waits until the plugin has acted on so many events of the device."""
        self.wait_for_log(f"<info>  {node}-told", seconds, count)

    def wait_for_port(self, name=PORT, there=True):
        wait_until(lambda: (name in self.objects()) == there, f"{name} is there: {there}", 20)


class PlugTest(AdapterTest):
    def test_a_port_is_named_after_its_place_its_model_and_its_number(self):
        self.plug()
        self.wait_for_port()
        port = self.port(NAME)
        self.assertEqual({name: port.get(name) for name in (
            "Device", "OriginalDevice", "SupportedInterfaces", "SupportedBaudrates", "IOState",
            "PullUpDown", "Terminator", "SupportedDataBits")}, {
                "Device": "/dev/ttyUSB0", "OriginalDevice": "/dev/ttyUSB0",
                "SupportedInterfaces": [0, 2, 1, 3], "SupportedBaudrates": BAUDRATES,
                "IOState": 0, "PullUpDown": 0, "Terminator": 0, "SupportedDataBits": []})
        self.assertEqual(self.stored(NAME), {"Interface": "0"})
        self.assertFalse(os.path.islink(self.world.path("/dev/ttyUSB0")))

    def test_each_mode_stands_in_the_field_port_of_the_driver(self):
        self.plug()
        self.wait_for_port()
        self.requests("ttyUSB0")
        for mode in (2, 1, 3, 0):
            self.port(NAME).SetInterface(mode)
            self.assertEqual(self.requests("ttyUSB0"), ["open", "ioctl 0x541e",
                                                        f"ioctl 0x541f port={hex(mode)}", "close"])
            self.assertEqual(self.port(NAME).GetInterface(), mode)
            self.assertEqual(self.stored(NAME), {"Interface": str(mode)})
            self.requests("ttyUSB0")

    def test_failures_have_the_texts_of_the_driver(self):
        self.plug()
        self.wait_for_port()
        for operation, text in (("open", "open"), ("ioctl:0x541e", "ioctl(TIOCGSERIAL) for"),
                                ("ioctl:0x541f", "ioctl(TIOCSSERIAL) for")):
            self.world.do("fail", "/dev/ttyUSB0", operation, "EIO", 1)
            self.assert_refused("SetInterface", (1,), "DeviceIOFailure",
                                f"{text} '/dev/ttyUSB0' failed: Input/output error", name=NAME)

    def test_a_model_has_the_modes_of_its_class(self):
        for product, modes in (("0006", [0]), ("0102", [2, 1, 3]), ("020F", [0, 2, 1, 3]),
                               ("7777", [0])):
            with self.subTest(product):
                self.plug(product=product)
                self.wait_for_port()
                self.assertEqual(self.port(NAME).get("SupportedInterfaces"), modes)
                self.pull()
                self.wait_for_port(there=False)
        self.plug(vendor="0403")
        self.wait_for_port()
        self.assertEqual(self.port(NAME).get("SupportedInterfaces"), [0])

    def test_an_adapter_that_does_not_say_what_it_is(self):
        self.world.do("add-serial", "ttyUSB0", "knows=port")
        self.world.do("plug", "tty", "ttyUSB0", "node=ttyUSB0", "link=/dev/port0", "ID_MODEL=x",
                      "COMMAND=serivo USB1")
        self.wait_for_port("SerialPort/USB1_SERIVOx_PORT0")
        self.assertEqual(self.port("USB1_SERIVOx_PORT0").get("SupportedInterfaces"), [0])

    def test_without_rs232_the_first_mode_is_the_fallback(self):
        self.plug(product="0101")
        self.wait_for_port()
        self.assertIn(f"<warn>  [{PORT}] Initialize port interface failed: Interface not supported",
                      self.log_lines())
        self.assertEqual((self.kept("ttyUSB0")["port"], self.stored(NAME)), (2, {"Interface": "0"}))

    def test_a_pulled_adapter_comes_back_as_the_same_object_with_its_mode(self):
        self.plug()
        self.wait_for_port()
        self.port(NAME).SetInterface(3)
        self.pull()
        self.wait_for_port(there=False)
        self.assertEqual(self.log_of(f"[{PORT}] Object destroyed"), [])
        # Under another node this time.
        self.plug("ttyUSB7")
        self.wait_for_port()
        self.assertIn(f"<warn>  [Manager] This OBJ has been added: {PORT}", self.log_lines())
        self.assertEqual((self.port(NAME).get("Device"), self.kept("ttyUSB7")["port"],
                          self.port(NAME).GetInterface()), ("/dev/ttyUSB7", 3, 3))

    def test_another_model_of_the_same_name_shows_its_own_modes(self):
        self.plug(product="0001")
        self.wait_for_port()
        self.pull()
        self.plug(product="0101")
        self.wait_for_events(3)
        self.assertEqual(self.port(NAME).get("SupportedInterfaces"), [2, 1, 3])

    def test_an_adapter_that_was_there_before_the_daemon(self):
        self.stop_daemon()
        self.plug()
        self.start_daemon()
        self.wait_for_port()

    def test_each_of_four_ports_is_an_object(self):
        for number in range(4):
            self.plug(f"ttyUSB{number}", link=f"port{number}")
        for number in range(4):
            self.wait_for_port(f"SerialPort/USB1_SERIVO4711_X_PORT{number}")
        for number in range(4):
            self.assertEqual(self.port(f"USB1_SERIVO4711_X_PORT{number}").get("Device"),
                             f"/dev/ttyUSB{number}")
        self.pull("ttyUSB2")
        self.wait_for_port("SerialPort/USB1_SERIVO4711_X_PORT2", there=False)
        self.assertEqual(len(self.objects()), 3)


class NameTest(AdapterTest):
    def assert_name(self, name, **how):
        self.plug(**how)
        self.wait_for_events(1)
        self.assertEqual(self.objects(), [f"SerialPort/{name}"] if name else [])
        self.pull()
        self.wait_for_events(2)
        self.assertEqual(self.objects(), [])

    def test_every_byte_that_a_path_cannot_have_is_an_underscore(self):
        self.assert_name("1_1_2_SERIVO47__11__b_PORT1", command="serivo 1-1.2",
                         model="Serivo_47\u00e411-.b", link="port1")

    def test_a_model_without_an_underscore_is_taken_whole(self):
        self.assert_name("USB1_SERIVO4711_PORT0", model="4711")

    def test_the_first_of_two_numbers_counts(self):
        self.assert_name("USB1_SERIVO4711_X_PORT3", link="port3:1.0-port4")

    def test_a_number_of_forty_digits(self):
        self.assert_name(f"USB1_SERIVO4711_X_PORT{'7' * 40}", link=f"port{'7' * 40}")

    def test_two_names_that_differ_behind_the_63rd_character_are_two_ports(self):
        for number, node in ((1, "ttyUSB1"), (2, "ttyUSB2")):
            self.plug(node, link=f"port{'7' * 40}{number}")
            self.wait_for_events(1, node)
        self.assertEqual(len(self.objects()), 2)

    def test_a_link_without_a_number_makes_no_port_and_no_line(self):
        for number, link in enumerate(("if00", "port", "portx1", "PORT1")):
            with self.subTest(link), self.log() as lines:
                self.plug(f"ttyUSB{number}", link=link)
                self.wait_for_events(1, f"ttyUSB{number}")
                self.pull(f"ttyUSB{number}")
                self.wait_for_events(2, f"ttyUSB{number}")
            self.assertEqual([line for line in lines if "SerialPort" in line or "OBJ" in line], [])
        self.assertEqual(self.objects(), [])

    def test_the_first_link_counts(self):
        self.plug("ttyUSB0", "link=/dev/serial/by-path/z-port5", link="port4")
        self.wait_for_events(1)
        self.assertEqual(self.objects(), ["SerialPort/USB1_SERIVO4711_X_PORT4"])


class TwiceTest(AdapterTest):
    def test_an_adapter_that_is_added_twice_is_one_port(self):
        self.plug()
        self.wait_for_events(1)
        self.port(NAME).SetInterface(1)
        self.world.do("change", "tty", "ttyUSB0", "add")
        self.wait_for_events(2)
        self.assertEqual((self.objects(), self.port(NAME).GetInterface(),
                          self.port(NAME).get("SupportedInterfaces")), ([PORT], 1, [0, 2, 1, 3]))

    def test_an_adapter_that_is_removed_twice_is_gone_once(self):
        self.plug()
        self.wait_for_events(1)
        for count in (2, 3):
            self.world.do("change", "tty", "ttyUSB0", "remove")
            self.wait_for_events(count)
            self.assertEqual(self.objects(), [])
        self.assertEqual(len(self.log_of(f"[{PORT}] Unexported")), 1)

    def test_an_adapter_that_is_removed_and_was_never_added_is_nothing(self):
        self.plug(command="serivo-remove USB1")
        self.wait_for_events(1)
        self.assertEqual((self.objects(), self.log_of("SerialPort")), ([], []))


class ReadyTest(AdapterTest):
    def opens(self):
        return [result for _, _, _, result in self.world.accesses("/dev/ttyUSB0", ("open",))]

    def test_a_tty_that_can_be_opened_at_the_fifth_try_is_a_port(self):
        self.world.do("fail", "/dev/ttyUSB0", "open", "EBUSY", 4)
        start = time.monotonic()
        self.plug()
        self.wait_for_port()
        self.assertGreaterEqual(time.monotonic() - start, 4)
        # After the five tries the mode is set.
        self.assertEqual(self.opens(), ["EBUSY"] * 4 + ["0", "0"])

    def test_a_tty_that_cannot_be_opened_is_not_on_the_bus_until_it_comes_anew(self):
        self.world.do("fail", "/dev/ttyUSB0", "open", "EIO")
        start = time.monotonic()
        self.plug()
        self.wait_for_events(1)
        # A second after each try, the last one too.
        self.assertGreaterEqual(time.monotonic() - start, 5)
        self.assertEqual((self.opens(), self.objects(), self.stored(NAME)), (["EIO"] * 5, [], {}))
        self.assertEqual(self.log_of("[Manager] Create new object"),
                         [f"<debug> [Manager] Create new object: {PORT}"])
        self.pull()
        self.wait_for_events(2)
        self.world.do("heal")
        self.plug()
        self.wait_for_port()

    def test_an_adapter_that_vanishes_during_the_tries_is_not_on_the_bus(self):
        self.world.do("fail", "/dev/ttyUSB0", "open", "EBUSY")
        self.plug()
        wait_until(self.opens, "a first try")
        self.pull()
        self.wait_for_events(2)
        self.assertEqual(self.objects(), [])
        self.plug("ttyUSB1", link="port1")
        self.wait_for_port("SerialPort/USB1_SERIVO4711_X_PORT1")

    def test_the_end_comes_after_the_tries(self):
        self.world.do("fail", "/dev/ttyUSB0", "open", "EBUSY")
        self.plug()
        wait_until(self.opens, "a first try")
        self.stop_daemon()

    def test_a_device_without_a_node_is_no_port(self):
        self.world.do("plug", "tty", "ttyUSB0", "link=/dev/serial/port0", "ID_MODEL=x_1",
                      "COMMAND=serivo USB1;log 2 ttyUSB0-told")
        self.wait_for_events(1)
        self.assertEqual(self.objects(), [])


class WrongDeviceTest(AdapterTest):
    def assert_ends(self, text, *properties, command="serivo USB1"):
        self.world.do("plug", "tty", "ttyUSB0", "node=ttyUSB0", f"COMMAND={command}", *properties)
        self.assertEqual(self.wait_for_exit(), -6)
        self.assertTrue(any(f"assertion failed: ({text})" in line for line in self.error_lines()),
                        self.error_lines())

    def test_a_place_is_named(self):
        self.assert_ends("attached_interface != NULL", "ID_MODEL=x", "link=/dev/port0",
                         command="serivo -")

    def test_a_place_is_named_for_a_removal_too(self):
        self.assert_ends("attached_interface != NULL", "ID_MODEL=x", "link=/dev/port0",
                         command="serivo-remove -")

    def test_a_device_has_a_model(self):
        self.assert_ends("full_model_name != NULL", "link=/dev/port0")

    def test_a_device_has_a_link(self):
        self.assert_ends("links[0] != NULL", "ID_MODEL=x")

    def test_a_removed_device_has_a_model_too(self):
        self.assert_ends("full_model_name != NULL", "link=/dev/port0",
                         command="serivo-remove USB1")


class RoundsTest(AdapterTest):
    """An adapter with four ports, plugged in and pulled again and again."""

    log_level = "INFO"

    def footprint(self):
        """Threads, descriptors, resident kB of the daemon."""
        process = f"/proc/{self.daemon_pid}"
        with open(f"{process}/statm") as file:
            resident = int(file.read().split()[1]) * 4
        return (len(os.listdir(f"{process}/task")), len(os.listdir(f"{process}/fd")), resident)

    def round(self, count):
        for number in range(4):
            self.plug(f"ttyUSB{number}", link=f"port{number}")
        for number in range(4):
            self.wait_for_events(2 * count - 1, f"ttyUSB{number}")
        self.assertEqual(len(self.objects()), 4)
        for number in range(4):
            self.pull(f"ttyUSB{number}")
        for number in range(4):
            self.wait_for_events(2 * count, f"ttyUSB{number}")
        self.assertEqual(self.objects(), [])

    def test_nothing_is_left_behind(self):
        self.round(1)
        self.round(2)
        threads, descriptors, resident = self.footprint()
        for count in range(3, ROUNDS + 1):
            self.round(count)
        after = self.footprint()
        print(f"# {ROUNDS} rounds: {resident} kB, then {after[2]} kB", flush=True)
        # GLib ends threads of its pool that have nothing to do.
        self.assertLessEqual(after[0], threads)
        self.assertEqual(after[1], descriptors)
        if scaled(1) == 1:  # instrumented programs keep what was freed
            self.assertLess(after[2], resident + 1024)
        self.assertEqual(len(self.log_of("Object destroyed")), 0)


if __name__ == "__main__":
    perimond.main()
