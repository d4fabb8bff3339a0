/*
 * What the floor program and the model plugin must have in common, so that both describe the same
 * computer and do the same with its device events.
 */
#pragma once

#include <glib/gstdio.h>
#include <gudev/gudev.h>
#include <unistd.h>

/* LED/L000 to LED/L079 are LED-class devices, LED/G000 to LED/G019 stand on GPIO lines. */
#define BENCH_CLASS_LEDS 80
#define BENCH_GPIO_LEDS 20

/* With this variable in the environment the computer has inputs too, which the floor has not:
 * DIO/I00 to DIO/I15 on the lines from 100 on, and Button/B0 to Button/B7 on BENCH_FOLDER/button0
 * and so on. */
#define BENCH_INPUTS_VARIABLE "BENCH_INPUTS"
#define BENCH_INPUTS 16
#define BENCH_FIRST_INPUT_LINE 100
#define BENCH_BUTTONS 8
#define BENCH_BUTTON_SCRIPT "bench.script"

/* With this one it has a disk with so many partitions, "/dev/bench00" and so on. */
#define BENCH_PARTITIONS_VARIABLE "BENCH_PARTITIONS"

/* The event that ends a burst, and the folder where each listener then leaves its count. */
#define BENCH_LAST_EVENT "bench-last"
#define BENCH_FOLDER "/run/bench"

static inline void
bench_count_event(const char *action, GUdevDevice *device)
{
    static unsigned n_events;

    if (g_str_equal(action, "change")) {
        n_events++;
    } else if (g_str_equal(g_udev_device_get_name(device), BENCH_LAST_EVENT)) {
        g_autofree char *path = g_strdup_printf(BENCH_FOLDER "/events-%d", getpid());
        g_autofree char *text = g_strdup_printf("%u\n", n_events);

        g_file_set_contents(path, text, -1, NULL);
        n_events = 0;
    }
}
