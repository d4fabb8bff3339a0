"""The LEDs follow the connection manager, which starts late, stops and comes back."""

import os
import time

from gi.repository import GLib

import perimond
from connection_manager import NEVER, ConnectionManager, path_of
from perimond import scaled, wait_until
from probe import ProbeTest

BAR = ("LED/B1", "LED/B2", "LED/B3", "LED/B4")
STATUS = "LED/ST"
SIMS = ("LED/S1", "LED/S2")

CLIENT = "[LNV Client]"
TRY = f"<debug> {CLIENT} Try connecting"
LATER = f"<debug> {CLIENT} Failed to get name owner, try later"
STARTED = f"<info>  {CLIENT} Started"
CONNECTED = f"<info>  {CLIENT} Connected"
DISCONNECTED = f"<info>  {CLIENT} Disconnected"

RETRY = 3  # seconds


def changed(name):
    return f"<debug> {CLIENT} Properties changed on '{path_of(name)}':"


def u(value):
    return GLib.Variant("u", value)


def i(value):
    return GLib.Variant("i", value)


class ClientTest(perimond.FastTime, ProbeTest):
    speed = 5
    background = ()
    services = (os.path.join(os.path.dirname(__file__), "connection-manager.conf"),)
    init = (*(f"gpio {led[4:]} {pin} 0" for pin, led in enumerate((*BAR, STATUS, *SIMS), 10)),
            "signal wwan0 4 LED/B1 LED/B2 LED/B3 LED/B4 LED/ST", "sim wwan0 2 LED/S1 LED/S2")
    listed = ("wwan0", "wwan1", "mark")

    def service(self, *names, **options):
        """A connection manager that is not there yet."""
        service = ConnectionManager(self.world.bus, *names, **options)
        self.addCleanup(lambda: service.stop())
        return service

    def client_lines(self):
        return [line for line in self.log_lines() if CLIENT in line]

    def states(self, *leds):
        return [self.bus_object(led).GetState() for led in leds]

    def connect(self, *names, count=1):
        service = self.service(*names).start()
        self.wait_for_log(CONNECTED, count=count)
        return service

    def seen(self, service, *changes):
        """The lines that changes of properties lead to, without those of the LEDs' files."""
        end = changed("mark")
        ends = self.log_lines().count(end)
        mark = len(self.log_lines())
        for change in (*changes, ("mark", {})):
            service.change(*change)
        self.wait_for_log(end, count=ends + 1)
        lines = self.log_lines()[mark:]
        return [line for line in lines[:lines.index(end)] if "[Common]" not in line]


class LifeTest(ClientTest):
    def test_an_absent_service_is_looked_for_every_three_seconds(self):
        self.wait_for_log(TRY)
        start = time.monotonic()
        self.wait_for_log(TRY, count=4)
        self.assertGreater((time.monotonic() - start) * self.speed, 3 * RETRY * 0.8)
        self.assertEqual(self.client_lines()[:8],
                         [TRY, STARTED, LATER, TRY, LATER, TRY, LATER, TRY])

    def test_it_may_start_late_stop_and_come_back(self):
        self.wait_for_log(LATER)
        service = self.connect(*self.listed)
        self.seen(service, ("wwan0", {"ConnectionState": i(9), "SignalStrength": u(3)}))
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 1, 0, 1])
        service.stop()
        self.wait_for_log(DISCONNECTED)
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 1, 0, 1])
        service = self.connect(*self.listed, count=2)
        self.seen(service, ("wwan0", {"SignalStrength": u(1)}))
        self.assertEqual(self.states(*BAR, STATUS), [1, 0, 0, 0, 1])
        lines = self.client_lines()
        after = lines[lines.index(DISCONNECTED) + 1:]
        self.assertEqual(set(after[:after.index(CONNECTED)]) - {LATER}, {TRY})
        self.assertEqual(after[after.index(CONNECTED) + 1:], [changed("wwan0"), changed("mark")])

    def test_coming_and_going_leaves_nothing_behind(self):
        def come_and_go(count):
            self.connect("wwan0", count=count).stop()
            self.wait_for_log(DISCONNECTED, count=count)

        def descriptors():
            return len(os.listdir(f"/proc/{self.daemon_pid}/fd"))

        come_and_go(1)
        before = descriptors()
        for count in range(2, 6):
            come_and_go(count)
        wait_until(lambda: descriptors() <= before, "descriptors as before")

    def test_a_service_that_takes_the_name_over_is_followed(self):
        self.connect(*self.listed)
        successor = self.service(*self.listed).start(replace=True)
        self.wait_for_log(CONNECTED, count=2)
        self.assertEqual(self.log_lines().count(DISCONNECTED), 1)
        self.seen(successor, ("wwan0", {"ConnectionState": i(9), "SignalStrength": u(4)}))
        self.assertEqual(self.states(*BAR), [1, 1, 1, 1])

    def test_a_service_that_refuses_is_tried_again(self):
        failed = (f"<warn>  {CLIENT} Connect failed: GDBus.Error:com.tarvel.Linkvane.Error: "
                  "not\\nnow")
        service = self.service(*self.listed, answer="not\nnow").start()
        self.wait_for_log(failed, count=2)
        service.answer = None
        self.wait_for_log(CONNECTED)
        lines = self.client_lines()
        between = lines[lines.index(failed) + 1:lines.index(CONNECTED)]
        self.assertEqual(set(between), {TRY, failed})

    def test_a_list_of_another_type_is_an_error(self):
        failed = (f"<warn>  {CLIENT} Connect failed: GDBus.Error:"
                  "org.freedesktop.DBus.Error.InvalidSignature: The list of objects is none")
        service = self.service(*self.listed, answer=GLib.Variant("(s)", ("wwan0",))).start()
        self.wait_for_log(failed)
        service.answer = GLib.Variant("(a{oa{ss}})", ({path_of("wwan0"): {}},))
        self.wait_for_log(failed, count=3)
        service.answer = None
        self.wait_for_log(CONNECTED)
        self.seen(service, ("wwan0", {"SimActivated": u(2)}))
        self.assertEqual(self.states(*SIMS), [0, 1])

    def test_a_service_that_does_not_answer_holds_up_neither_calls_nor_the_end(self):
        service = self.service(answer=NEVER).start()
        wait_until(lambda: service.asked, "the service is asked")
        self.assertEqual(self.states(*BAR), [0, 0, 0, 0])
        self.stop_daemon()
        self.assertNotIn(CONNECTED, self.log_lines())


