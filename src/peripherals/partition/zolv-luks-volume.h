#pragma once

#include "core/zolv-device-node.h"
#include "zolv-obj.h"

#include <string>

namespace zolv {

/*
 * The LUKS volume that a partition holds, or is to hold. Each operation is a list of calls of
 * libcryptsetup, and fails with the text of the call that failed.
 *
 * Where the device file has come to stand for another device than the one that was defined, an
 * operation fails as one that cannot begin: nobody asked for that device.
 */
class LuksVolume {
  public:
    /* @owner writes the log lines and is not owned, as the device. */
    LuksVolume(ZolvObj *owner, const DeviceNode &device) : owner_(owner), device_(device) {}
    LuksVolume(const LuksVolume &) = delete;
    LuksVolume &operator=(const LuksVolume &) = delete;
    ~LuksVolume() = default;

    /* The device-mapper name under which it is opened. */
    void define_mapper_name(std::string name);
    const std::string &mapper_name() const { return mapper_name_; }
    const std::string &mapper_path() const { return mapper_path_; }

    /* Makes a new volume and stores its passphrase. */
    bool format(const char *passphrase, GError **error) const;
    /* Opens the volume with its stored passphrase; an open one stays open. */
    bool open(GError **error);
    bool close(GError **error);
    /* Stores @passphrase if it opens the volume. */
    bool change_key(const char *passphrase, GError **error) const;

    /* Whether open() has opened it, and nothing has closed it since. */
    bool opened() const { return opened_; }
    /* Whether what is open under the mapper name is this volume: somebody else may have given the
     * name to another one. */
    bool is_mapped() const;

  private:
    ZolvObj *owner_;
    const DeviceNode &device_;
    std::string mapper_name_;
    std::string mapper_path_;
    bool opened_ = false;
};

} // namespace zolv
