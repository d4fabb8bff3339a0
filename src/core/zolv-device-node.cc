#include "core/zolv-device-node.h"

#include <fcntl.h>
#include <sys/stat.h>

std::optional<zolv::DeviceNode::Identity>
zolv::DeviceNode::identity_of(int fd)
{
    struct stat status = {};

    if (fd < 0 || fstat(fd, &status) != 0)
        return std::nullopt;
    return Identity{status.st_dev, status.st_ino, status.st_rdev};
}

void
zolv::DeviceNode::define(const char *path)
{
    const UniqueFd node(open(path, O_PATH | O_CLOEXEC));

    path_ = path;
    identity_ = identity_of(node.get());
}

zolv::UniqueFd
zolv::DeviceNode::hold() const
{
    UniqueFd held(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));

    if (!identity_ || identity_of(held.get()) != identity_)
        held.reset();
    return held;
}

bool
zolv::DeviceNode::is_at(const char *path) const
{
    const UniqueFd node(open(path, O_PATH | O_CLOEXEC));

    return identity_ && identity_of(node.get()) == identity_;
}
