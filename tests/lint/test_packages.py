"""The lists of Debian packages, and what installs them."""

import pathlib
import subprocess
import tempfile
import unittest

import perimond.tap

TOOLS = pathlib.Path(__file__).resolve().parents[2] / "tools"
LISTS = sorted(TOOLS.glob("packages-*"))


def names(path):
    return [word for line in path.read_text().splitlines() for word in line.split("#")[0].split()]


class ListsTest(unittest.TestCase):
    def test_a_package_stands_once_in_all_lists(self):
        packages = sorted(name for path in LISTS for name in names(path))
        self.assertEqual(packages, sorted(set(packages)))

    def test_the_lists_are_in_order(self):
        for path in LISTS:
            with self.subTest(path.name):
                self.assertEqual(names(path), sorted(names(path)))


class InstallTest(unittest.TestCase):
    """The programs around it note how they were called; "here" is installed."""

    PROGRAMS = {"dpkg-query": 'case $* in *" here") printf installed ;; *) exit 1 ;; esac',
                "apt-get": 'echo "apt-get $*" >> "$FOLDER/calls"; '
                           'case $* in *update) [ -e "$FOLDER/updated" ] || { touch "$FOLDER/updated"; '
                           'echo "E: Could not get lock /var/lib/apt/lists/lock" >&2; exit 100; } ;; esac',
                "sleep": ":", "id": 'echo "${AS_USER-0}"'}
    USUAL = ("sh", "sed", "tr", "sort", "mktemp", "rm", "env", "grep", "cat", "touch")

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name in self.USUAL:
            (self.folder / name).symlink_to(f"/bin/{name}")
        for name, text in self.PROGRAMS.items():
            (self.folder / name).write_text(f"#!/bin/sh\n{text}\n")
            (self.folder / name).chmod(0o755)
        for name, text in ("one", "here second # a comment\n"), ("two", "second\nfirst\n"):
            (self.folder / name).write_text(text)

    def install(self, *lists, **environment):
        """The exit status and the output of an installation, and the calls of apt-get."""
        done = subprocess.run(
            ["/bin/sh", TOOLS / "install-packages", *[self.folder / name for name in lists]],
            env={"PATH": str(self.folder), "FOLDER": str(self.folder), "TMPDIR": str(self.folder),
                 **environment}, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        calls = self.folder / "calls"
        return done.returncode, done.stdout, calls.read_text() if calls.exists() else ""

    def test_each_missing_package_is_named_once_before_it_is_installed(self):
        status, text, _ = self.install("one", "two")
        self.assertEqual((status, text), (0, "Missing packages: first second\nInstalling them ...\n"))

    def test_it_waits_for_another_installation_and_another_update(self):
        wait = "apt-get -q -o DPkg::Lock::Timeout=600"
        self.assertEqual(self.install("one", "two")[2],
                         f"{wait} update\n{wait} update\n"
                         f"{wait} install -y --no-install-recommends first second\n")

    def test_who_may_not_install_is_told_what_to_install(self):
        status, text, calls = self.install("one", AS_USER="1000")
        self.assertEqual((status, text, calls), (
            1, "Missing packages: second\n"
            "Become root, or install sudo, for: apt-get install second\n", ""))

    def test_nothing_is_said_where_nothing_is_missing(self):
        (self.folder / "none").write_text("here\n")
        self.assertEqual(self.install("none", AS_USER="1000"), (0, "", ""))


if __name__ == "__main__":
    perimond.tap.main()
