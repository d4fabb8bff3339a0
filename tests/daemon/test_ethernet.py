"""Ethernet ports: three ways to their names, and the I/O state."""

import configparser
import os
import time

import perimond
from perimond import scaled, wait_until
from probe import ProbeTest

MAC = "platform/mac0"
BUS = f"/sys/devices/{MAC}/mdio_bus/stmmac-0"
PHY = f"{BUS}/stmmac-0:01"
ATTACHED = f"{PHY}/attached_dev"
NOT_LISTED = "<error> [Ethernet/P1] attached device is not in udev 'net' subsystem query list"
IS_ATTACHED = "<debug> [Ethernet/P1] mdio bus device is attached to ethX"
NOT_ATTACHED = "<debug> [Ethernet/P1] the mdio_bus device isn't attached"


class EthernetTest(ProbeTest):
    """The board has the network device ethX and a PHY on its MDIO bus, to which nothing is attached
    yet. A test names its port Ethernet/P1 itself."""

    definition = ("eth-name ID first",)

    def prepare(self):
        super().prepare()
        self.world.do("plug", "net", "ethX", f"parent={MAC}", "ifindex=71", "quiet=1")
        self.plug_phy("stmmac-0:01")

    def plug_phy(self, name):
        self.world.do("plug", "mdio_bus", name, f"parent={MAC}/mdio_bus/stmmac-0", "quiet=1")

    def setUp(self):
        super().setUp()
        self.act("create ethernet P1")
        self.define(*self.definition)

    def define(self, *commands):
        """The lines about the port, and what the plugin told, while it was defined."""
        lines = self.act(*(word.replace("ID", "Ethernet/P1") for word in commands))
        return [line for line in lines if "[Ethernet/P1]" in line or "[Probe]" in line]

    @property
    def port(self):
        return self.bus_object("Ethernet/P1")

    def name(self):
        return self.port.get("DeviceName")

    def attach(self, target="../../../net/ethX", path=ATTACHED):
        self.world.do("link", path, target)


class NameTest(EthernetTest):
    definition = ()

    def test_all_begins_empty(self):
        self.define("eth-export ID")
        self.assertEqual((self.name(), self.port.get("IOState")), ("", 0))

    def test_a_name_given_outright_exports_the_port(self):
        self.define("eth-name ID enp1s0")
        self.assertEqual((self.objects(), self.name()), (["Ethernet/P1"], "enp1s0"))

    def test_a_network_device_names_it_and_exports_nothing(self):
        self.define("eth-udev ID net ethX")
        self.assertEqual(self.objects(), [])
        self.define("eth-export ID")
        self.assertEqual((self.objects(), self.name()), (["Ethernet/P1"], "ethX"))

    def test_without_a_device_the_name_is_cleared(self):
        self.define("eth-name ID first")
        recorder = self.recorder("Ethernet/P1", "PropertiesChanged")
        self.define("eth-udev ID net -")
        recorder.expect([("Ethernet/P1", "PropertiesChanged", {"DeviceName": ""})])
        self.assertEqual(self.objects(), ["Ethernet/P1"])

    def test_a_device_that_is_no_network_interface_ends_the_daemon(self):
        self.world.do("plug", "tty", "ttyX", "quiet=1")
        self.assertAborts(("interface_of", "interface != NULL"), "eth-udev Ethernet/P1 tty ttyX")

    def test_a_name_that_is_no_text_is_made_fit_for_the_bus(self):
        self.world.do("plug", "net", "ethY", "INTERFACE=eth\udcff\x1b", "quiet=1")
        self.define("eth-name ID first", "eth-udev ID net ethY")
        self.assertEqual(self.name(), "eth\ufffd\\x1b")

    def test_it_is_exported_and_withdrawn_at_will(self):
        self.define("eth-export ID")
        self.assertEqual(self.objects(), ["Ethernet/P1"])
        self.define("eth-unexport ID")
        self.assertEqual(self.objects(), [])


