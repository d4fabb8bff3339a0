"""What the daemon exports is what its public headers declare, and what plugins need is there.

PERIMOND_TEST_STAGE names the folder of the staged headers; PERIMOND_TEST_ALL_PLUGINS the plugins.
"""

import os
import re
import subprocess
import unittest

from perimond import tap

DAEMON = os.environ["PERIMOND_TEST_DAEMON"]
STAGE = os.environ["PERIMOND_TEST_STAGE"]
PLUGINS = os.environ["PERIMOND_TEST_ALL_PLUGINS"].split(os.pathsep)

# What a plugin implements; the headers declare it too.
ENTRY_POINTS = {"platform_init", "platform_shutdown", "uevent_handler"}

# The functions that the core promises to plugins, by their common beginning.
PROMISED = {
    "tvl_log_": "setup set_level shutdown",
    "zolv_core_error_": "quark get_type",
    "zolv_base_manager_":
        "get_type new start shutdown create_new_object get_object remove_object add_led_service "
        "add_sim_led_service add_ptn_led_service update_signal_level update_signal_strength "
        "update_conn_state update_sim_leds",
    "zolv_obj_":
        "get_type new export unexport define_sysfs_path get_name get_peripheral_type "
        "get_sysfs_path get_id is_exported",
    "zolv_led_": "get_type define_label define_alias get_label set_state get_state",
    "zolv_led_gpio_": "get_type define_gpio",
    "zolv_signal_led_service_":
        "get_type new update_signal_level update_signal_strength update_conn_state",
    "zolv_sim_led_service_": "get_type new update_leds",
    "zolv_partition_led_service_": "get_type new update_led",
    "zolv_disk_":
        "get_type define_disk_type define_is_system_disk bind_bootenv enable_directly "
        "enable_by_bootenv init_iostate export unexport get_is_system_disk get_auto_mount_setting "
        "get_disk_type is_available get_device_name_length init_floating_system_disk device_add "
        "device_change device_remove",
    "zolv_partition_":
        "get_type bind_disk define_device initialize update_info is_mount mount unmount "
        "initialize_luks remap_luks luks_init luks_open luks_close luks_changekey format "
        "blkid_lookup_value get_uuid get_filesystem_type",
    "zolv_helper_":
        "set_sysfs_gpio_value get_sysfs_gpio_value set_sysfs_gpio_direction "
        "get_sysfs_gpio_direction set_sysfs_gpio_active_low get_sysfs_gpio_active_low "
        "set_sysfs_led_trigger get_sysfs_led_trigger set_sysfs_led_brightness "
        "get_sysfs_led_brightness set_sysfs_pwm_value get_sysfs_pwm_value set_sysfs_pwm_polarity "
        "get_sysfs_pwm_polarity set_sysfs_pwm_state get_sysfs_pwm_state bind_sysfs_i2c_device "
        "modprobe config_get_guint config_set_guint config_get_gboolean config_set_gboolean "
        "config_get_string config_set_string luks_get_key luks_set_key "
        "get_ubootenv_variable set_ubootenv_variable read_file read_file_as_uchar "
        "write_file create_file create_symlink execute_file read_flash_otp copy_file delete_file "
        "delete_directory move_file",
}

DECLARATION = re.compile(
    r'__attribute__\s*\(\(visibility\("default"\)\)\)\s+[^;{}()]*?\b(\w+)\s*\(')


def output(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def symbols(path, *options):
    """The names in the dynamic symbol table."""
    return {line.split()[-1] for line in output("nm", "-D", *options, path).splitlines()}


class ExportTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.exported = symbols(DAEMON, "--defined-only")
        flags = output("pkg-config", "--cflags", "gio-2.0", "gudev-1.0").split()
        headers = [os.path.relpath(os.path.join(folder, name), STAGE)
                   for folder, _, names in os.walk(STAGE) for name in names]
        text = output("cc", "-E", "-P", "-x", "c", *flags, f"-I{STAGE}", "-",
                      input="".join(f"#include <{header}>\n" for header in headers))
        cls.declared = set(DECLARATION.findall(text))

    def test_exactly_the_functions_of_the_public_headers_are_exported(self):
        self.assertGreater(len(self.declared), 50)
        self.assertEqual(sorted(self.exported), sorted(self.declared - ENTRY_POINTS))

    def test_the_headers_declare_what_a_plugin_implements(self):
        self.assertLessEqual(ENTRY_POINTS, self.declared)

    def test_the_promised_functions_are_exported(self):
        promised = {"_tvl_log"} | {start + name for start, names in PROMISED.items()
                                   for name in names.split()}
        self.assertEqual(sorted(promised - self.exported), [])

    def test_only_functions_are_exported(self):
        kinds = {line.split()[1] for line in
                 output("nm", "-D", "--defined-only", DAEMON).splitlines()}
        self.assertEqual(kinds, {"T"})

    def test_every_function_that_a_plugin_needs_of_the_daemon_is_exported(self):
        for plugin in PLUGINS:
            needed = {name for name in symbols(plugin, "--undefined-only")
                      if name.startswith(("zolv_", "_tvl_", "tvl_"))}
            with self.subTest(os.path.basename(plugin)):
                self.assertGreater(len(needed), 2)
                self.assertEqual(sorted(needed - self.exported), [])

    def test_a_header_is_strict_c(self):
        flags = [flag.replace("-I", "-isystem", 1) for flag in
                 output("pkg-config", "--cflags", "gio-2.0", "gudev-1.0").split()]
        subprocess.run(["cc", "-std=c11", "-Wpedantic", "-Wall", "-Wextra", "-Werror", "-x", "c",
                        "-fsyntax-only", *flags, f"-I{STAGE}", "-"], check=True, text=True,
                       input="#include <tarvelperimond.h>\n")

    def test_the_one_header_brings_all_others(self):
        flags = output("pkg-config", "--cflags", "gio-2.0", "gudev-1.0").split()
        text = output("cc", "-E", "-P", "-x", "c", *flags, f"-I{STAGE}", "-",
                      input="#include <tarvelperimond.h>\n")
        self.assertEqual(sorted(self.declared - set(DECLARATION.findall(text))), [])


if __name__ == "__main__":
    tap.main()
