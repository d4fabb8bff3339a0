/*
 * Model plugin of the simulated board, and the example of how one is written: tables of what the
 * board carries, and the three entry points that the daemon calls.
 */
#include <string.h>
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
    {"STICK", 48, FALSE, "USB storage"},
    {"CARD", 49, FALSE, "SD card"},
};

/* Which of them shows which kind of disk: lit while one is mounted. */
static const ZolvPartitionLed storage_leds[] = {
    {.name = "LED/STICK", .kind = 1},
    {.name = "LED/CARD", .kind = 2},
};

/* Storage slots, known by the bus that their disks hang on. */
static const struct {
    const char *name;
    const char *id;
    const char *path;    /* below it are the disks of the slot */
    guint type;          /* also the kind of its LED */
    const char *bootenv; /* NULL: the slot cannot be switched off, and comes with its disk */
} slots[] = {
    {"USB", "Disk/USB", "/sys/devices/platform/usb/usb1/1-2/", 1, NULL},
    {"SD", "Disk/SD", "/sys/devices/platform/mmc1/", 2, "sd_enable"},
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

/* Serial ports, one for each way of switching a transceiver. */
typedef struct {
    const char *name;
    GType (*type)(void);
    const char *original_device; /* the kernel's node */
    const char *device;          /* the node for programs, a link to it */
    const char *bootenv;         /* NULL: always on */
    guint interfaces[4];         /* the first is the fallback */
    guint n_interfaces;
    void (*define)(ZolvSerialPort *port); /* what its class needs beside the device; may be NULL */
} SerialPort;

static void
define_type2(ZolvSerialPort *port)
{
    zolv_serialport_type2_define_gpio_pins(ZOLV_SERIALPORT_TYPE2(port), 32, 33, 34, 35);
}

static void
define_type3(ZolvSerialPort *port)
{
    zolv_serialport_type3_define_gpio_pins(ZOLV_SERIALPORT_TYPE3(port), 36, 37, 38, 39);
}

/* The register before the lines. */
static void
define_type4(ZolvSerialPort *port)
{
    ZolvSerialPortType4 *type4 = ZOLV_SERIALPORT_TYPE4(port);

    zolv_serialport_type4_define_rs485_en_reg_path(type4, "/sys/devices/platform/fpga/rs485_en");
    zolv_serialport_type4_define_gpio_pins(type4, 40, 41, 42);
}

static void
define_type5(ZolvSerialPort *port)
{
    zolv_serialport_type5_define_gpio_pins(ZOLV_SERIALPORT_TYPE5(port), 43, 44, 45);
}

/* Before the device: the hardware gets the switches with the first mode. */
static void
define_type9(ZolvSerialPort *port)
{
    zolv_serialport_type9_define_pull_up_down(ZOLV_SERIALPORT_TYPE9(port));
    zolv_serialport_type9_define_terminator(ZOLV_SERIALPORT_TYPE9(port));
}

static void
define_type10(ZolvSerialPort *port)
{
    zolv_serialport_type10_define_gpio_pins(ZOLV_SERIALPORT_TYPE10(port), 46);
}

/* clang-format off */
static const SerialPort serial_ports[] = {
    {"P1", zolv_serialport_type1_get_type, "/dev/ttyS2", "/dev/ttyM0", "p1_enable", {0, 1, 2, 3}, 4, NULL},
    {"P2", zolv_serialport_type2_get_type, "/dev/ttyS3", "/dev/ttyM1", NULL, {0, 1, 2}, 3, define_type2},
    {"P3", zolv_serialport_type3_get_type, "/dev/ttyS4", "/dev/ttyM2", NULL, {0, 1, 2}, 3, define_type3},
    {"P4", zolv_serialport_type4_get_type, "/dev/ttyS5", "/dev/ttyM3", NULL, {0, 1, 2}, 3, define_type4},
    {"P5", zolv_serialport_type5_get_type, "/dev/ttyS6", "/dev/ttyM4", NULL, {0, 1, 2}, 3, define_type5},
    {"P6", zolv_serialport_type8_get_type, "/dev/ttyV0", "/dev/ttyV0", NULL, {0, 1, 2}, 3, NULL},
    {"P7", zolv_serialport_type8_get_type, "/dev/ttyV1", "/dev/ttyV1", NULL, {0, 1, 2}, 3, NULL},
    {"P8", zolv_serialport_type9_get_type, "/dev/ttyS7", "/dev/ttyM5", NULL, {0, 1, 2, 3}, 4, define_type9},
    {"P9", zolv_serialport_type10_get_type, "/dev/ttyS8", "/dev/ttyM6", NULL, {0, 1}, 2, define_type10},
};
/* clang-format on */

/* What the ports can do alike; numbers as the documentation of the model says. */
static const guint baudrates[] = {1200, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
static const guint data_bits[] = {5, 6, 7, 8};
static const guint stop_bits[] = {1, 2};
static const guint parities[] = {0, 1, 2};      /* none, odd, even */
static const guint flow_controls[] = {0, 1, 2}; /* none, by lines, by characters */

/* Where USB serial adapters can be attached: the path of the socket below /sys, and its name. */
static const struct {
    const char *path;
    const char *name;
} usb_sockets[] = {
    {"/sys/devices/platform/usb/usb1/1-1", "USB1"},
    {"/sys/devices/platform/usb/usb1/1-2", "USB2"},
};

/* CAN ports, each with a line that switches its bus terminator. */
static const struct {
    const char *name;
    const char *interface; /* of the network, by which the kernel names the controller */
    guint bitrate;         /* the highest, in bits per second */
    guint terminator_pin;
    const char *bootenv;
} cans[] = {
    {"CAN1", "can0", 1000000, 30, "can1_enable"},
};

/* Ethernet ports that have their name from a table. */
static const struct {
    const char *name;
    const char *interface;
    const char *bootenv;
} ethernets[] = {
    {"LAN1", "lan0", "lan1_enable"},
};

/* Ethernet ports whose names are those of what is attached to their PHY, sooner or later. */
#define PHY "/sys/devices/platform/mac1/mdio_bus/mac1-0/mac1-0:01"
static const struct {
    const char *name;
    const char *mdio_device_path;
    const char *attached_path;
} phys[] = {
    {"LAN2", PHY, PHY "/attached_dev"},
};
static ZolvEthernetPolling pollings[G_N_ELEMENTS(phys)];

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
create_serial_port(ZolvBaseManager *manager, const SerialPort *row)
{
    ZolvSerialPort *port =
        ZOLV_SERIALPORT(zolv_base_manager_create_new_object(manager, row->type(), row->name));

    if (row->bootenv != NULL)
        zolv_serialport_bind_bootenv(port, row->bootenv);
    zolv_serialport_init_iostate(port,
                                 row->bootenv != NULL ? zolv_serialport_enable_by_bootenv
                                                      : zolv_serialport_enable_directly,
                                 NULL);
    zolv_serialport_define_supported_interfaces(port, row->n_interfaces, row->interfaces);
    zolv_serialport_define_supported_baudrates(port, G_N_ELEMENTS(baudrates), baudrates);
    zolv_serialport_define_supported_data_bits(port, G_N_ELEMENTS(data_bits), data_bits);
    zolv_serialport_define_supported_stop_bits(port, G_N_ELEMENTS(stop_bits), stop_bits);
    zolv_serialport_define_supported_parities(port, G_N_ELEMENTS(parities), parities);
    zolv_serialport_define_supported_flow_controls(port, G_N_ELEMENTS(flow_controls),
                                                   flow_controls);
    if (row->define != NULL)
        row->define(port);
    /* The device last: it sets the stored mode and exports the object. */
    zolv_serialport_define_device(port, row->original_device, row->device);
}

static void
create_serial_ports(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(serial_ports); i++)
        create_serial_port(manager, &serial_ports[i]);
}

static void
create_cans(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(cans); i++) {
        ZolvCAN *can =
            ZOLV_CAN(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_CAN, cans[i].name));

        zolv_can_bind_bootenv(can, cans[i].bootenv);
        zolv_can_init_iostate(can, zolv_can_enable_by_bootenv, NULL);
        zolv_can_define_maximum_supported_bitrate(can, cans[i].bitrate);
        zolv_can_define_terminator_pin(can, cans[i].terminator_pin);
        zolv_can_export(can); /* the controller may come later, or never where it is disabled */
    }
}