class PHYTest(EthernetTest):
    NAME_IT = "eth-mdio ID mdio_bus stmmac-0:01"

    def test_what_is_attached_names_the_port(self):
        self.attach()
        self.assertEqual(self.define(self.NAME_IT), [IS_ATTACHED])
        self.assertEqual(self.name(), "ethX")

    def test_it_exports_nothing(self):
        self.define("eth-unexport ID")
        self.attach()
        self.define(self.NAME_IT)
        self.assertEqual(self.objects(), [])

    def assert_cleared(self, *lines, command=NAME_IT):
        self.assertEqual(self.define(command), list(lines))
        self.assertEqual(self.name(), "")

    def test_no_device_clears_the_name(self):
        self.assert_cleared(command="eth-mdio ID mdio_bus -")

    def test_nothing_attached(self):
        self.assert_cleared(NOT_ATTACHED)

    def test_what_leads_nowhere_is_not_attached(self):
        self.attach("../../../net/ethY")
        self.assert_cleared(NOT_ATTACHED)

    def test_what_udev_does_not_know(self):
        self.world.do("preset", f"/sys/devices/{MAC}/folder/entry", "x")
        self.attach("../../../folder")
        self.assert_cleared(NOT_LISTED)

    def test_a_device_of_another_kind_is_not_found(self):
        self.world.do("plug", "tty", "ttyX", f"parent={MAC}", "quiet=1")
        self.attach("../../../tty/ttyX")
        self.assert_cleared(NOT_LISTED)

    def test_a_name_that_is_no_text_is_made_fit_for_the_log(self):
        self.world.do("plug", "net", "ethY", f"parent={MAC}", "INTERFACE=eth\udcff\x1b", "quiet=1")
        self.attach("../../../net/ethY")
        self.assertEqual(self.define(self.NAME_IT),
                         [IS_ATTACHED.replace("ethX", "eth\ufffd\\x1b")])
        self.assertEqual(self.name(), "eth\ufffd\\x1b")

    def test_a_network_device_without_an_interface_ends_the_daemon(self):
        self.world.do("plug", "net", "ethY", f"parent={MAC}", "quiet=1")
        self.attach("../../../net/ethY")
        self.assertAborts(("interface_of", "interface != NULL"),
                          "eth-mdio Ethernet/P1 mdio_bus stmmac-0:01")


