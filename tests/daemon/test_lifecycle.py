"""From the start of the process to its end, and what its log shows of that."""

import os
import re
import signal
import subprocess

import perimond
from perimond.daemon import DAEMON, WRAPPER
from probe import ProbeTest, own_lines

STARTED = ["<info>  [Manager] TarvelPerimond process started",
           "<info>  [Manager] Acquired system bus",
           "<info>  [Manager] Use model plugin 'libzolv-model-perimond-sim.so'"]
ENDED = ["<info>  [Manager] TarvelPerimond Shutdown finished",
         "<info>  [Manager] TarvelPerimond process shut down"]
SHUTDOWN = ["<info>  [Manager] Running platform shutdown function",
            "<info>  [Probe] platform_shutdown"]
SIGNAL = "<info>  [Manager] Caught signal, Start to shutdown process"


class LifeTest(ProbeTest):
    log_level = "INFO"
    background = ()
    init = ("led ONE sim:green:ready", "gpio TWO 4 0",
            "signal wwan0 2 LED/ONE LED/TWO - - -", "sim wwan0 0", "ptn 0")

    def test_start_and_end_keep_their_order(self):
        self.stop_daemon()
        lines = [line for line in own_lines(self.log_lines()) if "[Probe] add" not in line]
        lines[-5:-2] = sorted(lines[-5:-2])  # the services go in no order of their own
        self.assertEqual(
            lines,
            [*STARTED,
             "<info>  [Manager] Acquired service name 'com.tarvel.Perimond'",
             "<info>  [Manager] Running platform init function",
             "<info>  [Probe] platform_init",
             "<info>  [LED/ONE] Exported at '/com/tarvel/Perimond/LED/ONE'",
             "<info>  [LED/TWO] Exported at '/com/tarvel/Perimond/LED/TWO'",
             "<info>  [Udev] Start listening",
             "<info>  [Udev] Start device scanning",
             "<info>  [LNV Client] Started",
             "<info>  [Manager] TarvelPerimond Started",
             SIGNAL,
             *SHUTDOWN,
             "<info>  [LED/ONE] Unexported",
             "<info>  [LED/ONE] Object destroyed",
             "<info>  [LED/TWO] Unexported",
             "<info>  [LED/TWO] Object destroyed",
             "<info>  [Probe] released partition",
             "<info>  [Probe] released signal",
             "<info>  [Probe] released sim",
             *ENDED])

    def test_the_scan_lies_between_its_line_and_the_last_of_the_start(self):
        lines = own_lines(self.log_lines())
        scanned = [number for number, line in enumerate(lines) if "[Probe] add" in line]
        self.assertEqual(scanned, list(range(
            lines.index("<info>  [Udev] Start device scanning") + 1,
            lines.index("<info>  [LNV Client] Started"))))
        self.assertGreater(len(scanned), 5)

    def test_the_objects_leave_the_bus_before_the_name_does(self):
        recorder = self.recorder("", "InterfacesRemoved")
        names = []
        self.bus.signal_subscribe(
            "org.freedesktop.DBus", None, "NameOwnerChanged", None, "com.tarvel.Perimond", 0,
            lambda *arguments: names.append((len(recorder.events), arguments[5].unpack()[2])))
        self.bus_object("").get("Version")
        self.stop_daemon()
        recorder.wait_for(lambda: names, "the name is released")
        self.assertEqual(names, [(2, "")])

    def test_an_interrupt_ends_it_like_a_termination(self):
        self.daemon.send_signal(signal.SIGINT)
        self.assertEqual(self.wait_for_exit(), 0)
        self.assertEqual([self.log_lines().count(SIGNAL), self.log_lines()[-1]], [1, ENDED[-1]])

    def test_sigchld_is_ignored(self):
        with open(f"/proc/{self.daemon_pid}/status") as file:
            ignored = int(re.search(r"SigIgn:\s*(\w+)", file.read())[1], 16)
        self.assertTrue(ignored & 1 << signal.SIGCHLD - 1)

    def test_no_descriptor_of_its_own_is_inherited_by_what_it_starts(self):
        folder = f"/proc/{self.daemon_pid}/fdinfo"
        inherited = []
        for number in sorted(os.listdir(folder), key=int):
            with open(f"{folder}/{number}") as file:
                flags = int(re.search(r"flags:\s*([0-7]+)", file.read())[1], 8)
            if not flags & os.O_CLOEXEC:
                inherited.append(number)
        self.assertEqual(inherited, ["0", "1", "2"])

    def test_no_child_remains_as_a_zombie(self):
        def children():
            with open(f"/proc/{self.daemon_pid}/task/{self.daemon_pid}/children") as file:
                return file.read().split()
        lines = self.act("child", "child", "child")
        self.assertRegex(lines[0], r"^<info>  \[Probe\] child \d+$")
        perimond.wait_until(lambda: not children(), "the children are reaped")


