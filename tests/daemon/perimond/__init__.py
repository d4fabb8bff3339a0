"""What the tests of the daemon and of the board stand on.

A World is a simulated board in namespaces of its own; a DaemonTest has one, with the unmodified
daemon running on it and a connection to its bus."""

from .board_test import BoardTest
from .clock import FastTime
from .daemon import DaemonTest
from .run import main
from . import world
from .world import BoardError, World, scaled, wait_until

__all__ = ["BoardError", "BoardTest", "DaemonTest", "FastTime", "World", "main", "scaled", "wait_until", "world"]
