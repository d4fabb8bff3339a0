#pragma once

#include "core/zolv-raii.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace zolv {

/*
 * A device file, and the very device that it stood for when it was defined: a disk that is plugged
 * in later may get the same name and the same number, but never the same node.
 */
class DeviceNode {
  public:
    void define(const char *path);
    const std::string &path() const { return path_; }
    /* Opens the device, so that its name cannot become another one's while the descriptor lives.
     * None when it cannot be opened, or when the file stands for another device by now. */
    UniqueFd hold() const;
    /* Whether @path leads to the device, too. */
    bool is_at(const char *path) const;

  private:
    struct Identity {
        dev_t file_system;
        ino_t number; /* the kernel counts the nodes that it makes */
        dev_t device;
        bool operator==(const Identity &) const = default;
    };
    static std::optional<Identity> identity_of(int fd);

    std::string path_;
    std::optional<Identity> identity_; /* none when there was no such file */
};

} // namespace zolv
