"""What the daemon asks of the kernel for a model plugin, and hears from it besides device events."""

import unittest

from boardtest import HERE, PLUGIN, BoardTest


class PluginHelpersTest(BoardTest):
    def test_an_i2c_device_is_made_and_a_module_loaded(self):
        devices = "/sys/bus/i2c/devices"
        self.assertEqual(self.board.call(f"grep -l ^i2c {devices}/i2c-*/name"),
                         f"{devices}/i2c-0/name")
        self.assertNotIn("fuse", self.modules())
        self.install_plugin(HERE / "plugin-helpers.c")
        lines = self.restart()
        self.assertEqual(self.board.call(f"cat {devices}/0-0020/name"), "expander")
        self.assertIn("fuse", self.modules())
        # There is one adapter; the device is not made twice, and a missing adapter is told.
        self.assertIn("<error> Failed to find i2c device: no such adapter", lines)
        self.assertEqual([line for line in lines if "Failed to bind" in line], [])
        lines = self.restart()
        self.assertEqual(len([line for line in lines if "Failed to bind i2c device" in line]), 1)

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
