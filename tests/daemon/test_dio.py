"""Digital inputs and outputs on the bus and on the board."""

import errno
import os
import re
import resource
import signal
import threading
import time

import perimond
from dio_board import HOOKS, DioTest
from perimond import scaled, wait_until
from probe import ProbeTest


class PropertyTest(DioTest):
    def test_the_properties_after_the_definition(self):
        names = ("DeviceType", "GPIOPin", "DirectionConfigurable", "Event", "Active", "HookName",
                 "Direction")
        self.assertEqual(
            {name: tuple(self.dio(name).get(member) for member in names)
             for name in ("DI1", "DO1", "DIO1")},
            {"DI1": (1, 16, False, 0, 0, "none", 0), "DO1": (1, 24, False, 0, 0, "N/A", 0),
             "DIO1": (2, 28, True, 0, 0, "none", 0)})

    def test_a_fresh_input_stores_its_defaults_and_an_output_nothing(self):
        self.assertEqual(self.stored("DI1"), {"Event": "0", "HookName": ""})
        self.assertEqual(self.stored("DIO1"), {"Event": "0", "HookName": "", "Direction": "0"})
        self.assertEqual(self.stored("DO1"), {})

    def test_every_input_has_a_watcher_and_no_output(self):
        # A thread gives itself its name.
        wait_until(lambda: len(self.watchers()) >= 3, "the threads have names")
        self.assertEqual(self.watchers(), ["DI1-watcher", "DI2-watcher", "DIO1-watcher"])


class StateTest(DioTest):
    def test_an_output_is_driven_and_read_back(self):
        with self.lines_of("DO1") as lines:
            self.dio("DO1").SetState(1)
            self.assertEqual(self.dio("DO1").GetState(), 1)
        self.assertEqual(self.world.do("read", 24), "1\n")
        self.assertEqual(lines, ["<debug> [DIO/DO1] Get method call: SetState(1)",
                                 "<debug> [DIO/DO1] SetState(1) OK",
                                 "<debug> [DIO/DO1] Get method call: GetState()",
                                 "<debug> [DIO/DO1] GetState() OK, state=1"])

    def test_a_state_above_one_is_refused_before_the_channel_is_asked(self):
        for name in ("DI1", "DO1", "DIO1"):
            with self.subTest(name), self.lines_of(name) as lines:
                with self.assertBusError("InvalidArgument", "Invalid DIO state"):
                    self.dio(name).SetState(2)
            self.assertEqual(lines, [f"<debug> [DIO/{name}] Get method call: SetState(2)",
                                     f"<error> [DIO/{name}] SetState(2) failed: "
                                     "Invalid DIO state"])

    def test_an_input_is_not_driven(self):
        for name in ("DI1", "DIO1"):
            with self.subTest(name), self.assertBusError("OperationNotPermitted",
                                                         "DIO pin should be set to output"):
                self.dio(name).SetState(1)

    def test_a_line_that_does_not_read_is_an_unknown_value(self):
        self.world.do("fail", "*/gpio24/value", "read", "EIO")
        with self.assertBusError("PeripheralUnknownValue", "Failed to get GPIO"):
            self.dio("DO1").GetState()

    def test_a_line_that_does_not_take_the_value_says_why(self):
        self.world.do("fail", "*/gpio24/value", "write", "EIO")
        with self.assertBusError("OperationFailure", "write '/sys/class/gpio/gpio24/value' failed: "
                                                     "Input/output error"):
            self.dio("DO1").SetState(1)


