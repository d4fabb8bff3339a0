"""Starting a test file."""

import os
import sys

from . import tap


def main():
    """Runs the tests of the calling file. Worlds need root: an ordinary user becomes root of a user
    namespace first, in which tests, bus and daemon then share their identity."""
    if os.geteuid() != 0:
        os.execvp("unshare", ["unshare", "--user", "--map-root-user", sys.executable, *sys.argv])
    tap.main()
