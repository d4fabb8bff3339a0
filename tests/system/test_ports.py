"""Serial ports, CAN and Ethernet, on the kernel's drivers."""

import unittest

from boardtest import UNIT, BoardTest
from perimond.world import wait_until

SHAPE_LINES, ONE_LINE, TERMINATOR = (43, 44, 45), 46, 47


class SerialPortTest(BoardTest):
    def kept(self, node):
        """What the driver of a node keeps, as {"port": number, "rs485": flags}."""
        return {name: int(value, 16) for name, value in
                (word.split("=") for word in self.do("serial", node).split())}

    def levels(self, *lines):
        return [self.board.read(line) for line in lines]

    def test_the_mode_and_the_switches_reach_the_port_field_of_the_driver(self):
        port = self.bus_object("SerialPort/P1")
        self.assertEqual(self.board.call("readlink /dev/ttyM0"), "/dev/ttyAMA0")
        self.assertEqual((port.get("Device"), port.get("OriginalDevice")),
                         ("/dev/ttyM0", "/dev/ttyAMA0"))

        def is_now(number, mode):
            self.assertEqual((self.kept("ttyAMA0")["port"], port.GetInterface()), (number, mode))
        port.SetInterface(1)
        is_now(0x01, 1)
        port.SetTerminator(2)
        is_now(0x21, 1)
        port.SetPullUpDown(2)
        is_now(0x31, 1)
        port.SetInterface(2)
        is_now(0x02, 2)
        with self.assertBusError("PeripheralNotSupported",
                                 "set terminator is only supported on RS485 interfaces"):
            port.SetTerminator(1)
        port.SetInterface(3)
        is_now(0x33, 3)
        self.restart()
        is_now(0x33, 3)
        port.SetTerminator(1)
        port.SetPullUpDown(1)
        port.SetInterface(0)
        is_now(0x00, 0)

    def test_three_lines_shape_the_port_and_the_driver_turns_the_direction(self):
        port = self.bus_object("SerialPort/P2")
        for mode, levels, flags in (1, [0, 0, 1], 0x13), (2, [0, 1, 0], 0), (0, [1, 0, 0], 0):
            port.SetInterface(mode)
            self.assertEqual((self.levels(*SHAPE_LINES), self.kept("ttymxc1")["rs485"],
                              port.GetInterface()), (levels, flags, mode))
        with self.assertBusError("PeripheralNotSupported", "Interface not supported"):
            port.SetInterface(3)

    def test_a_stored_mode_is_set_again_at_the_start(self):
        self.bus_object("SerialPort/P2").SetInterface(1)
        self.systemctl("stop", UNIT)
        self.board.call("cd /sys/class/gpio && for line in 43 44 45; do "
                        "[ -e gpio$line ] || echo $line >export; "
                        "echo out >gpio$line/direction; echo 0 >gpio$line/value; done")
        self.assertEqual(self.levels(*SHAPE_LINES), [0, 0, 0])
        self.restart()
        self.assertEqual(self.levels(*SHAPE_LINES), [0, 0, 1])
        self.bus_object("SerialPort/P2").SetInterface(0)

    def test_one_line_and_the_driver_tell_two_modes_apart(self):
        port = self.bus_object("SerialPort/P3")
        for mode, level, flags in (1, 0, 0x13), (0, 1, 0):
            port.SetInterface(mode)
            self.assertEqual((self.board.read(ONE_LINE), self.kept("ttymxc2")["rs485"],
                              port.GetInterface()), (level, flags, mode))

    def test_a_driver_that_takes_no_change_of_its_port_field_is_named(self):
        port = self.bus_object("SerialPort/P4")
        with self.assertBusError("DeviceIOFailure",
                                 "ioctl(TIOCSSERIAL) for '/dev/ttyM3' failed: Invalid argument"):
            port.SetInterface(1)
        self.assertEqual(port.GetInterface(), 0)


class NetworkTest(BoardTest):
    def test_the_bit_rate_of_a_can_port_is_the_controllers(self):
        port = self.bus_object("CAN/CAN1")
        self.assertEqual(port.get("DeviceName"), "can0")
        with self.assertBusError("PeripheralNotAvailable",
                                 "Cannot get bitrate for inactive device: can0"):
            port.GetBitrate()
        for rate in 500000, 125000:
            self.do("can", "can0", f"bitrate={rate}", "state=error-active")
            self.assertEqual(port.GetBitrate(), rate)
            self.assertEqual(self.do("can", "can0"), f"state=error-active bitrate={rate}\n")
        self.do("can", "can0", "state=stopped")
        with self.assertBusError("PeripheralNotAvailable",
                                 "Cannot get bitrate for inactive device: can0"):
            port.GetBitrate()

    def test_the_terminator_of_a_can_port_is_its_line(self):
        port = self.bus_object("CAN/CAN1")
        for state, level in (2, 1), (1, 0):
            port.SetTerminator(state)
            self.assertEqual((self.board.read(TERMINATOR), port.get("Terminator")),
                             (level, state))
        with self.assertBusError("PeripheralNotSupported",
                                 "Cannot set terminator for not applicable device"):
            self.bus_object("CAN/CAN2").SetTerminator(2)

    def test_a_can_port_has_a_name_as_long_as_its_controller_is_there(self):
        port = self.bus_object("CAN/CAN2")
        device = self.board.call("basename $(readlink -f /sys/class/net/can1/device)")
        for action, name in ("unbind", ""), ("bind", "can1"):
            self.board.call(f"echo {device} >/sys/bus/pci/drivers/kvaser_pci/{action}")
            wait_until(lambda: port.get("DeviceName") == name, f"the name is '{name}'", 20)
            if not name:
                with self.assertBusError("PeripheralNotFound", "Cannot get device name or device "
                                         "name is not enabled"):
                    port.GetBitrate()

    def test_an_ethernet_port_has_its_name_from_the_model_or_from_what_is_plugged_in(self):
        self.assertEqual(self.bus_object("Ethernet/LAN1").get("DeviceName"), "eth0")
        self.assertNotIn("Ethernet/USB", self.objects())
        before = self.interfaces()
        self.do("plug", "net", "adapter")
        wait_until(lambda: "Ethernet/USB" in self.objects(), "the adapter is on the bus", 30)
        self.assertEqual({self.bus_object("Ethernet/USB").get("DeviceName")},
                         self.interfaces() - before)
        self.do("unplug", "adapter")
        wait_until(lambda: "Ethernet/USB" not in self.objects(), "it is gone", 30)

    def interfaces(self):
        return set(self.board.call("ls /sys/class/net").split())


if __name__ == "__main__":
    unittest.main(verbosity=2)