static void
create_ethernets(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(ethernets); i++) {
        ZolvEthernet *ethernet = ZOLV_ETHERNET(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_ETHERNET, ethernets[i].name));

        zolv_ethernet_bind_bootenv(ethernet, ethernets[i].bootenv);
        zolv_ethernet_init_iostate(ethernet, zolv_ethernet_enable_by_bootenv, NULL);
        zolv_ethernet_define_device_name(ethernet, ethernets[i].interface); /* exports the object */
    }
    for (gsize i = 0; i < G_N_ELEMENTS(phys); i++) {
        ZolvEthernet *ethernet = ZOLV_ETHERNET(
            zolv_base_manager_create_new_object(manager, ZOLV_TYPE_ETHERNET, phys[i].name));

        zolv_ethernet_init_iostate(ethernet, zolv_ethernet_enable_directly, NULL);
        zolv_ethernet_export(ethernet);
        pollings[i].ethernet = ethernet;
        pollings[i].mdio_device_path = phys[i].mdio_device_path;
        pollings[i].attached_path = phys[i].attached_path;
        if (zolv_ethernet_check_net_dev_attached(&pollings[i]))
            zolv_ethernet_poll_net_dev_attached_thread(&pollings[i]);
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

static void
create_slots(ZolvBaseManager *manager)
{
    for (gsize i = 0; i < G_N_ELEMENTS(slots); i++) {
        ZolvDisk *slot =
            ZOLV_DISK(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_DISK, slots[i].name));

        if (slots[i].bootenv != NULL) {
            zolv_disk_bind_bootenv(slot, slots[i].bootenv);
            zolv_disk_init_iostate(slot, zolv_disk_enable_by_bootenv, NULL);
        }
        zolv_disk_define_disk_type(slot, slots[i].type);
        if (slots[i].bootenv != NULL)
            zolv_disk_export(slot); /* there also without a disk */
    }
    zolv_base_manager_add_ptn_led_service(
        manager, zolv_partition_led_service_new(manager, storage_leds, G_N_ELEMENTS(storage_leds)));
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

/* The name of the socket that a device hangs on; a path ends where a folder does. */
static const char *
usb_socket_of(GUdevDevice *device)
{
    const char *path = g_udev_device_get_sysfs_path(device);

    for (gsize i = 0; i < G_N_ELEMENTS(usb_sockets); i++)
        if (g_str_has_prefix(path, usb_sockets[i].path) &&
            strchr("/", path[strlen(usb_sockets[i].path)]) != NULL)
            return usb_sockets[i].name;
    return NULL;
}

/* A port of the maker's adapters is a tty with their vendor's identifier and a link. */
static void
handle_adapter_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    const char *socket = usb_socket_of(device);

    if (socket == NULL || g_strcmp0(g_udev_device_get_subsystem(device), "tty") != 0 ||
        g_strcmp0(g_udev_device_get_property(device, "ID_VENDOR_ID"), "ffff") != 0 ||
        g_udev_device_get_property(device, "ID_MODEL") == NULL ||
        g_udev_device_get_device_file_symlinks(device)[0] == NULL)
        return;
    if (g_strcmp0(action, "add") == 0)
        zolv_serialport_serivo_create_serivo(manager, device, socket);
    else if (g_strcmp0(action, "remove") == 0)
        zolv_serialport_serivo_remove_serivo(manager, device, socket);
}

