/*
 * Model plugin of the simulated board, and the example of how one is written: tables of what the
 * board carries, and the three entry points that the daemon calls.
 */
#include <tarvelperimond.h>

/* LEDs that a kernel driver shows below /sys/class/leds. */
static const struct {
    const char *name;  /* on the bus: LED/READY */
    const char *label; /* folder below /sys/class/leds */
    const char *alias; /* for people */
} class_leds[] = {
    {"READY", "sim:green:ready", "Ready"},
    {"FAULT", "sim:red:fault", "Fault"},
};

/* LEDs on plain GPIO lines. */
static const struct {
    const char *name;
    int pin; /* sysfs number of the line */
    gboolean active_low;
    const char *alias;
} gpio_leds[] = {
    {"USR1", 4, FALSE, "User 1"},
    {"USR2", 5, TRUE, "User 2"},
};

/* Buzzers on plain GPIO lines. */
static const struct {
    const char *name;
    int pin;
    guint direction;
} gpio_buzzers[] = {
    {"ALARM", 6, GPIO_DIRECTION_OUT},
    {"SENSE", 7, GPIO_DIRECTION_IN}, /* switched by the board itself */
};

/* Input devices that take tones. */
static const struct {
    const char *name;
    const char *device;
} speakers[] = {
    {"SPEAKER", "/dev/input/event2"},
};

/* Serial consoles; a variable of the boot environment says whether one is on. */
static const struct {
    const char *name;
    const char *device;
    const char *bootenv; /* NULL: always on */
} consoles[] = {
    {"CONSOLE1", "/dev/ttyS0", "console_enable"},
    {"CONSOLE2", "/dev/ttyS1", NULL},
};

/* Digital inputs and outputs on one line each. */
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

/* Channels of two lines, which can be turned. */
static const struct {
    const char *name;
    int pin_input;
    int pin_output;
    guint direction; /* at the first start */
} dual_dios[] = {
    {"DIO1", 28, 29, GPIO_DIRECTION_IN},
};

/* Push buttons. The scripts lie in the folder of the actions; a package of the board brings them.
 */
static const struct {
    const char *name;
    const char *device;
    const char *default_action;
    const char *default_script;
} buttons[] = {
    {"RESET", "/dev/input/event0", "default", "default.script"},
    {"USER", "/dev/input/event1", "default", "default.script"},
};

/* Actions for any button that clients can neither replace nor delete. */
static const struct {
    const char *action;
    const char *script;
} reserved_actions[] = {
    {"factory-reset", "factory-reset.script"},
};

static void
create_leds(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(class_leds); i++) {
        ZolvLED *led = ZOLV_LED(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_LED, class_leds[i].name));

        zolv_led_define_alias(led, class_leds[i].alias);
        zolv_led_define_label(led, class_leds[i].label); /* exports the object */
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

        for (gsize j = 0; j < G_N_ELEMENTS(reserved_actions); j++)
            zolv_button_define_reserved_action_script(button, reserved_actions[j].script,
                                                      reserved_actions[j].action);
        zolv_button_define_default_script(button, buttons[i].default_script,
                                          buttons[i].default_action);
        zolv_button_define_device(button, buttons[i].device); /* exports the object */
    }
}

static void
create_buzzers(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(gpio_buzzers); i++) {
        ZolvObj *buzzer = zolv_base_manager_create_new_object(manager, ZOLV_TYPE_BUZZER_GPIO,
                                                              gpio_buzzers[i].name);

        zolv_buzzer_gpio_define_gpio(ZOLV_BUZZER_GPIO(buzzer), gpio_buzzers[i].pin,
                                     gpio_buzzers[i].direction);
    }
    /* Always channel 0 of pwmchip0, so a board has one at most. */
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
        zolv_console_init_iostate(console,
                                  consoles[i].bootenv != NULL ? zolv_console_enable_by_bootenv
                                                              : zolv_console_enable_directly,
                                  NULL);
        zolv_console_define_device(console, consoles[i].device); /* exports the object */
    }
}

static void
create_dios(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(single_dios); i++) {
        ZolvDIO *dio = ZOLV_DIO(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DIO, single_dios[i].name));

        zolv_dio_define_gpio(dio, single_dios[i].pin, single_dios[i].direction);
        zolv_dio_define_hook(dio); /* after the line; does nothing for an output */
    }
    for (gsize i = 0; i < G_N_ELEMENTS(dual_dios); i++) {
        ZolvDIODualGPIO *dio = ZOLV_DIO_DUALGPIO(zolv_base_manager_create_new_object(
            manager, ZOLV_TYPE_DIO_DUALGPIO, dual_dios[i].name));

        zolv_dio_dualgpio_define_gpio(dio, dual_dios[i].pin_input, dual_dios[i].pin_output,
                                      dual_dios[i].direction);
        zolv_dio_dualgpio_define_hook(dio);
    }
}

/* A speaker comes and goes with its input device; the buzzer stays the same object. */
static void
handle_speaker_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    for (gsize i = 0; i < G_N_ELEMENTS(speakers); i++) {
        if (g_strcmp0(g_udev_device_get_device_file(device), speakers[i].device) != 0)
            continue;
        ZolvBuzzerPcspkr *buzzer = ZOLV_BUZZER_PCSPKR(zolv_base_manager_create_new_object(
            manager, ZOLV_TYPE_BUZZER_PCSPKR, speakers[i].name));

        if (g_strcmp0(action, "add") == 0)
            zolv_buzzer_pcspkr_define(buzzer, speakers[i].device);
        else if (g_strcmp0(action, "remove") == 0)
            zolv_buzzer_pcspkr_remove(buzzer);
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

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    _tvl_log(TVL_LOG_INFO, "[Board] %s %s '%s'", action, g_udev_device_get_subsystem(device),
             g_udev_device_get_name(device));
    handle_speaker_event(manager, action, device);
}
