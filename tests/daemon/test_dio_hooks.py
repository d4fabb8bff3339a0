"""Hooks: scripts that run when an input changes."""

import os
import shutil
import socket
import stat
import time

import perimond
from dio_board import HOOKS, RUNS, SCRIPTS, DioTest
from gi.repository import GLib
from perimond import scaled
from probe import ProbeTest

GIO_ERROR = "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code{}"
NAME_RULE = ('Hook name only allows uppercase letters, lowercase letters, numbers, '
             '"-" and "_"')


class HookTest(DioTest):
    def install(self, name, script=None):
        """A hook that notes its runs, by way of DI2."""
        self.dio("DI2").AddHook(name, self.write_script(script or f"{name}.sh"))

    def arm(self, channel, name, event=3):
        """Selects a hook, and waits until the watcher has seen it."""
        self.dio(channel).SetEvent(event)
        self.dio(channel).SetHook(name)
        self.wait_for_property(channel, "Active", 1)


class RemovedChannelTest(HookTest, ProbeTest):
    def prepare(self):
        HookTest.prepare(self)
        ProbeTest.prepare(self)

    def test_a_channel_that_is_removed_does_not_hold_its_hook(self):
        self.act("create dio DI1", "dio-gpio DIO/DI1 16 0", "hook DIO/DI1",
                 "create dio DI2", "dio-gpio DIO/DI2 17 0", "hook DIO/DI2")
        self.install("first")
        self.dio("DI1").SetHook("first")
        with self.assertBusError("OperationNotPermitted", "Hook is set by other DIs"):
            self.dio("DI2").DeleteHook("first")
        self.act("remove DIO/DI1")
        self.dio("DI2").DeleteHook("first")