/* A CAN port has the name of its network interface as long as there is one. */
static void
handle_can_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    for (gsize i = 0; i < G_N_ELEMENTS(cans); i++) {
        if (g_strcmp0(g_udev_device_get_subsystem(device), "net") != 0 ||
            g_strcmp0(g_udev_device_get_name(device), cans[i].interface) != 0)
            continue;
        char *id = g_strconcat("CAN/", cans[i].name, NULL);
        ZolvCAN *can = ZOLV_CAN(zolv_base_manager_get_object(manager, id));

        g_free(id);
        if (g_strcmp0(action, "add") == 0)
            zolv_can_define_device_name_by_udev(can, device);
        else if (g_strcmp0(action, "remove") == 0)
            zolv_can_define_device_name_by_udev(can, NULL);
    }
}

/* The partitions follow their disk: the slot knows what to make of each. */
static void
handle_slot_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device,
                  ZolvDisk *slot)
{
    if (g_strcmp0(action, "add") == 0) {
        zolv_disk_device_add(slot, manager, device);
    } else if (g_strcmp0(action, "remove") == 0) {
        zolv_disk_device_remove(slot, manager, device);
    } else if (g_strcmp0(action, "change") == 0) {
        zolv_disk_device_change(slot, manager, device);
        /* A card reader tells of its card's table once it has read it. */
        if (g_udev_device_has_property(device, "ID_PART_TABLE_TYPE"))
            zolv_disk_export(slot);
    }
}

static void
handle_block_event(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    if (g_strcmp0(g_udev_device_get_subsystem(device), "block") != 0)
        return;
    for (gsize i = 0; i < G_N_ELEMENTS(slots); i++)
        if (g_str_has_prefix(g_udev_device_get_sysfs_path(device), slots[i].path))
            handle_slot_event(manager, action, device,
                              ZOLV_DISK(zolv_base_manager_get_object(manager, slots[i].id)));
}

void
platform_init(ZolvBaseManager *manager)
{
    create_leds(manager);
    create_buttons(manager);
    create_buzzers(manager);
    create_consoles(manager);
    create_serial_ports(manager);
    create_cans(manager);
    create_ethernets(manager);
    create_dios(manager);
    create_slots(manager);
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
    handle_adapter_event(manager, action, device);
    handle_can_event(manager, action, device);
    handle_block_event(manager, action, device);
}
