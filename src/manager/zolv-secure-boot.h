#pragma once

namespace zolv {

/* Whether the system-on-chip was started in its secured mode; false when that cannot be found
 * out. Where the answer lies depends on the family of the chip. */
bool secure_boot_enabled();

} // namespace zolv
