"""Devices come, go and are found the way udev's library tells of them."""

import os

import perimond

CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "udev_client.py")
DISK = ("block", "sda", "parent=platform/usb/usb1/1-1", "node=sda", "major=8", "minor=0",
        "devtype=disk", "ID_BUS=usb", "link=/dev/disk/by-path/usb-1", "attr/size=2048")


class DevicesTest(perimond.BoardTest):
    def listen(self, *subsystems):
        """Starts a client; returns the devices that it knew."""
        self.client = self.world.popen("/usr/bin/python3", CLIENT, *subsystems)
        self.addCleanup(self.client.wait)
        self.addCleanup(self.client.terminate)
        self.addCleanup(self.client.stdout.close)
        known = []
        while (line := self.client.stdout.readline()) != "listening\n":
            known.append(line.strip())
        return known

    def next_event(self):
        return self.client.stdout.readline().strip()

    def test_an_event_carries_the_properties_of_its_device(self):
        self.listen("block")
        self.world.do("plug", *DISK)
        path = "/sys/devices/platform/usb/usb1/1-1/block/sda"
        self.assertEqual(self.next_event(),
                         f"add block sda {path} DEVLINKS=/dev/disk/by-path/usb-1 "
                         f"DEVNAME=/dev/sda DEVPATH={path[4:]} DEVTYPE=disk ID_BUS=usb")
        self.world.do("unplug", "block", "sda")
        self.assertTrue(self.next_event().startswith(f"remove block sda {path} "))

    def test_a_device_is_found_with_the_properties_of_the_database(self):
        self.world.do("plug", *DISK)
        self.assertIn("known block sda /sys/devices/platform/usb/usb1/1-1/block/sda "
                      "DEVLINKS=/dev/disk/by-path/usb-1 DEVNAME=/dev/sda "
                      "DEVPATH=/devices/platform/usb/usb1/1-1/block/sda DEVTYPE=disk ID_BUS=usb",
                      self.listen(""))

    def test_all_subsystems_are_heard(self):
        names = ("usb", "usbmisc", "tty", "net", "block", "input", "mdio_bus")
        self.listen(*names)
        for name in names:
            self.world.do("plug", name, f"{name}9")
            with self.subTest(name=name):
                self.assertTrue(self.next_event().startswith(f"add {name} {name}9 "))

    def test_a_subsystem_that_is_not_listened_to_is_not_heard(self):
        self.listen("tty")
        self.world.do("plug", "net", "eth0", "ifindex=3")
        self.world.do("plug", "tty", "ttyS0")
        self.assertTrue(self.next_event().startswith("add tty ttyS0 "))

    def test_events_arrive_in_order_and_none_is_lost(self):
        self.listen("net")
        self.world.do("plug", "net", "eth0", "ifindex=3")
        self.next_event()
        self.world.do("burst", "net", "eth0", 100)
        for i in range(1, 101):
            self.assertIn(f"BURST={i} ", self.next_event() + " ")

    def test_another_action_can_be_told(self):
        self.listen("net")
        self.world.do("plug", "net", "eth0", "ifindex=3")
        self.next_event()
        self.world.do("change", "net", "eth0", "move", "ID_NET_NAME=lan0")
        event = self.next_event()
        self.assertTrue(event.startswith("move net eth0 "), event)
        self.assertIn("ID_NET_NAME=lan0", event)

    def test_a_link_in_a_device_leads_to_another(self):
        """As that of a PHY to the network device that its driver has attached."""
        self.world.do("plug", "net", "eth0", "parent=platform/mac0", "ifindex=3")
        self.world.do("plug", "mdio_bus", "phy:01", "parent=platform/mac0/mdio_bus/mac0")
        path = "/sys/bus/mdio_bus/devices/phy:01/attached_dev"
        self.assertEqual(self.found(path), "None")
        self.world.do("link", "/sys/devices/platform/mac0/mdio_bus/mac0/phy:01/attached_dev",
                      "../../../net/eth0")
        self.assertEqual(self.found(path), "net eth0 eth0")
        self.world.do("unplug", "net", "eth0")
        self.assertEqual(self.found(path), "None")

    def found(self, path):
        """The device that a program finds at a path: subsystem, name, interface."""
        return self.world.run("/usr/bin/python3", "-c", '''if True:
            import sys, gi
            gi.require_version("GUdev", "1.0")
            from gi.repository import GUdev
            device = GUdev.Client(subsystems=[]).query_by_sysfs_path(sys.argv[1])
            print(*[device.get_subsystem(), device.get_name(), device.get_property("INTERFACE")]
                  if device else [None])''', path).strip()

    def test_what_hangs_below_a_device_goes_before_it(self):
        self.world.do("plug", "usb", "1-1", "parent=platform/usb/usb1", "devtype=usb_device")
        self.world.do("plug", "tty", "ttyUSB0", "parent=platform/usb/usb1/1-1")
        self.listen("usb", "tty")
        self.world.do("unplug", "usb", "1-1")
        self.assertTrue(self.next_event().startswith("remove tty ttyUSB0 "))
        self.assertTrue(self.next_event().startswith("remove usb 1-1 "))

    def test_a_node_and_a_link_come_and_go(self):
        self.world.do("plug", *DISK)
        self.assertTrue(os.path.exists(self.world.path("/dev/sda")))
        self.assertEqual(os.readlink(self.world.path("/dev/disk/by-path/usb-1")), "/dev/sda")
        self.world.do("unplug", "block", "sda")
        self.assertEqual(os.listdir(self.world.path("/dev/disk/by-path")), [])
        self.assertFalse(os.path.exists(self.world.path("/dev/sda")))

    def test_a_device_may_have_several_links(self):
        links = ["/dev/disk/by-id/stick", "/dev/disk/by-label/DATA"]
        self.listen("block")
        self.world.do("plug", "block", "sdb", "node=sdb", *(f"link={link}" for link in links))
        told = self.next_event().partition(" DEVLINKS=")[2].partition(" DEVNAME=")[0]
        self.assertEqual(sorted(told.split()), links)
        self.assertEqual([os.readlink(self.world.path(link)) for link in links], ["/dev/sdb"] * 2)

    def test_attributes_and_class_links_are_in_place(self):
        self.world.do("plug", *DISK)
        self.assertEqual(self.world.read("/sys/class/block/sda/size"), "2048\n")
        self.assertEqual(self.world.read("/sys/class/block/sda/dev"), "8:0\n")
        self.assertEqual(os.path.basename(os.readlink(
            self.world.path("/sys/class/block/sda/subsystem"))), "block")

    def test_a_device_comes_once_and_goes_once(self):
        self.world.do("plug", "tty", "ttyS0")
        with self.assertRaisesRegex(perimond.BoardError, "already a tty device ttyS0"):
            self.world.do("plug", "tty", "ttyS0")
        self.world.do("unplug", "tty", "ttyS0")
        with self.assertRaisesRegex(perimond.BoardError, "no tty device ttyS0"):
            self.world.do("unplug", "tty", "ttyS0")


if __name__ == "__main__":
    perimond.main()
