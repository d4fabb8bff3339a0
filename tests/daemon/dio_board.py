"""What the tests of digital inputs and outputs share."""

import contextlib
import os
import re

import perimond
from perimond import wait_until

HOOKS = "/etc/tarvel/TarvelPerimond/dio-scripts"
SCRIPTS = "/etc/tarvel/scripts"   # where hooks are installed from
RUNS = "/etc/tarvel/runs"         # what the hooks note
NOISE = re.compile(r"^$|\[Common\] (Read|Write) |_g_io_module")


class DioTest(perimond.DaemonTest):
    """The board has DI1 and DI2 on the lines 16 and 17, DO1 and DO2 on 24 and 25, and DIO1 with
    input 28 and output 29. The hooks' directory is there."""

    environment = {"DIO_SAMPLING_INTERVAL": "5"}
    settings = ""

    def prepare(self):
        os.makedirs(self.here(SCRIPTS))
        if self.settings:
            self.write_settings(self.settings)

    def here(self, path):
        """A path below /etc/tarvel as this side reaches it."""
        return path.replace("/etc/tarvel", os.path.join(self.world.directory, "tarvel"), 1)

    def dio(self, name):
        return self.bus_object(f"DIO/{name}")

    # -- settings

    def write_settings(self, text):
        os.makedirs(self.world.settings, exist_ok=True)
        with open(os.path.join(self.world.settings, "peripheral-settings.conf"), "w") as file:
            file.write(text)

    def stored(self, name):
        """The settings of a channel, as {key: text}."""
        with open(os.path.join(self.world.settings, "peripheral-settings.conf")) as file:
            text = file.read()
        found = re.search(rf"^\[DIO/{name}\]\n((?:.+\n)*)", text, re.MULTILINE)
        return dict(line.split("=", 1) for line in found[1].splitlines()) if found else {}

    # -- threads, lines and the log

    def watchers(self):
        """The names of the threads that sample inputs, sorted."""
        names = []
        for task in os.listdir(f"/proc/{self.daemon_pid}/task"):
            with contextlib.suppress(FileNotFoundError), \
                    open(f"/proc/{self.daemon_pid}/task/{task}/comm") as file:
                names.append(file.read().strip())
        return sorted(name for name in names if name.endswith("-watcher"))

    def turn(self, line, *levels):
        for level in levels:
            self.world.do("turn", line, level)

    def wait_for_readings(self, line, count=2):
        """Waits until a watcher has read the line and acted on what it read."""
        self.world.do("record", "--clear")
        wait_until(lambda: len(self.world.accesses(f"*/gpio{line}/value", ("read",))) >= count,
                   f"readings of line {line}")

    @contextlib.contextmanager
    def changes_of(self, name):
        """After the block, the values that StateChanged told: a list, waited for by expect()."""
        yield self.recorder(f"DIO/{name}", "StateChanged")

    @contextlib.contextmanager
    def lines_of(self, name):
        """The lines about one channel that the block led to."""
        with self.log() as lines:
            yield lines
        lines[:] = [line for line in lines if f"[DIO/{name}]" in line]

    # -- scripts

    def write_script(self, name, text="", mode=0o755, folder=SCRIPTS):
        """A script that notes how it was run; its path on the board."""
        path = os.path.join(folder, name)
        with open(self.here(path), "w") as file:
            file.write(text or f'#!/bin/bash\necho "$0 $# $(id -u)" >> {RUNS}\n')
        os.chmod(self.here(path), mode)
        return path

    def link_hook(self, name, target):
        os.symlink(target, self.here(f"{HOOKS}/{name}.hook"))

    def hook_files(self):
        return sorted(os.listdir(self.here(HOOKS)))

    def runs(self):
        with contextlib.suppress(FileNotFoundError), open(self.here(RUNS)) as file:
            return file.read().splitlines()
        return []

    def wait_for_runs(self, count):
        wait_until(lambda: len(self.runs()) >= count, f"{count} runs of a hook")
        return self.runs()

    def wait_for_property(self, name, member, value):
        wait_until(lambda: self.dio(name).get(member) == value, f"{name}.{member} is {value}")
