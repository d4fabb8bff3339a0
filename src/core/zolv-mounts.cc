#include "core/zolv-mounts.h"

#define MOUNT_TABLE "/proc/self/mountinfo"

using IteratorPtr = std::unique_ptr<libmnt_iter, zolv::Free<mnt_free_iter>>;

bool
zolv::Mounts::read()
{
    const IteratorPtr iterator(mnt_new_iter(MNT_ITER_FORWARD));

    by_source_.clear();
    table_.reset(mnt_new_table());
    if (table_ == nullptr || iterator == nullptr ||
        mnt_table_parse_file(table_.get(), MOUNT_TABLE) != 0) {
        table_.reset();
        return false;
    }
    for (libmnt_fs *entry = nullptr; mnt_table_next_fs(table_.get(), iterator.get(), &entry) == 0;)
        if (const char *source = mnt_fs_get_srcpath(entry); source != nullptr && *source != '\0')
            by_source_.try_emplace(source, Entries{entry, entry}).first->second.last = entry;
    return true;
}

libmnt_fs *
zolv::Mounts::first_of(std::string_view source) const
{
    const auto entries = by_source_.find(source);

    return entries != by_source_.end() ? entries->second.first : nullptr;
}

libmnt_fs *
zolv::Mounts::last_of(std::string_view source) const
{
    const auto entries = by_source_.find(source);

    return entries != by_source_.end() ? entries->second.last : nullptr;
}

libmnt_fs *
zolv::Mounts::on_top_at(const char *target) const
{
    return table_ != nullptr ? mnt_table_find_target(table_.get(), target, MNT_ITER_BACKWARD)
                             : nullptr;
}
