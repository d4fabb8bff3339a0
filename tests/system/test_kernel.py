"""What the daemon asks of the kernel for a model plugin, and hears from it besides device events."""

import unittest

from boardtest import FOLDER, PLUGIN, UNIT, BoardTest
from emuboard.product import Product

PROBE = Product(FOLDER).build_folder / "tests/plugin/probe.so"
SETTINGS = f"/run/systemd/system/{UNIT}.d/probe.conf"


class PluginHelpersTest(BoardTest):
    def restart_with(self, *commands):
        """Starts the daemon with a plugin that does what it is told; returns the daemon's lines."""
        self.board.put(PLUGIN, PROBE.read_bytes())
        self.board.call(f"mkdir -p $(dirname {SETTINGS})")
        self.board.put(SETTINGS, f'[Service]\nEnvironment="PROBE_INIT={";".join(commands)}"\n'.encode())
        self.systemctl("daemon-reload")
        return self.restart()

    def test_an_i2c_device_is_made_on_the_adapter_of_that_name(self):
        devices = "/sys/bus/i2c/devices"
        self.assertEqual(self.board.call(f"grep -l ^i2c {devices}/i2c-*/name"),
                         f"{devices}/i2c-0/name")
        lines = self.restart_with("i2c i2c expander 0x20", "i2c absent expander 0x21")
        self.assertEqual(self.board.call(f"cd {devices} && grep . */name"),
                         "0-0020/name:expander\ni2c-0/name:i2c")
        self.assertIn("<error> Failed to find i2c device: absent", lines)
        self.assertEqual([line for line in lines if line.startswith("<info>  [Probe] expander")],
                         ["<info>  [Probe] expander is bound", "<info>  [Probe] expander is not bound"])
        # The address is taken now.
        lines = self.restart_with("i2c i2c expander 0x20")
        self.assertIn("<info>  [Probe] expander is not bound", lines)
        self.assertEqual(len([line for line in lines if line.startswith(
            "<error> Failed to bind i2c device: ")]), 1)

    def test_a_module_is_loaded(self):
        self.assertNotIn("fuse", self.modules())
        self.restart_with("modprobe fuse")
        self.assertIn("fuse", self.modules())

    def modules(self):
        return [line.split()[0] for line in self.board.call("cat /proc/modules").splitlines()]


class MountTableTest(BoardTest):
    def test_a_change_of_the_mount_table_is_heard(self):
        for command in "mount -t tmpfs none /mnt", "umount /mnt":
            mark = self.mark()
            self.board.call(command)
            self.wait_lines(mark, lambda lines: "<info>  [Manager] mount table changed" in lines,
                            command)


if __name__ == "__main__":
    unittest.main(verbosity=2)
