/*
 * The floor's serial, CAN and Ethernet ports: the same requests and file accesses as those of the
 * daemon's classes make, one after the other.
 */
#include "floor-ports.h"

#include "bench-ports.h"
#include "zolv-gdbus-object.h"
#include "zolv-gdbus.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#define SET_OP_MODE 0x442
#define GET_OP_MODE 0x443

/* What a port does, by its kind. */
static const struct {
    int n_lines;
    gboolean has_register;
    gboolean clears_lines;
    gboolean has_port_field;
    gboolean has_rs485;
    gboolean has_op_mode;
    gboolean reads_lines;
} kinds[BENCH_KINDS] = {
    [BENCH_TYPE1] = {.has_port_field = TRUE},
    [BENCH_TYPE2] = {.n_lines = 4, .reads_lines = TRUE},
    [BENCH_TYPE3] = {.n_lines = 4, .reads_lines = TRUE},
    [BENCH_TYPE4] = {.n_lines = 3, .reads_lines = TRUE, .has_register = TRUE},
    [BENCH_TYPE5] = {.n_lines = 3, .reads_lines = TRUE, .clears_lines = TRUE, .has_rs485 = TRUE},
    [BENCH_TYPE8] = {.has_op_mode = TRUE},
    [BENCH_TYPE9] = {.has_port_field = TRUE},
    [BENCH_TYPE10] = {.n_lines = 1, .has_rs485 = TRUE},
};

static int
open_tty(const char *path)
{
    return open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

static guint
read_port_field(const char *path)
{
    struct serial_struct data;
    const int fd = open_tty(path);

    ioctl(fd, TIOCGSERIAL, &data);
    close(fd);
    return (guint)data.port;
}

static void
write_port_field(const char *path, guint mode)
{
    struct serial_struct data;
    const int fd = open_tty(path);

    ioctl(fd, TIOCGSERIAL, &data);
    data.port = (int)mode;
    ioctl(fd, TIOCSSERIAL, &data);
    close(fd);
}

static void
write_rs485(const char *path)
{
    struct serial_rs485 data;
    const int fd = open_tty(path);

    ioctl(fd, TIOCGRS485, &data);
    data.flags |= SER_RS485_ENABLED;
    ioctl(fd, TIOCSRS485, &data);
    close(fd);
}

static void
request_op_mode(const char *path, unsigned long request, int *mode)
{
    const int fd = open_tty(path);

    ioctl(fd, request, mode);
    close(fd);
}

static void
write_lines(enum BenchKind kind, const char *level)
{
    for (int i = 0; i < kinds[kind].n_lines; i++)
        floor_write_line(BENCH_LINE_OF_KIND(kind) + i, level);
}

static void
read_lines(enum BenchKind kind)
{
    for (int i = 0; i < kinds[kind].n_lines; i++) {
        char path[128];
        char text[2];

        snprintf(path, sizeof path, "/sys/class/gpio/gpio%d/value", BENCH_LINE_OF_KIND(kind) + i);
        if (access(path, F_OK) == 0)
            floor_read_file(path, text, sizeof text);
    }
}

/* The stored mode or terminator is looked at before it is written. */
static void
read_setting(void)
{
    g_autoptr(GKeyFile) file = g_key_file_new();

    g_key_file_load_from_file(file, "/etc/tarvel/TarvelPerimond/peripheral-settings.conf",
                              G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS, NULL);
    g_key_file_get_integer(file, "SerialPort/P00", "Interface", NULL);
}

static gboolean
set_interface(ZolvGdbusObjSerialPort *port, GDBusMethodInvocation *invocation, guint mode,
              gpointer data)
{
    const enum BenchKind kind = GPOINTER_TO_INT(data);
    const char *device = zolv_gdbus_obj_serial_port_get_device(port);
    int op_mode = (int)mode;

    if (kinds[kind].has_register)
        floor_write_file(BENCH_REGISTER, "1");
    if (kinds[kind].clears_lines)
        write_lines(kind, "0");
    write_lines(kind, "1");
    if (kinds[kind].has_rs485)
        write_rs485(device);
    if (kinds[kind].has_port_field)
        write_port_field(device, mode);
    if (kinds[kind].has_op_mode) {
        request_op_mode(BENCH_FIRST_CARD_TTY, SET_OP_MODE, &op_mode);
        request_op_mode(BENCH_SECOND_CARD_TTY, SET_OP_MODE, &op_mode);
    }
    read_setting();
    zolv_gdbus_obj_serial_port_complete_set_interface(port, invocation);
    return TRUE;
}

static gboolean
get_interface(ZolvGdbusObjSerialPort *port, GDBusMethodInvocation *invocation, gpointer data)
{
    const enum BenchKind kind = GPOINTER_TO_INT(data);
    const char *device = zolv_gdbus_obj_serial_port_get_device(port);
    char text[2];
    int mode = 1;

    if (kinds[kind].has_register)
        floor_read_file(BENCH_REGISTER, text, sizeof text);
    if (kinds[kind].reads_lines)
        read_lines(kind);
    if (kinds[kind].has_port_field)
        mode = (int)read_port_field(device);
    if (kinds[kind].has_op_mode)
        request_op_mode(device, GET_OP_MODE, &mode);
    if (kind == BENCH_TYPE10)
        read_setting();
    zolv_gdbus_obj_serial_port_complete_get_interface(port, invocation, (guint)mode);
    return TRUE;
}

static gboolean
set_port_terminator(ZolvGdbusObjSerialPort *port, GDBusMethodInvocation *invocation, guint state,
                    gpointer data)
{
    const char *device = zolv_gdbus_obj_serial_port_get_device(port);
    const guint mode = read_port_field(device);

    (void)data;
    zolv_gdbus_obj_serial_port_set_terminator(port, state);
    write_port_field(device, mode | 0x20);
    read_setting();
    zolv_gdbus_obj_serial_port_complete_set_terminator(port, invocation);
    return TRUE;
}

static gboolean
set_can_terminator(ZolvGdbusObjCAN *can, GDBusMethodInvocation *invocation, guint state,
                   gpointer line)
{
    zolv_gdbus_obj_can_set_terminator(can, state);
    floor_write_line(GPOINTER_TO_INT(line), state == 2 ? "1" : "0");
    read_setting();
    zolv_gdbus_obj_can_complete_set_terminator(can, invocation);
    return TRUE;
}

static ZolvGdbusObjectSkeleton *
new_object(const char *type, const char *name)
{
    g_autofree char *path = g_strdup_printf(MANAGER_PATH "/%s/%s", type, name);
    g_autoptr(ZolvGdbusObj) common = zolv_gdbus_obj_skeleton_new();
    ZolvGdbusObjectSkeleton *object = zolv_gdbus_object_skeleton_new(path);

    zolv_gdbus_obj_set_name(common, name);
    zolv_gdbus_obj_set_peripheral_type(common, type);
    zolv_gdbus_object_skeleton_set_obj(object, common);
    return object;
}

static GVariant *
list_of(const guint *values, gsize count)
{
    return g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, values, count, sizeof *values);
}

