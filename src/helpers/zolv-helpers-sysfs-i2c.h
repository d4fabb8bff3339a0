#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/**
 * zolv_helper_bind_sysfs_i2c_device:
 * @adapter_name: part of the adapter's name
 * @device_type: name of the device for its driver, at most 19 characters
 * @address: address on the bus
 *
 * Makes an I2C device on the first adapter whose name contains @adapter_name; see the kernel's
 * Documentation/i2c/instantiating-devices.rst. Failures are logged as errors.
 *
 * Returns: whether the kernel took the device
 */
ZOLV_API gboolean zolv_helper_bind_sysfs_i2c_device(const gchar *adapter_name,
                                                    const gchar *device_type, gint address);

G_END_DECLS
