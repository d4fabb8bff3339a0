#include "peripherals/button/zolv-button-reader.h"

#include "core/zolv-obj-log.h"
#include "core/zolv-text.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <initializer_list>
#include <linux/input.h>
#include <span>
#include <sys/epoll.h>

namespace {

constexpr int hold_tick_ms = 1000;
constexpr int idle_ms = 15000;

/* A button that is used faster than its scripts can be started waits in the kernel's queue. */
constexpr std::size_t max_items_ahead = 65536;

constexpr std::size_t max_events_at_once = 64;

/* The values of a key event. */
constexpr int key_up = 0;
constexpr int key_down = 1;

} // namespace

void
zolv::ButtonReader::run()
{
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    if (!epoll_) {
        zolv_obj_log(task_.button, TVL_LOG_ERROR, "Create epoll failed: %s", g_strerror(errno));
        return;
    }
    /* Not blocking: a wait that nothing ends would be one in open(), where no device answers. */
    input_.reset(open(task_.device_path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!input_) {
        zolv_obj_log(task_.button, TVL_LOG_WARN, "Open '%s' failed: %s",
                     fit_text(task_.device_path).c_str(), g_strerror(errno));
        return;
    }
    if (add(input_.get()) && add(task_.wake_fd))
        while (worker_.running() && (!ended_ || !items_.empty()))
            wait();
    settle_start();
    remove(input_.get());
    remove(task_.wake_fd);
    input_.reset();
    if (close(epoll_.release()) != 0)
        zolv_obj_log(task_.button, TVL_LOG_ERROR, "Close epoll failed: %s", g_strerror(errno));
}

/* Only changes are told: what keeps a descriptor readable, such as the far end of a pipe that has
 * gone, does not keep the thread busy. */
bool
zolv::ButtonReader::add(int fd) const
{
    epoll_event event{};

    event.events = EPOLLIN | EPOLLET;
    event.data.fd = fd;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) == 0)
        return true;
    _tvl_log(TVL_LOG_ERROR, "Add fd=%d to epoll failed: %s", fd, g_strerror(errno));
    return false;
}

void
zolv::ButtonReader::remove(int fd) const
{
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr) != 0)
        _tvl_log(TVL_LOG_ERROR, "Delete fd=%d to epoll failed: %s", fd, g_strerror(errno));
}

void
zolv::ButtonReader::wait()
{
    std::array<epoll_event, 3> ready{};
    const bool full = items_.size() >= max_items_ahead;
    const bool busy = (readable_ && !full) || (!starting_ && !items_.empty());
    /* What waits to be handled may be the release. */
    const bool holding = pressed_ && items_.empty();
    const int timeout_ms = busy ? 0 : holding ? hold_tick_ms : idle_ms;
    const int n_ready = epoll_wait(epoll_.get(), ready.data(), ready.size(), timeout_ms);

    if (n_ready < 0 && errno != EINTR) {
        zolv_obj_log(task_.button, TVL_LOG_ERROR, "Epoll wait failed: %s", g_strerror(errno));
        ended_ = true;
        items_.clear();
        return;
    }
    if (n_ready == 0 && !busy && holding) {
        hold_s_++;
        use("hold", hold_s_);
    }
    for (int i = 0; i < n_ready; i++)
        attend(ready[static_cast<std::size_t>(i)].data.fd);
    while (readable_ && worker_.running() && items_.size() < max_items_ahead)
        readable_ = read_events();
    if (!starting_ && !items_.empty() && worker_.running()) {
        const Item item = items_.front();
        items_.pop_front();
        handle(item);
    }
}

void
zolv::ButtonReader::attend(int fd)
{
    std::uint64_t count = 0;

    if (fd == input_.get())
        readable_ = true;
    else if (fd != task_.wake_fd)
        settle_start();
    else if (read(fd, &count, sizeof count) < 0)
        return; /* it was read before */
}

/* Whether there may be more. */
bool
zolv::ButtonReader::read_events()
{
    std::array<input_event, max_events_at_once> events{};
    const ssize_t n_read = read(input_.get(), events.data(), sizeof events);

    if (n_read < 0 && errno == EINTR)
        return true;
    if (n_read < 0 && errno == EAGAIN)
        return false;
    if (n_read < 0)
        return read_failed(errno);

    const auto n_bytes = static_cast<std::size_t>(n_read);
    for (const input_event &event : std::span(events).first(n_bytes / sizeof(input_event))) {
        if (event.type == EV_KEY)
            items_.push_back({Item::key, event.value});
        else if (event.type == EV_SYN && event.code == SYN_DROPPED)
            items_.push_back({Item::lost, 0});
    }
    /* No event, or a part of one. */
    if (n_bytes == 0 || n_bytes % sizeof(input_event) != 0)
        return read_failed(ENODATA) && n_bytes > 0;
    return true;
}

/* Whether it is worth to go on at once. A device that is gone never comes back to this
 * descriptor; any other failure is tried again at the next event. */
bool
zolv::ButtonReader::read_failed(int code)
{
    items_.push_back({Item::failed, code});
    ended_ = code == ENODEV;
    return code == ENODATA;
}

/* After a failure or a loss the button counts as released: its release may never be seen. */
void
zolv::ButtonReader::handle(const Item &item)
{
    switch (item.kind) {
    case Item::key:
        handle_key(item.value);
        break;
    case Item::lost:
        zolv_obj_log(task_.button, TVL_LOG_WARN, "Input events were lost");
        release();
        break;
    case Item::failed:
        zolv_obj_log(task_.button, TVL_LOG_ERROR, "Read input device failed: %s",
                     g_strerror(item.value));
        release();
        break;
    }
}

void
zolv::ButtonReader::handle_key(int value)
{
    if (value == key_down) {
        zolv_obj_log(task_.button, TVL_LOG_INFO, "Button pressed");
        use("press", 0);
        pressed_ = true;
    } else if (value == key_up) {
        zolv_obj_log(task_.button, TVL_LOG_INFO, "Button released");
        use("release", hold_s_);
        release();
    } else {
        zolv_obj_log(task_.button, TVL_LOG_WARN, "Unknown event value: %d", value);
        release();
    }
}

void
zolv::ButtonReader::use(const char *word, int seconds)
{
    const std::string argument = std::to_string(seconds);

    zolv_obj_log(task_.button, TVL_LOG_INFO, "Execute hook with action=\"%s\", seconds=%d", word,
                 seconds);
    if (access(task_.script.c_str(), F_OK) != 0) {
        _tvl_log(TVL_LOG_ERROR, "Hook script is not exist\n");
    } else {
        settle_start();
        starting_.emplace(
            std::initializer_list<const char *>{task_.script.c_str(), word, argument.c_str()});
        if (starting_->report_fd() < 0 || !add(starting_->report_fd()))
            settle_start();
    }
    task_.tell(word);
}

/* The reader comes here when the outcome is known, or when it cannot do without. */
void
zolv::ButtonReader::settle_start()
{
    if (!starting_)
        return;
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, starting_->report_fd(), nullptr);
    const int code = starting_->finish();
    starting_.reset();
    if (code != 0)
        ZOLV_OBJ_DEBUG(task_.button, "Start of '%s' failed: %s", fit_text(task_.script).c_str(),
                       g_strerror(code));
}

void
zolv::ButtonReader::release()
{
    pressed_ = false;
    hold_s_ = 0;
}
