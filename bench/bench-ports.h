/*
 * The ports of the board, alike for the floor and the model plugin. With BENCH_PORTS_VARIABLE in
 * the environment they come on top of the LEDs; as "leds" as many more LEDs come in their place.
 */
#pragma once

#include "bench-board.h"

#include <string.h>

#define BENCH_PORTS_VARIABLE "BENCH_PORTS"
#define BENCH_SERIAL_PORTS 32
#define BENCH_CANS 4
#define BENCH_ETHERNETS 8
#define BENCH_PORTS (BENCH_SERIAL_PORTS + BENCH_CANS + BENCH_ETHERNETS)

static inline gboolean
bench_has_ports(void)
{
    const char *ports = g_getenv(BENCH_PORTS_VARIABLE);

    return ports != NULL && strcmp(ports, "leds") != 0;
}

static inline int
bench_n_class_leds(void)
{
    return BENCH_CLASS_LEDS +
           (g_strcmp0(g_getenv(BENCH_PORTS_VARIABLE), "leds") == 0 ? BENCH_PORTS : 0);
}

/* SerialPort/P00 is of the first kind, SerialPort/P01 of the second and so on, round and round.
 * Ports of one kind share their hardware, which is switched one port at a time. */
enum BenchKind {
    BENCH_TYPE1,
    BENCH_TYPE2,
    BENCH_TYPE3,
    BENCH_TYPE4,
    BENCH_TYPE5,
    BENCH_TYPE8,
    BENCH_TYPE9,
    BENCH_TYPE10,
    BENCH_KINDS
};

/* The lines of a kind are four from here on. Those of the CAN ports follow, one each. */
#define BENCH_FIRST_PORT_LINE 40
#define BENCH_LINE_OF_KIND(kind) (BENCH_FIRST_PORT_LINE + 4 * (int)(kind))
#define BENCH_LINE_OF_CAN(number) (BENCH_LINE_OF_KIND(BENCH_KINDS) + (number))

/* The nodes are plain files, for which libbench-serial.so answers the drivers' requests. */
#define BENCH_TTY "/run/bench/tty"
#define BENCH_REGISTER "/run/bench/register"
#define BENCH_FIRST_CARD_TTY "/dev/ttyV0"
#define BENCH_SECOND_CARD_TTY "/dev/ttyV1"

/* What each port and adapter is said to be able to do. */
static const guint bench_modes[] = {0, 1, 2};
static const guint bench_baudrates[] = {9600, 115200};
#define BENCH_BITRATE 1000000

/* An adapter's tty, as the events name it, and its port. */
#define BENCH_ADAPTER "bench-adapter"
#define BENCH_ADAPTER_PLACE "USB1"
#define BENCH_ADAPTER_PORT "USB1_SERIVO1_PORT0"
