"""The unit tests, built for 64-bit Arm and run on the board: alignment, signedness of characters,
sizes of words, and the kernel's own answers."""

import tempfile
import unittest

from boardtest import FOLDER, BoardTest
from emuboard.common import run
from emuboard.image import cross
from emuboard.product import Product

TESTS = Product(FOLDER).build_folder / "tests/unit"


class UnitTests(BoardTest):
    """One method for each of the executables."""


def add(executable):
    def test(self):
        with tempfile.NamedTemporaryFile() as small:
            run([cross("strip"), "-o", small.name, executable])
            small.seek(0)
            self.board.put(f"/run/{executable.name}", small.read(), 0o755)
        result = self.board.run(f"cd /tmp && /run/{executable.name} --gtest_brief=1; s=$?; "
                                f"rm /run/{executable.name}; exit $s", timeout=180)
        self.assertEqual(result.status, 0, result.out + result.err)
        self.assertRegex(result.out, r"\[  PASSED  \] [1-9][0-9]* tests?")

    setattr(UnitTests, executable.name.replace("-", "_"), test)


for path in sorted(TESTS.glob("test-*")):
    if path.is_file():
        add(path)

if __name__ == "__main__":
    unittest.main(verbosity=2)
