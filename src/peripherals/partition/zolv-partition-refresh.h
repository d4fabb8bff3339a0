#pragma once

#include "core/zolv-mounts.h"
#include "peripherals/partition/zolv-partition.h"

namespace zolv {

/* zolv_partition_update_info() with a table that others look up in, too; null is one that could
 * not be read. */
void refresh_partition(ZolvPartition *partition, const Mounts *table);

} // namespace zolv