static void
export_serial_port(GDBusObjectManagerServer *objects, const char *name, const char *device,
                   enum BenchKind kind)
{
    g_autoptr(ZolvGdbusObjectSkeleton) object = new_object("SerialPort", name);
    g_autoptr(ZolvGdbusObjSerialPort) port = zolv_gdbus_obj_serial_port_skeleton_new();

    zolv_gdbus_obj_serial_port_set_iostate(port, 2);
    zolv_gdbus_obj_serial_port_set_supported_interfaces(
        port, list_of(bench_modes, G_N_ELEMENTS(bench_modes)));
    zolv_gdbus_obj_serial_port_set_supported_baudrates(
        port, list_of(bench_baudrates, G_N_ELEMENTS(bench_baudrates)));
    zolv_gdbus_obj_serial_port_set_original_device(port, device);
    zolv_gdbus_obj_serial_port_set_device(port, device);
    zolv_gdbus_object_skeleton_set_obj_serial_port(object, port);
    g_signal_connect(port, "handle-set-interface", G_CALLBACK(set_interface),
                     GINT_TO_POINTER(kind));
    g_signal_connect(port, "handle-get-interface", G_CALLBACK(get_interface),
                     GINT_TO_POINTER(kind));
    g_signal_connect(port, "handle-set-terminator", G_CALLBACK(set_port_terminator), NULL);
    g_dbus_object_manager_server_export(objects, G_DBUS_OBJECT_SKELETON(object));
}

static void
export_can(GDBusObjectManagerServer *objects, int number)
{
    g_autofree char *name = g_strdup_printf("C%d", number);
    g_autoptr(ZolvGdbusObjectSkeleton) object = new_object("CAN", name);
    g_autoptr(ZolvGdbusObjCAN) can = zolv_gdbus_obj_can_skeleton_new();

    zolv_gdbus_obj_can_set_iostate(can, 2);
    zolv_gdbus_obj_can_set_maximum_supported_bitrate(can, BENCH_BITRATE);
    zolv_gdbus_obj_can_set_terminator(can, 1);
    floor_write_line(BENCH_LINE_OF_CAN(number), "0");
    zolv_gdbus_object_skeleton_set_obj_can(object, can);
    g_signal_connect(can, "handle-set-terminator", G_CALLBACK(set_can_terminator),
                     GINT_TO_POINTER(BENCH_LINE_OF_CAN(number)));
    g_dbus_object_manager_server_export(objects, G_DBUS_OBJECT_SKELETON(object));
}

static void
export_ethernet(GDBusObjectManagerServer *objects, int number)
{
    g_autofree char *name = g_strdup_printf("E%d", number);
    g_autoptr(ZolvGdbusObjectSkeleton) object = new_object("Ethernet", name);
    g_autoptr(ZolvGdbusObjEthernet) ethernet = zolv_gdbus_obj_ethernet_skeleton_new();

    zolv_gdbus_obj_ethernet_set_iostate(ethernet, 2);
    zolv_gdbus_obj_ethernet_set_device_name(ethernet, name);
    zolv_gdbus_object_skeleton_set_obj_ethernet(object, ethernet);
    g_dbus_object_manager_server_export(objects, G_DBUS_OBJECT_SKELETON(object));
}

void
floor_export_ports(GDBusObjectManagerServer *objects)
{
    for (int i = 0; i < BENCH_SERIAL_PORTS; i++) {
        const enum BenchKind kind = i % BENCH_KINDS;
        g_autofree char *name = g_strdup_printf("P%02d", i);

        export_serial_port(objects, name, kind == BENCH_TYPE8 ? BENCH_FIRST_CARD_TTY : BENCH_TTY,
                           kind);
    }
    for (int i = 0; i < BENCH_CANS; i++)
        export_can(objects, i);
    for (int i = 0; i < BENCH_ETHERNETS; i++)
        export_ethernet(objects, i);
}

void
floor_adapter_event(GDBusObjectManagerServer *objects, const char *action, GUdevDevice *device)
{
    const char *file = g_udev_device_get_device_file(device);

    if (g_strcmp0(action, "remove") == 0) {
        g_dbus_object_manager_server_unexport(objects,
                                              MANAGER_PATH "/SerialPort/" BENCH_ADAPTER_PORT);
        return;
    }
    close(open_tty(file));
    write_port_field(file, 0);
    export_serial_port(objects, BENCH_ADAPTER_PORT, file, BENCH_TYPE1);
}
