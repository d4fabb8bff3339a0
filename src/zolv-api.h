#pragma once

#include <glib-object.h>

/* The daemon exports these symbols, and no others, to the model plugins that it loads. */
#define ZOLV_API __attribute__((visibility("default")))

/**
 * ZOLV_DECLARE_CLASS:
 * @Type: the instance type, such as ZolvLED
 * @prefix: the function prefix, such as zolv_led
 * @NAME: the upper-case name without its namespace, such as LED
 * @Parent: the parent's instance type
 *
 * Declares a derivable class as G_DECLARE_DERIVABLE_TYPE() does, with one difference: the instance
 * has a `priv` member. It points to a C++ object that the class makes in its instance
 * initialisation and deletes in its finalisation; GObject only zero-fills instances and runs no
 * constructor. The class structure is defined after the macro.
 */
#define ZOLV_DECLARE_CLASS(Type, prefix, NAME, Parent)                                             \
    typedef struct _##Type Type;                                                                   \
    typedef struct _##Type##Class Type##Class;                                                     \
    typedef struct _##Type##Private Type##Private;                                                 \
    struct _##Type {                                                                               \
        Parent parent_instance;                                                                    \
        Type##Private *priv;                                                                       \
    };                                                                                             \
    ZOLV_API GType prefix##_get_type(void);                                                        \
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS                                                               \
    G_DEFINE_AUTOPTR_CLEANUP_FUNC(Type, g_object_unref)                                            \
    static inline G_GNUC_UNUSED Type *ZOLV_##NAME(gpointer object)                                 \
    {                                                                                              \
        return G_TYPE_CHECK_INSTANCE_CAST(object, prefix##_get_type(), Type);                      \
    }                                                                                              \
    static inline G_GNUC_UNUSED Type##Class *ZOLV_##NAME##_CLASS(gpointer klass)                   \
    {                                                                                              \
        return G_TYPE_CHECK_CLASS_CAST(klass, prefix##_get_type(), Type##Class);                   \
    }                                                                                              \
    static inline G_GNUC_UNUSED gboolean ZOLV_IS_##NAME(gpointer object)                           \
    {                                                                                              \
        return G_TYPE_CHECK_INSTANCE_TYPE(object, prefix##_get_type());                            \
    }                                                                                              \
    static inline G_GNUC_UNUSED Type##Class *ZOLV_##NAME##_GET_CLASS(gpointer object)              \
    {                                                                                              \
        return G_TYPE_INSTANCE_GET_CLASS(object, prefix##_get_type(), Type##Class);                \
    }                                                                                              \
    G_GNUC_END_IGNORE_DEPRECATIONS