class DirectionTest(DioTest):
    def test_the_direction_is_read_from_the_line(self):
        with self.lines_of("DI1") as lines:
            self.assertEqual(self.dio("DI1").GetDirection(), 0)
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: GetDirection()",
                                 "<debug> [DIO/DI1] GetDirection() OK, direction=0"])
        self.assertEqual(self.dio("DO1").GetDirection(), 1)

    def test_the_same_direction_is_kept(self):
        with self.lines_of("DI1") as lines:
            self.dio("DI1").SetDirection(0)
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: SetDirection(0)",
                                 "<debug> [DIO/DI1] Keep the same DIO direction",
                                 "<debug> [DIO/DI1] SetDirection(0) OK"])

    def test_another_direction_of_one_line_is_not_supported(self):
        with self.lines_of("DI1") as lines:
            with self.assertBusError("OperationNotSupported", "DIO set_direction is not supported"):
                self.dio("DI1").SetDirection(1)
        self.assertEqual(lines[-1], "<error> [DIO/DI1] SetDirection(1) failed: "
                                    "DIO set_direction is not supported")

    def test_an_event_holds_the_direction_of_either_kind(self):
        text = "Hook event must be set to 'none' before changing direction"
        for name in ("DI1", "DIO1"):
            self.dio(name).SetEvent(1)
            with self.subTest(name), self.assertBusError("OperationNotPermitted", text):
                self.dio(name).SetDirection(1)
            self.dio(name).SetDirection(0)

    def test_any_other_number_is_refused_and_the_daemon_goes_on(self):
        for number in (2, 4294967295):
            for name in ("DI1", "DIO1"):
                with self.subTest((name, number)), self.lines_of(name) as lines:
                    with self.assertBusError("InvalidArgument", "Invalid DIO direction"):
                        self.dio(name).SetDirection(number)
                shown = number if number == 2 else -1
                self.assertEqual(lines, [
                    f"<debug> [DIO/{name}] Get method call: SetDirection({shown})",
                    f"<error> [DIO/{name}] SetDirection({shown}) failed: Invalid DIO direction"])
        self.assertEqual(self.dio("DIO1").GetDirection(), 0)

    def test_a_direction_that_cannot_be_read_is_asked_for_anew(self):
        self.world.do("fail", "*/gpio16/direction", "read", "EIO")
        with self.assertBusError("OperationNotSupported", "DIO set_direction is not supported"):
            self.dio("DI1").SetDirection(0)
        with self.assertBusError("OperationFailure", "read '/sys/class/gpio/gpio16/direction' "
                                                     "failed: Input/output error"):
            self.dio("DI1").GetDirection()


class DualTest(DioTest):
    def test_it_turns_round_and_back_and_releases_the_output_first(self):
        dio = self.dio("DIO1")
        dio.SetDirection(1)
        self.assertEqual((dio.get("GPIOPin"), dio.GetDirection()), (29, 1))
        self.assertEqual(self.stored("DIO1")["Direction"], "1")
        dio.SetState(0)
        self.assertEqual(self.world.do("read", 29), "0\n")
        dio.SetDirection(0)
        self.assertEqual(self.world.do("read", 29), "1\n")
        self.assertEqual((dio.get("GPIOPin"), dio.GetDirection()), (28, 0))
        self.assertEqual(self.stored("DIO1")["Direction"], "0")

    def test_the_level_is_that_of_the_line_in_use(self):
        dio = self.dio("DIO1")
        self.turn(28, 1)
        self.assertEqual(dio.GetState(), 1)
        dio.SetDirection(1)
        self.assertEqual(dio.GetState(), 0)
        dio.SetState(1)
        self.assertEqual(self.world.do("read", 29), "1\n")

    def test_turning_leaves_the_directions_of_the_lines(self):
        self.world.do("record", "--clear")
        self.dio("DIO1").SetDirection(1)
        self.dio("DIO1").SetDirection(0)
        self.assertEqual(self.world.accesses("*/gpio28/direction"), [])
        self.assertEqual(self.world.accesses("*/gpio29/direction"), [])

    def test_an_output_that_cannot_be_released_stays_an_output(self):
        dio = self.dio("DIO1")
        dio.SetDirection(1)
        self.world.do("fail", "*/gpio29/value", "write", "EIO")
        with self.assertBusError("DeviceIOFailure", "Fail to pull high for DIO output pin 29"):
            dio.SetDirection(0)
        self.assertEqual((dio.get("GPIOPin"), dio.GetDirection()), (29, 1))
        self.assertEqual(self.stored("DIO1")["Direction"], "1")

    def test_its_own_failures_keep_the_reason(self):
        self.world.do("fail", "*/gpio28/value", "read", "EIO")
        with self.assertBusError("OperationFailure", "read '/sys/class/gpio/gpio28/value' failed: "
                                                     "Input/output error"):
            self.dio("DIO1").GetState()

    def test_an_output_takes_no_event_and_a_watcher_goes_on_over_turns(self):
        dio = self.dio("DIO1")
        self.wait_for_readings(28)
        dio.SetDirection(1)
        with self.assertBusError("OperationNotSupported", "Hooking DO events is not allowed"):
            dio.SetEvent(1)
        dio.SetDirection(0)
        recorder = self.recorder("DIO/DIO1", "StateChanged")
        self.wait_for_readings(28)
        self.turn(28, 1)
        recorder.wait_for(lambda: ("DIO/DIO1", "StateChanged", (1,)) in recorder.events, "an edge")

    def test_while_it_is_an_output_the_level_that_it_drives_is_announced(self):
        dio = self.dio("DIO1")
        dio.SetDirection(1)
        dio.SetState(0)
        self.wait_for_readings(29)
        recorder = self.recorder("DIO/DIO1", "StateChanged")
        for level in (1, 0):
            dio.SetState(level)
            recorder.wait_for(lambda level=level: recorder.events
                              and recorder.events[-1][2] == (level,), f"level {level}")


