#include "peripherals/partition/zolv-partition-probe.h"

#include "core/zolv-fail.h"

#include <blkid.h>

namespace {

using ProbePtr = std::unique_ptr<std::remove_pointer_t<blkid_probe>, zolv::Free<blkid_free_probe>>;

constexpr int safeprobe_done = 0;
constexpr int safeprobe_nothing = 1; /* below 0: an error, or more than one answer */

} // namespace

zolv::ProbeResult
zolv::probe(const char *device, const char *tag, CharPtr &value, GError **error)
{
    const ProbePtr prober(blkid_new_probe_from_filename(device));
    const char *data = nullptr;

    if (prober == nullptr) {
        fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Failed to create blkid probe");
        return ProbeResult::failed;
    }
    if (const int result = blkid_do_safeprobe(prober.get()); result != safeprobe_done) {
        fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Failed to probe device");
        return result == safeprobe_nothing ? ProbeResult::nothing : ProbeResult::failed;
    }
    if (blkid_probe_lookup_value(prober.get(), tag, &data, nullptr) != 0) {
        fail(error, ZOLV_CORE_ERROR_EXTERNAL_LIB, "Failed to lookup value");
        return ProbeResult::failed; /* it holds something, of no such tag */
    }
    value.reset(g_strdup(data));
    return ProbeResult::found;
}
