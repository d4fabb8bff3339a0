#include "manager/zolv-model-plugin.h"

#include "core/zolv-fail.h"
#include "core/zolv-raii.h"
#include "core/zolv-text.h"
#include "tvl-log.h"

#include <utility>

namespace {

constexpr char plugin_directory[] = "/usr/lib/aarch64-linux-gnu/tarvelperimond";

template <typename Function>
bool
find_symbol(GModule *module, const char *name, Function &function, GError **error)
{
    gpointer symbol = nullptr;

    if (!g_module_symbol(module, name, &symbol) || symbol == nullptr)
        return zolv::failf(error, ZOLV_CORE_ERROR_FAILED,
                           "failed to load '%s' function from plugin", name);
    function = reinterpret_cast<Function>(symbol);
    return true;
}

} // namespace

bool
zolv::ModelPlugin::open(const char *file_name, GError **error)
{
    const CharPtr path(g_build_filename(plugin_directory, file_name, nullptr));

    module_ = g_module_open(path.get(), G_MODULE_BIND_LAZY);
    if (module_ == nullptr) {
        /* The error names the file alone; an integrator needs the loader's reason. */
        _tvl_log(TVL_LOG_ERROR, "[Manager] Plugin not loaded: %s",
                 fit_text(g_module_error()).c_str());
        return failf(error, ZOLV_CORE_ERROR_FAILED, "failed to load plugin '%s'", file_name);
    }
    return true;
}

bool
zolv::ModelPlugin::resolve(GError **error)
{
    return find_symbol(module_, "platform_init", platform_init, error) &&
           find_symbol(module_, "platform_shutdown", platform_shutdown, error) &&
           find_symbol(module_, "uevent_handler", uevent_handler, error);
}

void
zolv::ModelPlugin::close()
{
    if (module_ != nullptr)
        g_module_close(std::exchange(module_, nullptr));
}
