/*
 * The floor: what a service of this kind costs at least. A GDBus object manager with the generated
 * glue, the same hundred objects, the same file access and the same device client as the daemon
 * with the bench's model plugin, and nothing else: no checks, no errors, no log.
 *
 * Usage: floor NAME [one]
 * Owns NAME on the system bus. With "one" each call opens one file alone. Built with the guard, its
 * connection is the daemon's.
 */
#include "bench-board.h"
#include "bench-ports.h"
#include "floor-ports.h"
#include "zolv-gdbus-object.h"
#include "zolv-gdbus.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <stdio.h>
#include <string.h>

static const char *const subsystems[] = {"usb",   "usbmisc", "tty",      "net",
                                         "block", "input",   "mdio_bus", NULL};

#ifdef BENCH_GUARDED
guint bench_own_guarded_name(const char *name, GBusAcquiredCallback bus_acquired,
                             GBusNameAcquiredCallback name_acquired);
#endif

static GMainLoop *loop;
static gboolean one_file;
static ZolvGdbusComTarvelPerimond *manager;
static GDBusObjectManagerServer *objects;
static GUdevClient *client;

void
floor_read_file(const char *path, char *text, gsize size)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    gssize length = read(fd, text, size - 1);

    text[length > 0 ? length : 0] = '\0';
    close(fd);
}

void
floor_write_file(const char *path, const char *text)
{
    int fd = open(path, O_WRONLY | O_CLOEXEC);
    G_GNUC_UNUSED gssize written = write(fd, text, strlen(text));

    close(fd);
}

static gboolean
led_get(ZolvGdbusObjLED *led, GDBusMethodInvocation *invocation, gpointer label)
{
    char path[128];
    char text[256];

    if (!one_file) {
        snprintf(path, sizeof path, "/sys/class/leds/%s/trigger", (const char *)label);
        floor_read_file(path, text, sizeof text);
        if (strstr(text, "[none]") == NULL) {
            zolv_gdbus_obj_led_complete_get_state(led, invocation, 2);
            return TRUE;
        }
    }
    snprintf(path, sizeof path, "/sys/class/leds/%s/brightness", (const char *)label);
    floor_read_file(path, text, 2);
    zolv_gdbus_obj_led_complete_get_state(led, invocation, text[0] == '1');
    return TRUE;
}

static gboolean
led_set(ZolvGdbusObjLED *led, GDBusMethodInvocation *invocation, guint state, gpointer label)
{
    char path[128];

    if (!one_file) {
        snprintf(path, sizeof path, "/sys/class/leds/%s/trigger", (const char *)label);
        floor_write_file(path, "none");
    }
    snprintf(path, sizeof path, "/sys/class/leds/%s/brightness", (const char *)label);
    floor_write_file(path, state == 1 ? "1" : "0");
    zolv_gdbus_obj_led_complete_set_state(led, invocation);
    return TRUE;
}

static void
line_path(char *path, gsize size, gpointer line, const char *attribute)
{
    snprintf(path, size, "/sys/class/gpio/gpio%d/%s", GPOINTER_TO_INT(line), attribute);
}

static gboolean
gpio_get(ZolvGdbusObjLED *led, GDBusMethodInvocation *invocation, gpointer line)
{
    char path[128];
    char text[2];

    line_path(path, sizeof path, line, "value");
    if (one_file || access(path, F_OK) == 0)
        floor_read_file(path, text, sizeof text);
    zolv_gdbus_obj_led_complete_get_state(led, invocation, text[0] == '1');
    return TRUE;
}

void
floor_write_line(int line, const char *level)
{
    char path[128];
    char text[4];

    line_path(path, sizeof path, GINT_TO_POINTER(line), "value");
    if (!one_file && access(path, F_OK) == 0) {
        line_path(path, sizeof path, GINT_TO_POINTER(line), "direction");
        floor_read_file(path, text, sizeof text);
        line_path(path, sizeof path, GINT_TO_POINTER(line), "value");
    }
    floor_write_file(path, level);
}

static gboolean
gpio_set(ZolvGdbusObjLED *led, GDBusMethodInvocation *invocation, guint state, gpointer line)
{
    floor_write_line(GPOINTER_TO_INT(line), state == 1 ? "1" : "0");
    zolv_gdbus_obj_led_complete_set_state(led, invocation);
    return TRUE;
}