class AddTest(HookTest):
    def refusal(self, name, path, error, message):
        before = self.hook_files()
        with self.lines_of("DI1") as lines, self.assertBusError(error, message):
            self.dio("DI1").AddHook(name, path)
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: AddHook()",
                                 f"<error> [DIO/DI1] AddHook() failed: {message}"])
        self.assertEqual(self.hook_files(), before)

    def test_a_hook_is_a_copy_that_runs_and_a_link_to_it(self):
        path = self.write_script("one.sh", "#!/bin/true\n", mode=0o600)
        with self.lines_of("DI1") as lines:
            self.dio("DI1").AddHook("first", path)
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: AddHook()",
                                 "<debug> [DIO/DI1] AddHook() OK"])
        self.assertEqual(self.hook_files(), ["first.hook", "one.sh"])
        self.assertEqual(os.readlink(self.here(f"{HOOKS}/first.hook")), f"{HOOKS}/one.sh")
        info = os.lstat(self.here(f"{HOOKS}/one.sh"))
        self.assertEqual(info.st_mode, stat.S_IFREG | 0o755)
        with open(self.here(f"{HOOKS}/one.sh")) as file:
            self.assertEqual(file.read(), "#!/bin/true\n")

    def test_a_new_hook_is_selected_by_nobody(self):
        self.install("first")
        self.assertEqual([self.dio(name).get("HookName") for name in ("DI1", "DI2", "DIO1")],
                         ["none"] * 3)

    def test_an_output_adds_no_hook_whatever_else_is_wrong(self):
        with self.assertBusError("OperationNotSupported", "Adding DO hook is not allowed"):
            self.dio("DO1").AddHook("a b", "/nowhere")

    def test_a_script_that_is_not_there_is_the_next_fault(self):
        for path in ("/nowhere", "", "/dev/null/x", f"{SCRIPTS}/" + "x" * 300):
            with self.subTest(path):
                self.refusal("a" * 40, path, "InvalidArgument", "Source hook script is not exist")

    def test_a_link_to_itself_or_to_nowhere_is_not_there(self):
        os.symlink("loop", self.here(f"{SCRIPTS}/loop"))
        os.symlink("nowhere", self.here(f"{SCRIPTS}/dangling"))
        for name in ("loop", "dangling"):
            with self.subTest(name):
                self.refusal("name", f"{SCRIPTS}/{name}", "InvalidArgument",
                             "Source hook script is not exist")

    def test_a_script_that_is_no_regular_file_is_the_next_fault(self):
        os.mkfifo(self.here(f"{SCRIPTS}/fifo"))
        place = socket.socket(socket.AF_UNIX)
        self.addCleanup(place.close)
        place.bind(self.here(f"{SCRIPTS}/socket"))
        for path in (f"{SCRIPTS}/fifo", f"{SCRIPTS}/socket", SCRIPTS, f"{SCRIPTS}/..", "/dev/null"):
            with self.subTest(path):
                self.refusal("a" * 40, path, "InvalidFileType", "Hook script is not regular file")

    def test_a_name_of_32_bytes_is_the_next_fault(self):
        path = self.write_script("one.sh")
        for name in ("a" * 32, "ä" * 16, " " * 32):
            with self.subTest(name):
                self.refusal(name, path, "InvalidFileName",
                             "Hook name must be less than 32 characters")
        self.dio("DI1").AddHook("a" * 31, path)

    def test_any_other_character_is_the_next_fault(self):
        path = self.write_script("one.sh")
        for name in ("a b", "a.b", "../a", "a/b", "ä", "a\n", "none "):
            with self.subTest(name):
                self.refusal(name, path, "InvalidFileName", NAME_RULE)

    def test_the_reserved_name_is_the_next_fault_in_lower_case_alone(self):
        path = self.write_script("one.sh")
        self.refusal("none", path, "InvalidFileName", "Hook name reserved keywords cannot be used")
        self.dio("DI1").AddHook("NONE", path)

    def test_a_name_in_use_is_the_next_fault(self):
        self.install("first")
        self.link_hook("dangling", "/nowhere")
        for name in ("first", "dangling"):
            with self.subTest(name):
                self.refusal(name, f"{SCRIPTS}/first.sh", "InvalidArgument",
                             "Hook name is exist, please assign a unique hook name")

    def test_a_script_of_the_same_base_name_is_the_last_fault(self):
        self.install("first")
        self.refusal("second", f"{SCRIPTS}/first.sh", "InvalidArgument", "Hook script is exist")

    def test_a_script_that_would_be_its_own_link_is_refused(self):
        path = self.write_script("self.hook")
        self.refusal("self", path, "InvalidArgument", "Hook script is exist")

    def test_the_empty_name_is_a_name(self):
        self.dio("DI1").AddHook("", self.write_script("one.sh"))
        self.assertEqual(self.hook_files(), [".hook", "one.sh"])
        self.assertEqual(self.dio("DI1").ListHook(), {"": f"{HOOKS}/one.sh"})

    def test_a_link_to_a_script_is_followed_and_gives_its_own_name(self):
        os.symlink(self.write_script("one.sh"), self.here(f"{SCRIPTS}/alias"))
        self.world.run("test", "-e", f"{SCRIPTS}/alias")
        self.dio("DI1").AddHook("first", f"{SCRIPTS}/alias")
        self.assertEqual(self.hook_files(), ["alias", "first.hook"])
        self.assertTrue(stat.S_ISREG(os.lstat(self.here(f"{HOOKS}/alias")).st_mode))

    def test_what_stands_in_the_links_place_stays(self):
        path = self.write_script("one.sh")
        self.write_script("file.hook", folder=HOOKS)
        os.mkdir(self.here(f"{HOOKS}/folder.hook"))
        for name in ("file", "folder"):
            with self.subTest(name):
                self.refusal(name, path, "InvalidArgument", "Hook script is exist")

    def test_a_script_that_another_hook_has_is_not_taken_over(self):
        path = self.write_script("one.sh")
        self.dio("DI1").AddHook("a", self.write_script("b.hook"))
        self.refusal("b", path, "InvalidArgument", "Hook script is exist")
        self.assertEqual(self.dio("DI1").ListHook(), {"a": f"{HOOKS}/b.hook"})
        self.dio("DI1").DeleteHook("a")
        self.dio("DI1").AddHook("b", path)

    def test_a_script_whose_status_cannot_be_read_is_refused(self):
        self.world.do("fail", "/sys/class/gpio/unexport", "find", "EACCES")
        self.refusal("a b", "/sys/class/gpio/unexport", "InvalidFileAttribute",
                     "Query hook script information failed")

    def test_a_directory_that_is_not_there_fails_the_copy(self):
        path = self.write_script("one.sh")
        os.rmdir(self.here(HOOKS))
        with self.assertBusError(GIO_ERROR.format("1"), f"Error opening file “{HOOKS}/one.sh”: "
                                                        "No such file or directory"):
            self.dio("DI1").AddHook("first", path)
        self.assertIn(f"<warn>  [Common] install script '{path}' failed: "
                      "No such file or directory", self.log_lines())

    def test_a_long_path_is_cut_in_the_log(self):
        path = "/." * 600 + self.write_script("one.sh")
        os.rmdir(self.here(HOOKS))
        with self.assertBusError(GIO_ERROR.format("1"), f"Error opening file “{HOOKS}/one.sh”: "
                                                        "No such file or directory"):
            self.dio("DI1").AddHook("first", path)
        self.assertIn(f"<warn>  [Common] install script '{path[:1019]}[...]' failed: "
                      "No such file or directory", self.log_lines())

    def test_a_script_larger_than_the_disk_is_refused_at_once(self):
        path = self.write_script("large")
        os.truncate(self.here(path), 1 << 42)
        start = time.monotonic()
        with self.assertBusError(GIO_ERROR.format("12"),
                                 "Error splicing file: No space left on device"):
            self.dio("DI1").AddHook("first", path)
        self.assertLess(time.monotonic() - start, scaled(2))
        self.assertEqual(self.hook_files(), [])

    def test_a_script_of_hundreds_of_megabytes_is_copied_or_refused_in_seconds(self):
        path = self.write_script("large")
        os.truncate(self.here(path), 300 << 20)
        start = time.monotonic()
        try:
            self.dio("DI1").AddHook("first", path)
        except GLib.Error as error:
            self.assertRegex(error.message, "Copy source hook script failed|No space left")
            self.assertEqual(self.hook_files(), [])
        else:
            self.assertEqual(os.stat(self.here(f"{HOOKS}/large")).st_size, 300 << 20)
        self.assertLess(time.monotonic() - start, scaled(8))

    def test_a_source_that_does_not_answer_is_given_up(self):
        source = "/sys/class/gpio/slow.sh"
        self.world.do("preset", source, "#!/bin/true")
        for operation in ("open", "read"):
            with self.subTest(operation):
                self.world.do("fail", source, operation, "delay:8000")
                start = time.monotonic()
                with self.assertBusError("OperationFailure", "Copy source hook script failed"):
                    self.dio("DI1").AddHook("first", source)
                taken = time.monotonic() - start
                self.world.do("heal")
                self.assertGreater(taken, 4.9)
                self.assertLess(taken, 5 + scaled(2))
                self.assertEqual(self.hook_files(), [])
        self.assertIn(f"<warn>  [Common] install script '{source}' failed: Connection timed out",
                      self.log_lines())

    def test_a_source_whose_reading_fails_fails_the_copy(self):
        self.world.do("fail", "/sys/class/gpio/unexport", "open", "EIO")
        with self.assertBusError(GIO_ERROR.format("0"), "Error opening file "
                                 "/sys/class/gpio/unexport: Input/output error"):
            self.dio("DI1").AddHook("first", "/sys/class/gpio/unexport")
        self.assertEqual(self.hook_files(), [])

    def test_names_of_scripts_may_hold_anything(self):
        self.dio("DI1").AddHook("first", self.write_script("ä $(reboot) \"x\".sh"))
        self.arm("DI1", "first")
        self.turn(16, 1)
        self.assertEqual(self.wait_for_runs(1), [f"{HOOKS}/first.hook 0 0"])


