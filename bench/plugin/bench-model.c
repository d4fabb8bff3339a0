/* Model plugin of the bench: a computer with a hundred LEDs, and a count of device events. */
#include "../bench-board.h"
#include "../bench-ports.h"

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

/* What a kind is told beside what all are. */
static void
define_hardware(ZolvSerialPort *port, enum BenchKind kind)
{
    const int line = BENCH_LINE_OF_KIND(kind);

    switch (kind) {
    case BENCH_TYPE2:
        zolv_serialport_type2_define_gpio_pins(ZOLV_SERIALPORT_TYPE2(port), line, line + 1,
                                               line + 2, line + 3);
        break;
    case BENCH_TYPE3:
        zolv_serialport_type3_define_gpio_pins(ZOLV_SERIALPORT_TYPE3(port), line, line + 1,
                                               line + 2, line + 3);
        break;
    case BENCH_TYPE4:
        zolv_serialport_type4_define_rs485_en_reg_path(ZOLV_SERIALPORT_TYPE4(port), BENCH_REGISTER);
        zolv_serialport_type4_define_gpio_pins(ZOLV_SERIALPORT_TYPE4(port), line, line + 1,
                                               line + 2);
        break;
    case BENCH_TYPE5:
        zolv_serialport_type5_define_gpio_pins(ZOLV_SERIALPORT_TYPE5(port), line, line + 1,
                                               line + 2);
        break;
    case BENCH_TYPE9:
        zolv_serialport_type9_define_terminator(ZOLV_SERIALPORT_TYPE9(port));
        break;
    case BENCH_TYPE10:
        zolv_serialport_type10_define_gpio_pins(ZOLV_SERIALPORT_TYPE10(port), line);
        break;
    default:
        break;
    }
}

static void
create_serial_port(ZolvBaseManager *manager, int number)
{
    static GType (*const types[BENCH_KINDS])(void) = {
        [BENCH_TYPE1] = zolv_serialport_type1_get_type,
        [BENCH_TYPE2] = zolv_serialport_type2_get_type,
        [BENCH_TYPE3] = zolv_serialport_type3_get_type,
        [BENCH_TYPE4] = zolv_serialport_type4_get_type,
        [BENCH_TYPE5] = zolv_serialport_type5_get_type,
        [BENCH_TYPE8] = zolv_serialport_type8_get_type,
        [BENCH_TYPE9] = zolv_serialport_type9_get_type,
        [BENCH_TYPE10] = zolv_serialport_type10_get_type,
    };
    const enum BenchKind kind = number % BENCH_KINDS;
    const char *device = kind == BENCH_TYPE8 ? BENCH_FIRST_CARD_TTY : BENCH_TTY;
    g_autofree char *name = g_strdup_printf("P%02d", number);
    ZolvSerialPort *port =
        ZOLV_SERIALPORT(zolv_base_manager_create_new_object(manager, types[kind](), name));

    zolv_serialport_init_iostate(port, zolv_serialport_enable_directly, NULL);
    zolv_serialport_define_supported_interfaces(port, G_N_ELEMENTS(bench_modes), bench_modes);
    zolv_serialport_define_supported_baudrates(port, G_N_ELEMENTS(bench_baudrates),
                                               bench_baudrates);
    define_hardware(port, kind);
    zolv_serialport_define_device(port, device, device);
}

static void
create_ports(ZolvBaseManager *manager)
{
    for (int i = 0; i < BENCH_SERIAL_PORTS; i++)
        create_serial_port(manager, i);
    for (int i = 0; i < BENCH_CANS; i++) {
        g_autofree char *name = g_strdup_printf("C%d", i);
        ZolvCAN *can = ZOLV_CAN(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_CAN, name));

        zolv_can_init_iostate(can, zolv_can_enable_directly, NULL);
        zolv_can_define_maximum_supported_bitrate(can, BENCH_BITRATE);
        zolv_can_define_terminator_pin(can, BENCH_LINE_OF_CAN(i));
        zolv_can_export(can);
    }
    for (int i = 0; i < BENCH_ETHERNETS; i++) {
        g_autofree char *name = g_strdup_printf("E%d", i);
        ZolvEthernet *ethernet =
            ZOLV_ETHERNET(zolv_base_manager_create_new_object(manager, ZOLV_TYPE_ETHERNET, name));

        zolv_ethernet_init_iostate(ethernet, zolv_ethernet_enable_directly, NULL);
        zolv_ethernet_define_device_name(ethernet, name);
    }
}

void
platform_init(ZolvBaseManager *manager)
{
    if (bench_has_ports())
        create_ports(manager);
    for (int i = 0; i < bench_n_class_leds(); i++) {
        g_autofree char *name = g_strdup_printf("L%03d", i);
        g_autofree char *label = g_strdup_printf("bench:%03d", i % BENCH_CLASS_LEDS);
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
    if (g_strcmp0(g_udev_device_get_name(device), BENCH_ADAPTER) != 0)
        bench_count_event(action, device);
    else if (g_strcmp0(action, "remove") == 0)
        zolv_serialport_serivo_remove_serivo(manager, device, BENCH_ADAPTER_PLACE);
    else
        zolv_serialport_serivo_create_serivo(manager, device, BENCH_ADAPTER_PLACE);
}
