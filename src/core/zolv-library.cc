#include "core/zolv-library.h"

#include "zolv-error.h"

#include <gmodule.h>

bool
zolv::load_library(const char *file_name, std::span<const LibraryFunction> functions,
                   GError **error)
{
    GModule *module = g_module_open(
        file_name, static_cast<GModuleFlags>(G_MODULE_BIND_LAZY | G_MODULE_BIND_LOCAL));
    bool found = module != nullptr;

    for (auto function = functions.begin(); found && function != functions.end(); ++function)
        found = g_module_symbol(module, function->name, function->address);
    if (!found) {
        g_set_error_literal(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_EXTERNAL_LIB, g_module_error());
        if (module != nullptr)
            g_module_close(module);
        return false;
    }
    g_module_make_resident(module);
    return true;
}
