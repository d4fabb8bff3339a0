#pragma once

#include "core/zolv-raii.h"

#include <functional>
#include <gudev/gudev.h>

namespace zolv {

/* The devices of the system: what udev tells of those that come, go or change, and a scan of all
 * that are there. Handlers run on the main loop. */
class DeviceEvents {
  public:
    using Handler = std::function<void(const char *action, GUdevDevice *device)>;

    DeviceEvents();
    DeviceEvents(const DeviceEvents &) = delete;
    DeviceEvents &operator=(const DeviceEvents &) = delete;
    ~DeviceEvents() = default;

    /* Hands every later event of the subsystems that matter to @handler. Once. */
    void listen(Handler handler);
    /* Hands every device of the system to @handler as an added one, whatever its subsystem. */
    void scan();
    /* No event reaches the handler behind this. */
    void close();

  private:
    static void heard(GUdevClient *client, const char *action, GUdevDevice *device,
                      DeviceEvents *self);

    ObjectPtr<GUdevClient> client_;
    Handler handler_;
};

} // namespace zolv
