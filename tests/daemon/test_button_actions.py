"""The actions of buttons: installing, listing, selecting and deleting them."""

import configparser
import contextlib
import os
import shutil
import socket

from gi.repository import GLib

import perimond
from perimond.world import wait_until

DIRECTORY = "/etc/tarvel/TarvelPerimond/button-scripts"
RESERVED = "Action name reserved keywords cannot be used"
MALFORMED = ("Action name only allows uppercase letters, lowercase letters, numbers, "
             '"-" and "_"')
TOO_LONG = "Action name must be less than 32 characters"
NAME_TAKEN = "Action name is exist, please assign a unique action name"
SCRIPT_TAKEN = "Action script is exist"
NO_SOURCE = "Source action script is not exist"
UNKNOWN = "Action name is not exist"


class ActionsTest(perimond.DaemonTest):
    """RESET and USER have the default action "default", which the plugin reserves, as it does
    "factory-reset"."""

    def setUp(self):
        super().setUp()
        self.button = self.bus_object("Button/RESET")
        self.other = self.bus_object("Button/USER")

    def prepare(self):
        self.scripts = os.path.join(self.world.settings, "button-scripts")
        self.write(os.path.join(self.scripts, "default.script"))
        self.write(os.path.join(self.scripts, "factory-reset.script"))
        self.arrange()

    def arrange(self):
        """What a class adds before the daemon starts."""

    def write(self, path, text="#!/bin/sh\n", mode=0o644):
        with open(path, "w") as file:
            file.write(text)
        os.chmod(path, mode)
        return path

    def source(self, name, text="#!/bin/sh\n"):
        """A script to install."""
        return self.write(os.path.join(self.world.directory, name), text)

    def link(self, name, target):
        os.symlink(target, os.path.join(self.scripts, f"{name}.action"))

    def entries(self):
        return {name: os.readlink(path) if os.path.islink(path) else "file"
                for name in sorted(os.listdir(self.scripts))
                for path in [os.path.join(self.scripts, name)]}

    @property
    def settings_path(self):
        return os.path.join(self.world.settings, "peripheral-settings.conf")

    def stored(self, identifier="Button/RESET"):
        settings = configparser.ConfigParser()
        settings.optionxform = str
        settings.read(self.settings_path)
        return settings.get(identifier, "Action", fallback=None)

    @contextlib.contextmanager
    def assert_refused(self, name, message, call):
        """The block's call is refused so, with one line for it, and no file changes."""
        before = self.entries()
        with self.log("Button/RESET") as lines, self.assertBusError(name, message):
            yield
        self.assertEqual(lines, [f"<error> [Button/RESET] {call}() failed: {message}"])
        self.assertEqual(self.entries(), before)