class ProbedChannelTest(DioTest, ProbeTest):
    """Channels that the test defines itself."""

    def prepare(self):
        DioTest.prepare(self)
        ProbeTest.prepare(self)

    def test_a_channel_without_a_line_shows_none_and_takes_no_call(self):
        for kind, name in (("dio", "X"), ("dio-dualgpio", "Y")):
            self.act(f"create {kind} {name}", f"export DIO/{name}")
            dio = self.dio(name)
            with self.subTest(kind):
                self.assertEqual((dio.get("DeviceType"), dio.get("GPIOPin")), (0, 4294967295))
                for call in (dio.GetState, lambda dio=dio: dio.SetState(1)):
                    with self.assertBusError("PeripheralNotReady", "DIO pin is not set"):
                        call()
                with self.assertBusError("PeripheralNotReady", "DIO GPIO pin is not set"):
                    dio.GetDirection()

    def test_a_hook_before_the_line_ends_the_daemon(self):
        self.assertAborts(("zolv_dio_define_hook", "self->priv->pin_defined == TRUE"),
                          "create dio X", "hook DIO/X")

    def test_a_hook_before_the_two_lines_ends_the_daemon(self):
        self.assertAborts(("zolv_dio_dualgpio_define_hook", "self->priv->pin_defined == TRUE"),
                          "create dio-dualgpio X", "hook DIO/X")

    def test_a_watcher_that_is_started_anew_shows_what_the_last_one_could_not(self):
        self.act("create dio X", "dio-gpio DIO/X 16 0", "hook DIO/X", "hook DIO/X")
        self.dio("X").AddHook("one", self.write_script("one.sh"))
        self.dio("X").SetHook("one")
        # The first watcher sees the event while the main loop is busy.
        self.act("event DIO/X 3", "pause 200", "unexport DIO/X", "export DIO/X", "hook DIO/X")
        self.wait_for_property("X", "Active", 1)


    def test_what_an_input_still_had_to_tell_is_dropped_when_it_leaves_the_bus(self):
        self.act("create dio X", "dio-gpio DIO/X 16 0", "hook DIO/X")
        recorder = self.recorder("DIO/X", "StateChanged")
        go = "/etc/tarvel/go"
        self.send("log 2 waiting", f"await {go}", "unexport DIO/X", "export DIO/X", "hook DIO/X",
                  "log 2 back")
        self.wait_for_log("<info>  waiting")
        self.turn(16, 1)
        self.wait_for_readings(16)
        open(self.here(go), "w").close()
        self.wait_for_log("<info>  back")
        self.wait_for_readings(16)
        self.turn(16, 0)
        recorder.expect([("DIO/X", "StateChanged", (0,))])

    def test_an_input_that_goes_without_being_withdrawn_ends_its_watcher_first(self):
        self.act("lone LONE 28 29")
        wait_until(self.watchers, "the watcher has its name")
        # It may read the line once more.
        self.assertEqual([line for line in self.act("drop")
                          if not line.startswith("<debug> [Common] ")],
                         ["<info>  [DIO/LONE] Object destroyed"])
        self.assertEqual(self.watchers(), [])


class EndTest(DioTest, ProbeTest):
    environment = {"DIO_SAMPLING_INTERVAL": "50"}
    init = ("create dio A", "dio-gpio DIO/A 16 0", "hook DIO/A",
            "create dio B", "dio-gpio DIO/B 17 0", "hook DIO/B")
    shutdown = ("modprobe end",)

    def prepare(self):
        DioTest.prepare(self)
        ProbeTest.prepare(self)

    def test_all_watchers_are_told_to_end_before_the_first_is_waited_for(self):
        self.world.do("fail", "*/gpio16/value", "read", "delay:3000")
        wait_until(lambda: "delay" in self.world.do("faults"), "the fault is set")
        self.wait_for_readings(17)
        time.sleep(0.1)  # by now the first watcher is in its long reading
        self.stop_daemon()
        record = [line.split()[2:4] for line in self.world.do("record").splitlines()]
        end = record.index(["run", "/sbin/modprobe"])
        self.assertLess(record[end:].count(["read", "/sys/class/gpio/gpio17/value"]), 10)


