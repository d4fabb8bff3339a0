"""Test results in the Test Anything Protocol, version 13, which Meson counts case by case."""

import os
import sys
import unittest


class TapResult(unittest.TestResult):
    """Writes a line for each test, and what went wrong below it."""

    def __init__(self, stream):
        super().__init__()
        self._stream = stream
        self._count = 0
        self._wrong = []

    def startTest(self, test):
        super().startTest(test)
        self._wrong = []

    def addError(self, test, err):
        super().addError(test, err)
        self._note(self.errors, test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._note(self.failures, test)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            self._wrong.append(f"{subtest}\n{self._exc_info_to_string(err, test)}")

    def addUnexpectedSuccess(self, test):
        super().addUnexpectedSuccess(test)
        self._wrong.append("succeeded unexpectedly")

    def addSkip(self, test, reason):
        """A test that cannot run has failed."""
        super().addSkip(test, reason)
        self._wrong.append(f"skipped: {reason}")

    def _note(self, problems, test):
        text = problems[-1][1]
        if isinstance(test, unittest.TestCase):
            self._wrong.append(text)
        else:  # a class or module that could not be set up
            self._report(str(test), text)

    def stopTest(self, test):
        super().stopTest(test)
        self._report(test.id().removeprefix("__main__."), "\n".join(self._wrong))

    def _report(self, name, wrong):
        self._count += 1
        print(f"{'not ok' if wrong else 'ok'} {self._count} - {name}", file=self._stream)
        for line in wrong.splitlines():
            print(f"# {line}", file=self._stream)

    def finish(self):
        print(f"1..{self._count}", file=self._stream, flush=True)


class TapRunner:
    """Keeps standard output for the report; what tests print goes to standard error."""

    def run(self, tests):
        stream = os.fdopen(os.dup(sys.stdout.fileno()), "w", buffering=1)
        sys.stdout.flush()
        os.dup2(sys.stderr.fileno(), sys.stdout.fileno())
        result = TapResult(stream)
        tests(result)
        result.finish()
        return result


class FirstTests(unittest.TestLoader):
    """Of each class the first test, where all of them would take too long."""

    def getTestCaseNames(self, case):
        return super().getTestCaseNames(case)[:1]


def main():
    """Runs the tests of the calling file."""
    loader = FirstTests() if os.environ.get("PERIMOND_TEST_FIRST") else unittest.TestLoader()
    unittest.main(testRunner=TapRunner, testLoader=loader)
