#!/usr/bin/python3
"""The board that the demonstration and plugin authors start with is a whole computer."""

import os

import perimond


class DefaultBoardTest(perimond.DaemonTest):
    log_level = "INFO"
    delivered_settings = True

    def test_a_start_warns_of_nothing(self):
        self.assertEqual([line for line in self.log_lines()
                          if line.startswith(("<warn>", "<error>"))], [])

    def test_its_network_ports_have_the_names_of_their_interfaces(self):
        self.assertEqual([self.bus_object(port).get("DeviceName") for port in
                          ("CAN/CAN1", "Ethernet/LAN1", "Ethernet/LAN2")], ["can0", "lan0", "lan1"])
        self.assertEqual([self.bus_object("CAN/CAN1").get(name) for name in
                          ("MaximumSupportedBitrate", "IOState", "Terminator")], [1000000, 2, 1])
        self.world.do("unplug", "net", "can0")
        perimond.wait_until(lambda: self.bus_object("CAN/CAN1").get("DeviceName") == "",
                            "the controller is gone")

    def test_hooks_and_actions_can_be_added_and_listed_at_once(self):
        script = os.path.join(self.world.directory, "mine.sh")
        with open(script, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n")
        self.bus_object("DIO/DI1").AddHook("mine", script)
        self.assertIn("mine", self.bus_object("DIO/DI1").ListHook())
        self.bus_object("Button/RESET").AddAction("mine", script)
        self.assertEqual([name for name, *_ in sorted(self.bus_object("Button/RESET").ListAction())],
                         ["default", "factory-reset", "mine", "user-defined"])

    def test_a_press_runs_the_delivered_action(self):
        self.world.do("press", "reset")
        perimond.wait_until(
            lambda: os.path.exists(self.world.path("/run/default-action"))
            and "release 0" in self.world.read("/run/default-action"), "the action runs")

    def test_settings_outlast_the_computer(self):
        """A board that is started again delivers only what is missing."""
        path = os.path.join(self.world.settings, "peripheral-settings.conf")
        with open(path, encoding="utf-8") as file:
            delivered = file.read()
        self.world.do("setting", "DIO/DI1", "Event=3", "HookName=x")
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), delivered)
        self.world.do("setting", "DIO/DI1", "More=3")
        self.world.do("setting", "DIO/NEW", "Event=3")
        with open(path, encoding="utf-8") as file:
            self.assertEqual(
                file.read(),
                delivered.replace("[DIO/DI1]\n", "[DIO/DI1]\nMore=3\n") + "[DIO/NEW]\nEvent=3\n")


if __name__ == "__main__":
    perimond.main()
