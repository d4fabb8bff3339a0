#pragma once

#include <string_view>

namespace zolv {

/* Whether @file is @disk or a partition of it: /dev/sda and /dev/sda1, /dev/mmcblk0 and
 * /dev/mmcblk0p2, but neither /dev/sda and /dev/sdaa1 nor /dev/mmcblk1 and /dev/mmcblk10p1. */
bool is_of_disk(std::string_view file, std::string_view disk);

/* What tells the partition @file from the others of a disk whose file has @disk_length bytes: 2 for
 * /dev/mmcblk0p2. @file is not shorter. */
std::string_view partition_suffix(std::string_view file, std::size_t disk_length);

} // namespace zolv