class StoredOutputTest(DioTest):
    settings = "[DIO/DIO1]\nDirection=1\n"

    def test_the_stored_direction_wins_over_the_models_and_takes_no_hook(self):
        dio = self.dio("DIO1")
        self.assertEqual((dio.GetDirection(), dio.get("HookName"), dio.get("GPIOPin")),
                         (1, "N/A", 28))
        self.assertEqual(self.stored("DIO1"), {"Direction": "1"})
        dio.SetState(1)
        self.assertEqual(self.world.do("read", 29), "1\n")


class StoredNonsenseTest(DioTest):
    settings = "[DIO/DIO1]\nDirection=7\nEvent=word\n[DIO/DI1]\nEvent=word\nHookName=gone\n"

    def test_a_direction_that_is_none_is_replaced_by_the_models(self):
        self.assertIn("<warn>  [DIO/DIO1] Stored direction 7 is not valid", self.log_lines())
        self.assertEqual(self.stored("DIO1")["Direction"], "0")
        self.assertEqual(self.dio("DIO1").GetDirection(), 0)

    def test_a_word_for_an_event_is_replaced_by_none(self):
        self.assertEqual(self.dio("DI1").get("Event"), 0)
        self.assertEqual(self.stored("DI1"), {"Event": "0", "HookName": "gone"})

    def test_a_hook_that_is_gone_leaves_the_channel_without_one(self):
        self.assertEqual(self.dio("DI1").get("HookName"), "N/A")


class StoredEventTest(DioTest):
    starts = False

    def test_a_stored_event_is_restored(self):
        self.write_settings("[DIO/DI1]\nEvent=3\n")
        self.start_daemon()
        self.assertEqual(self.dio("DI1").get("Event"), 3)

    def test_a_stored_event_of_four_or_more_aborts(self):
        for number in ("4", "-1"):
            self.write_settings(f"[DIO/DI1]\nEvent={number}\n")
            self.start_daemon(wait=False)
            with self.subTest(number):
                self.assertEqual(self.wait_for_exit(), -signal.SIGABRT)
                self.assertIn("assertion failed: (self->priv->hook.event < DIO_LAST_EDGE)",
                              self.error_lines()[-1])


class UnreachableLineTest(DioTest):
    starts = False

    def test_a_line_that_takes_no_direction_is_logged_and_the_channel_is_there(self):
        self.world.do("fail", "*/gpio24/direction", "write", "EIO")
        self.start_daemon()
        self.assertIn("<error> Set GPIO direction for pin failed", self.log_lines())
        self.assertIn("<warn>  [DIO/DO1] Definition: Set GPIO direction for pin failed",
                      self.log_lines())
        self.assertIn("DIO/DO1", self.objects())

    def test_a_line_that_has_its_direction_is_not_written(self):
        self.world.do("fail", "*/gpio16/direction", "write", "EIO")
        self.start_daemon()
        self.assertNotIn("<error> Set GPIO direction for pin failed", self.log_lines())

    def test_the_lines_of_a_dual_channel_that_take_no_direction_are_logged(self):
        self.world.do("fail", "*/gpio2[89]/direction", "write", "EIO")
        self.start_daemon()
        self.assertIn("<warn>  [DIO/DIO1] Set GPIO direction for pin_input failed",
                      self.log_lines())
        self.assertIn("<warn>  [DIO/DIO1] Set GPIO direction for pin_output failed",
                      self.log_lines())
        self.assertIn("DIO/DIO1", self.objects())

    def test_an_input_that_cannot_be_read_ends_its_watcher_with_one_line(self):
        self.world.do("fail", "*/gpio16/value", "read", "EIO")
        self.start_daemon()
        line = "<error> [DIO/DI1] DIO Hook GetState(0) failed: Failed to get GPIO"
        self.wait_for_log(line)
        self.assertEqual(self.dio("DI1").get("HookName"), "none")
        time.sleep(0.05)
        self.assertEqual(self.log_lines().count(line), 1)