class ListTest(HookTest):
    def test_only_links_with_the_suffix_are_hooks(self):
        self.write_script("plain.hook", folder=HOOKS)
        self.write_script("script", folder=HOOKS)
        os.symlink("script", self.here(f"{HOOKS}/other.link"))
        self.link_hook("far", "/else/where")
        self.link_hook("loop", "loop.hook")
        with self.lines_of("DO1") as lines:
            self.assertEqual(self.dio("DO1").ListHook(), {"far": "/else/where",
                                                          "loop": "loop.hook"})
        self.assertEqual(lines, ["<debug> [DIO/DO1] Get method call: ListHook()",
                                 "<debug> [DIO/DO1] ListHook() OK"])

    def test_names_and_targets_that_are_no_utf_8_are_made_fit(self):
        os.symlink(b"/t\xff\n", os.fsencode(self.here(HOOKS)) + b"/n\xe4.hook")
        self.assertEqual(self.dio("DI1").ListHook(), {"n\ufffd": "/t\ufffd\\n"})

    def test_a_directory_that_cannot_be_listed_is_a_failure(self):
        os.rmdir(self.here(HOOKS))
        with self.lines_of("DI1") as lines, self.assertRaises(GLib.Error):
            self.dio("DI1").ListHook()
        self.assertTrue(lines[-1].startswith("<error> [DIO/DI1] ListHook() failed: "), lines)


