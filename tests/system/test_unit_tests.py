"""The unit tests, built for 64-bit Arm and run on the board: alignment, signedness of characters,
sizes of words, and the kernel's own answers."""

import json
import pathlib
import tempfile
import unittest

from boardtest import FOLDER, BoardTest
from emuboard.common import run
from emuboard.image import cross
from emuboard.product import Product

BUILD = Product(FOLDER).build_folder


class UnitTests(BoardTest):
    """One method for each of the executables."""

    def test_there_are_some(self):
        self.assertGreater(len([name for name in dir(self) if name.startswith("test_")]), 10)


def add(executable):
    def test(self):
        with tempfile.NamedTemporaryFile() as small:
            run([cross("strip"), "-o", small.name, executable])
            small.seek(0)
            self.board.put(f"/run/{executable.name}", small.read(), 0o755)
        result = self.board.run(f"cd /tmp && /run/{executable.name} --gtest_brief=1; s=$?; "
                                f"rm /run/{executable.name}; exit $s", timeout=900)
        self.assertEqual(result.status, 0, result.out + result.err)
        self.assertRegex(result.out, r"\[  PASSED  \] [1-9][0-9]* tests?")

    setattr(UnitTests, executable.name.replace("-", "_"), test)


for unit_test in json.loads(run(["meson", "introspect", "--tests", BUILD])):
    if any(suite.endswith(":unit") for suite in unit_test["suite"]):
        add(pathlib.Path(unit_test["cmd"][0]))

if __name__ == "__main__":
    unittest.main(verbosity=2)
