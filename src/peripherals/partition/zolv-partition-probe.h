#pragma once

#include "core/zolv-raii.h"

#include <string>

namespace zolv {

enum class ProbeResult {
    found,
    nothing, /* the device was read, and holds nothing that libblkid knows */
    failed,  /* nobody knows what it holds */
};

/* Asks libblkid for @tag of @device: "UUID" or "TYPE". @error is set unless it is found. */
ProbeResult probe(const char *device, const char *tag, CharPtr &value, GError **error);

} // namespace zolv
