"""Which model plugin is loaded, and every way in which that fails."""

import os

import perimond
from probe import own_lines

CHOSEN = "<info>  [Manager] Use model plugin '{}'"


class StartTest(perimond.DaemonTest):
    plugin = None
    starts = False
    log_level = "INFO"

    def use(self, model):
        self.world.do("env", "modelname", model)

    def model_plugin(self):
        """The plugin that the started daemon chose."""
        line, = (line for line in self.log_lines() if "Use model plugin" in line)
        return line.split("'")[1]

    def assertFails(self, *lines):
        """The daemon says these lines between its bus and its end, and exits with 0."""
        self.start_daemon(wait=False)
        self.assertEqual(self.wait_for_exit(), 0)
        *seen, last = own_lines(self.log_lines())
        self.assertEqual(seen, ["<info>  [Manager] TarvelPerimond process started",
                                "<info>  [Manager] Acquired system bus", *lines])
        self.assertEqual(last, "<info>  [Manager] TarvelPerimond process shut down")

    def assertCreationFails(self, message, *lines):
        self.assertFails(*lines, f"<error> [Manager] Failed to create manager: {message}")


class ModelTest(StartTest):
    def assertIdentified(self, model, plugin):
        self.use(model)
        self.install_plugin("probe", plugin)
        self.start_daemon()
        self.assertEqual(self.model_plugin(), plugin)
        self.assertEqual(self.bus_object("").get("ModelName"), model)

    def test_a_suffix_that_the_table_does_not_know_selects_its_beginning(self):
        self.assertIdentified("QX-1110-T-CT-9", "libzolv-model-qx-1110.so")

    def test_letter_case_does_not_matter(self):
        self.assertIdentified("rb-500-T-lite", "libzolv-model-rb-500_no_socket.so")

    def test_models_share_a_plugin(self):
        self.assertIdentified("QX-2210", "libzolv-model-qx-1110.so")

    def test_a_longer_name_wins_over_the_shorter_one(self):
        self.assertIdentified("RB-500-T-EU", "libzolv-model-rb-500.so")

    def test_an_unknown_model_ends_the_start(self):
        self.use("ZZ-1")
        self.assertCreationFails("model 'ZZ-1' not supported")

    def test_the_beginning_of_a_model_name_is_unknown(self):
        self.use("QX-111")
        self.assertCreationFails("model 'QX-111' not supported")

    def test_an_empty_model_name_is_unknown(self):
        self.use("")
        self.assertCreationFails("model '' not supported")

    def test_a_model_name_that_is_not_utf_8_is_made_readable(self):
        self.use("\udcff\n")
        self.assertCreationFails("model '\ufffd\\n' not supported")

    def test_a_missing_model_name_ends_the_start(self):
        self.world.do("unenv", "modelname")
        self.assertCreationFails("read 'modelname' from ubootenv failed")

    def test_a_missing_serial_number_ends_the_start(self):
        self.world.do("unenv", "serialnumber")
        self.assertCreationFails("read 'serialnumber' from ubootenv failed")

    def test_the_model_name_is_read_before_the_serial_number(self):
        self.world.do("unenv", "serialnumber")
        self.world.do("unenv", "modelname")
        self.assertCreationFails("read 'modelname' from ubootenv failed")

    def test_the_serial_number_is_read_before_the_model_is_looked_up(self):
        self.world.do("unenv", "serialnumber")
        self.use("ZZ-1")
        self.assertCreationFails("read 'serialnumber' from ubootenv failed")

    def test_a_variable_longer_than_its_buffer_is_a_failed_read(self):
        self.use("PERIMOND-SIM" + "x" * 300)
        self.assertCreationFails("read 'modelname' from ubootenv failed")

    def test_the_longest_variable_is_read_whole(self):
        name = "PERIMOND-SIM".ljust(255, "x")
        self.use(name)
        self.install_plugin("probe")
        self.start_daemon()
        self.assertEqual(self.bus_object("").get("ModelName"), name)

    def test_a_damaged_boot_environment_ends_the_start(self):
        with open(os.path.join(self.world.directory, "env.bin"), "r+b") as file:
            file.write(b"\xff" * 64)
        self.assertCreationFails("libubootenv open failed")

    def test_a_missing_boot_environment_ends_the_start(self):
        os.unlink(os.path.join(self.world.directory, "env.bin"))
        self.assertCreationFails("libubootenv read config file '/etc/fw_env.config' error")

    def test_without_a_description_of_the_boot_environment_the_start_ends(self):
        self.world.run("rm", "/etc/fw_env.config")
        self.assertCreationFails("libubootenv read config file '/etc/fw_env.config' error")

    def test_a_description_of_zero_bytes_ends_the_start(self):
        # What a power loss leaves. Of lines that it cannot read the library itself loses memory.
        self.world.run("sh", "-c", "head -c 300 /dev/zero > /etc/fw_env.config")
        self.assertCreationFails("libubootenv read config file '/etc/fw_env.config' error")


class PluginTest(StartTest):
    FILE = "libzolv-model-perimond-sim.so"
    FOLDER = "/usr/lib/aarch64-linux-gnu/tarvelperimond/"

    def assertNotLoaded(self, reason):
        self.assertCreationFails(f"failed to load plugin '{self.FILE}'",
                                 CHOSEN.format(self.FILE),
                                 f"<error> [Manager] Plugin not loaded: {reason}")

    def assertEntryPointMissing(self, plugin, name):
        self.install_plugin(plugin)
        self.assertCreationFails(f"failed to load '{name}' function from plugin",
                                 CHOSEN.format(self.FILE))

    def test_a_missing_plugin_ends_the_start(self):
        self.assertNotLoaded(f"{self.FOLDER}{self.FILE}: cannot open shared object file: "
                             "No such file or directory")

    def test_a_plugin_that_is_no_library_ends_the_start(self):
        with open(os.path.join(self.world.plugins, self.FILE), "w") as file:
            file.write("not a library\n")
        self.assertNotLoaded(f"{self.FOLDER}{self.FILE}: file too short")

    def test_a_plugin_that_needs_data_that_nobody_has_ends_the_start(self):
        self.install_plugin("unresolved")
        self.assertNotLoaded(f"{self.FOLDER}{self.FILE}: undefined symbol: data_that_nobody_has")

    def test_a_plugin_without_platform_init_ends_the_start(self):
        self.assertEntryPointMissing("no-init", "platform_init")

    def test_a_plugin_without_platform_shutdown_ends_the_start(self):
        self.assertEntryPointMissing("no-shutdown", "platform_shutdown")

    def test_a_plugin_without_uevent_handler_ends_the_start(self):
        self.assertEntryPointMissing("no-handler", "uevent_handler")

    def test_platform_init_is_looked_for_first(self):
        self.assertEntryPointMissing("no-entry", "platform_init")

    def test_the_security_state_is_decided_before_the_entry_points_are_looked_for(self):
        self.install_plugin("no-entry")
        self.world.do("preset", "/sys/devices/soc0/family", "Other family")
        self.start_daemon(wait=False, LOG_LEVEL="DEBUG")
        self.assertEqual(self.wait_for_exit(), 0)
        lines = self.log_lines()
        self.assertLess(lines.index("<debug> [Manager] SoC 'Other'"),
                        lines.index("<error> [Manager] Failed to create manager: failed to load "
                                    "'platform_init' function from plugin"))


if __name__ == "__main__":
    perimond.main()
