/* A model plugin that has the kernel make an I2C device and load a module. */
#include <tarvelperimond.h>

void
platform_init(ZolvBaseManager *manager)
{
    (void)manager;
    zolv_helper_bind_sysfs_i2c_device("i2c", "expander", 0x20);
    zolv_helper_bind_sysfs_i2c_device("no such adapter", "expander", 0x21);
    zolv_helper_modprobe("fuse");
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    (void)manager;
    (void)action;
    (void)device;
}
