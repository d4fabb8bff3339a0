/*
 * Model plugin of the emulated Arm computer, whose peripherals have real kernel drivers behind
 * them: board/emulated/board.dtso says which. Its lines 0 to 63 are sysfs GPIO numbers 0 to 63.
 */
#include <string.h>
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
    {"STICK", 4, FALSE, "USB storage"},
};

/* Which of them is lit while a disk of that kind is mounted. */
static const ZolvPartitionLed storage_leds[] = {
    {.name = "LED/STICK", .kind = 1},
};

/* Storage slots, known by what their disks hang on: a part of the path below /sys/devices. */
static const struct {
    const char *name;
    const char *id;
    const char *path;
    guint type; /* also the kind of its LED */
} slots[] = {
    {"USB", "Disk/USB", "/usb", 1},
    {"FLASH", "Disk/FLASH", "/virtio", 3},
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

/* Serial ports, on the kernel's own drivers: that of the first keeps every value of its port field,
 * that of the others knows the direction of RS-485 and takes no change of the field. */
typedef struct {
    const char *name;
    GType (*type)(void);
    const char *original_device;
    const char *device;
    guint n_interfaces; /* the first ones: RS-232, RS-485, RS-422, RS-485 on four wires */
    void (*define)(ZolvSerialPort *port);
} SerialPort;

static void
define_switches(ZolvSerialPort *port)
{
    zolv_serialport_type9_define_pull_up_down(ZOLV_SERIALPORT_TYPE9(port));
    zolv_serialport_type9_define_terminator(ZOLV_SERIALPORT_TYPE9(port));
}

static void
define_three_lines(ZolvSerialPort *port)
{
    zolv_serialport_type5_define_gpio_pins(ZOLV_SERIALPORT_TYPE5(port), 43, 44, 45);
}

static void
define_one_line(ZolvSerialPort *port)
{
    zolv_serialport_type10_define_gpio_pins(ZOLV_SERIALPORT_TYPE10(port), 46);
}

static const SerialPort serial_ports[] = {
    {"P1", zolv_serialport_type9_get_type, "/dev/ttyAMA0", "/dev/ttyM0", 4, define_switches},
    {"P2", zolv_serialport_type5_get_type, "/dev/ttymxc1", "/dev/ttyM1", 3, define_three_lines},
    {"P3", zolv_serialport_type10_get_type, "/dev/ttymxc2", "/dev/ttyM2", 2, define_one_line},
    {"P4", zolv_serialport_type1_get_type, "/dev/ttymxc3", "/dev/ttyM3", 4, NULL},
};

static const guint interfaces[] = {0, 1, 2, 3};
static const guint baudrates[] = {9600, 19200, 38400, 57600, 115200};

/* CAN ports: two controllers on one bus, the first with a line for its terminator. */
static const struct {
    const char *name;
    const char *id;
    const char *interface;
    guint terminator_pin; /* 0: has none */
} cans[] = {
    {"CAN1", "CAN/CAN1", "can0", 47},
    {"CAN2", "CAN/CAN2", "can1", 0},
};

/* Ethernet: one port is built in, the other is what is plugged into USB. */
static const struct {
    const char *name;
    const char *interface;
} ethernets[] = {
    {"LAN1", "eth0"},
};
#define USB_ETHERNET "USB"

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
create_serial_ports(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(serial_ports); i++) {
        ZolvSerialPort *port = ZOLV_SERIALPORT(zolv_base_manager_create_new_object(
            manager, serial_ports[i].type(), serial_ports[i].name));

        zolv_serialport_init_iostate(port, zolv_serialport_enable_directly, NULL);
        zolv_serialport_define_supported_interfaces(port, serial_ports[i].n_interfaces, interfaces);
        zolv_serialport_define_supported_baudrates(port, G_N_ELEMENTS(baudrates), baudrates);
        if (serial_ports[i].define != NULL)
            serial_ports[i].define(port);
        zolv_serialport_define_device(port, serial_ports[i].original_device,
                                      serial_ports[i].device);
    }
}

