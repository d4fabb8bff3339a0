"""Device events: how they reach the model plugin, and what the log says of them."""

import perimond
from probe import ProbeTest

LISTENED = ("usb", "usbmisc", "tty", "net", "block", "input", "mdio_bus")


class UeventTest(ProbeTest):
    def lines(self, text=""):
        """The lines of the plugin and of the events, without the probe's own device."""
        return [line for line in self.log_lines()
                if line.startswith(("<info>  [Probe] ", "<debug> [Udev] ")) and text in line
                and "/net/probe'" not in line]

    def path(self, subsystem, name):
        line, = (line for line in self.world.do("devices").splitlines()
                 if line.startswith(f"{subsystem} {name} "))
        return line.split(" ")[2]

    def pair(self, action, subsystem, path):
        """The line of an event and that of the plugin, which hears it after."""
        return [f"<debug> [Udev] {action} '{path}'",
                f"<info>  [Probe] {action} {subsystem} '{path}'"]


class ScanTest(UeventTest):
    starts = False

    def test_it_adds_every_device_of_the_system_in_the_order_of_the_lines(self):
        for subsystem in (*LISTENED, "gpu", "sound"):
            self.world.do("plug", subsystem, f"x-{subsystem}", "quiet=1")
        self.start_daemon()
        expected = set()
        for line in self.world.do("devices").splitlines():
            subsystem, name, path = line.split(" ")
            if name != "probe":
                expected.add((f"<debug> [Udev] scanned '{path}'",
                              f"<info>  [Probe] add {subsystem} '{path}'"))
        lines = [line for line in self.lines() if "platform_init" not in line]
        self.assertEqual(set(zip(lines[::2], lines[1::2])), expected)

    def test_its_lines_are_for_debugging(self):
        self.start_daemon(LOG_LEVEL="INFO")
        self.assertGreater(len(self.lines("[Probe] add")), 5)
        self.assertEqual(self.lines("[Udev]"), [])

    def test_it_comes_after_the_plugin_has_made_its_objects(self):
        self.start_daemon(PROBE_INIT="led ONE sim:green:ready")
        lines = self.log_lines()
        self.assertLess(lines.index("<info>  [LED/ONE] Exported at '/com/tarvel/Perimond/LED/ONE'"),
                        lines.index("<info>  [Udev] Start device scanning"))

    def test_properties_that_are_not_utf_8_do_no_harm(self):
        self.world.do("plug", "usb", "odd", "SHOW=a\udcffb", "quiet=1")
        self.start_daemon()
        self.assertIn("<info>  [Probe] SHOW is a\\xffb", self.lines())
        self.assertEqual(self.objects(), [])


class EventTest(UeventTest):
    def setUp(self):
        super().setUp()
        self.mark = len(self.lines())

    def news(self, count, text=""):
        """The lines since the start, when there are so many of them."""
        perimond.wait_until(lambda: len(self.lines(text)) >= self.mark + count, "the events")
        self.act()
        return self.lines(text)[self.mark:]

    def test_events_of_the_listened_subsystems_reach_the_plugin_in_order(self):
        expected = []
        for subsystem in LISTENED:
            self.world.do("plug", subsystem, "new")
            path = self.path(subsystem, "new")
            expected += self.pair("add", subsystem, path)
            self.world.do("change", subsystem, "new", "bind")
            expected += self.pair("bind", subsystem, path)
            self.world.do("change", subsystem, "new")
            expected += self.pair("change", subsystem, path)
            self.world.do("unplug", subsystem, "new")
            expected += self.pair("remove", subsystem, path)
        self.assertEqual(self.news(len(expected)), expected)

    def test_events_of_other_subsystems_are_not_heard(self):
        for subsystem in ("gpu", "sound", "leds", "usbmis", "usb_device"):
            self.world.do("plug", subsystem, "other")
            self.world.do("unplug", subsystem, "other")
        self.world.do("plug", "usb", "new")
        self.assertEqual(self.news(2), self.pair("add", "usb", self.path("usb", "new")))

    def test_a_burst_arrives_whole_and_in_order(self):
        self.world.do("plug", "usb", "new")
        for number in range(200):
            self.world.do("change", "usb", "new", f"SHOW={number}")
        shown = self.lines
        perimond.wait_until(lambda: len(shown("SHOW is")) == 200, "the events")
        self.assertEqual(shown("SHOW is"),
                         [f"<info>  [Probe] SHOW is {number}" for number in range(200)])

    def test_a_device_makes_an_object_and_takes_it_away(self):
        self.act("led HOT sim:green:ready")
        self.assertEqual(self.objects(), ["LED/HOT"])
        self.act("remove LED/HOT")
        self.assertEqual(self.objects(), [])
        self.act("led HOT sim:green:ready")
        self.assertEqual(self.objects(), ["LED/HOT"])

    def test_a_property_that_is_not_utf_8_does_no_harm(self):
        self.world.do("plug", "usb", "new", "SHOW=\udcff\udcfe")
        self.assertEqual(self.news(3)[-1], "<info>  [Probe] SHOW is \\xff\\xfe")

    def test_a_device_name_that_is_not_utf_8_is_made_readable(self):
        self.world.do("plug", "usb", "n\udcff")
        line = self.news(2)[0]
        self.assertTrue(line.startswith("<debug> [Udev] add '/sys/devices/")
                        and line.endswith("/n\ufffd'"), line)


if __name__ == "__main__":
    perimond.main()
