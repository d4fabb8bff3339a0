/* Model plugin of the bench: a computer with a hundred LEDs, and a count of device events. */
#include "../bench-board.h"

#include <tarvelperimond.h>

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