class SelectTest(HookTest):
    def test_a_selection_is_shown_stored_and_logged(self):
        self.install("first")
        with self.lines_of("DI1") as lines:
            self.dio("DI1").SetHook("first")
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: SetHook()",
                                 "<debug> [DIO/DI1] SetHook() OK"])
        self.assertEqual(self.dio("DI1").get("HookName"), "first")
        self.assertEqual(self.stored("DI1")["HookName"], "first")

    def test_an_output_selects_nothing(self):
        for name in ("first", "none"):
            with self.subTest(name), self.lines_of("DO1") as lines:
                with self.assertBusError("OperationNotSupported", "Set DO hook is not allowed"):
                    self.dio("DO1").SetHook(name)
            self.assertEqual(lines[-1], "<error> [DIO/DO1] SetHook() failed: "
                                        "Set DO hook is not allowed")

    def test_a_name_that_is_not_there_is_refused_and_the_selection_stays(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        os.symlink("/bin/true", self.here(f"{SCRIPTS}/outside.hook"))
        self.write_script("plain.hook", folder=HOOKS)
        for name in ("second", "../../scripts/outside", "plain", "", "x" * 300, "first.hook"):
            with self.subTest(name), self.assertBusError("InvalidArgument",
                                                         "Hook name is not exist"):
                self.dio("DI1").SetHook(name)
        self.assertEqual(self.dio("DI1").get("HookName"), "first")
        self.assertEqual(self.stored("DI1")["HookName"], "first")

    def test_none_deselects_once(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        self.dio("DI1").SetHook("none")
        self.assertEqual(self.dio("DI1").get("HookName"), "none")
        self.assertEqual(self.stored("DI1")["HookName"], "")
        with self.assertBusError("OperationNotPermitted", "DI does not set any hook script"):
            self.dio("DI1").SetHook("none")

    def test_a_link_made_by_hand_since_the_start_is_armed_by_the_next_one(self):
        self.link_hook("hand", self.write_script("hand.sh", folder=HOOKS))
        self.dio("DI1").SetHook("hand")
        self.assertEqual(self.dio("DI1").get("HookName"), "none")
        self.assertEqual(self.stored("DI1")["HookName"], "hand")
        self.stop_daemon()
        self.start_daemon()
        self.assertEqual(self.dio("DI1").get("HookName"), "hand")

    def test_selections_are_kept_over_a_restart(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        self.dio("DI1").SetEvent(3)
        self.stop_daemon()
        self.start_daemon()
        self.wait_for_property("DI1", "Active", 1)
        self.assertEqual(self.dio("DI1").get("HookName"), "first")
        with self.assertBusError("OperationNotPermitted", "Hook is set by other DIs"):
            self.dio("DI2").DeleteHook("first")

    def test_the_hook_is_active_while_it_is_selected_and_the_event_is_one(self):
        self.install("first")
        recorder = self.recorder("DIO/DI1", "PropertiesChanged")
        self.arm("DI1", "first")
        self.dio("DI1").SetEvent(0)
        self.wait_for_property("DI1", "Active", 0)
        self.dio("DI1").SetEvent(1)
        self.wait_for_property("DI1", "Active", 1)
        self.dio("DI1").SetHook("none")
        self.wait_for_property("DI1", "Active", 0)
        recorder.wait_for(lambda: [event[2]["Active"] for event in recorder.events
                                   if "Active" in event[2]] == [1, 0, 1, 0], "each change once")


class DeleteTest(HookTest):
    def test_link_and_script_go(self):
        self.install("first")
        with self.lines_of("DI1") as lines:
            self.dio("DI1").DeleteHook("first")
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: DeleteHook()",
                                 "<debug> [DIO/DI1] DeleteHook() OK"])
        self.assertEqual(self.hook_files(), [])
        self.install("first")

    def test_an_output_deletes_nothing(self):
        self.install("first")
        with self.lines_of("DO1") as lines:
            with self.assertBusError("OperationNotSupported", "Adding DO hook is not allowed"):
                self.dio("DO1").DeleteHook("first")
        self.assertEqual(lines[-1], "<error> [DIO/DO1] DeleteHook() failed: "
                                    "Adding DO hook is not allowed")

    def test_a_name_that_is_not_there_is_refused(self):
        os.symlink("/bin/true", self.here(f"{SCRIPTS}/outside.hook"))
        self.write_script("plain.hook", folder=HOOKS)
        for name in ("first", "../../scripts/outside", "plain", "none", ""):
            with self.subTest(name), self.assertBusError("InvalidArgument",
                                                         "Hook name is not exist"):
                self.dio("DI1").DeleteHook(name)
        self.assertTrue(os.path.islink(self.here(f"{SCRIPTS}/outside.hook")))

    def test_a_hook_stays_until_its_last_input_lets_it_go(self):
        self.install("first")
        for name in ("DI1", "DI2"):
            self.dio(name).SetHook("first")
        self.dio("DI1").SetHook("none")
        with self.assertBusError("OperationNotPermitted", "Hook is set by other DIs"):
            self.dio("DI1").DeleteHook("first")
        self.install("second")
        self.dio("DI2").SetHook("second")
        self.dio("DI1").DeleteHook("first")
        self.assertEqual(self.hook_files(), ["second.hook", "second.sh"])

    def test_a_link_made_by_hand_since_the_start_is_not_deleted(self):
        self.link_hook("hand", self.write_script("hand.sh", folder=HOOKS))
        with self.assertBusError("OperationNotPermitted", "Hook is set by other DIs"):
            self.dio("DI1").DeleteHook("hand")

    def test_a_script_that_is_gone_is_the_last_fault(self):
        self.install("first")
        os.unlink(self.here(f"{HOOKS}/first.sh"))
        with self.assertBusError("InvalidArgument", "Hook script is not exist"):
            self.dio("DI1").DeleteHook("first")
        self.assertEqual(self.hook_files(), ["first.hook"])

    def test_a_script_elsewhere_goes_as_well(self):
        self.stop_daemon()
        path = self.write_script("elsewhere.sh")
        self.link_hook("hand", path)
        self.start_daemon()
        self.dio("DI1").DeleteHook("hand")
        self.assertEqual(self.hook_files(), [])
        self.assertFalse(os.path.exists(self.here(path)))


class UnreadableLinkTest(HookTest):
    def prepare(self):
        super().prepare()
        self.world.do("plug", "net", "first.hook", "quiet=1")
        os.rmdir(self.here(HOOKS))
        os.symlink("/sys/class/net", self.here(HOOKS))

    def test_a_link_that_cannot_be_read_is_not_deleted(self):
        self.assertIn("first", self.dio("DI1").ListHook())
        self.world.do("fail", "/sys/class/net/first.hook", "follow", "EIO")
        with self.assertRaisesRegex(GLib.Error, f"symbolic link .{HOOKS}/first.hook.: Input/output "
                                                "error"):
            self.dio("DI1").DeleteHook("first")
        self.world.do("heal")
        self.assertIn("first", self.dio("DI1").ListHook())


class RunTest(HookTest):
    def test_the_event_says_which_new_value_runs_the_hook(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        recorder = self.recorder("DIO/DI1", "StateChanged")
        runs = 0
        for event, values in ((0, ()), (1, (0,)), (2, (1,)), (3, (0, 1))):
            self.dio("DI1").SetEvent(event)
            self.wait_for_property("DI1", "Active", int(event > 0))
            for level in (1, 0):
                with self.subTest((event, level)):
                    self.turn(16, level)
                    recorder.expect([("DIO/DI1", "StateChanged", (level,))])
                    runs += level in values
                    self.wait_for_runs(runs)
                    time.sleep(0.1)
                    self.assertEqual(len(self.runs()), runs)

    def test_it_runs_as_root_by_its_link_without_arguments(self):
        self.install("first")
        self.arm("DI1", "first")
        self.turn(16, 1)
        self.assertEqual(self.wait_for_runs(1), [f"{HOOKS}/first.hook 0 0"])

    def test_it_has_the_daemons_environment_and_nothing_else_of_it(self):
        self.dio("DI1").AddHook("first", self.write_script("one.sh", f"""#!/bin/bash
{{
    echo "interval $DIO_SAMPLING_INTERVAL"
    grep -E '^Sig(Blk|Ign)' /proc/self/status | tr '\\t' ' '
    echo "input $(readlink /proc/$$/fd/0)"
    echo $(ls /proc/self/fd)
    (exit 7) & wait $!; echo "child $?"
}} >> {RUNS}
"""))
        self.arm("DI1", "first")
        self.turn(16, 1)
        lines = self.wait_for_runs(6)
        # Descriptor 3 is that of the listed folder.
        self.assertEqual([line for line in lines if not line.startswith("SigIgn")],
                         ["interval 5", "SigBlk: 0000000000000000", "input /dev/null", "0 1 2 3",
                          "child 7"])
        # The C library keeps two signals from number 32 on to itself.
        ignored = int([line for line in lines if line.startswith("SigIgn")][0].split()[1], 16)
        self.assertEqual(ignored & 0x7fffffff, 0)

    def test_two_inputs_share_a_hook(self):
        self.install("first")
        self.arm("DI1", "first")
        self.arm("DI2", "first")
        self.turn(16, 1)
        self.wait_for_runs(1)
        self.turn(17, 1)
        self.wait_for_runs(2)

    def test_each_input_runs_its_own_and_a_deselected_one_runs_no_more(self):
        self.install("first")
        self.arm("DI1", "first")
        self.dio("DI1").SetHook("none")
        self.wait_for_property("DI1", "Active", 0)
        recorder = self.recorder("DIO/DI1", "StateChanged")
        self.turn(16, 1)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])
        time.sleep(0.1)
        self.assertEqual(self.runs(), [])

    def test_a_hook_that_cannot_be_started_is_named_by_its_event(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        os.chmod(self.here(f"{HOOKS}/first.sh"), 0o644)
        for event, level, what in ((2, 1, "DIO hook {} for falling spawn command failed"),
                                   (1, 0, "DIO Hook {} for rising edge spawn failed"),
                                   (3, 1, "DIO hook {} for change spawn command failed")):
            self.dio("DI1").SetEvent(event)
            self.turn(16, level)
            with self.subTest(event):
                self.wait_for_log(f"<error> [DIO/DI1] {what.format(f'{HOOKS}/first.hook')}: "
                                  "Permission denied")

    def test_a_line_break_in_a_links_name_does_not_begin_a_line_of_the_log(self):
        self.stop_daemon()
        self.link_hook("a\n<error> forged", self.write_script("hand.sh", mode=0o644, folder=HOOKS))
        self.start_daemon()
        self.arm("DI1", "a\n<error> forged")
        self.turn(16, 1)
        self.wait_for_log(f"<error> [DIO/DI1] DIO hook {HOOKS}/a\\n<error> forged.hook for change "
                          "spawn command failed: Permission denied")

    def test_a_link_that_leads_nowhere_is_logged_and_the_change_announced(self):
        self.install("first")
        self.arm("DI1", "first")
        os.unlink(self.here(f"{HOOKS}/first.sh"))
        recorder = self.recorder("DIO/DI1", "StateChanged")
        self.turn(16, 1)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])
        self.wait_for_log(f"<error> [DIO/DI1] DIO hook {HOOKS}/first.hook for change spawn "
                          "command failed: No such file or directory")

    def test_a_link_with_a_blank_in_its_name_is_run(self):
        self.stop_daemon()
        self.link_hook("by hand", self.write_script("hand.sh", folder=HOOKS))
        self.start_daemon()
        self.arm("DI1", "by hand")
        self.turn(16, 1)
        self.assertEqual(self.wait_for_runs(1), [f"{HOOKS}/by hand.hook 0 0"])

    def test_a_hook_that_never_ends_holds_nobody_up(self):
        self.dio("DI1").AddHook("endless", self.write_script(
            "endless.sh", f"#!/bin/bash\necho $$ >> {RUNS}\nexec sleep 1000\n"))
        self.arm("DI1", "endless")
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for level in (1, 0, 1):
            self.turn(16, level)
            recorder.expect([("DIO/DI1", "StateChanged", (level,))])
        pids = self.wait_for_runs(3)
        start = time.monotonic()
        self.stop_daemon()
        self.assertLess(time.monotonic() - start, scaled(5))
        self.world.run("kill", *pids)
        self.start_daemon()

    def test_no_hook_stays_behind_as_a_child(self):
        self.install("first")
        self.arm("DI1", "first")
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for level in (1, 0) * 10:
            self.turn(16, level)
            recorder.expect([("DIO/DI1", "StateChanged", (level,))])
        self.wait_for_runs(20)
        with open(f"/proc/{self.daemon_pid}/task/{self.daemon_pid}/children") as file:
            self.assertEqual(file.read(), "")

    def test_selections_may_change_under_load(self):
        for name in ("first", "second"):
            self.install(name)
        self.dio("DI1").SetEvent(3)
        for i in range(200):
            self.turn(16, i % 2)
            self.dio("DI1").SetHook(("first", "second", "none")[i % 3])
            self.dio("DI1").SetEvent(i % 4)
        self.dio("DI1").SetEvent(3)
        self.dio("DI1").SetHook("first")
        self.wait_for_property("DI1", "Active", 1)
        self.assertTrue(all(line.endswith(" 0 0") for line in self.runs()))


