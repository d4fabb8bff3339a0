#include "helpers/zolv-helpers-uinput.h"

#include "core/zolv-assert.h"
#include "core/zolv-raii.h"
#include "core/zolv-stop.h"
#include "core/zolv-worker.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "tvl-log.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/uinput.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>

namespace {

using namespace std::chrono_literals;

constexpr int poll_interval_ms = 100;

std::string
attribute_of(const ZolvHelperUinput *record, const char *attribute)
{
    return "/sys/class/gpio/gpio" + std::to_string(record->gpio) + "/" + attribute;
}

bool
fail(const char *action, const std::string &path)
{
    _tvl_log(TVL_LOG_ERROR, "%s %s fail", action, path.c_str());
    return false;
}

/* Without it the line does not wake who waits for it. */
bool
watch_both_edges(const ZolvHelperUinput *record)
{
    constexpr char word[] = "both";
    const std::string path = attribute_of(record, "edge");
    const zolv::UniqueFd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));

    if (!file)
        return fail("open", path);
    return write(file.get(), word, sizeof word - 1) > 0 || fail("write", path);
}

/* The device, or none. */
zolv::UniqueFd
make_device(const ZolvHelperUinput *record)
{
    zolv::UniqueFd device(open("/dev/uinput", O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    uinput_setup setup{};

    setup.id.bustype = BUS_USB;
    (void)std::snprintf(setup.name, sizeof setup.name, "%s",
                        record->name != nullptr ? record->name : "");
    if (device &&
        (ioctl(device.get(), UI_SET_EVBIT, EV_KEY) != 0 ||
         ioctl(device.get(), UI_SET_KEYBIT, BTN_0) != 0 ||
         ioctl(device.get(), UI_DEV_SETUP, &setup) != 0 || ioctl(device.get(), UI_DEV_CREATE) != 0))
        device.reset();
    return device;
}

void
emit(int fd, guint16 type, guint16 code, gint32 value)
{
    input_event event{};

    event.type = type;
    event.code = code;
    event.value = value;
    /* A reader that is too slow misses events, as with any device. */
    (void)!write(fd, &event, sizeof event);
}

/* The line's level as its file shows it; '\0' for none. */
char
read_level(int value, off_t offset)
{
    std::array<char, 64> text{};

    return lseek(value, offset, SEEK_SET) == 0 && read(value, text.data(), text.size()) > 0
               ? text[0]
               : '\0';
}

/* Whether to go on. */
bool
take_turn(int value, int device)
{
    pollfd line{.fd = value, .events = POLLPRI | POLLERR, .revents = 0};
    const int ready = poll(&line, 1, poll_interval_ms);

    if (ready < 0 && errno != EINTR) {
        _tvl_log(TVL_LOG_ERROR, "poll fail");
        return false;
    }
    if (ready <= 0 || (line.revents & POLLPRI) == 0)
        return true;
    const char level = read_level(value, 0);
    if (level == '\0') {
        _tvl_log(TVL_LOG_ERROR, "read fail");
        return false;
    }
    emit(device, EV_KEY, BTN_0, level == '0' ? 1 : 0);
    emit(device, EV_SYN, SYN_REPORT, 0);
    return true;
}

void
run_key(const ZolvHelperUinput *record, const zolv::Worker &worker, int device)
{
    const std::string path = attribute_of(record, "value");
    const zolv::UniqueFd value(open(path.c_str(), O_RDONLY | O_CLOEXEC));

    if (!value) {
        fail("open", path);
        return;
    }
    /* The first event is the first change. */
    if (read_level(value.get(), 0) == '\0') {
        fail("read", path);
        return;
    }
    while (g_atomic_int_get(&record->running) != 0 && worker.running() &&
           take_turn(value.get(), device))
        ;
    const zolv::FinishFirst last_event_is_read;
    zolv::pause(1s);
    (void)ioctl(device, UI_DEV_DESTROY);
}

void
work(const ZolvHelperUinput *record, const zolv::Worker &worker)
{
    if (!watch_both_edges(record))
        return;
    const zolv::UniqueFd device = make_device(record);
    if (device)
        run_key(record, worker, device.get());
}

} // namespace

void
zolv_helper_uinput_create(ZolvHelperUinput *record)
{
    ZOLV_ASSERT(record != NULL);
    guint value = 0;

    if (!zolv_helper_get_sysfs_gpio_value(record->gpio, &value, nullptr) ||
        g_atomic_int_get(&record->running) != 0)
        return;
    auto *worker = new zolv::Worker;
    g_atomic_int_set(&record->running, 1);
    if (worker->start("uinput", [record](zolv::Worker &self) { work(record, self); })) {
        record->thread = worker;
        return;
    }
    g_atomic_int_set(&record->running, 0);
    delete worker;
}

void
zolv_helper_uinput_destroy(ZolvHelperUinput *record)
{
    ZOLV_ASSERT(record != NULL);

    g_atomic_int_set(&record->running, 0);
    delete static_cast<zolv::Worker *>(std::exchange(record->thread, nullptr));
}
