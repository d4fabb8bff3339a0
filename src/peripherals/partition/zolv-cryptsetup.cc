#include "peripherals/partition/zolv-cryptsetup.h"

#include "core/zolv-library.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <string_view>

/* Without it the library writes to standard output. */
static void
log_line(int, const char *text, void *)
{
    std::string_view line(text);

    while (line.ends_with('\n'))
        line.remove_suffix(1);
    _tvl_log(TVL_LOG_DEBUG, "[LUKS] %s", zolv::fit_text(line).c_str());
}

const zolv::Cryptsetup *
zolv::Cryptsetup::get(GError **error)
{
#define ENTRY(function) {#function, reinterpret_cast<gpointer *>(&table.function)},
    static Cryptsetup table;
    static const LibraryFunction functions[] = {ZOLV_CRYPTSETUP_FUNCTIONS(ENTRY)};
    static bool loaded = false;
#undef ENTRY

    if (!loaded) {
        if (!load_library("libcryptsetup.so.12", functions, error))
            return nullptr;
        table.crypt_set_log_callback(nullptr, log_line, nullptr);
        loaded = true;
    }
    return &table;
}