class AddActionTest(ActionsTest):
    def assert_add_refused(self, action, path, name, message):
        with self.assert_refused(name, message, "AddAction"):
            self.button.AddAction(action, path)

    def test_the_script_is_copied_made_executable_and_linked(self):
        with self.log("Button/RESET") as lines:
            self.button.AddAction("blink", self.source("blink.sh", "#!/bin/sh\nexit 0\n"))
        self.assertEqual(lines, [])
        script = os.path.join(self.scripts, "blink.sh")
        self.assertEqual(os.readlink(os.path.join(self.scripts, "blink.action")),
                         f"{DIRECTORY}/blink.sh")
        self.assertEqual(os.stat(script).st_mode & 0o7777, 0o755)
        with open(script) as file:
            self.assertEqual(file.read(), "#!/bin/sh\nexit 0\n")

    def test_no_button_selects_it(self):
        self.button.AddAction("blink", self.source("blink.sh"))
        self.assertEqual((self.button.GetAction(), self.other.GetAction()),
                         ("default", "default"))

    def test_a_script_behind_a_link_is_copied_under_the_links_name(self):
        link = os.path.join(self.world.directory, "link.sh")
        os.symlink(self.source("target.sh"), link)
        self.button.AddAction("linked", link)
        self.assertEqual(self.entries()["link.sh"], "file")

    def test_a_name_of_31_characters_is_taken(self):
        self.button.AddAction("a" * 31, self.source("long.sh"))
        self.button.SetAction("a" * 31)
        self.assertEqual(self.button.GetAction(), "a" * 31)

    def test_a_reserved_word_in_capitals_is_taken(self):
        self.button.AddAction("DISABLED", self.source("capital.sh"))

    def test_refusals_come_in_their_order(self):
        """Each request has the fault that it is refused for, and those of later rows."""
        good = self.source("good.sh")
        taken = self.source("default.script")
        folder = os.path.join(self.world.directory, "folder")
        os.mkdir(folder)
        self.world.do("fail", "/sys/class/gpio/export", "find", "EACCES")
        for action, path, name, message in [
                ("a b" * 20, "/nowhere/x", "InvalidArgument", NO_SOURCE),
                ("a b" * 20, folder, "InvalidFileType", "Action script is not regular file"),
                ("a b" * 20, taken, "InvalidFileName", TOO_LONG),
                ("a" * 32, good, "InvalidFileName", TOO_LONG),
                ("a b", taken, "InvalidFileName", MALFORMED),
                ("disabled", taken, "InvalidFileName", RESERVED),
                ("default", taken, "InvalidFileName", RESERVED),
                ("user-defined", taken, "InvalidFileName", RESERVED)]:
            with self.subTest(action=action, path=path):
                self.assert_add_refused(action, path, name, message)
        self.button.AddAction("first", good)
        self.assert_add_refused("first", taken, "InvalidArgument", NAME_TAKEN)
        self.assert_add_refused("second", good, "InvalidArgument", SCRIPT_TAKEN)

    def test_a_script_whose_status_cannot_be_read_is_refused(self):
        self.world.do("fail", "/sys/class/gpio/export", "find", "EACCES")
        self.assert_add_refused("a b", "/sys/class/gpio/export", "InvalidFileAttribute",
                                "Query action script information failed")

    def test_names_with_other_characters_are_refused(self):
        path = self.source("good.sh")
        for action in ("a.b", "../x", "a/b", "tür", "a\nb", "a\tb", "*"):
            with self.subTest(action):
                self.assert_add_refused(action, path, "InvalidFileName", MALFORMED)

    def test_the_length_is_counted_in_bytes(self):
        self.assert_add_refused("ü" * 16, self.source("good.sh"), "InvalidFileName", TOO_LONG)

    def test_what_is_no_regular_file_is_refused_at_once(self):
        pipe = os.path.join(self.world.directory, "pipe")
        os.mkfifo(pipe)
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(os.path.join(self.world.directory, "socket"))
            for path in (pipe, listener.getsockname(), "/dev/null"):
                with self.subTest(path):
                    self.assert_add_refused("x", path, "InvalidFileType",
                                            "Action script is not regular file")

    def test_a_link_that_leads_nowhere_is_refused(self):
        for name, target in (("dangling", "/nowhere"), ("loop", "loop")):
            path = os.path.join(self.world.directory, name)
            os.symlink(target, path)
            with self.subTest(name):
                self.assert_add_refused("x", path, "InvalidArgument", NO_SOURCE)

    def test_a_script_that_would_take_the_place_of_its_link_is_refused(self):
        self.assert_add_refused("self", self.source("self.action"), "InvalidArgument",
                                SCRIPT_TAKEN)

    def test_what_stands_in_the_links_place_stays(self):
        self.write(os.path.join(self.scripts, "file.action"))
        os.mkdir(os.path.join(self.scripts, "folder.action"))
        for action in ("file", "folder"):
            with self.subTest(action):
                self.assert_add_refused(action, self.source("good.sh"), "InvalidArgument",
                                        SCRIPT_TAKEN)

    def test_a_script_that_another_action_has_is_not_taken_over(self):
        self.button.AddAction("a", self.source("b.action"))
        self.assert_add_refused("b", self.source("good.sh"), "InvalidArgument", SCRIPT_TAKEN)
        self.button.DeleteAction("a")
        self.button.AddAction("b", self.source("good.sh"))

    def test_a_folder_that_is_gone_fails_the_copy(self):
        path = self.source("good.sh")
        for name in os.listdir(self.scripts):
            os.unlink(os.path.join(self.scripts, name))
        os.rmdir(self.scripts)
        with self.assertBusError("org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code1",
                                 f"Error opening file “{DIRECTORY}/good.sh”: "
                                 "No such file or directory"):
            self.button.AddAction("x", path)