class ConnectedTest(ClientTest):
    starts = False

    def setUp(self):
        super().setUp()
        self.manager = self.service(*self.listed).start()
        self.start_daemon()
        self.wait_for_log(CONNECTED)


class ChangeTest(ConnectedTest):
    def test_each_property_reaches_its_leds(self):
        ours = "<debug> [SignalLedService/wwan0]"
        same = f"{ours} No need to update LED"
        self.assertEqual(self.seen(self.manager, ("wwan0", {"Signal": u(77)})),
                         [changed("wwan0"), f"{ours} SignalLevel changed to 77", same])
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SignalStrength": u(2)})),
                         [changed("wwan0"), f"{ours} SignalStrength changed to 2", same])
        self.assertEqual(self.seen(self.manager, ("wwan0", {"ConnectionState": i(9)})),
                         [changed("wwan0")])
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 0, 0, 1])
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SimActivated": u(2)})),
                         [changed("wwan0")])
        self.assertEqual(self.states(*SIMS), [0, 1])
        self.seen(self.manager, ("wwan0", {"ConnectionState": i(-1), "SimActivated": u(0)}))
        self.assertEqual(self.states(*BAR, STATUS, *SIMS), [0] * 7)

    def test_the_changes_of_one_signal_are_taken_in_its_order(self):
        ours = "<debug> [SignalLedService/wwan0]"
        same = f"{ours} No need to update LED"
        self.assertEqual(
            self.seen(self.manager, ("wwan0", {"SignalStrength": u(4), "Operator": i(1),
                                               "Signal": u(4294967295)})),
            [changed("wwan0"), f"{ours} SignalStrength changed to 4", same,
             f"{ours} SignalLevel changed to -1", same])

    def test_a_property_of_another_type_is_skipped(self):
        right = {"SignalStrength": "u", "Signal": "u", "ConnectionState": "i", "SimActivated": "u"}
        self.manager.change("wwan0", {"ConnectionState": i(9), "SimActivated": u(1)})
        self.seen(self.manager, ("wwan0", {"SignalStrength": u(2)}))
        wrong = [GLib.Variant(*pair) for pair in (
            ("u", 1), ("i", 1), ("y", 1), ("b", True), ("q", 1), ("t", 1), ("d", 1.0), ("s", "1"),
            ("v", GLib.Variant("u", 1)), ("au", [1]), ("(u)", (1,)), ("a{sv}", {}))]
        for name, type_string in right.items():
            for value in wrong:
                of = value.get_type_string()
                if of == type_string:
                    continue
                with self.subTest(property=name, type=of):
                    self.assertEqual(
                        self.seen(self.manager, ("wwan0", {name: value})),
                        [changed("wwan0"),
                         f"<debug> {CLIENT} Property '{name}' of '{path_of('wwan0')}' has type "
                         f"'{of}', not '{type_string}': skipped"])
        self.assertEqual(self.states(*BAR, STATUS, *SIMS), [1, 1, 0, 0, 1, 1, 0])

    def test_what_stands_beside_a_property_of_another_type_counts(self):
        self.seen(self.manager, ("wwan0", {"Signal": i(1), "ConnectionState": i(9),
                                           "SimActivated": i(1), "SignalStrength": u(4)}))
        self.assertEqual(self.states(*BAR, STATUS, *SIMS), [1, 1, 1, 1, 1, 0, 0])

    def test_other_and_invalidated_properties_are_passed_over(self):
        self.assertEqual(
            self.seen(self.manager, ("wwan0", {"Operator": u(3), "signal": u(3), "Signals": u(3)}),
                      ("wwan0", {}, ("Signal", "ConnectionState"))),
            [changed("wwan0")] * 2)

    def test_any_interface_of_an_object_counts(self):
        self.manager.change("wwan0", {"ConnectionState": i(9)}, (), "com.tarvel.Linkvane.Other")
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SimActivated": u(1)}))[-1:],
                         [changed("wwan0")])
        self.assertEqual(self.states(*SIMS), [1, 0])

    def test_an_interface_without_leds_is_passed_over(self):
        self.assertEqual(self.seen(self.manager, ("wwan1", {"ConnectionState": i(9),
                                                            "SimActivated": u(1)})),
                         [changed("wwan1")])
        self.assertEqual(self.states(*BAR, STATUS, *SIMS), [0] * 7)

    def test_an_interface_that_comes_later_is_followed_until_it_goes(self):
        self.manager.remove("wwan0")
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SimActivated": u(1)})), [])
        self.manager.add("wwan0")
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SimActivated": u(2)})),
                         [changed("wwan0")])
        self.assertEqual(self.states(*SIMS), [0, 1])

    def test_announcements_of_another_type_do_no_harm(self):
        path = path_of("wwan0")
        for arguments in (None, GLib.Variant("(s)", (path,)), GLib.Variant("(o)", (path,)),
                          GLib.Variant("(oa{ss})", (path, {})), GLib.Variant("(oau)", (path, [1]))):
            for member in ("InterfacesAdded", "InterfacesRemoved"):
                self.manager.announce(member, arguments)
            self.manager.emit(path, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                               arguments)
        self.assertEqual(self.seen(self.manager, ("wwan0", {"SimActivated": u(1)})),
                         [changed("wwan0")])

    def test_nobody_else_can_tell_of_changes(self):
        self.bus.emit_signal(None, path_of("wwan0"), "org.freedesktop.DBus.Properties",
                             "PropertiesChanged",
                             GLib.Variant("(sa{sv}as)", ("com.tarvel.Linkvane.Interface",
                                                         {"SimActivated": u(1)}, ())))
        self.bus.flush_sync(None)
        self.bus_object("").get("Version")
        self.assertEqual(self.seen(self.manager), [])
        self.assertEqual(self.states(*SIMS), [0, 0])

    def test_a_thousand_changes_a_second_are_followed_and_hold_nobody_up(self):
        count, slowest = 1000, 0
        for number in range(count):
            self.manager.change("wwan0", {"SignalStrength": u(number % 4 + 1),
                                          "ConnectionState": i(9 if number % 3 else 8)})
            if number % 50 == 0:
                start = time.monotonic()
                self.states("LED/S1")
                slowest = max(slowest, time.monotonic() - start)
        self.assertLess(slowest, scaled(3))
        self.seen(self.manager, ("wwan0", {"SignalStrength": u(3), "ConnectionState": i(9)}))
        self.assertEqual(self.states(*BAR, STATUS), [1, 1, 1, 0, 1])
        self.assertEqual(self.log_lines().count(changed("wwan0")), count + 1)


class PathTest(ConnectedTest):
    """Objects that are not below the interfaces, or end in nothing."""

    others = ("/com/tarvel/Linkvane", "/com/tarvel/Linkvane/Interface",
              "/com/tarvel/Linkvane/Interfaces/wwan0", "/com/tarvel/Linkvane/Interface_/wwan0",
              "/com/tarvel/Linkvane/Modem/wwan0", "/com/tarvel/Linkvane/Modem/Interface/wwan0")
    below = ("wwan0/Bearer", "wwan")
    listed = (*ClientTest.listed, *others, *below)

    def test_objects_elsewhere_have_no_effect(self):
        properties = {"ConnectionState": i(9), "SignalStrength": u(4), "SimActivated": u(1)}
        self.assertEqual(self.seen(self.manager, *((path, properties) for path in self.others)), [])
        self.assertEqual(self.seen(self.manager, *((name, properties) for name in self.below)),
                         [changed(name) for name in self.below])
        self.assertEqual(self.states(*BAR, STATUS, *SIMS), [0] * 7)


if __name__ == "__main__":
    perimond.main()
