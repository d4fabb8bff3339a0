/*
 * Model plugin of the emulated Arm computer, whose peripherals have real kernel drivers behind
 * them: board/emulated/board.dtso says which. Its lines 0 to 63 are sysfs GPIO numbers 0 to 63.
 */
#include <tarvelperimond.h>

/* LEDs of the driver leds-gpio, on lines 0 and 1. */
static const struct {
    const char *name;
    const char *label;
    const char *alias;
} class_leds[] = {
    {"SYS", "sys", "System"},
    {"USER", "user", "User"},
};

/* LEDs on lines that no driver owns. */
static const struct {
    const char *name;
    int pin;
    gboolean active_low;
    const char *alias;
} gpio_leds[] = {
    {"ALARM", 2, FALSE, "Alarm"},
    {"RADIO", 3, TRUE, "Radio"},
};

static void
create_leds(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(class_leds); i++) {
        ZolvLED *led = ZOLV_LED(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_LED, class_leds[i].name));

        zolv_led_define_alias(led, class_leds[i].alias);
        zolv_led_define_label(led, class_leds[i].label);
    }
    for (gsize i = 0; i < G_N_ELEMENTS(gpio_leds); i++) {
        ZolvLED *led = ZOLV_LED(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_LED_GPIO, gpio_leds[i].name));

        zolv_led_define_alias(led, gpio_leds[i].alias);
        zolv_led_gpio_define_gpio(ZOLV_LED_GPIO(led), gpio_leds[i].pin, gpio_leds[i].active_low);
    }
}

void
platform_init(ZolvBaseManager *manager)
{
    create_leds(manager);
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

/* The devices of this board need no handling of their own; the log tells what came when. */
void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    (void)manager;
    _tvl_log(TVL_LOG_INFO, "[Board] %s %s '%s'", action, g_udev_device_get_subsystem(device),
             g_udev_device_get_name(device));
}
