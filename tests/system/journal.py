"""The board's journal, read as it grows: a journalctl for each look would take a second each."""

import contextlib
import itertools
import json
import threading

from emuboard.common import BoardError
from perimond.world import wait_until

IDENTIFIER = "system-test"


class Journal:
    """The entries since the board has booted, as dictionaries, in their order. A place among them is
    the number of entries before it."""

    def __init__(self, board):
        self.board = board
        self.entries = []
        self._numbers = itertools.count()
        threading.Thread(target=self._follow, daemon=True).start()

    def _follow(self):
        with contextlib.suppress(BoardError):  # it ends with the board
            for line in self.board.follow("exec journalctl -b -f -n all -o json"):
                self.entries.append(json.loads(line))

    def mark(self):
        """The place behind all that was written until now."""
        text = f"mark {next(self._numbers)}"
        at = len(self.entries)
        self.board.call(f"journalctl --sync; echo {text} | systemd-cat -t {IDENTIFIER}")

        def found():
            nonlocal at
            while at < len(self.entries):
                entry = self.entries[at]
                at += 1
                if entry.get("SYSLOG_IDENTIFIER") == IDENTIFIER and entry["MESSAGE"] == text:
                    return at
            return None
        return wait_until(found, "the journal arrives", 30)

    def lines(self, mark):
        """The daemon's own lines since then, as it wrote them, so far as they have arrived."""
        return [text for entry in self.entries[mark:]
                if entry.get("SYSLOG_IDENTIFIER") == "tarvelperimond"
                for text in message(entry).splitlines()]


def message(entry):
    """An entry's text."""
    text = entry["MESSAGE"]
    # What is no plain text comes as a list of bytes.
    return text if isinstance(text, str) else bytes(text or []).decode(errors="replace")
