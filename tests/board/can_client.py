"""Asks libsocketcan, as a program on the board does: can_client.py NAME. Prints state and bit rate,
each -1 where the library has no answer."""

import ctypes
import sys

library = ctypes.CDLL("libsocketcan.so.2")
name = sys.argv[1].encode()
state = ctypes.c_int()
timing = (ctypes.c_uint32 * 8)()
print(state.value if library.can_get_state(name, ctypes.byref(state)) == 0 else -1,
      timing[0] if library.can_get_bittiming(name, timing) == 0 else -1)