class ReloadTest(HookTest):
    def test_a_selection_that_is_there_stays(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        with self.lines_of("DI1") as lines:
            self.dio("DI1").Reload()
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: Reload()",
                                 f"<debug> [DIO/DI1] {HOOKS}/DI1.script does not exist",
                                 "<debug> [DIO/DI1] Reload() OK"])
        self.assertEqual(self.dio("DI1").get("HookName"), "first")

    def test_a_selection_that_is_gone_is_given_up(self):
        self.install("first")
        self.dio("DI1").SetHook("first")
        for gone in ("first.sh", "first.hook"):
            os.unlink(self.here(f"{HOOKS}/{gone}"))
            self.dio("DI1").Reload()
            self.assertEqual(self.dio("DI1").get("HookName"), "none")
            self.assertEqual(self.stored("DI1")["HookName"], "")

    def test_without_a_selection_it_succeeds_with_a_warning(self):
        with self.lines_of("DI1") as lines:
            self.dio("DI1").Reload()
        self.assertEqual(lines[-2:], ["<warn>  [DIO/DI1] Failed to set hook, reason: "
                                      "DI does not set any hook script",
                                      "<debug> [DIO/DI1] Reload() OK"])

    def test_an_output_has_nothing_to_reload(self):
        with self.lines_of("DO1") as lines:
            self.dio("DO1").Reload()
        self.assertEqual(lines, ["<debug> [DIO/DO1] Get method call: Reload()",
                                 "<debug> [DIO/DO1] Reload() OK"])