class EventTest(DioTest):
    def test_the_event_is_shown_stored_and_logged(self):
        with self.lines_of("DI1") as lines:
            self.dio("DI1").SetEvent(3)
        self.assertEqual(self.dio("DI1").get("Event"), 3)
        self.assertEqual(self.stored("DI1")["Event"], "3")
        self.assertEqual(lines, ["<debug> [DIO/DI1] Get method call: SetEvent(3)",
                                 f"<debug> [DIO/DI1] {HOOKS}/DI1.script does not exist",
                                 "<debug> [DIO/DI1] SetEvent(3) OK"])

    def test_an_event_above_three_is_refused_and_changes_nothing(self):
        self.dio("DI1").SetEvent(2)
        for number in (4, 4294967295):
            with self.subTest(number), self.assertBusError("InvalidArgument", "Invalid DIO event"):
                self.dio("DI1").SetEvent(number)
        self.assertEqual(self.dio("DI1").get("Event"), 2)
        self.assertEqual(self.stored("DI1")["Event"], "2")

    def test_an_output_takes_no_event_whatever_it_is(self):
        for event in (0, 1, 4):
            with self.subTest(event), self.lines_of("DO1") as lines:
                with self.assertBusError("OperationNotSupported",
                                         "Hooking DO events is not allowed"):
                    self.dio("DO1").SetEvent(event)
            self.assertEqual(lines[-1], f"<error> [DIO/DO1] SetEvent({event}) failed: "
                                        "Hooking DO events is not allowed")

    def test_an_input_whose_direction_cannot_be_read_takes_no_event(self):
        self.world.do("fail", "*/gpio16/direction", "read", "EIO")
        with self.assertBusError("OperationNotSupported", "Hooking DO events is not allowed"):
            self.dio("DI1").SetEvent(1)

    def test_an_event_is_kept_over_a_restart(self):
        self.dio("DI1").SetEvent(2)
        self.stop_daemon()
        self.start_daemon()
        self.assertEqual(self.dio("DI1").get("Event"), 2)