class DeleteActionTest(ActionsTest):
    def arrange(self):
        self.write(os.path.join(self.scripts, "kept.sh"))
        self.link("kept", f"{DIRECTORY}/kept.sh")
        self.link("gone", f"{DIRECTORY}/gone.sh")
        self.link("loop", f"{DIRECTORY}/loop.action")
        self.outside = self.write(os.path.join(self.world.directory, "outside.sh"))
        self.link("outside", self.outside)

    def assert_delete_refused(self, action, name, message):
        with self.assert_refused(name, message, "DeleteAction"):
            self.button.DeleteAction(action)

    def test_the_link_and_the_script_go(self):
        with self.log("Button/RESET") as lines:
            self.button.DeleteAction("kept")
        self.assertEqual(lines, [])
        self.assertEqual(set(self.entries()) & {"kept.sh", "kept.action"}, set())
        with self.assertBusError("InvalidArgument", UNKNOWN):
            self.button.SetAction("kept")

    def test_the_name_and_the_script_can_be_installed_again(self):
        self.button.DeleteAction("kept")
        self.button.AddAction("kept", self.source("kept.sh"))
        self.button.SetAction("kept")
        self.assertEqual(self.button.GetAction(), "kept")

    def test_reserved_actions_are_kept_also_while_a_button_selects_them(self):
        for action in ("default", "factory-reset", "user-defined"):
            with self.subTest(action):
                self.assert_delete_refused(
                    action, "InvalidArgument",
                    f'Reserved action name "{action}" should not be deleted')

    def test_an_unknown_action_is_refused(self):
        for action in ("nothing", "disabled", "", "../button-scripts/kept", "tür"):
            with self.subTest(action):
                self.assert_delete_refused(action, "InvalidArgument", UNKNOWN)

    def test_one_that_any_button_selects_is_refused_until_it_does_not(self):
        self.other.SetAction("kept")
        self.assert_delete_refused("kept", "OperationNotPermitted",
                                   "Action is set by other buttons")
        self.other.SetAction("disabled")
        self.button.DeleteAction("kept")

    def test_a_script_that_is_gone_is_a_failure(self):
        for action in ("gone", "loop"):
            with self.subTest(action):
                self.assert_delete_refused(action, "OperationFailure",
                                           "Action script is not exist")

    def test_the_selection_is_checked_before_the_script(self):
        self.other.SetAction("gone")
        self.assert_delete_refused("gone", "OperationNotPermitted",
                                   "Action is set by other buttons")

    def test_a_script_outside_of_the_folder_goes_as_well(self):
        self.button.DeleteAction("outside")
        self.assertNotIn("outside.action", self.entries())
        self.assertFalse(os.path.exists(self.outside))


class UnreadableLinkTest(ActionsTest):
    def prepare(self):
        self.world.do("plug", "net", "kept.action", "quiet=1")
        folder = os.path.join(self.world.settings, "button-scripts")
        shutil.rmtree(folder)
        os.symlink("/sys/class/net", folder)

    def test_a_link_that_cannot_be_read_is_not_deleted(self):
        self.assertEqual([entry[0] for entry in self.button.ListAction()], ["kept"])
        self.world.do("fail", "/sys/class/net/kept.action", "follow", "EIO")
        with self.assertRaisesRegex(Exception, f"symbolic link .{DIRECTORY}/kept.action.: "
                                               "Input/output error"):
            self.button.DeleteAction("kept")
        self.world.do("heal")
        self.assertEqual([entry[0] for entry in self.button.ListAction()], ["kept"])


