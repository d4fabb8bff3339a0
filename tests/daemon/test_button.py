"""Buttons: reading the input device, starting the action's script, telling the bus."""

import contextlib
import fcntl
import os
import shutil
import signal
import struct
import termios
import threading
import time

import perimond
from perimond import scaled, wait_until
from probe import ProbeTest

DIRECTORY = "/etc/tarvel/TarvelPerimond/button-scripts"
EV_SYN, EV_KEY, EV_REL = 0, 1, 2
SYN_REPORT, SYN_DROPPED = 0, 3
KEY_RESTART = 0x198
F_SETSIG = 10
EVENT = struct.Struct("qqHHi")  # an input event as the kernel gives it


class ButtonTest(perimond.DaemonTest):
    """RESET and USER, with the default action "default". Its script notes how it was run."""

    def setUp(self):
        super().setUp()
        self.button = self.bus_object("Button/RESET")
        if self.starts:
            self.wait_until_open()

    def prepare(self):
        self.scripts = os.path.join(self.world.settings, "button-scripts")
        self.runs_path = os.path.join(self.world.directory, "runs")
        self.write_script("default.script", f'echo "$@" >> {self.runs_path}')

    def write_script(self, name, text, mode=0o755):
        path = os.path.join(self.scripts, name)
        with open(path, "w") as file:
            file.write(f"#!/bin/sh\n{text}\n")
        os.chmod(path, mode)

    def runs(self):
        """The arguments that the script was run with, sorted: the runs are side by side."""
        with contextlib.suppress(FileNotFoundError), open(self.runs_path) as file:
            return sorted(file.read().splitlines())
        return []

    def wait_for_runs(self, runs, seconds=20):
        wait_until(lambda: len(self.runs()) >= len(runs), f"{len(runs)} runs", seconds)
        self.assertEqual(self.runs(), sorted(runs))

    @contextlib.contextmanager
    def slow_start(self):
        """During the block the start of the script does not end: the kernel makes it wait for the
        lease on the file."""
        with open(os.path.join(self.scripts, "default.script")) as file:
            fcntl.fcntl(file, F_SETSIG, signal.SIGURG)  # which does nothing here
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
            yield
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK)

    def key(self, value, code=KEY_RESTART):
        self.world.do("event", "reset-button", EV_KEY, code, value)
        self.world.do("event", "reset-button", EV_SYN, SYN_REPORT, 0)

    def opens(self):
        return len(self.world.accesses("/dev/input/event0", ("open",)))

    def wait_until_open(self, opens=0):
        """The device keeps its events for the reader from then on."""
        wait_until(lambda: self.opens() > opens, "the device is open")

    def select(self, action):
        opens = self.opens()
        self.button.SetAction(action)
        self.wait_until_open(opens)


class HeldAtStartTest(ButtonTest):
    def prepare(self):
        super().prepare()
        self.world.do("hold", "reset")

    def test_a_release_without_a_press_is_run_with_no_seconds(self):
        self.world.do("release", "reset")
        self.wait_for_runs(["release 0"])


