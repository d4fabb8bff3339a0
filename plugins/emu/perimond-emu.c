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

/* Push buttons, which the driver gpio-keys turns into input devices. */
static const struct {
    const char *name;
    const char *device;
} buttons[] = {
    {"RESET", "/dev/input/by-path/platform-keys-reset-event"},
    {"USER", "/dev/input/by-path/platform-keys-user-event"},
};

/* Buzzers on lines; the other one hangs on the only PWM channel. */
static const struct {
    const char *name;
    int pin;
} gpio_buzzers[] = {
    {"ALARM", 6},
};

static const struct {
    const char *name;
    const char *device;
    const char *bootenv;
} consoles[] = {
    {"CONSOLE1", "/dev/ttyAMA0", "console_enable"},
};

static const struct {
    const char *name;
    int pin;
    guint direction;
} single_dios[] = {
    {"DI1", 16, GPIO_DIRECTION_IN},
    {"DI2", 17, GPIO_DIRECTION_IN},
    {"DO1", 24, GPIO_DIRECTION_OUT},
    {"DO2", 25, GPIO_DIRECTION_OUT},
};

static const struct {
    const char *name;
    int pin_input;
    int pin_output;
    guint direction;
} dual_dios[] = {
    {"DIO1", 28, 29, GPIO_DIRECTION_IN},
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

static void
create_buttons(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(buttons); i++) {
        ZolvButton *button = ZOLV_BUTTON(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_BUTTON, buttons[i].name));

        zolv_button_define_default_script(button, "default.script", "default");
        zolv_button_define_device(button, buttons[i].device);
    }
}

static void
create_buzzers(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(gpio_buzzers); i++)
        zolv_buzzer_gpio_define_gpio(ZOLV_BUZZER_GPIO(zolv_base_manager_create_new_object(
                                         manager, ZOLV_TYPE_BUZZER_GPIO, gpio_buzzers[i].name)),
                                     gpio_buzzers[i].pin, GPIO_DIRECTION_OUT);
    zolv_buzzer_pwm_define(ZOLV_BUZZER_PWM(
        zolv_base_manager_create_new_object(manager, ZOLV_TYPE_BUZZER_PWM, "TONE")));
}

static void
create_consoles(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(consoles); i++) {
        ZolvConsole *console = ZOLV_CONSOLE(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_CONSOLE, consoles[i].name));

        zolv_console_bind_bootenv(console, consoles[i].bootenv);
        zolv_console_init_iostate(console, zolv_console_enable_by_bootenv, NULL);
        zolv_console_define_device(console, consoles[i].device);
    }
}

static void
create_dios(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(single_dios); i++) {
        ZolvDIO *dio = ZOLV_DIO(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DIO, single_dios[i].name));

        zolv_dio_define_gpio(dio, single_dios[i].pin, single_dios[i].direction);
        zolv_dio_define_hook(dio);
    }
    for (gsize i = 0; i < G_N_ELEMENTS(dual_dios); i++) {
        ZolvDIODualGPIO *dio = ZOLV_DIO_DUALGPIO(zolv_base_manager_create_new_object(
            manager, ZOLV_TYPE_DIO_DUALGPIO, dual_dios[i].name));

        zolv_dio_dualgpio_define_gpio(dio, dual_dios[i].pin_input, dual_dios[i].pin_output,
                                      dual_dios[i].direction);
        zolv_dio_dualgpio_define_hook(dio);
    }
}

void
platform_init(ZolvBaseManager *manager)
{
    create_leds(manager);
    create_buttons(manager);
    create_buzzers(manager);
    create_consoles(manager);
    create_dios(manager);
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