class ListActionTest(ActionsTest):
    def arrange(self):
        self.link("loop", f"{DIRECTORY}/loop.action")
        self.write(os.path.join(self.scripts, "plain.action"))
        os.symlink("/nowhere", os.path.join(self.scripts, "link.other"))
        os.mkdir(os.path.join(self.scripts, "folder.action"))

    expected = [("default", True, f"{DIRECTORY}/default.script"),
                ("factory-reset", True, f"{DIRECTORY}/factory-reset.script"),
                ("loop", False, f"{DIRECTORY}/loop.action"),
                ("user-defined", True, f"{DIRECTORY}/custom.script")]

    def test_links_of_actions_are_listed_and_nothing_else(self):
        with self.log("Button/RESET") as lines:
            self.assertEqual(sorted(self.button.ListAction()), self.expected)
        self.assertEqual(lines, [])

    def test_all_buttons_list_the_same(self):
        self.button.AddAction("blink", self.source("blink.sh"))
        self.assertEqual(sorted(self.other.ListAction()),
                         sorted([*self.expected, ("blink", False, f"{DIRECTORY}/blink.sh")]))

    def test_a_name_that_is_no_utf_8_is_shown_with_a_replacement(self):
        os.symlink(b"/t\xff", os.path.join(os.fsencode(self.scripts), b"a\xff.action"))
        self.assertIn(("a\ufffd", False, "/t\ufffd"), self.button.ListAction())

    def test_a_folder_that_cannot_be_listed_is_a_failure(self):
        os.rename(self.scripts, self.scripts + ".away")
        with self.log("Button/RESET") as lines:
            with self.assertRaisesRegex(Exception, "Error opening directory"):
                self.button.ListAction()
        self.assertEqual(len(lines), 1)
        self.assertRegex(lines[0], r"^<error> \[Button/RESET\] ListAction\(\) failed: Error "
                                   "opening directory")


