"""What the tests of the simulated board share."""

import errno
import unittest

from .world import World


class BoardTest(unittest.TestCase):
    """Each test has a board of its own."""

    board = ()

    def setUp(self):
        self.world = World(board=self.board, policy=[])
        self.addCleanup(self.world.stop)
        self.world.start()

    def assertErrno(self, name):
        """The block's access fails with that error."""
        return self.assertRaisesRegex(OSError, rf"\[Errno {getattr(errno, name)}\]")
