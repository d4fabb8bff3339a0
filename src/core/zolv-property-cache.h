#pragma once

#include <gio/gio.h>

namespace zolv {

/*
 * Has every interface of @object keep its properties in serialised form until one of them changes.
 * GetManagedObjects asks for all properties of all objects, and building them anew each time is
 * most of its cost.
 */
void cache_properties(GDBusObjectSkeleton *object);

} // namespace zolv