class SetActionTest(ActionsTest):
    def test_what_a_caller_sent_stands_in_a_line_with_a_kibibyte_at_most(self):
        for size in (1100, 200 << 10, 10 << 20):
            with self.subTest(size=size), self.log() as lines:
                with self.assertRaises(GLib.Error):
                    self.button.SetAction("x" * size)
                self.assertLessEqual(max((line.count("x") for line in lines), default=0), 1024)
                self.assertTrue(all("[...]" in line for line in lines if line.count("x") > 100))

    def test_a_line_that_is_cut_shows_it(self):
        with self.log("SetAction") as lines, self.assertBusError("InvalidArgument", UNKNOWN):
            self.button.SetAction("x" * 1100)
        self.assertEqual(lines, [
            "<info>  [Button/RESET] Get method call: SetAction: " + "x" * 1008 + "[...]",
            "<error> [Button/RESET] SetAction(" + "x" * 497 + f"[...] failed: {UNKNOWN}"])

    def arrange(self):
        self.write(os.path.join(self.scripts, "other.sh"), mode=0o755)
        self.link("other", f"{DIRECTORY}/other.sh")

    def watched(self):
        tasks = f"/proc/{self.daemon_pid}/task"
        names = []
        for task in os.listdir(tasks):
            with contextlib.suppress(OSError), open(f"{tasks}/{task}/comm") as file:
                names.append(file.read().strip())
        return "RESET-btn" in names

    def test_the_default_action_is_selected_at_first_and_stored(self):
        self.assertEqual((self.button.GetAction(), self.button.get("Action"), self.stored()),
                         ("default", "default", "default"))

    def test_asking_for_the_action_is_logged(self):
        with self.log("Button/RESET") as lines:
            self.button.GetAction()
        self.assertEqual(lines, ["<info>  [Button/RESET] Get method call: GetAction()",
                                 "<info>  [Button/RESET] GetAction() OK, action=default"])

    def test_a_selection_is_logged_announced_stored_and_kept(self):
        recorder = self.recorder("Button/RESET", "PropertiesChanged")
        with self.log("Button/RESET") as lines:
            self.button.SetAction("other")
        self.assertEqual(lines, ["<info>  [Button/RESET] Get method call: SetAction: other",
                                 "<info>  [Button/RESET] SetAction(other) OK"])
        self.assertEqual((self.button.GetAction(), self.stored()), ("other", "other"))
        recorder.wait_for(lambda: recorder.events, "the property changes")
        self.stop_daemon()
        self.start_daemon()
        self.assertEqual((self.button.GetAction(), self.button.get("Action")), ("other", "other"))
        self.assertEqual(self.other.GetAction(), "default")

    def test_an_unknown_action_is_refused_and_changes_nothing(self):
        for action in ("nothing", "", "../button-scripts/other", "tür"):
            with self.subTest(action), self.log("Button/RESET") as lines:
                with self.assertBusError("InvalidArgument", UNKNOWN):
                    self.button.SetAction(action)
            self.assertEqual(
                lines, [f"<info>  [Button/RESET] Get method call: SetAction: {action}",
                        f"<error> [Button/RESET] SetAction({action}) failed: {UNKNOWN}"])
        self.assertEqual((self.button.GetAction(), self.stored()), ("default", "default"))
        wait_until(self.watched, "the button is watched")

    def test_a_name_with_a_line_break_stays_on_one_line_of_the_log(self):
        with self.log("SetAction") as lines, self.assertBusError("InvalidArgument", UNKNOWN):
            self.button.SetAction("a\n<error> b")
        self.assertEqual(lines[0], r"<info>  [Button/RESET] Get method call: SetAction: "
                                   r"a\n<error> b")

    def test_disabled_stops_watching_the_button(self):
        wait_until(self.watched, "the button is watched")
        self.button.SetAction("disabled")
        self.assertFalse(self.watched())
        self.assertEqual((self.button.GetAction(), self.button.get("Action"), self.stored()),
                         ("disabled", "disabled", "disabled"))
        self.button.SetAction("other")
        wait_until(self.watched, "the button is watched")

    def test_user_defined_can_be_selected_before_its_script_is_there(self):
        self.button.SetAction("user-defined")
        self.assertEqual(self.button.GetAction(), "user-defined")

    def test_a_link_made_by_hand_leaves_the_button_without_a_script_until_a_restart(self):
        self.link("hand", f"{DIRECTORY}/other.sh")
        self.button.SetAction("hand")
        self.assertEqual((self.button.GetAction(), self.stored()), ("default", "default"))
        self.assertFalse(self.watched())
        self.stop_daemon()
        self.start_daemon()
        self.button.SetAction("hand")
        self.assertEqual(self.button.GetAction(), "hand")

    def test_a_reader_is_exchanged_while_the_button_is_used(self):
        for _ in range(50):
            self.world.do("press", "reset")
            self.button.SetAction("other")
            self.button.SetAction("disabled")
        self.assertFalse(self.watched())


class StoredActionTest(ActionsTest):
    starts = False

    def arrange(self):
        self.write(os.path.join(self.scripts, "3com.sh"))
        self.link("3com", f"{DIRECTORY}/3com.sh")
        self.link("2many", f"{DIRECTORY}/3com.sh")

    def start_with(self, stored):
        os.makedirs(self.world.settings, exist_ok=True)
        with open(self.settings_path, "w") as file:
            file.write(stored)
        self.start_daemon()

    def assert_restored(self, stored, action):
        self.start_with(f"[Button/RESET]\nAction={stored}\n")
        self.assertEqual((self.button.GetAction(), self.stored()), (action, action))

    def test_0_is_disabled(self):
        self.assert_restored("0", "disabled")

    def test_1_is_default(self):
        self.assert_restored("1", "default")

    def test_2_is_user_defined(self):
        self.assert_restored("2", "user-defined")

    def test_a_name_that_begins_with_2_is_user_defined_too(self):
        self.assert_restored("2many", "user-defined")

    def test_a_name_that_begins_with_3_is_a_name(self):
        self.assert_restored("3com", "3com")

    def test_disabled_stays_disabled(self):
        self.assert_restored("disabled", "disabled")

    def assert_none_selected(self, stored, shown):
        self.start_with(f"[Button/RESET]\nAction={stored}\n")
        self.assertEqual((self.button.GetAction(), self.button.get("Action"), self.stored()),
                         ("", "default", stored))
        self.assertIn(f"<warn>  [Button/RESET] Action '{shown}' is not selected: {UNKNOWN}",
                      self.log_lines())

    def test_an_action_that_is_gone_leaves_the_button_without_one(self):
        self.assert_none_selected("gone", "gone")

    def test_an_empty_name_leaves_the_button_without_one(self):
        self.assert_none_selected("", "")

    def test_a_name_that_is_too_long_is_cut(self):
        self.assert_none_selected("x" * 40, "x" * 31)

    def test_a_damaged_file_means_the_default_action(self):
        self.start_with("not a key file\n")
        self.assertEqual((self.button.GetAction(), self.stored()), ("default", "default"))

    def test_a_key_that_is_no_text_means_the_default_action(self):
        self.start_with("[Button/RESET]\nAction=\\q\n")
        self.assertEqual(self.button.GetAction(), "default")


