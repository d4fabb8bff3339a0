#include "manager/zolv-mount-table.h"

#include "tvl-log.h"

#include <fcntl.h>

bool
zolv::MountTable::open(GError **error)
{
    channel_.reset(g_io_channel_new_file("/proc/self/mountinfo", "r", error));
    if (channel_ == nullptr)
        return false;
    fcntl(g_io_channel_unix_get_fd(channel_.get()), F_SETFD, FD_CLOEXEC);
    return true;
}

/* The kernel signals a change as a priority condition, proc(5). */
void
zolv::MountTable::watch(Changed changed)
{
    changed_ = std::move(changed);
    watch_ = g_io_create_watch(channel_.get(), G_IO_PRI);
    g_source_set_callback(watch_, G_SOURCE_FUNC(ready), this, nullptr);
    g_source_attach(watch_, g_main_context_get_thread_default());
}

gboolean
zolv::MountTable::ready(GIOChannel *, GIOCondition condition, gpointer self)
{
    if ((condition & G_IO_PRI) != 0) {
        _tvl_log(TVL_LOG_INFO, "[Manager] mount table changed");
        static_cast<MountTable *>(self)->changed_();
    }
    return G_SOURCE_CONTINUE;
}

void
zolv::MountTable::close()
{
    if (watch_ != nullptr) {
        g_source_destroy(watch_);
        g_source_unref(std::exchange(watch_, nullptr));
    }
    channel_.reset();
}
