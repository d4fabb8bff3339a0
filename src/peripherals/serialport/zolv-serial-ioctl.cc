#include "peripherals/serialport/zolv-serial-ioctl.h"

#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/serial.h>
#include <string>
#include <sys/ioctl.h>

namespace {

struct Request {
    unsigned long number;
    const char *name;
};

constexpr Request get_serial = {TIOCGSERIAL, "TIOCGSERIAL"};
constexpr Request set_serial = {TIOCSSERIAL, "TIOCSSERIAL"};
constexpr Request get_rs485 = {TIOCGRS485, "TIOCGRS485"};
constexpr Request set_rs485 = {TIOCSRS485, "TIOCSRS485"};
/* Of the multiport card's driver. */
constexpr Request get_mode = {0x443, "TARVEL_GET_OP_MODE"};
constexpr Request set_mode = {0x442, "TARVEL_SET_OP_MODE"};

zolv::UniqueFd
open_serial(const char *device)
{
    return zolv::UniqueFd(open(device, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/* An open device, for the requests of one operation. */
class Device {
  public:
    Device(const char *path, GError **error) : path_(path), error_(error), fd_(open_serial(path))
    {
        if (!fd_)
            fail(errno, "open");
    }

    explicit operator bool() const { return static_cast<bool>(fd_); }

    bool request(const Request &request, void *argument) const
    {
        if (ioctl(fd_.get(), request.number, argument) >= 0)
            return true;
        const int code = errno;
        fail(code, "ioctl(" + std::string(request.name) + ") for");
        return false;
    }

  private:
    void fail(int code, const std::string &what) const
    {
        zolv::failf(error_, ZOLV_CORE_ERROR_DEVICE_IO, "%s '%s' failed: %s", what.c_str(),
                    zolv::fit_text(path_).c_str(), g_strerror(code));
    }

    const char *path_;
    GError **error_;
    zolv::UniqueFd fd_;
};

} // namespace

bool
zolv::get_serial_port_field(const char *path, guint *port, GError **error)
{
    const Device device(path, error);
    serial_struct data{};

    if (!device || !device.request(get_serial, &data))
        return false;
    *port = data.port;
    return true;
}

bool
zolv::set_serial_port_field(const char *path, guint port, GError **error)
{
    const Device device(path, error);
    serial_struct data{};

    if (!device || !device.request(get_serial, &data))
        return false;
    data.port = port;
    return device.request(set_serial, &data);
}

bool
zolv::set_kernel_rs485(const char *path, bool on, GError **error)
{
    const Device device(path, error);
    serial_rs485 data{};

    if (!device || !device.request(get_rs485, &data))
        return false;
    if (on) {
        data.flags &= ~static_cast<unsigned>(SER_RS485_RTS_AFTER_SEND);
        data.flags |= SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND | SER_RS485_RX_DURING_TX;
    } else {
        data.flags &= ~static_cast<unsigned>(SER_RS485_ENABLED);
    }
    return device.request(set_rs485, &data);
}

bool
zolv::get_op_mode(const char *path, guint *mode, GError **error)
{
    const Device device(path, error);
    std::int32_t value = 0;

    if (!device || !device.request(get_mode, &value))
        return false;
    *mode = static_cast<guint>(value);
    return true;
}

bool
zolv::set_op_mode(const char *path, guint mode, GError **error)
{
    const Device device(path, error);
    auto value = static_cast<std::int32_t>(mode);

    return device && device.request(set_mode, &value);
}

bool
zolv::can_open_serial(const char *path)
{
    return static_cast<bool>(open_serial(path));
}
