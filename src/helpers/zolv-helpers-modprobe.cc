#include "helpers/zolv-helpers-modprobe.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-assert.h"
#include "core/zolv-sigchld.h"
#include "core/zolv-text.h"

#include <cstdlib>

void
zolv_helper_modprobe(const gchar *module)
{
    char command[256];

    ZOLV_DEBUG("Load kernel module '%s'", zolv::fit_text(module).c_str());

    const auto length =
        static_cast<gsize>(g_snprintf(command, sizeof command, "/sbin/modprobe %s", module));
    ZOLV_ASSERT(length < sizeof(command));

    const zolv::WaitableChildren waitable;
    /* NOLINTNEXTLINE(concurrency-mt-unsafe): glibc's is thread safe */
    [[maybe_unused]] const int status = system(command);
}
