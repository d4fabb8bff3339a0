#pragma once

#include <glib.h>

/*
 * What serial drivers keep about the transceiver of a port. Each function opens @device, without
 * waiting for a carrier and without making it our terminal, makes its requests and closes it.
 *
 * Errors: %ZOLV_CORE_ERROR_DEVICE_IO with the device and the system's text. An output is untouched
 * then.
 */
namespace zolv {

/* The field `port` of the driver's data, which carries the mode and may carry more. */
bool get_serial_port_field(const char *device, guint *port, GError **error);
/* All other data of the driver stay as they are. */
bool set_serial_port_field(const char *device, guint port, GError **error);

/* Whether the kernel drives the direction of the line: on, it raises RTS while it sends only, and
 * what is received while sending is kept. */
bool set_kernel_rs485(const char *device, bool on, GError **error);

/* The mode of a port of a multiport card. */
bool get_op_mode(const char *device, guint *mode, GError **error);
bool set_op_mode(const char *device, guint mode, GError **error);

/* Whether @device can be opened now. */
bool can_open_serial(const char *device);

} // namespace zolv
