/* A model plugin that writes settings as fast as it can once it hears of a change of "lo": each
 * write counts one up from what is stored, and is told on the serial console once it is done. */
#include <fcntl.h>
#include <stdio.h>
#include <tarvelperimond.h>
#include <termios.h>

void
platform_init(ZolvBaseManager *manager)
{
    (void)manager;
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    guint count = 0;
    int console;

    (void)manager;
    if (!g_str_equal(action, "change") || !g_str_equal(g_udev_device_get_name(device), "lo"))
        return;
    console = open("/dev/ttyAMA0", O_WRONLY | O_NOCTTY | O_CLOEXEC);
    zolv_helper_config_get_guint("Counter", "Count", &count);
    for (;;) {
        zolv_helper_config_set_guint("Counter", "Count", ++count);
        dprintf(console, "stored %u\n", count);
        tcdrain(console);
    }
}
