#pragma once

#include "core/zolv-raii.h"
#include "core/zolv-start.h"
#include "core/zolv-worker.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <zolv-obj.h>

namespace zolv {

/*
 * What one thread does for a button: it reads the input device, starts the script and tells of each
 * use. While a script is started the device is still read: the kernel drops what is left in its
 * queue of 64 events. Scripts are started one after the other, so that no burst floods the
 * computer.
 */
class ButtonReader {
  public:
    struct Task {
        ZolvObj *button; /* outlives the thread; only its id is looked at */
        std::string device_path;
        std::string script;
        int wake_fd; /* an eventfd that is readable when the thread is to stop */
        std::function<void(const char *use)> tell;
    };

    ButtonReader(const Task &task, const Worker &worker) : task_(task), worker_(worker) {}
    ButtonReader(const ButtonReader &) = delete;
    ButtonReader &operator=(const ButtonReader &) = delete;
    ~ButtonReader() = default;

    /* Returns when the worker is to stop, or when the device cannot be read any more. */
    void run();

  private:
    /* What was read and is to be handled, in the order of the device. */
    struct Item {
        enum { key, lost, failed } kind;
        int value; /* of the key, or the number of the error */
    };

    bool add(int fd) const;
    void remove(int fd) const;
    void wait();
    void attend(int fd);
    bool read_events();
    bool read_failed(int code);
    void handle(const Item &item);
    void handle_key(int value);
    void use(const char *word, int seconds);
    void settle_start();
    void release();

    const Task &task_;
    const Worker &worker_;
    UniqueFd epoll_;
    UniqueFd input_;
    std::optional<StartingProgram> starting_;
    std::deque<Item> items_;
    bool readable_ = false; /* whether there may be more to read */
    bool ended_ = false;    /* whether there will never be */
    bool pressed_ = false;
    int hold_s_ = 0;
};

} // namespace zolv
