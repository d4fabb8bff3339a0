"""Tests that tell the daemon's plugin what to do; tests/plugin/probe.c lists the commands."""

import itertools
import re

import perimond

DEVICE = ("net", "probe")

# What GIO says to a bus daemon in another namespace; it ends without a newline.
_GIO = re.compile(r".*Using cross-namespace EXTERNAL authentication \([^)]*\)")


def own_lines(lines):
    """The lines without what GIO says of the connection."""
    return [line for line in (_GIO.sub("", line) for line in lines) if line]


class ProbeTest(perimond.DaemonTest):
    plugin = "probe"
    init = ()      # commands of platform_init
    shutdown = ()  # commands of platform_shutdown
    _numbers = itertools.count()

    def prepare(self):
        self.world.do("plug", *DEVICE, "quiet=1")
        self.environment = {**self.environment, "PROBE_INIT": ";".join(self.init),
                            "PROBE_SHUTDOWN": ";".join(self.shutdown)}

    def send(self, *commands):
        """Has the plugin act; what ends the daemon is not waited for."""
        self.world.do("change", *DEVICE, "COMMAND=" + ";".join(commands))

    def act(self, *commands):
        """The lines that the daemon writes while the plugin acts."""
        end = f"end-{next(self._numbers)}"
        mark = len(self.log_lines())
        self.send(*commands, f"log 2 {end}")
        self.wait_for_log(f"<info>  {end}")
        lines = self.log_lines()[mark:]
        begin = lines.index("<info>  [Probe] change net '/sys/devices/platform/board/net/probe'")
        return lines[begin + 1:lines.index(f"<info>  {end}")]

    def assertAborts(self, assertion, *commands):
        """The commands end the daemon with that assertion, as function and text."""
        self.send(*commands)
        self.assertEqual(self.wait_for_exit(), -6)
        function, text = assertion
        expected = f":{function}: assertion failed: ({text})" if text else \
            f":{function}: code should not be reached"
        self.assertTrue(any(expected in line for line in self.error_lines()),
                        f"{expected} is not in {self.error_lines()}")
