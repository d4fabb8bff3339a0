#pragma once

#include <span>

namespace zolv {

struct ModelRow {
    const char *prefix; /* of the model name in the boot environment, any letter case */
    const char *plugin; /* file name in the plugin directory */
};

/* Product data, the longest prefix first among those that begin alike. */
extern const std::span<const ModelRow> model_table;

/* The first row whose prefix @model_name begins with, or nullptr. */
const ModelRow *find_model(const char *model_name);

} // namespace zolv