static void
export_led(const char *name, const char *label, GCallback get, GCallback set, gpointer data)
{
    g_autofree char *path = g_strdup_printf(MANAGER_PATH "/LED/%s", name);
    g_autoptr(ZolvGdbusObjectSkeleton) object = zolv_gdbus_object_skeleton_new(path);
    g_autoptr(ZolvGdbusObj) common = zolv_gdbus_obj_skeleton_new();
    g_autoptr(ZolvGdbusObjLED) led = zolv_gdbus_obj_led_skeleton_new();

    zolv_gdbus_obj_set_name(common, name);
    zolv_gdbus_obj_set_peripheral_type(common, "LED");
    zolv_gdbus_object_skeleton_set_obj(object, common);
    zolv_gdbus_obj_led_set_alias(led, name);
    zolv_gdbus_obj_led_set_label(led, label);
    zolv_gdbus_object_skeleton_set_obj_led(object, led);
    g_signal_connect(led, "handle-get-state", get, data);
    g_signal_connect(led, "handle-set-state", set, data);
    g_dbus_object_manager_server_export(objects, G_DBUS_OBJECT_SKELETON(object));
}

static void
bus_acquired(GDBusConnection *connection, const char *name, gpointer data)
{
    (void)name;
    (void)data;
    manager = zolv_gdbus_com_tarvel_perimond_skeleton_new();
    objects = g_dbus_object_manager_server_new(MANAGER_PATH);
    client = g_udev_client_new(subsystems);
    g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(manager), connection, MANAGER_PATH,
                                     NULL);
    g_dbus_object_manager_server_set_connection(objects, connection);
}

static void
uevent(GUdevClient *udev, const char *action, GUdevDevice *device, gpointer data)
{
    (void)udev;
    (void)data;
    if (g_strcmp0(g_udev_device_get_name(device), BENCH_ADAPTER) == 0)
        floor_adapter_event(objects, action, device);
    else
        bench_count_event(action, device);
}

static void
name_acquired(GDBusConnection *connection, const char *name, gpointer data)
{
    (void)connection;
    (void)name;
    (void)data;
    if (bench_has_ports())
        floor_export_ports(objects);
    for (int i = 0; i < bench_n_class_leds(); i++) {
        g_autofree char *led = g_strdup_printf("L%03d", i);
        char *label = g_strdup_printf("bench:%03d", i % BENCH_CLASS_LEDS);

        export_led(led, label, G_CALLBACK(led_get), G_CALLBACK(led_set), label);
    }
    for (int i = 0; i < BENCH_GPIO_LEDS; i++) {
        g_autofree char *led = g_strdup_printf("G%03d", i);
        char path[128];
        char text[4];

        line_path(path, sizeof path, GINT_TO_POINTER(i), "active_low");
        floor_write_file(path, "0");
        line_path(path, sizeof path, GINT_TO_POINTER(i), "direction");
        floor_read_file(path, text, sizeof text);
        export_led(led, NULL, G_CALLBACK(gpio_get), G_CALLBACK(gpio_set), GINT_TO_POINTER(i));
    }
    g_signal_connect(client, "uevent", G_CALLBACK(uevent), NULL);
    GList *devices = g_udev_client_query_by_subsystem(client, NULL);
    for (GList *link = devices; link != NULL; link = link->next)
        bench_count_event("add", link->data);
    g_list_free_full(devices, g_object_unref);
}

static gboolean
quit(gpointer data)
{
    (void)data;
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

int
main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    one_file = argc > 2;
    g_unix_signal_add(SIGTERM, quit, NULL);
#ifdef BENCH_GUARDED
    const guint owner = bench_own_guarded_name(argv[1], bus_acquired, name_acquired);
#else
    const guint owner = g_bus_own_name(G_BUS_TYPE_SYSTEM, argv[1], G_BUS_NAME_OWNER_FLAGS_NONE,
                                       bus_acquired, name_acquired, NULL, NULL, NULL);
#endif
    loop = g_main_loop_new(NULL, FALSE);
    g_main_loop_run(loop);

    GList *exported = g_dbus_object_manager_get_objects(G_DBUS_OBJECT_MANAGER(objects));
    for (GList *link = exported; link != NULL; link = link->next)
        g_dbus_object_manager_server_unexport(objects, g_dbus_object_get_object_path(link->data));
    g_list_free_full(exported, g_object_unref);
    g_object_unref(client);
    g_object_unref(objects);
    g_object_unref(manager);
    g_main_loop_unref(loop);
    g_bus_unown_name(owner);
    return 0;
}
