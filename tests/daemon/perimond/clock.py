"""Time that runs faster for the daemon, and a record of its waits."""

import os

STANDINS = os.environ.get("PERIMOND_TEST_STANDINS", "")


class FastTime:
    """A test whose daemon waits forty times as fast. Beside DaemonTest, and before it."""

    speed = 40
    fast_clock = False  # whether the time limits of bus calls pass as fast; an answer then has 0.6 s

    def prepare(self):
        super().prepare()
        self.world.do("waits")
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        if self.fast_clock:
            self.environment = {**self.environment, "BOARD_CLOCK": "1"}
        self.environment = {**self.environment, "BOARD_SPEED": str(self.speed),
                            "LD_PRELOAD": os.path.join(STANDINS, "standin-clock.so"),
                            "ASAN_OPTIONS": f"{sanitizer}:verify_asan_link_order=0"}

    def at_wait(self, count, *command):
        """Does a command of the board within the daemon's count-th further wait."""
        self.world.do("at-wait", count, *command)

    def waits(self):
        """The waits so far, in milliseconds."""
        return [int(data) for _, _, data, _ in self.world.accesses("/dev/waits")]
