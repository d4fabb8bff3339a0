/* A model plugin that writes settings as fast as it can once it hears of a change of "lo": each
 * write counts one up from what is stored. */
#include <tarvelperimond.h>

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

    (void)manager;
    if (!g_str_equal(action, "change") || !g_str_equal(g_udev_device_get_name(device), "lo"))
        return;
    zolv_helper_config_get_guint("Counter", "Count", &count);
    for (;;)
        zolv_helper_config_set_guint("Counter", "Count", ++count);
}