class OrphanBase(HookTest):
    """A script "D.script" is what older versions ran for the input D."""

    temporary = "/etc/tarvel/tmp"
    script = f"{HOOKS}/DI1.script"

    def prepare(self):
        super().prepare()
        self.world.run("mkdir", self.temporary)
        self.environment = {**self.environment, "TMPDIR": self.temporary}

    def assert_nothing_temporary(self):
        # Others may keep files there.
        self.assertEqual(self.world.run("find", self.temporary, "-mindepth", "1", "-type", "d"), "")


class OrphanTest(OrphanBase):
    def converted(self):
        return f"<info>  [DIO/DI1] {self.script} is orphan script, setup hook name and link for " \
               "compatibility"

    def reload(self):
        """What reloading DI1 writes about the conversion."""
        with self.lines_of("DI1") as lines:
            self.dio("DI1").Reload()
        return [line for line in lines if "Get method call" not in line and " OK" not in line]

    def assert_converted(self):
        self.assertEqual(self.hook_files(), ["DI1.hook", "DI1.script"])
        self.assertEqual(os.readlink(self.here(f"{HOOKS}/DI1.hook")), self.script)
        self.assertEqual(os.stat(self.here(self.script)).st_mode & 0o7777, 0o755)
        self.assertEqual(self.dio("DI1").get("HookName"), "DI1")
        self.assertEqual(self.stored("DI1")["HookName"], "DI1")
        self.assert_nothing_temporary()

    def test_it_becomes_the_inputs_hook_by_a_reload(self):
        self.write_script("DI1.script", folder=HOOKS, mode=0o700)
        self.assertEqual(self.reload(), [self.converted()])
        self.assert_converted()
        self.arm("DI1", "DI1")
        self.turn(16, 1)
        self.assertEqual(self.wait_for_runs(1), [f"{HOOKS}/DI1.hook 0 0"])

    def test_it_becomes_the_inputs_hook_by_an_event(self):
        self.write_script("DI1.script", folder=HOOKS)
        self.dio("DI1").SetEvent(1)
        self.assert_converted()

    def test_it_becomes_the_inputs_hook_by_a_start(self):
        self.stop_daemon()
        self.write_script("DI1.script", folder=HOOKS)
        self.start_daemon()
        self.assertIn(self.converted(), self.log_lines())
        self.assert_converted()

    def test_it_is_converted_once(self):
        self.write_script("DI1.script", folder=HOOKS)
        self.reload()
        self.assertEqual(self.reload(),
                         [f"<debug> [DIO/DI1] Found .hook symlink pointing to {self.script}"])
        self.assert_converted()

    def test_one_that_some_hook_leads_to_is_left(self):
        self.write_script("DI1.script", folder=HOOKS)
        self.link_hook("mine", "../dio-scripts/./DI1.script")
        self.assertEqual(self.reload()[0],
                         f"<debug> [DIO/DI1] Found .hook symlink pointing to {self.script}")
        self.assertEqual(self.hook_files(), ["DI1.script", "mine.hook"])

    def test_one_that_its_owner_cannot_run_is_left(self):
        self.write_script("DI1.script", folder=HOOKS, mode=0o677)
        self.assertEqual(self.reload()[0],
                         f"<warn>  [DIO/DI1] {self.script} is not executable by owner")
        self.assertEqual(self.hook_files(), ["DI1.script"])

    def test_a_directory_that_cannot_be_opened_is_logged(self):
        os.rmdir(self.here(HOOKS))
        self.assertEqual(self.reload()[0], f"<warn>  [DIO/DI1] Error opening directory {HOOKS}: "
                                           "No such file or directory")

    def test_without_a_temporary_directory_it_stays(self):
        self.write_script("DI1.script", folder=HOOKS)
        shutil.rmtree(self.here(self.temporary))
        line = self.reload()[1]
        self.assertEqual(line, "<warn>  [DIO/DI1] Failed to create temp directory: Failed to create "
                         f"file “{self.temporary}/XXXXXX”: No such file or directory")
        self.assertEqual(self.hook_files(), ["DI1.script"])

    def kill_with_a_copy(self, mode):
        """A kill while a copy lies in a temporary folder; the folder."""
        folder = f"{self.temporary}/AbCdEf"
        self.kill_daemon()
        self.world.run("mkdir", "-m", mode, folder)
        self.write_script("DI1.script", folder=folder)
        os.symlink(f"{folder}/DI1.script", self.here(f"{HOOKS}/.perimond-temporary"))
        self.start_daemon()
        self.assertEqual(self.hook_files(), [])
        return folder

    def test_a_kill_leaves_no_temporary_folder(self):
        folder = self.kill_with_a_copy("0700")
        self.assert_nothing_temporary()
        self.assertIn(f"<info>  [Common] Removed temporary folder '{folder}'", self.log_lines())

    def test_somebody_elses_folder_of_that_name_stays(self):
        folder = self.kill_with_a_copy("0755")
        self.assertEqual(os.listdir(self.here(folder)), ["DI1.script"])
        self.assertNotIn("Removed temporary folder", "".join(self.log_lines()))

    def test_a_name_in_use_by_a_link_elsewhere_loses_the_script(self):
        self.write_script("DI1.script", folder=HOOKS)
        self.link_hook("DI1", "/else/where")
        self.assertEqual(self.reload()[:2],
                         [self.converted(),
                          "<warn>  [DIO/DI1] Failed to add hook, reason: Hook name is exist, "
                          "please assign a unique hook name"])
        self.assertIn(f"<warn>  [DIO/DI1] Script {self.script} cannot be a hook and was removed",
                      self.log_lines())
        self.assertEqual(self.hook_files(), ["DI1.hook"])
        self.assert_nothing_temporary()

    def test_an_output_converts_nothing(self):
        self.write_script("DO1.script", folder=HOOKS)
        self.dio("DO1").Reload()
        self.assertEqual(self.hook_files(), ["DO1.script"])


