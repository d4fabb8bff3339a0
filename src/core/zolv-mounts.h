#pragma once

#include "core/zolv-raii.h"

#include <libmount.h>
#include <string_view>
#include <unordered_map>

namespace zolv {

/*
 * The mount table as it was when it was read. All who look something up after one change share one
 * reading: that costs a hundred times a look-up.
 */
class Mounts {
  public:
    /* False when the table cannot be had; this one then has no entries. */
    bool read();

    /* Entries of a source such as /dev/sda1, in the order of the table; null when there is none. */
    libmnt_fs *first_of(std::string_view source) const;
    libmnt_fs *last_of(std::string_view source) const;
    /* What a path shows: the last that was mounted there. */
    libmnt_fs *on_top_at(const char *target) const;

  private:
    struct Entries {
        libmnt_fs *first;
        libmnt_fs *last;
    };
    std::unique_ptr<libmnt_table, Free<mnt_unref_table>> table_;
    std::unordered_map<std::string_view, Entries> by_source_; /* names are the table's */
};

} // namespace zolv