class ReaderTest(ButtonTest):
    def put_pipe(self):
        """A pipe instead of the device: it makes its writer wait where a device drops."""
        pipe = os.path.join(self.world.directory, "pipe")
        os.mkfifo(pipe)
        self.world.run("mount", "--bind", pipe, "/dev/input/event0")
        return pipe

    def bytes_in(self, pipe):
        """How much of what was written to a pipe is not yet read."""
        return struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0]

    def bytes_read(self):
        """How much the reader has read of the device since the record was cleared."""
        return sum(int(result) for *_, result in self.world.accesses("/dev/input/event0", ("read",))
                   if result.isdigit())

    def reader_time(self):
        """How many seconds the button's thread has computed so far."""
        for task in os.listdir(f"/proc/{self.daemon_pid}/task"):
            with open(f"/proc/{self.daemon_pid}/task/{task}/stat") as file:
                name, _, rest = file.read().partition(") ")
            if name.endswith("(RESET-btn"):
                return sum(map(int, rest.split()[11:13])) / os.sysconf("SC_CLK_TCK")
        return self.fail("the button has no thread")

    def test_a_press_and_a_release_are_told_logged_and_run(self):
        recorder = self.recorder("Button/RESET")
        mark = len(self.log_lines())
        self.world.do("press", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("press",)),
                         ("Button/RESET", "actionChanged", ("release",))])
        self.assertEqual(
            [line for line in self.log_lines()[mark:] if "Button/RESET" in line],
            ["<info>  [Button/RESET] Button pressed",
             '<info>  [Button/RESET] Execute hook with action="press", seconds=0',
             "<info>  [Button/RESET] Button released",
             '<info>  [Button/RESET] Execute hook with action="release", seconds=0'])
        self.wait_for_runs(["press 0", "release 0"])

    def test_each_second_of_a_press_gives_a_hold(self):
        recorder = self.recorder("Button/RESET")
        start = time.monotonic()
        self.world.do("hold", "reset")
        recorder.expect([("Button/RESET", "actionChanged", (word,))
                         for word in ("press", "hold", "hold", "hold")])
        self.assertGreaterEqual(time.monotonic() - start, 3)
        self.assertLess(time.monotonic() - start, scaled(5))
        self.world.do("release", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("release",))])
        self.wait_for_runs(["press 0", "hold 1", "hold 2", "hold 3", "release 3"])

    def test_a_report_within_the_hold_restarts_the_second(self):
        recorder = self.recorder("Button/RESET")
        self.world.do("hold", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("press",))])
        for _ in range(12):
            time.sleep(0.1)
            self.world.do("event", "reset-button", EV_REL, 0, 1)
            self.world.do("event", "reset-button", EV_SYN, SYN_REPORT, 0)
        self.world.do("release", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("release",))])
        self.wait_for_runs(["press 0", "release 0"])

    def test_every_key_of_the_device_counts(self):
        self.key(1, code=30)
        self.wait_for_runs(["press 0"])

    def test_another_value_is_logged_and_ends_the_hold(self):
        self.key(1)
        self.wait_for_runs(["press 0"])
        self.key(2)
        self.wait_for_log("<warn>  [Button/RESET] Unknown event value: 2")
        time.sleep(1.3)
        self.key(0)
        self.wait_for_runs(["press 0", "release 0"])

    def test_other_kinds_of_events_are_nothing(self):
        recorder = self.recorder("Button/RESET")
        self.world.do("event", "reset-button", EV_REL, 0, 1)
        self.world.do("event", "reset-button", EV_SYN, SYN_REPORT, 0)
        recorder.expect_none()
        self.assertEqual(self.runs(), [])

    def test_lost_events_are_logged_and_end_the_hold(self):
        self.key(1)
        self.wait_for_runs(["press 0"])
        self.world.do("event", "reset-button", EV_SYN, SYN_DROPPED, 0)
        self.world.do("event", "reset-button", EV_SYN, SYN_REPORT, 0)
        self.wait_for_log("<warn>  [Button/RESET] Input events were lost")
        time.sleep(1.3)
        self.assertEqual(self.runs(), ["press 0"])

    def test_a_device_that_goes_while_the_button_is_held_ends_the_hold(self):
        recorder = self.recorder("Button/RESET")
        self.world.do("hold", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("press",))])
        mark = len(self.log_lines())
        self.world.do("remove-input", "reset-button")
        self.wait_for_log("<error> [Button/RESET] Read input device failed: No such device")
        time.sleep(1.3)
        self.assertEqual([line for line in self.log_lines()[mark:] if "Button/RESET" in line],
                         ["<error> [Button/RESET] Read input device failed: No such device"])
        recorder.expect_none(0)

    def test_a_device_that_is_back_is_read_when_an_action_is_selected(self):
        self.world.do("remove-input", "reset-button")
        self.wait_for_log("<error> [Button/RESET] Read input device failed: No such device")
        self.world.do("add-input", "reset-button", "event=0", "reset=0x198")
        self.select("default")
        self.world.do("press", "reset")
        self.wait_for_runs(["press 0", "release 0"])

    def test_a_read_that_fails_once_is_logged_and_the_next_press_is_seen(self):
        self.world.do("fail", "/dev/input/event0", "read", "EIO", 1)
        self.key(1)
        self.wait_for_log("<error> [Button/RESET] Read input device failed: Input/output error")
        self.key(0)
        self.wait_for_runs(["press 0", "release 0"])

    def test_an_event_that_is_cut_short_is_logged_and_the_next_one_is_seen(self):
        self.world.do("fail", "/dev/input/event0", "read", "short:10", 1)
        self.key(1)
        self.wait_for_log("<error> [Button/RESET] Read input device failed: No data available")
        self.key(0)
        self.wait_for_runs(["release 0"])

    def test_the_thread_is_named_after_the_button(self):
        names = set()
        for task in os.listdir(f"/proc/{self.daemon_pid}/task"):
            with open(f"/proc/{self.daemon_pid}/task/{task}/comm") as file:
                names.add(file.read().strip())
        self.assertLessEqual({"RESET-btn", "USER-btn"}, names)

    def test_two_buttons_with_the_same_action_both_run_it(self):
        self.world.do("press", "reset")
        self.world.do("press", "user")
        self.wait_for_runs(["press 0", "release 0"] * 2)

    def test_a_release_during_a_slow_start_ends_the_hold(self):
        recorder = self.recorder("Button/RESET")
        with self.slow_start():
            self.world.do("press", "reset")
            recorder.expect([("Button/RESET", "actionChanged", ("press",))])
            time.sleep(1.5)
        recorder.expect([("Button/RESET", "actionChanged", ("release",))])
        self.wait_for_runs(["press 0", "release 0"])

    def test_a_start_that_fails_when_the_button_is_read_no_more_is_logged(self):
        with open(os.path.join(self.scripts, "default.script"), "w") as file:
            file.write("#!/nowhere\n")
        recorder = self.recorder("Button/RESET", "actionChanged")
        disabling = threading.Thread(target=self.button.SetAction, args=("disabled",))
        with self.slow_start():
            self.key(1)
            recorder.expect([("Button/RESET", "actionChanged", ("press",))])
            disabling.start()
            self.wait_for_log("<info>  [Button/RESET] Get method call: SetAction: disabled")
            time.sleep(0.2)  # the reader is told to end and waits for the start
        disabling.join()
        self.assertIn(f"<debug> [Button/RESET] Start of '{DIRECTORY}/default.action' failed: "
                      "No such file or directory", self.log_lines())

    def test_more_events_than_are_kept_during_a_slow_start_keep_nothing_busy(self):
        pipe = self.put_pipe()
        self.button.SetAction("default")
        presses = EVENT.pack(0, 0, EV_KEY, KEY_RESTART, 1) * 64
        with self.slow_start(), open(pipe, "wb", buffering=0) as writer:
            for _ in range(65536 // 64 + 8):  # the reader leaves the last ones in the pipe
                writer.write(presses)
            wait_until(lambda: self.bytes_in(writer) <= 8 * len(presses), "the rest is taken")
            before = self.reader_time()
            time.sleep(2)
            self.assertLess(self.reader_time() - before, 0.1)
        self.button.SetAction("disabled")

    def test_a_burst_of_ten_thousand_events_loses_none(self):
        pipe = self.put_pipe()
        os.unlink(os.path.join(self.scripts, "default.script"))
        recorder = self.recorder("Button/RESET", "actionChanged")
        press, report, release = (EVENT.pack(0, 0, *event) for event in (
            (EV_KEY, KEY_RESTART, 1), (EV_SYN, SYN_REPORT, 0), (EV_KEY, KEY_RESTART, 0)))
        self.button.SetAction("default")
        writer = os.open(pipe, os.O_WRONLY)
        for _ in range(5000):
            os.write(writer, press + report + release + report)
        recorder.wait_for(lambda: len(recorder.events) >= 10000, "all events", 60)
        os.close(writer)
        self.assertEqual([arguments for _, _, arguments in recorder.events],
                         [("press",), ("release",)] * 5000)

    def test_the_device_is_read_while_a_script_is_started(self):
        shutil.copy("/bin/true", os.path.join(self.scripts, "default.script"))
        recorder = self.recorder("Button/RESET", "actionChanged")
        with self.slow_start():
            for _ in range(8):
                self.world.do("record", "--clear")
                for _ in range(15):  # four events each: what the device keeps for a reader
                    self.world.do("press", "reset")
                wait_until(lambda: self.bytes_read() >= 15 * 4 * EVENT.size, "the device is read")
        recorder.wait_for(lambda: len(recorder.events) >= 240, "all events", 60)
        self.assertEqual([arguments for _, _, arguments in recorder.events],
                         [("press",), ("release",)] * 120)

    def test_the_end_of_the_daemon_does_not_wait_for_a_button(self):
        self.world.do("press", "reset")
        self.wait_for_runs(["press 0", "release 0"])
        start = time.monotonic()
        self.stop_daemon()
        # Nobody touches a button for hours; its reader looks up every 15 s.
        self.assertLess(time.monotonic() - start, scaled(7))


class ScriptTest(ButtonTest):
    def prepare(self):
        super().prepare()
        os.symlink(f"{DIRECTORY}/other.script", os.path.join(self.scripts, "other.action"))

    def press(self, text, mode=0o755):
        self.write_script("other.script", text, mode)
        self.select("other")
        self.press_once()

    def press_once(self):
        recorder = self.recorder("Button/RESET", "actionChanged")
        self.world.do("press", "reset")
        recorder.expect([("Button/RESET", "actionChanged", ("press",)),
                         ("Button/RESET", "actionChanged", ("release",))])

    def test_it_runs_through_the_link_as_root_with_an_empty_input(self):
        self.press(f'echo "$0 $(id -u) $(cat | wc -c) $*" >> {self.runs_path}')
        self.wait_for_runs([f"{DIRECTORY}/other.action 0 0 press 0",
                            f"{DIRECTORY}/other.action 0 0 release 0"])

    def test_one_that_never_ends_holds_up_nothing(self):
        self.press("exec sleep 1000")
        self.assertEqual(self.button.GetAction(), "other")
        self.world.run("pkill", "-x", "sleep")

    def test_one_without_a_run_bit_is_logged_and_the_press_is_told(self):
        self.press("echo", mode=0o644)
        self.wait_for_log(f"<debug> [Button/RESET] Start of '{DIRECTORY}/other.action' failed: "
                          "Permission denied", count=2)

    def test_one_that_is_gone_is_logged_and_the_press_is_told(self):
        self.select("other")
        self.press_once()
        self.assertEqual(self.log_lines().count("<error> Hook script is not exist"), 2)

    def test_a_link_that_points_at_itself_is_logged_and_the_press_is_told(self):
        link = os.path.join(self.scripts, "other.action")
        os.unlink(link)
        os.symlink(f"{DIRECTORY}/other.action", link)
        self.select("other")
        self.press_once()
        self.assertEqual(self.log_lines().count("<error> Hook script is not exist"), 2)

    def test_it_is_looked_up_at_each_press(self):
        self.press(f"echo old >> {self.runs_path}")
        self.wait_for_runs(["old", "old"])
        self.write_script("other.script", f"echo new >> {self.runs_path}")
        self.press_once()
        self.wait_for_runs(["new", "new", "old", "old"])


class ServiceTest(ButtonTest, ProbeTest):
    starts = False

    def prepare(self):
        ButtonTest.prepare(self)
        ProbeTest.prepare(self)

    def test_a_service_that_is_stopped_reads_no_more_until_an_action_is_selected(self):
        os.symlink(f"{DIRECTORY}/default.script", os.path.join(self.scripts, "default.action"))
        self.start_daemon()
        self.act("create button RESET", "button-device Button/RESET /dev/input/event0")
        self.select("default")
        self.assertEqual(self.act("stop-service Button/RESET"), ["<info>  [Probe] stopped 1"])
        self.world.do("press", "reset")
        self.assertEqual(self.act("stop-service Button/RESET"), ["<info>  [Probe] stopped 1"])
        self.assertEqual(self.runs(), [])
        self.select("default")
        self.world.do("press", "reset")
        self.wait_for_runs(["press 0", "release 0"])


    def test_what_a_button_still_had_to_tell_is_dropped_when_it_leaves_the_bus(self):
        os.symlink(f"{DIRECTORY}/default.script", os.path.join(self.scripts, "default.action"))
        self.start_daemon()
        self.act("create button RESET", "button-device Button/RESET /dev/input/event0")
        self.select("default")
        recorder = self.recorder("Button/RESET", "actionChanged")
        self.send("log 2 waiting", "await /etc/tarvel/go", "unexport Button/RESET",
                  "export Button/RESET", "log 2 back")
        self.wait_for_log("<info>  waiting")
        self.world.do("press", "reset")
        self.wait_for_runs(["press 0", "release 0"])
        open(os.path.join(self.world.directory, "tarvel", "go"), "w").close()
        self.wait_for_log("<info>  back")
        self.select("default")
        self.key(1)
        recorder.expect([("Button/RESET", "actionChanged", ("press",))])


class OtherDeviceTest(ButtonTest):
    starts = False

    def test_a_node_that_is_not_there_yet_is_logged_and_read_when_an_action_is_selected(self):
        self.world.do("remove-input", "reset-button")
        self.start_daemon()
        self.wait_for_log("<warn>  [Button/RESET] Open '/dev/input/event0' failed: "
                          "No such file or directory")
        self.assertEqual(self.button.GetAction(), "default")
        self.world.do("add-input", "reset-button", "event=0", "reset=0x198")
        self.select("default")
        self.world.do("press", "reset")
        self.wait_for_runs(["press 0", "release 0"])

    def test_a_plain_file_in_place_of_the_node_is_logged(self):
        plain = os.path.join(self.world.directory, "plain")
        with open(plain, "w"):
            pass
        self.world.run("mount", "--bind", plain, "/dev/input/event0")
        self.start_daemon()
        wait_until(lambda: len([line for line in self.log_lines() if "epoll failed" in line]) == 3,
                   "the device is refused")
        lines = [line for line in self.log_lines() if "epoll failed" in line]
        self.assertRegex(lines[0], "^<error> Add fd=[0-9]+ to epoll failed: "
                                   "Operation not permitted$")
        for line in lines[1:]:
            self.assertRegex(line, "^<error> Delete fd=[0-9]+ to epoll failed: ")

    def test_a_pipe_that_nobody_writes_to_holds_up_nothing(self):
        pipe = os.path.join(self.world.directory, "pipe")
        os.mkfifo(pipe)
        self.world.run("mount", "--bind", pipe, "/dev/input/event0")
        self.start_daemon()
        self.button.SetAction("default")
        self.button.SetAction("disabled")


if __name__ == "__main__":
    perimond.main()