class OrphanOfALongNameTest(OrphanBase, ProbeTest):
    """An input whose name cannot be a hook's."""

    plugin = "probe"
    name = "D" * 32
    init = (f"create dio {name}", f"dio-gpio DIO/{name} 16 0", f"hook DIO/{name}")

    def prepare(self):
        OrphanBase.prepare(self)
        ProbeTest.prepare(self)

    def test_its_script_is_lost(self):
        self.write_script(f"{self.name}.script", folder=HOOKS)
        with self.lines_of(self.name) as lines:
            self.dio(self.name).Reload()
        self.assertIn(f"<warn>  [DIO/{self.name}] Failed to add hook, reason: Hook name must be "
                      "less than 32 characters", lines)
        self.assertIn(f"<warn>  [DIO/{self.name}] Script {HOOKS}/{self.name}.script cannot be a hook "
                      "and was removed", lines)
        self.assertEqual(self.hook_files(), [])
        self.assertEqual(self.dio(self.name).get("HookName"), "none")
        self.assert_nothing_temporary()


class OrphanAcrossFileSystemsTest(OrphanBase):
    """The system's temporary directory is usually a file system of its own."""

    temporary = "/run/tmp"

    def test_a_script_is_converted(self):
        self.write_script("DI1.script", folder=HOOKS)
        self.dio("DI1").Reload()
        self.assertEqual(self.hook_files(), ["DI1.hook", "DI1.script"])
        self.arm("DI1", "DI1")
        self.turn(16, 1)
        self.assertEqual(self.wait_for_runs(1), [f"{HOOKS}/DI1.hook 0 0"])
        self.assert_nothing_temporary()

    def test_what_there_is_no_room_for_stays(self):
        self.world.run("mount", "-t", "tmpfs", "-o", "size=16k", "none", self.temporary)
        text = "#!/bin/true\n" + "#" * 32768
        self.write_script("DI1.script", text, folder=HOOKS)
        with self.lines_of("DI1") as lines:
            self.dio("DI1").Reload()
        self.assertIn("<warn>  [DIO/DI1] Failed to move script to temp directory", lines)
        self.assertEqual(self.hook_files(), ["DI1.script"])
        with open(self.here(self.script)) as file:
            self.assertEqual(file.read(), text)
        self.assert_nothing_temporary()

    def test_what_cannot_be_moved_stays(self):
        os.mkdir(self.here(f"{HOOKS}/DI1.script"))
        with self.lines_of("DI1") as lines:
            self.dio("DI1").Reload()
        self.assertIn("<warn>  [DIO/DI1] Failed to move script to temp directory", lines)
        self.assertEqual(self.hook_files(), ["DI1.script"])
        self.assert_nothing_temporary()


class RestartTest(HookTest):
    def test_a_kill_leaves_everything_selected(self):
        self.install("first")
        self.arm("DI1", "first")
        self.kill_daemon()
        self.start_daemon()
        self.wait_for_property("DI1", "Active", 1)
        self.turn(16, 1)
        self.assertEqual(len(self.wait_for_runs(1)), 1)


if __name__ == "__main__":
    perimond.main()
