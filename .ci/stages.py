"""The stages of .ci/run, side by side: each starts when those that it stands on have ended."""

import concurrent.futures
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

CLANG = {"CC": "clang", "CXX": "clang++"}
# g++ warns of the standard library itself when it instruments it, so clang's warnings count there.
ADDRESS = "./check --sanitize address"
THREAD = "./check --werror --sanitize thread"

# Name, command, what must have ended before, what else is in the environment. Of those that may start
# the first does: what others wait for, and what takes long, stands in front.
STAGES = [
    ("image", "board/emulated/board build", (), {}),
    ("host", "./check --werror --no-board", (), {}),
    ("thread build", f"{THREAD} --build", (), CLANG),
    ("arm64", "./check --arm64", ("image", "host"), {}),
    ("address build", f"{ADDRESS} --build", (), {}),
    ("address", f"{ADDRESS} unit daemon board attack", ("address build",), {}),
    ("thread", f"{THREAD} unit threads", ("thread build",), CLANG),
    ("system", "./check --board", ("image",), {}),
    ("format", "tools/check-format", (), {}),
    ("lint", "tools/check-lint", ("thread build",), {}),
    ("demo", "./demo", ("host",), {}),
    ("demo on the board", "./demo --board", ("system",), {}),
]
# What compiles and lints leaves the processors to what has time limits.
PATIENT = ("image", "thread build", "address build", "format", "lint")
AT_ONCE = os.cpu_count() + 1  # much of a test is waiting
SHOWN = 200_000  # bytes of a stage's output
SUMMARY = re.compile(r"^(\d+) passed, (\d+) failed$", re.M)


def end_of(file):
    """The last of what a stage has said; a program that repeats itself must not bury the rest."""
    size = file.seek(0, os.SEEK_END)
    file.seek(max(0, size - SHOWN))
    text = file.read().decode(errors="replace")
    return f"[{size - SHOWN} bytes are left out]\n{text}" if size > SHOWN else text


class Stage:
    def __init__(self, name, command, after, environment):
        self.name, self.command, self.after = name, command, after
        self.environment = environment
        self.passed = self.failed = 0
        self.process = None

    def run(self):
        """Runs it to its end; returns what it said, to be shown."""
        began = time.monotonic()
        with tempfile.TemporaryFile() as output:
            self.process = subprocess.Popen(
                ["nice", "-n", "10" if self.name in PATIENT else "0", *self.command.split()],
                env={**os.environ, **self.environment}, stdin=subprocess.DEVNULL,
                stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            _, status, usage = os.wait4(self.process.pid, 0)
            text = end_of(output)
        self.process.returncode = status = os.waitstatus_to_exitcode(status)
        counts = SUMMARY.findall(text)
        if counts:
            self.passed, self.failed = map(int, counts[-1])
        else:  # a stage that does not count is one
            self.passed, self.failed = int(status == 0), int(status != 0)
        if status != 0 and self.failed == 0:
            self.failed = 1
        if not counts:
            text = text[-10000:] if self.failed else ""
        seconds = time.monotonic() - began
        return (f"== {self.name}: {self.command}\n{text}"
                f"== {self.name}: {'FAILED' if self.failed else 'passed'} after {seconds:.0f} s, "
                f"{usage.ru_utime + usage.ru_stime:.0f} s of processors\n")

    def end(self):
        if self.process and self.process.returncode is None:
            os.killpg(self.process.pid, signal.SIGTERM)


class Run:
    """All stages; those that wait do so in front of a number of seats."""

    def __init__(self, stages):
        self.stages = stages
        self.waiting = list(stages)
        self.ended = set()
        self.changed = threading.Condition()

    def next(self):
        """Waits for the first stage that may start and takes it; None once all have been taken."""
        with self.changed:
            while self.waiting:
                for stage in self.waiting:
                    if self.ended.issuperset(stage.after):
                        self.waiting.remove(stage)
                        return stage
                self.changed.wait()
            return None

    def work(self):
        while stage := self.next():
            text = stage.run()
            with self.changed:
                self.ended.add(stage.name)
                self.changed.notify_all()
                print(text, end="", flush=True)

    def all(self):
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as seats:
            for done in [seats.submit(self.work) for _ in range(AT_ONCE)]:
                done.result()

    def end(self, *_):
        for stage in self.stages:
            stage.end()
        os._exit(143)


def main():
    began = time.monotonic()
    run = Run([Stage(*words) for words in STAGES])
    signal.signal(signal.SIGTERM, run.end)
    signal.signal(signal.SIGINT, run.end)
    run.all()
    print(f"All stages took {time.monotonic() - began:.0f} s.")
    failed = [stage.name for stage in run.stages if stage.failed]
    if failed:
        print(f"Failed: {', '.join(failed)}")
    print(f"{sum(stage.passed for stage in run.stages)} passed, "
          f"{sum(stage.failed for stage in run.stages)} failed")
    return bool(failed)


if __name__ == "__main__":
    sys.exit(main())
