#include "manager/zolv-device-events.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-text.h"

#include <array>
#include <malloc.h>

namespace {

constexpr std::array<const char *, 8> subsystems = {"usb",   "usbmisc", "tty",      "net",
                                                    "block", "input",   "mdio_bus", nullptr};

} // namespace

zolv::DeviceEvents::DeviceEvents() : client_(g_udev_client_new(subsystems.data())) {}

void
zolv::DeviceEvents::listen(Handler handler)
{
    handler_ = std::move(handler);
    g_signal_connect(client_.get(), "uevent", G_CALLBACK(heard), this);
}

void
zolv::DeviceEvents::heard(GUdevClient *, const char *action, GUdevDevice *device,
                          DeviceEvents *self)
{
    ZOLV_DEBUG("[Udev] %s '%s'", fit_text(action).c_str(),
               fit_text(g_udev_device_get_sysfs_path(device)).c_str());
    self->handler_(action, device);
}

void
zolv::DeviceEvents::scan()
{
    GList *devices = g_udev_client_query_by_subsystem(client_.get(), nullptr);

    for (GList *link = devices; link != nullptr; link = link->next) {
        const ObjectPtr<GUdevDevice> device(G_UDEV_DEVICE(link->data));
        ZOLV_DEBUG("[Udev] scanned '%s'",
                   fit_text(g_udev_device_get_sysfs_path(device.get())).c_str());
        handler_("add", device.get());
    }
    g_list_free(devices);
    /* Every device of the system was in memory for a moment; the freed pages go back. */
    malloc_trim(0);
}

void
zolv::DeviceEvents::close()
{
    client_.reset();
}
