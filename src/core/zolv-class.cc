#include "core/zolv-class.h"

#include "core/zolv-assert.h"

namespace {

/* Data of a type, unlike a member of the class structure, is not copied to derived classes. */
GQuark
word_quark()
{
    static const GQuark quark = g_quark_from_static_string("zolv-type-word");

    return quark;
}

} // namespace

void
zolv::set_type_word(ZolvObjClass *klass, const char *word)
{
    g_type_set_qdata(G_TYPE_FROM_CLASS(klass), word_quark(), const_cast<char *>(word));
}

const char *
zolv::type_word(GType type)
{
    if (!g_type_is_a(type, ZOLV_TYPE_OBJ))
        ZOLV_ASSERT_NOT_REACHED();
    /* A class says its word when it is made. */
    g_type_class_unref(g_type_class_ref(type));
    const gpointer word = g_type_get_qdata(type, word_quark());
    if (word == nullptr)
        ZOLV_ASSERT_NOT_REACHED();
    return static_cast<const char *>(word);
}