class UserDefinedTest(ActionsTest):
    starts = False

    def test_its_link_is_made_at_the_start(self):
        self.start_daemon()
        self.assertEqual(self.entries()["user-defined.action"], f"{DIRECTORY}/custom.script")

    def test_a_link_that_is_there_stays(self):
        self.link("user-defined", "/elsewhere")
        self.start_daemon()
        self.assertEqual(self.entries()["user-defined.action"], "/elsewhere")

    def test_one_whose_link_cannot_be_made_is_logged_and_stays_reserved(self):
        os.mkdir(os.path.join(self.scripts, "user-defined.action"))
        self.start_daemon()
        self.assertIn("<warn>  Create user-defined action name failed", self.log_lines())
        with self.assertBusError("InvalidArgument",
                                 'Reserved action name "user-defined" should not be deleted'):
            self.button.DeleteAction("user-defined")


class ReservedActionTest(ActionsTest):
    starts = False

    def test_one_without_its_script_is_logged_and_not_reserved(self):
        os.unlink(os.path.join(self.scripts, "factory-reset.script"))
        self.start_daemon()
        self.assertIn(f"<warn>  Reserved script is not exist: {DIRECTORY}/factory-reset.script",
                      self.log_lines())
        self.assertIn("<warn>  [Button/RESET] Definition: no script for action 'factory-reset'",
                      self.log_lines())
        self.assertNotIn("factory-reset.action", self.entries())
        self.button.AddAction("factory-reset", self.source("mine.sh"))

    def test_one_whose_link_leads_nowhere_is_logged_and_reserved(self):
        self.link("factory-reset", "/nowhere")
        self.start_daemon()
        self.assertIn("<warn>  Create reserved action name 'factory-reset' failed",
                      self.log_lines())
        self.assertIn("<warn>  [Button/RESET] Definition: no link for action 'factory-reset'",
                      self.log_lines())
        self.assertIn(("factory-reset", True, "/nowhere"), self.button.ListAction())

    def test_a_default_script_that_is_missing_leaves_the_button_without_an_action(self):
        os.unlink(os.path.join(self.scripts, "default.script"))
        self.start_daemon()
        self.assertEqual((self.button.GetAction(), self.button.get("Action")), ("", "default"))
        self.assertIn("Button/RESET", self.objects())

    def test_a_name_that_is_too_long_on_disk_is_cut_in_the_registry(self):
        self.link("x" * 40, f"{DIRECTORY}/default.script")
        self.start_daemon()
        self.assertEqual(len([line for line in self.log_lines()
                              if line.endswith("<warn>  Action name truncated")]), 1)


class NoFolderTest(ActionsTest):
    def prepare(self):
        shutil.rmtree(os.path.join(self.world.settings, "button-scripts"))

    def test_the_buttons_are_on_the_bus_without_an_action(self):
        self.assertIn("<warn>  Create user-defined action name failed", self.log_lines())
        self.assertEqual((self.button.GetAction(), self.other.GetAction()), ("", ""))


if __name__ == "__main__":
    perimond.main()
