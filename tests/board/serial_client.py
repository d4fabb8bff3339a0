"""Makes the requests of its arguments on a serial node, as a program on the board does:
serial_client.py NODE REQUEST [VALUE]. A structure of the kernel is sent back as it was read, with one
number replaced; the number is printed, or the name of the error."""

import array
import errno
import fcntl
import os
import sys

# Name: request that reads, request that writes, size in bytes and place of the number.
REQUESTS = {"port": (0x541E, 0x541F, 72, 2), "rs485": (0x542E, 0x542F, 32, 0),
            "mode": (0x443, 0x442, 4, 0), "other": (0x5401, 0x5402, 64, 0)}


def main():
    path, name, *value = sys.argv[1:]
    get, set_, size, place = REQUESTS[name]
    data = array.array("I", bytes(size))
    try:
        node = os.open(path, os.O_RDWR | os.O_NONBLOCK)
        fcntl.ioctl(node, get, data, True)
        if value:
            data[place] = int(value[0], 0)
            fcntl.ioctl(node, set_, data, True)
        print(hex(data[place]))
    except OSError as error:
        print(errno.errorcode[error.errno])


main()
