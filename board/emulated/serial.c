/* Prints what the driver of a serial node keeps: its port field and its RS-485 flags, each as far
 * as the driver knows it. */
#include <fcntl.h>
#include <linux/serial.h>
#include <stdio.h>
#include <sys/ioctl.h>

int
main(int argc, char **argv)
{
    struct serial_struct serial = {0};
    struct serial_rs485 rs485 = {0};
    const char *gap = "";
    int fd = argc == 2 ? open(argv[1], O_RDWR | O_NONBLOCK | O_NOCTTY) : -1;

    if (fd < 0) {
        perror(argc == 2 ? argv[1] : "usage: board-serial NODE");
        return 1;
    }
    if (ioctl(fd, TIOCGSERIAL, &serial) == 0) {
        printf("port=0x%x", serial.port);
        gap = " ";
    }
    if (ioctl(fd, TIOCGRS485, &rs485) == 0)
        printf("%srs485=0x%x", gap, rs485.flags);
    putchar('\n');
    return 0;
}