class PollingTest(EthernetTest):
    """The link of the PHY cannot be followed; each attempt to do so is one step of the polling, and
    is counted."""

    COUNT = 1000
    shutdown = ("await /run/go",)
    POLL = f"eth-poll ID {PHY} {ATTACHED}"

    def setUp(self):
        super().setUp()
        self.attach()
        self.detach()

    def tearDown(self):
        self.let_go()
        super().tearDown()

    def let_go(self):
        self.world.run("touch", "/run/go")

    def detach(self, path=ATTACHED, count=COUNT):
        self.world.do("fail", path, "follow", "EACCES", count)

    def steps(self, path=ATTACHED):
        """How often the link was not followed."""
        for line in self.world.do("faults").splitlines():
            if line.startswith(f"{path} "):
                return self.COUNT - int(line.rpartition(" ")[2])
        return self.COUNT

    def wait_for_steps(self, more, path=ATTACHED):
        seen = self.steps(path)
        wait_until(lambda: self.steps(path) >= seen + more, f"{more} more steps", 60)

    def poll_threads(self):
        found = 0
        for task in os.listdir(f"/proc/{self.daemon_pid}/task"):
            with open(f"/proc/{self.daemon_pid}/task/{task}/comm") as file:
                found += file.read() == "Poll_Thread\n"
        return found

    def test_a_late_attachment_is_named_by_the_next_step_and_announced(self):
        self.world.do("heal")
        self.detach(count=2)
        recorder = self.recorder("Ethernet/P1", "PropertiesChanged")
        begin = time.monotonic()
        with self.log("[Ethernet/P1]") as lines:
            self.define(self.POLL)
            recorder.expect([("Ethernet/P1", "PropertiesChanged", {"DeviceName": "ethX"})], 60)
        self.assertGreaterEqual(time.monotonic() - begin, 1.5)
        self.assertEqual(lines, [IS_ATTACHED])

    def test_a_step_comes_half_a_second_after_the_one_before(self):
        self.define(self.POLL)

        def time_of_next_step():
            self.wait_for_steps(1)
            return time.monotonic()

        last = time_of_next_step()
        gaps = []
        # A busy machine puts steps off, never forward.
        while len(gaps) < 3 or (min(gaps) > 0.65 and len(gaps) < 60):
            now = time_of_next_step()
            gaps.append(now - last)
            last = now
        self.assertLessEqual(min(gaps), 0.65)

    def test_what_is_there_already_is_named_by_the_first_step(self):
        self.world.do("heal")
        begin = time.monotonic()
        self.define(self.POLL)
        self.wait_for_log(IS_ATTACHED, 60)
        self.assertGreaterEqual(time.monotonic() - begin, 0.5)
        self.assertEqual(self.name(), "ethX")

    def test_an_attachment_that_comes_as_a_new_entry_is_seen(self):
        self.plug_phy("stmmac-0:02")
        path = f"{BUS}/stmmac-0:02"
        self.define(f"eth-poll ID {path} {path}/attached_dev")
        self.attach(path=f"{path}/attached_dev")
        self.wait_for_log(IS_ATTACHED, 60)

    def test_the_name_stays_as_it_was_until_then(self):
        self.define(self.POLL)
        self.wait_for_steps(3)
        self.assertEqual(self.name(), "first")

    def assert_over(self):
        """The polling of the first port has ended, while that of another goes on."""
        self.plug_phy("stmmac-0:02")
        other = f"{BUS}/stmmac-0:02"
        self.attach(path=f"{other}/attached_dev")
        self.detach(f"{other}/attached_dev")
        self.detach()
        self.act("create ethernet P2", f"eth-poll Ethernet/P2 {other} {other}/attached_dev")
        self.wait_for_steps(3, f"{other}/attached_dev")
        self.assertEqual(self.steps(), 0)
        self.assertEqual(self.poll_threads(), 2)

    def test_a_port_that_is_named_is_polled_no_more_and_its_thread_stays(self):
        self.world.do("heal")
        self.define(self.POLL)
        self.wait_for_log(IS_ATTACHED, 60)
        self.assert_over()

    def test_an_attachment_that_is_no_network_device_ends_it_too(self):
        self.world.do("absent", ATTACHED)
        self.world.do("plug", "tty", "ttyX", f"parent={MAC}", "quiet=1")
        self.world.do("heal")
        self.attach("../../../tty/ttyX")
        self.define(self.POLL)
        self.wait_for_log(NOT_LISTED, 60)
        self.assertEqual(self.name(), "")
        self.assert_over()

    def test_a_phy_that_udev_does_not_know_counts_as_none(self):
        self.world.do("heal")
        with self.log("[Ethernet/P1]") as lines:
            self.define(f"eth-poll ID /sys/devices/nowhere {ATTACHED}")
            wait_until(lambda: self.name() == "", "the name is cleared", 60)
        self.assertEqual(lines, [])

    def assert_no_step_while_the_main_thread_is_busy(self):
        seen = self.steps()
        time.sleep(scaled(1.5))
        self.assertEqual(self.steps(), seen)

    def test_the_steps_are_done_by_the_main_thread(self):
        self.define(self.POLL)
        self.wait_for_steps(1)
        self.send("log 2 busy", "await /run/go")
        self.wait_for_log("<info>  busy")
        self.assert_no_step_while_the_main_thread_is_busy()
        self.let_go()
        self.wait_for_steps(2)

    def test_no_other_thread_takes_them_over_at_the_end(self):
        self.define(self.POLL, self.POLL)
        self.wait_for_steps(2)
        self.daemon.terminate()
        self.wait_for_log("<info>  [Probe] platform_shutdown", 60)
        self.assert_no_step_while_the_main_thread_is_busy()
        self.let_go()
        self.assertEqual(self.wait_for_exit(30), 0)

    def test_waiting_threads_do_not_hold_up_the_end(self):
        self.define(*[self.POLL] * 5)
        wait_until(lambda: self.poll_threads() == 5, "the threads have their name")
        self.let_go()
        begin = time.monotonic()
        self.stop_daemon()
        self.assertLess(time.monotonic() - begin, scaled(10))

    def test_one_step_tells_whether_to_ask_again(self):
        self.assertEqual(self.define(f"eth-check ID {PHY} {ATTACHED}"), ["<info>  [Probe] again"])
        self.assertEqual(self.name(), "first")
        self.world.do("heal")
        self.assertEqual(self.define(f"eth-check ID {PHY} {ATTACHED}"),
                         [IS_ATTACHED, "<info>  [Probe] done"])

    def test_an_attachment_that_leads_nowhere_is_waited_for(self):
        self.world.do("heal")
        self.world.do("absent", ATTACHED)
        self.attach("../../../net/ethY")
        self.assertEqual(self.define(f"eth-check ID {PHY} {ATTACHED}"), ["<info>  [Probe] again"])
        self.assertEqual(self.name(), "first")


