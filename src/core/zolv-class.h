#pragma once

#include "zolv-obj.h"

#include <type_traits>

/*
 * The frame of a class that ZOLV_DECLARE_CLASS() declares: `_init` makes the object behind `priv`,
 * `_finalize` deletes it and chains up. What follows in braces is the body of the class
 * initialisation, with `klass` in scope:
 *
 *     ZOLV_DEFINE_CLASS(ZolvLED, zolv_led, ZOLV_TYPE_OBJ)
 *     {
 *         zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "LED");
 *         klass->set_state = led_set_state;
 *     }
 *
 * The private object's constructor takes the instance, attaches the skeleton and connects the
 * handlers; without a use for the instance there is no constructor. Its destructor makes the
 * hardware safe. `self->priv` is set when the constructor has returned, and stays until the
 * destructor has.
 *
 * A slot that chains up stands in the body, as a lambda: the parent class is known from there on.
 */
#define ZOLV_DEFINE_CLASS(Type, prefix, PARENT_TYPE)                                               \
    G_DEFINE_TYPE(Type, prefix, PARENT_TYPE)                                                       \
    ZOLV_DEFINE_CLASS_FRAME(Type, prefix)

/* The same for a class that has no objects of its own. */
#define ZOLV_DEFINE_ABSTRACT_CLASS(Type, prefix, PARENT_TYPE)                                      \
    G_DEFINE_ABSTRACT_TYPE(Type, prefix, PARENT_TYPE)                                              \
    ZOLV_DEFINE_CLASS_FRAME(Type, prefix)

/* The same for a class that implements an interface, GInitable for example. */
#define ZOLV_DEFINE_CLASS_WITH_INTERFACE(Type, prefix, PARENT_TYPE, INTERFACE_TYPE, init)          \
    G_DEFINE_TYPE_WITH_CODE(Type, prefix, PARENT_TYPE,                                             \
                            G_IMPLEMENT_INTERFACE(INTERFACE_TYPE, init))                           \
    ZOLV_DEFINE_CLASS_FRAME(Type, prefix)

#define ZOLV_DEFINE_CLASS_FRAME(Type, prefix)                                                      \
    static void prefix##_init(Type *self)                                                          \
    {                                                                                              \
        self->priv = zolv::new_private<Type##Private>(self);                                       \
    }                                                                                              \
    static void prefix##_finalize(GObject *object)                                                 \
    {                                                                                              \
        delete reinterpret_cast<Type *>(object)->priv;                                             \
        G_OBJECT_CLASS(prefix##_parent_class)->finalize(object);                                   \
    }                                                                                              \
    static void prefix##_define_class(Type##Class *klass);                                         \
    static void prefix##_class_init(Type##Class *klass)                                            \
    {                                                                                              \
        G_OBJECT_CLASS(klass)->finalize = prefix##_finalize;                                       \
        prefix##_define_class(klass);                                                              \
    }                                                                                              \
    static void prefix##_define_class([[maybe_unused]] Type##Class *klass)

namespace zolv {

/* For the frame: what declares a constructor is given the instance. */
template <typename Private, typename Instance>
Private *
new_private(Instance *self)
{
    if constexpr (std::is_aggregate_v<Private>)
        return new Private;
    else
        return new Private(self);
}

/* Says in a class's body which word its objects have in their ids and paths. A class without one,
 * such as a base of others, has no objects. It is not inherited. @word is a literal. */
void set_type_word(ZolvObjClass *klass, const char *word);

/* The word of exactly that class. Asking for a class without one aborts. */
const char *type_word(GType type);

} // namespace zolv
