/*
 * Answers what serial drivers are asked, for nodes that are plain files: a library to be preloaded,
 * into the floor and the daemon alike. Each request is made of the kernel all the same, so that it
 * counts. Every port is in the mode RS-485 with two wires.
 */
#include <errno.h>
#include <linux/serial.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

/* Of the multiport card. */
#define SET_OP_MODE 0x442
#define GET_OP_MODE 0x443
#define RS485_2W 1

int
ioctl(int fd, unsigned long request, ...)
{
    va_list rest;

    va_start(rest, request);
    void *argument = va_arg(rest, void *);
    va_end(rest);
    const int result = (int)syscall(SYS_ioctl, fd, request, argument);
    if (result == 0 || errno != ENOTTY)
        return result;
    switch (request) {
    case TIOCGSERIAL:
        ((struct serial_struct *)argument)->port = RS485_2W;
        return 0;
    case GET_OP_MODE:
        *(int *)argument = RS485_2W;
        return 0;
    case TIOCSSERIAL:
    case TIOCGRS485:
    case TIOCSRS485:
    case SET_OP_MODE:
        return 0;
    default:
        return result;
    }
}