static void
create_networks(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(cans); i++) {
        ZolvCAN *can =
            ZOLV_CAN(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_CAN, cans[i].name));

        zolv_can_init_iostate(can, zolv_can_enable_directly, NULL);
        zolv_can_define_maximum_supported_bitrate(can, 1000000);
        if (cans[i].terminator_pin != 0)
            zolv_can_define_terminator_pin(can, cans[i].terminator_pin);
        zolv_can_export(can);
    }
    for (gsize i = 0; i < G_N_ELEMENTS(ethernets); i++) {
        ZolvEthernet *ethernet = ZOLV_ETHERNET(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_ETHERNET, ethernets[i].name));

        zolv_ethernet_init_iostate(ethernet, zolv_ethernet_enable_directly, NULL);
        zolv_ethernet_define_device_name(ethernet, ethernets[i].interface);
    }
    zolv_base_manager_create_new_object(manager, ZOLV_TYPE_ETHERNET, USB_ETHERNET);
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

static void
create_slots(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(slots); i++)
        zolv_disk_define_disk_type(
            ZOLV_DISK(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DISK, slots[i].name)),
            slots[i].type);
    zolv_base_manager_add_ptn_led_service(
        manager, zolv_partition_led_service_new(manager, storage_leds, G_N_ELEMENTS(storage_leds)));
}

void
platform_init(ZolvBaseManager *manager)
{
    create_leds(manager);
    create_buttons(manager);
    create_buzzers(manager);
    create_consoles(manager);
    create_serial_ports(manager);
    create_networks(manager);
    create_dios(manager);
    create_slots(manager);
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

/* A slot is on the bus while there is a disk in it, and makes an object of each partition. */
static void
handle_block_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    if (g_strcmp0(g_udev_device_get_subsystem(device), "block") != 0)
        return;
    for (gsize i = 0; i < G_N_ELEMENTS(slots); i++) {
        if (strstr(g_udev_device_get_sysfs_path(device), slots[i].path) == NULL)
            continue;
        ZolvDisk *slot = ZOLV_DISK(zolv_base_manager_get_object(manager, slots[i].id));

        if (g_strcmp0(action, "add") == 0)
            zolv_disk_device_add(slot, manager, device);
        else if (g_strcmp0(action, "remove") == 0)
            zolv_disk_device_remove(slot, manager, device);
        else if (g_strcmp0(action, "change") == 0)
            zolv_disk_device_change(slot, manager, device);
    }
}

/* A CAN port has a name as long as its controller is there; the USB port of Ethernet is on the bus
 * as long as something is plugged in. */
static void
handle_net_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    const gboolean comes = g_strcmp0(action, "add") == 0;

    if (g_strcmp0(g_udev_device_get_subsystem(device), "net") != 0 ||
        (!comes && g_strcmp0(action, "remove") != 0))
        return;
    for (gsize i = 0; i < G_N_ELEMENTS(cans); i++)
        if (g_strcmp0(g_udev_device_get_name(device), cans[i].interface) == 0)
            zolv_can_define_device_name_by_udev(
                ZOLV_CAN(zolv_base_manager_get_object(manager, cans[i].id)), comes ? device : NULL);
    if (strstr(g_udev_device_get_sysfs_path(device), "/usb") == NULL)
        return;
    ZolvEthernet *ethernet =
        ZOLV_ETHERNET(zolv_base_manager_get_object(manager, "Ethernet/" USB_ETHERNET));

    zolv_ethernet_define_device_name_by_udev(ethernet, comes ? device : NULL);
    if (comes)
        zolv_ethernet_export(ethernet);
    else
        zolv_ethernet_unexport(ethernet);
}

/* The log tells what came when. */
void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    _tvl_log(TVL_LOG_INFO, "[Board] %s %s '%s'", action, g_udev_device_get_subsystem(device),
             g_udev_device_get_name(device));
    handle_block_event(manager, action, device);
    handle_net_event(manager, action, device);
}