class SecondInstanceTest(ProbeTest):
    log_level = "INFO"
    background = ()
    init = ("led ONE sim:green:ready",)

    def test_it_gives_up_the_name_shuts_its_plugin_down_and_leaves_the_first_alone(self):
        output = self.world.run(*WRAPPER, DAEMON, env={**os.environ, "INVOCATION_ID": "second"})
        self.assertEqual(own_lines(output.splitlines()),
                         [*STARTED,
                          "<error> [Manager] Failed to acquire the 'com.tarvel.Perimond' service "
                          "name", *SHUTDOWN, *ENDED])
        self.assertEqual(self.bus_object("LED/ONE").GetState(), 0)

    def test_it_leaves_an_unfinished_save_of_the_first_alone(self):
        unfinished = os.path.join(self.world.settings, ".perimond-unfinished")
        os.makedirs(self.world.settings, exist_ok=True)
        with open(unfinished, "w", encoding="utf-8"):
            pass
        self.world.run(*WRAPPER, DAEMON, env={**os.environ, "INVOCATION_ID": "second"})
        self.assertTrue(os.path.exists(unfinished))
        self.stop_daemon()
        self.start_daemon()
        self.assertFalse(os.path.exists(unfinished))


class NoBusTest(ProbeTest):
    starts = False

    def test_it_says_so_and_exits_with_0(self):
        self.start_daemon(wait=False, DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent")
        self.assertEqual(self.wait_for_exit(), 0)
        self.assertEqual(self.log_lines(),
                         ["<info>  [Manager] TarvelPerimond process started",
                          "<error> [Manager] Failed to get the system bus. Make sure the message "
                          "bus daemon is running!",
                          "<info>  [Manager] TarvelPerimond process shut down"])


class LostBusTest(ProbeTest):
    def test_a_bus_that_ends_ends_the_daemon_in_order(self):
        pid = subprocess.check_output(
            ["pgrep", "-f", f"dbus-daemon --config-file={self.world.directory}/"], text=True)
        os.kill(int(pid), signal.SIGKILL)
        self.assertEqual(self.wait_for_exit(), 0)
        lines = own_lines(self.log_lines())
        self.assertIn("<error> [Manager] Failed to get the system bus. Make sure the message bus "
                      "daemon is running!", lines)
        self.assertEqual(lines[-4:], [*SHUTDOWN, *ENDED])


class SignalTest(ProbeTest):
    log_level = "INFO"
    starts = False

    def test_a_termination_during_the_start_is_heard_when_the_loop_runs_again(self):
        self.start_daemon(wait=False, PROBE_INIT="pause 300")
        self.wait_for_log("<info>  [Probe] platform_init")
        self.daemon.send_signal(signal.SIGTERM)
        self.assertEqual(self.wait_for_exit(), 0)
        lines = own_lines(self.log_lines())
        self.assertEqual(lines[lines.index("<info>  [Manager] TarvelPerimond Started") + 1:],
                         [SIGNAL, *SHUTDOWN, *ENDED])

    def test_a_second_termination_ends_it_at_once(self):
        self.start_daemon(PROBE_SHUTDOWN="pause 60000")
        self.daemon.send_signal(signal.SIGTERM)
        self.wait_for_log("<info>  [Probe] platform_shutdown")
        self.daemon.send_signal(signal.SIGTERM)
        self.assertEqual(self.wait_for_exit(), -signal.SIGTERM)
        self.assertEqual(self.log_lines()[-1], "<info>  [Probe] platform_shutdown")

    def test_a_signal_that_is_heard_when_the_loop_has_ended_ends_it_at_once(self):
        self.start_daemon(PROBE_SHUTDOWN="iterate 60000")
        self.daemon.send_signal(signal.SIGTERM)
        self.wait_for_log("<info>  [Probe] platform_shutdown")
        self.daemon.send_signal(signal.SIGINT)
        self.assertEqual(self.wait_for_exit(), 0)
        self.assertEqual(self.log_lines()[-2:], ["<info>  [Probe] platform_shutdown", SIGNAL])


class LogTest(ProbeTest):
    starts = False
    LEVELS = ("<debug> d", "<info>  i", "<warn>  w", "<error> e")
    PROBE = "log 1 d;log 2 i;log 3 w;log 4 e"

    def log_at(self, level):
        self.start_daemon(wait=False, LOG_LEVEL=level, PROBE_INIT=self.PROBE)
        perimond.wait_until(lambda: "<error> e" in own_lines(self.log_lines()), "the last line")
        self.stop_daemon()
        return [line for line in own_lines(self.log_lines()) if line in self.LEVELS]

    def test_the_level_is_taken_in_any_letter_case(self):
        self.assertEqual(self.log_at("dEBug"), ["<debug> d", "<info>  i", "<warn>  w", "<error> e"])

    def test_the_warn_level_drops_what_is_below(self):
        self.assertEqual(self.log_at("WARN"), ["<warn>  w", "<error> e"])

    def test_the_error_level_is_called_err(self):
        self.assertEqual(self.log_at("err"), ["<error> e"])

    def test_error_is_an_unknown_level_and_leaves_info(self):
        self.assertEqual(self.log_at("ERROR"), ["<info>  i", "<warn>  w", "<error> e"])

    def test_an_unknown_level_leaves_info(self):
        self.assertEqual(self.log_at("verbose"), ["<info>  i", "<warn>  w", "<error> e"])

    def test_without_a_level_it_is_info(self):
        self.assertEqual(self.log_at(None), ["<info>  i", "<warn>  w", "<error> e"])

    def test_messages_of_every_glib_domain_and_level_pass_the_error_level_as_they_stand(self):
        # The levels critical, warning, message, info and debug of g_log().
        commands = [rf"glib Lib{level} {level} of\040{level}\n" for level in (8, 16, 32, 64, 128)]
        self.start_daemon(wait=False, LOG_LEVEL="ERR", PROBE_INIT=";".join(commands))
        self.wait_for_log("of 128")
        self.stop_daemon()
        self.assertEqual(own_lines(self.log_lines()), ["of 8", "of 16", "of 32", "of 64", "of 128"])

    def test_without_a_service_manager_lines_go_to_syslog_and_to_standard_error(self):
        self.start_daemon(wait=False, INVOCATION_ID=None, LOG_LEVEL="INFO", PROBE_INIT="log 3 hot")
        perimond.wait_until(
            lambda: any("TarvelPerimond Started" in line for line in self.error_lines()), "start")
        pid = subprocess.check_output(["awk", "/NSpid/ {print $NF}",
                                       f"/proc/{self.daemon_pid}/status"], text=True).strip()
        self.stop_daemon()
        lines = own_lines(self.error_lines())
        name = f"{os.path.basename(DAEMON)}[{pid}]: "
        self.assertEqual(lines[0], f"{name}{STARTED[0]}")
        self.assertIn(f"{name}<warn>  hot", lines)
        self.assertEqual(lines[-1], f"{name}{ENDED[-1]}")
        self.assertEqual(self.log_lines(), [])


if __name__ == "__main__":
    perimond.main()