class IOStateTest(EthernetTest):
    definition = ("eth-bootenv ID lan_enable", "eth-state ID bootenv", "eth-name ID ethX")
    boot_environment = {"lan_enable": "1"}

    def stored(self):
        settings = configparser.ConfigParser()
        settings.optionxform = str
        settings.read(os.path.join(self.world.settings, "peripheral-settings.conf"))
        return settings.get("Ethernet/P1", "IOState", fallback=None)

    def test_it_is_switched_off_from_the_next_boot_on(self):
        with self.log("[Ethernet/P1]") as lines:
            self.port.SetIOState(1)
        self.assertEqual(lines, ["<info>  [Ethernet/P1] Get method call: SetIOState()",
                                 "<debug> [Ethernet/P1] Write bootenv: lan_enable",
                                 "<info>  [Ethernet/P1] SetIOState() OK, io_state=1"])
        self.assertEqual((self.stored(), self.world.do("env", "lan_enable"),
                          self.port.get("IOState")), ("false", "0\n", 2))

    def test_every_number_but_2_switches_it_off(self):
        for state, value in ((2, "1\n"), (7, "0\n"), (2, "1\n"), (0, "0\n")):
            self.port.SetIOState(state)
            self.assertEqual(self.world.do("env", "lan_enable"), value)

    def test_the_end_writes_the_wish_over_what_was_changed_by_hand(self):
        self.world.do("env", "lan_enable", "0")
        self.stop_daemon()
        self.assertEqual(self.world.do("env", "lan_enable"), "1\n")

    def test_a_port_that_is_off_is_not_available(self):
        self.world.do("env", "lan_enable", "0")
        lines = self.define("eth-state ID bootenv")
        self.assertEqual(lines[-2:], ["<debug> [Ethernet/P1] The interface is not enabled",
                                      "<info>  [Probe] not available"])

    def test_one_without_a_variable_is_on_directly(self):
        self.act("create ethernet P2", "eth-state Ethernet/P2 directly", "eth-export Ethernet/P2")
        self.assertEqual(self.bus_object("Ethernet/P2").get("IOState"), 2)

    def test_one_that_is_not_applicable_refuses(self):
        self.define("eth-state ID 0")
        text = "Cannot set io state for not applicable device"
        with self.log("[Ethernet/P1]") as lines, self.assertBusError("PeripheralNotAvailable", text):
            self.port.SetIOState(2)
        self.assertEqual(lines, ["<info>  [Ethernet/P1] Get method call: SetIOState()",
                                 f"<debug> [Ethernet/P1] SetIOState() failed: {text}"])

    def test_binding_no_name_ends_the_daemon(self):
        self.assertAborts(("bind", "bootenv"), "eth-bootenv Ethernet/P1 -")


if __name__ == "__main__":
    perimond.main()
