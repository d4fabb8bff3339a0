#pragma once

#include "core/zolv-raii.h"

#include <functional>
#include <gio/gio.h>

namespace zolv {

/* The mount table of the daemon's mount namespace, watched for changes. */
class MountTable {
  public:
    using Changed = std::function<void()>;

    MountTable() = default;
    MountTable(const MountTable &) = delete;
    MountTable &operator=(const MountTable &) = delete;
    ~MountTable() { close(); }

    /* Fails with the error of the channel. */
    bool open(GError **error);
    /* Has the main loop call @changed after each change. Once, when it is open. */
    void watch(Changed changed);
    void close();

  private:
    static gboolean ready(GIOChannel *channel, GIOCondition condition, gpointer self);

    std::unique_ptr<GIOChannel, Free<g_io_channel_unref>> channel_;
    GSource *watch_ = nullptr;
    Changed changed_;
};

} // namespace zolv
