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
