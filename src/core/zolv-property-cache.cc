#include "core/zolv-property-cache.h"

#include "core/zolv-raii.h"

#include <map>
#include <utility>

namespace {

using GetProperties = GVariant *(*)(GDBusInterfaceSkeleton *skeleton);

/* For the main loop alone: GDBus asks for the properties there, since the object manager and the
 * interfaces are registered there, and what a thread has to tell is set there, too. */
struct Cache {
    zolv::VariantPtr properties;
    bool announced = false;
};

/* What the generated classes do themselves. Only the main loop exports objects. */
std::map<GDBusInterfaceSkeletonClass *, GetProperties> &
generated_functions()
{
    static auto *functions = new std::map<GDBusInterfaceSkeletonClass *, GetProperties>;

    return *functions;
}

GQuark
cache_quark()
{
    static const GQuark quark = g_quark_from_static_string("zolv-property-cache");

    return quark;
}

Cache *
cache_of(gpointer skeleton)
{
    return static_cast<Cache *>(g_object_get_qdata(G_OBJECT(skeleton), cache_quark()));
}

void
free_cache(gpointer cache)
{
    delete static_cast<Cache *>(cache);
}

void
forget(GObject *skeleton, GParamSpec *, gpointer)
{
    cache_of(skeleton)->properties.reset();
}

/* Returns a full reference, never a floating one. */
GVariant *
get_cached_properties(GDBusInterfaceSkeleton *skeleton)
{
    const GetProperties generated =
        generated_functions().at(G_DBUS_INTERFACE_SKELETON_GET_CLASS(skeleton));
    Cache *cache = cache_of(skeleton);

    if (cache != nullptr && cache->properties != nullptr)
        return g_variant_ref(cache->properties.get());
    GVariant *fresh = g_variant_take_ref(generated(skeleton));
    /* The export asks first, to announce the object; perhaps nobody else ever does. */
    if (cache != nullptr && std::exchange(cache->announced, true)) {
        g_variant_get_data(fresh); /* serialises it in place */
        cache->properties.reset(g_variant_ref(fresh));
    }
    return fresh;
}

void
cache_skeleton(GDBusInterfaceSkeleton *skeleton)
{
    GDBusInterfaceSkeletonClass *klass = G_DBUS_INTERFACE_SKELETON_GET_CLASS(skeleton);

    if (cache_of(skeleton) != nullptr)
        return;
    if (generated_functions().emplace(klass, klass->get_properties).second)
        klass->get_properties = get_cached_properties;
    g_object_set_qdata_full(G_OBJECT(skeleton), cache_quark(), new Cache, free_cache);
    g_signal_connect(skeleton, "notify", G_CALLBACK(forget), nullptr);
}

} // namespace

void
zolv::cache_properties(GDBusObjectSkeleton *object)
{
    GList *interfaces = g_dbus_object_get_interfaces(G_DBUS_OBJECT(object));

    for (GList *link = interfaces; link != nullptr; link = link->next)
        cache_skeleton(G_DBUS_INTERFACE_SKELETON(link->data));
    g_list_free_full(interfaces, g_object_unref);
}
