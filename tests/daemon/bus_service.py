"""What stands for another service on the board's bus."""

import threading

from gi.repository import GLib


class BusService:
    """Runs in a thread of its own from start() to stop(); a kind of service has serve(), which
    registers its objects with self._bus and asks for its name.

    bus: makes the connection"""

    def __init__(self, bus):
        self._connect = bus

    def start(self):
        ready = threading.Event()
        self._context = GLib.MainContext()
        self._loop = GLib.MainLoop(self._context)
        self._thread = threading.Thread(target=self._run, args=(ready, self._loop), daemon=True)
        self._thread.start()
        ready.wait()
        return self

    def stop(self):
        """Leaves the bus, whatever has not been answered."""
        if not self._loop:
            return
        loop, self._loop = self._loop, None
        source = GLib.Idle()
        source.set_callback(lambda *_: loop.quit())
        source.attach(self._context)
        self._thread.join()

    def _run(self, ready, loop):
        self._context.push_thread_default()
        self._bus = self._connect()
        self.serve()
        ready.set()
        loop.run()
        self._bus.close_sync(None)
        self._context.pop_thread_default()
