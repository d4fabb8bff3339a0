/* Model plugin of the bench: a computer with a hundred LEDs, and a count of device events. */
#include "../bench-board.h"

#include <stdlib.h>
#include <tarvelperimond.h>

static void
create_inputs(ZolvBaseManager *manager)
{
    for (int i = 0; i < BENCH_INPUTS; i++) {
        g_autofree char *name = g_strdup_printf("I%02d", i);
        ZolvDIO *dio = ZOLV_DIO(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DIO, name));

        zolv_dio_define_gpio(dio, BENCH_FIRST_INPUT_LINE + i, GPIO_DIRECTION_IN);
        zolv_dio_define_hook(dio);
    }
    for (int i = 0; i < BENCH_BUTTONS; i++) {
        g_autofree char *name = g_strdup_printf("B%d", i);
        g_autofree char *device = g_strdup_printf(BENCH_FOLDER "/button%d", i);
        ZolvButton *button =
            ZOLV_BUTTON(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_BUTTON, name));

        zolv_button_define_default_script(button, BENCH_BUTTON_SCRIPT, "default");
        zolv_button_define_device(button, device);
    }
}

static void
create_partitions(ZolvBaseManager *manager, int count)
{
    ZolvDisk *disk =
        ZOLV_DISK(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DISK, "BENCH"));

    zolv_disk_define_disk_type(disk, 1);
    for (int i = 0; i < count; i++) {
        g_autofree char *name = g_strdup_printf("P%02d", i);
        g_autofree char *device = g_strdup_printf("/dev/bench%02d", i);
        ZolvPartition *partition =
            ZOLV_PARTITION(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_PARTITION, name));

        zolv_partition_bind_disk(partition, disk);
        zolv_partition_define_device(partition, device);
        zolv_partition_initialize(partition, device);
    }
}

void
platform_init(ZolvBaseManager *manager)
{
    for (int i = 0; i < BENCH_CLASS_LEDS; i++) {
        g_autofree char *name = g_strdup_printf("L%03d", i);
        g_autofree char *label = g_strdup_printf("bench:%03d", i);
        ZolvLED *led = ZOLV_LED(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_LED, name));

        zolv_led_define_alias(led, name);
        zolv_led_define_label(led, label);
    }
    for (int i = 0; i < BENCH_GPIO_LEDS; i++) {
        g_autofree char *name = g_strdup_printf("G%03d", i);
        ZolvLED *led =
            ZOLV_LED(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_LED_GPIO, name));

        zolv_led_define_alias(led, name);
        zolv_led_gpio_define_gpio(ZOLV_LED_GPIO(led), i, FALSE);
    }
    if (g_getenv(BENCH_INPUTS_VARIABLE) != NULL)
        create_inputs(manager);
    if (g_getenv(BENCH_PARTITIONS_VARIABLE) != NULL)
        create_partitions(manager, atoi(g_getenv(BENCH_PARTITIONS_VARIABLE)));
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    (void)manager;
    bench_count_event(action, device);
}
