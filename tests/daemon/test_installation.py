#!/usr/bin/python3
"""What an installation puts where, and that its headers and its unit are fit for use.

PERIMOND_TEST_BUILD names the build folder.
"""

import json
import os
import shutil
import subprocess
import tempfile
import unittest

import perimond

BUILD = os.environ["PERIMOND_TEST_BUILD"]
SOURCE = os.path.dirname(os.environ["PERIMOND_TEST_DATA"])

PLUGINS = "/usr/lib/aarch64-linux-gnu/tarvelperimond"

# Every installed file but the headers; whoever installs another one says so here. First what lands
# on a computer that only runs the daemon, then what is for authors of plugins.
RUNTIME = """
{prefix}/lib/systemd/system/tarvelperimond.service
{prefix}/lib/sysusers.d/tarvelperimond.conf
{prefix}/lib/tmpfiles.d/tarvelperimond.conf
{prefix}/sbin/tarvelperimond
{prefix}/share/dbus-1/interfaces/com.tarvel.Perimond.Obj.xml
{prefix}/share/dbus-1/interfaces/com.tarvel.Perimond.xml
{prefix}/share/dbus-1/system.d/com.tarvel.Perimond.conf
{prefix}/share/doc/tarvelperimond/bus-api.md
{prefix}/share/doc/tarvelperimond/operator-guide.md
""".split()
DEVELOPMENT = """
{prefix}/bin/tarvelperimond-board
{prefix}/{libexecdir}/tarvelperimond/libsocketcan-board.so
{prefix}/share/doc/tarvelperimond/board/README.md
{prefix}/share/doc/tarvelperimond/plugin-guide.md
{prefix}/share/doc/tarvelperimond/plugins/sim/Makefile
{prefix}/share/doc/tarvelperimond/plugins/sim/perimond-sim.c
{prefix}/share/pkgconfig/tarvelperimond.pc
{prefix}/share/tarvelperimond/boards/perimond-sim.board
""".split()


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


class InstallationTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.root = cls.enterClassContext(tempfile.TemporaryDirectory())
        run("meson", "install", "-C", BUILD, "--no-rebuild", "--quiet", "--destdir", cls.root)
        options = json.loads(run("meson", "introspect", "--buildoptions", BUILD))
        cls.options = {option["name"]: option["value"] for option in options}
        cls.include = os.path.join(cls.options["prefix"], "include/tarvelperimond")
        cls.files = cls.files_below(cls.root)
        cls.headers = [file.removeprefix(cls.include + "/") for file in cls.files
                       if file.startswith(cls.include)]

    @staticmethod
    def files_below(root):
        return sorted(os.path.join(folder, name).removeprefix(root)
                      for folder, _, names in os.walk(root) for name in names)

    def expected(self, *lists):
        return sorted(file.format(**self.options) for files in lists for file in files)

    def text(self, path):
        with open(self.root + path.format(**self.options), encoding="utf-8") as file:
            return file.read()

    def compile(self, *compiler, source):
        # A plugin's own build, by the installed pkg-config file, is tried with the plugins.
        flags = run("pkg-config", "--cflags", "gio-2.0", "gudev-1.0").split()
        run(*compiler, "-Wall", "-Wextra", "-Werror", "-fsyntax-only", *flags,
            f"-I{self.root}{self.include}", "-", input=source)

    def test_exactly_the_expected_files_are_installed(self):
        others = [file for file in self.files if not file.startswith(self.include)]
        self.assertEqual(others, self.expected(RUNTIME, DEVELOPMENT))

    def test_the_daemon_lands_alone_where_nothing_else_is_wanted(self):
        root = self.enterContext(tempfile.TemporaryDirectory())
        run("meson", "install", "-C", BUILD, "--no-rebuild", "--quiet", "--tags", "runtime",
            "--destdir", root)
        self.assertEqual(self.files_below(root), self.expected(RUNTIME))
        self.assertTrue(os.path.isdir(root + PLUGINS))

    def test_without_the_tests_nothing_is_needed_but_what_the_daemon_needs(self):
        build = self.enterContext(tempfile.TemporaryDirectory())
        run("meson", "setup", "-Dtests=false", build, SOURCE)
        introspection = json.loads(run("meson", "introspect", "--dependencies", "--targets", build))
        names = {dependency["name"] for dependency in introspection["dependencies"]}
        self.assertIn("glib-2.0", names)
        self.assertEqual(names & {"fuse3", "gtest", "libsystemd"}, set())
        self.assertEqual({target["name"] for target in introspection["targets"]
                          if target["type"] == "executable"}, {"tarvelperimond"})
        self.assertEqual([target["name"] for target in introspection["targets"]
                          if "plugin" in target["name"]], [])

    def test_the_tests_are_refused_without_what_they_run_on(self):
        build = self.enterContext(tempfile.TemporaryDirectory())
        refused = subprocess.run(["meson", "setup", "-Dboard=disabled", build, SOURCE], text=True,
                                 stdout=subprocess.PIPE, check=False)
        self.assertNotEqual(refused.returncode, 0)
        self.assertIn("the tests run the daemon on the board", refused.stdout)

    def test_the_daemon_is_hardened(self):
        daemon = self.root + "{prefix}/sbin/tarvelperimond".format(**self.options)
        headers = run("readelf", "-hlW", daemon)
        self.assertRegex(headers, r"Type: +DYN \(Position-Independent Executable file\)")
        self.assertRegex(headers, r"(?m)^ +GNU_RELRO ")
        self.assertRegex(headers, r"(?m)^ +GNU_STACK .* RW +0x")
        dynamic = run("readelf", "-dW", daemon)
        self.assertRegex(dynamic, r"\(FLAGS\) +BIND_NOW")
        self.assertRegex(dynamic, r"\(FLAGS_1\) +Flags: NOW")
        self.assertNotIn("TEXTREL", dynamic)
        symbols = run("readelf", "--dyn-syms", "-W", daemon)
        self.assertIn(" __stack_chk_fail@", symbols)
        with open(daemon, "rb") as file:
            self.assertEqual(b"Assertion '%s' failed" in file.read(),
                             self.options["b_sanitize"] == "none", "checks of the C++ library")
        # glibc checks nothing for a sanitizer, nor without an optimiser.
        if self.options["b_sanitize"] == "none" and self.options["optimization"] not in "plain0":
            self.assertRegex(symbols, r" __v?(read|memcpy|snprintf|f?printf)_chk@")

    def test_each_header_stands_alone_in_c(self):
        self.assertIn("zolv-gdbus-object.h", self.headers)
        for header in self.headers:
            with self.subTest(header):
                self.compile("cc", "-x", "c", "-std=gnu11", source=f"#include <{header}>\n")

    def test_all_headers_together_are_fit_for_cxx(self):
        source = "".join(f"#include <{header}>\n" for header in self.headers)
        self.compile("c++", "-x", "c++", "-std=c++20", source=source)

    def test_plugin_authors_learn_where_plugins_go(self):
        self.assertIn("\nplugindir=/usr/lib/aarch64-linux-gnu/tarvelperimond\n",
                      self.text("{prefix}/share/pkgconfig/tarvelperimond.pc"))
        self.assertTrue(os.path.isdir(self.root + PLUGINS))

    def test_the_unit_starts_the_daemon_and_waits_for_its_name(self):
        unit = self.text("{prefix}/lib/systemd/system/tarvelperimond.service").splitlines()
        for line in ("Type=dbus", "BusName=com.tarvel.Perimond", "Restart=always", "UMask=0022",
                     "LimitCORE=0", "LockPersonality=yes", "ProtectHostname=yes",
                     "RestrictNamespaces=yes", "RestrictRealtime=yes", "RestrictSUIDSGID=yes",
                     "SystemCallArchitectures=native",
                     "SystemCallFilter=~@clock @cpu-emulation @debug @obsolete @swap",
                     "ExecStart={prefix}/sbin/tarvelperimond".format(**self.options)):
            self.assertIn(line, unit)

    def test_the_unit_keeps_the_mounts_and_the_rights_that_the_daemon_needs(self):
        unit = self.text("{prefix}/lib/systemd/system/tarvelperimond.service").splitlines()
        settings = [line for line in unit if not line.startswith("#")]
        dropped = " ".join(line for line in settings if line.startswith("CapabilityBoundingSet="))
        for capability in ("CAP_DAC_OVERRIDE", "CAP_NET_ADMIN", "CAP_SYS_ADMIN", "CAP_SYS_BOOT",
                           "CAP_SYS_MODULE"):
            self.assertNotIn(capability, dropped)
        for setting in ("ProtectSystem", "ProtectHome", "ProtectKernelTunables",
                        "ProtectKernelModules", "ProtectKernelLogs", "ProtectControlGroups",
                        "ProtectClock", "PrivateTmp", "PrivateDevices", "PrivateMounts",
                        "ReadOnlyPaths", "InaccessiblePaths", "DeviceAllow"):
            self.assertFalse([line for line in settings if line.startswith(setting + "=")], setting)

    def test_systemd_accepts_the_unit_and_finds_it_guarded(self):
        """7.1 of 10; the rest is what the daemon and its scripts are there for."""
        unit = os.path.join(self.enterContext(tempfile.TemporaryDirectory()),
                            "tarvelperimond.service")
        with open(unit, "w", encoding="utf-8") as file:
            installed = self.text("{prefix}/lib/systemd/system/tarvelperimond.service")
            file.write(installed.replace("ExecStart=", "ExecStart=" + self.root))
        self.assertEqual(run("systemd-analyze", "verify", unit, stderr=subprocess.STDOUT), "")
        run("systemd-analyze", "security", "--offline=yes", "--threshold=71", unit)

    def set_up_by_systemd(self, program, entries, *options):
        """A root folder in which systemd has done what our entries say."""
        root = self.enterContext(tempfile.TemporaryDirectory())
        os.mkdir(os.path.join(root, "etc"))
        shutil.copytree(self.root + os.path.join(self.options["prefix"], "lib", entries),
                        os.path.join(root, "usr/lib", entries))
        run(program, "--root=" + root, *options)
        return root

    def test_the_folders_and_the_lock_of_the_boot_environment_are_made(self):
        root = self.set_up_by_systemd("systemd-tmpfiles", "tmpfiles.d", "--create")
        for path, mode in {
            "etc/tarvel/TarvelPerimond": 0o40755,
            "etc/tarvel/TarvelPerimond/button-scripts": 0o40755,
            "etc/tarvel/TarvelPerimond/dio-scripts": 0o40755,
            "run/lock/fw_printenv.lock": 0o100600,
        }.items():
            with self.subTest(path):
                status = os.stat(os.path.join(root, path))
                self.assertEqual((status.st_mode, status.st_uid, status.st_gid), (mode, 0, 0))

    def test_the_group_of_the_policy_is_made_and_empty(self):
        root = self.set_up_by_systemd("systemd-sysusers", "sysusers.d")
        with open(os.path.join(root, "etc/group"), encoding="utf-8") as file:
            self.assertRegex(file.read(), r"(?m)^perimond:.*:$")


if __name__ == "__main__":
    perimond.main()