class WatcherTest(DioTest):
    def setUp(self):
        super().setUp()
        self.wait_for_readings(16)  # the level that a watcher begins with is no change

    def test_each_change_is_announced_whatever_the_event(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for event in range(4):
            self.dio("DI1").SetEvent(event)
            for level in (1, 0):
                with self.subTest((event, level)):
                    self.turn(16, level)
                    recorder.expect([("DIO/DI1", "StateChanged", (level,))])

    def test_a_level_that_stays_is_not_announced(self):
        recorder = self.recorder("DIO/DI1")
        self.turn(16, 0)
        self.wait_for_readings(16)
        self.turn(16, 1)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])

    def test_thousands_of_changes_come_in_order(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for _ in range(1000):
            self.turn(16, 1, 0)
        self.turn(16, 1)
        recorder.wait_for(lambda: recorder.events and recorder.events[-1][2] == (1,)
                          and self.dio("DI1").GetState() == 1, "the last change")
        values = [event[2][0] for event in recorder.events]
        self.assertEqual(values, [1 - i % 2 for i in range(len(values))])
        self.assertGreater(len(values), 2)

    def test_changes_that_wait_for_a_busy_main_loop_come_in_order(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        self.world.do("fail", "*/gpio24/value", "read", "delay:1000", 1)
        busy = threading.Thread(target=self.dio("DO1").GetState)
        busy.start()
        for i in range(15):
            self.turn(16, 1 - i % 2)
            self.wait_for_readings(16)
        busy.join()
        recorder.expect([("DIO/DI1", "StateChanged", (1 - i % 2,)) for i in range(15)])

    def test_a_line_that_stops_reading_ends_the_watcher_for_good(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        self.turn(16, 1)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])
        self.world.do("fail", "*/gpio16/value", "read", "EIO", 1)
        self.wait_for_log("<error> [DIO/DI1] DIO Hook GetState(1) failed: Failed to get GPIO")
        self.turn(16, 0)
        recorder.expect_none()
        self.assertEqual(self.dio("DI1").GetState(), 0)

    def test_a_reading_for_which_the_daemon_lacks_something_is_told_once_and_taken_again(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        for level, cause in enumerate(("EINTR", "EAGAIN", "EMFILE", "ENFILE", "ENOMEM")):
            with self.subTest(cause=cause):
                with self.log("GetState(") as lines:
                    self.world.do("fail", "*/gpio16/value", "read", cause, 3)
                    self.wait_for_readings(16, 5)
                    self.turn(16, 1 - level % 2)
                    recorder.expect([("DIO/DI1", "StateChanged", (1 - level % 2,))])
                text = os.strerror(getattr(errno, cause))
                self.assertEqual([line for line in lines if "DIO Hook" in line],
                                 [f"<error> [DIO/DI1] DIO Hook GetState({level % 2}) failed: "
                                  f"Failed to get GPIO, trying again: {text}"])

    def test_inputs_are_read_again_when_the_daemon_has_descriptors_again(self):
        recorder = self.recorder("DIO/DI1", "StateChanged")
        limits = resource.prlimit(self.daemon_pid, resource.RLIMIT_NOFILE)
        # The daemon has more than ten for good. With none at all poll() would fail too, and the main
        # loop write a warning about that as fast as it can.
        used = {int(name) for name in os.listdir(f"/proc/{self.daemon_pid}/fd")}
        free = min(set(range(11)) - used | {10})
        resource.prlimit(self.daemon_pid, resource.RLIMIT_NOFILE, (free, limits[1]))
        line = ("<error> [DIO/DI1] DIO Hook GetState(0) failed: Failed to get GPIO, trying again: "
                "Too many open files")
        self.wait_for_log(line)
        self.turn(16, 1)
        resource.prlimit(self.daemon_pid, resource.RLIMIT_NOFILE, limits)
        recorder.expect([("DIO/DI1", "StateChanged", (1,))])
        self.assertEqual(self.log_lines().count(line), 1)

    def test_a_call_goes_on_while_a_line_is_slow(self):
        self.world.do("fail", "*/gpio16/value", "read", "delay:2000")
        start = time.monotonic()
        self.assertEqual(self.dio("DO1").GetState(), 0)
        self.assertLess(time.monotonic() - start, scaled(1.5))
        self.world.do("heal")

    def test_nothing_is_announced_and_no_critical_written_at_the_end(self):
        for _ in range(50):
            self.turn(16, 1, 0)
        self.stop_daemon()
        self.assertFalse([line for line in self.log_lines() + self.error_lines()
                          if "CRITICAL" in line.upper()])


class IntervalTest(DioTest):
    starts = False

    def readings(self, count):
        """Waits until DI1 was read so often; what the board noted when, in seconds."""
        self.world.do("record", "--clear")

        def times():
            return [int(line.split()[0]) / 1e6
                    for line in self.world.do("record", "*/gpio16/value").splitlines()
                    if line.split()[2] == "read"]
        return wait_until(lambda: len(times()) >= count and times(), f"{count} readings", 20)

    def assertInterval(self, text, seconds, at_most, readings):
        """A busy computer makes an interval longer, never shorter."""
        self.start_daemon(DIO_SAMPLING_INTERVAL=text, LOG_LEVEL="INFO")
        times = self.readings(readings)
        shortest = min(later - earlier for earlier, later in zip(times, times[1:]))
        self.assertGreaterEqual(shortest, seconds)
        self.assertLess(shortest, scaled(at_most))
        self.stop_daemon()

    def test_the_interval_is_a_number_of_milliseconds(self):
        self.assertInterval("10", 0.010, 0.1, 30)

    def test_without_a_number_above_zero_it_is_200_ms(self):
        for text in (None, "0", "-5", "word", ""):
            with self.subTest(text):
                self.assertInterval(text, 0.2, 0.5, 4)

    def test_a_stop_does_not_wait_for_the_interval(self):
        self.start_daemon(DIO_SAMPLING_INTERVAL="99999999999999999999")
        start = time.monotonic()
        self.stop_daemon()
        self.assertLess(time.monotonic() - start, scaled(5))

    def test_a_reading_is_one_read_of_the_value_and_no_word_to_the_bus(self):
        self.start_daemon(DIO_SAMPLING_INTERVAL="20", LOG_LEVEL="INFO")
        recorder = self.recorder("DIO/DI1")
        self.readings(1)
        self.readings(10)
        accesses = self.world.accesses("*/gpio16/*", ("open", "read", "write"))
        self.assertEqual({access[0:2] for access in accesses},
                         {("open", "/sys/class/gpio/gpio16/value"),
                          ("read", "/sys/class/gpio/gpio16/value")})
        recorder.expect_none(0)

    def test_a_reading_without_news_does_not_wake_the_main_loop(self):
        self.start_daemon(DIO_SAMPLING_INTERVAL="5", LOG_LEVEL="INFO")
        self.readings(1)
        before = self.wake_ups()
        self.readings(100)
        self.assertLess(self.wake_ups() - before, 20)

    def wake_ups(self):
        """How often the daemon's main loop has waited so far."""
        with open(f"/proc/{self.daemon_pid}/task/{self.daemon_pid}/status") as file:
            return int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", file.read(),
                                 re.MULTILINE)[1])


if __name__ == "__main__":
    perimond.main()
