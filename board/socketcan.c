/*
 * What programs on a board find as libsocketcan: a kernel without CAN has no controllers, so state
 * and bit timing come from the board's files /dev/can/NAME/state and /dev/can/NAME/bitrate. As with
 * the real library each call asks anew, and -1 is all that a caller learns of a failure.
 */
#include <fcntl.h>
#include <libsocketcan.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int
read_number(const char *device, const char *what, unsigned *number)
{
    char path[128];
    char text[32] = "";
    char *end = text;

    if (snprintf(path, sizeof path, "/dev/can/%s/%s", device, what) >= (int)sizeof path)
        return -1;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return -1;
    const ssize_t count = read(file, text, sizeof text - 1);
    close(file);
    if (count <= 0)
        return -1;
    *number = (unsigned)strtoul(text, &end, 10);
    return end > text ? 0 : -1;
}

int
can_get_state(const char *name, int *state)
{
    unsigned number = 0;

    if (read_number(name, "state", &number) != 0)
        return -1;
    *state = (int)number;
    return 0;
}

int
can_get_bittiming(const char *name, struct can_bittiming *bt)
{
    unsigned number = 0;

    if (read_number(name, "bitrate", &number) != 0)
        return -1;
    memset(bt, 0, sizeof *bt);
    bt->bitrate = number;
    return 0;
}
