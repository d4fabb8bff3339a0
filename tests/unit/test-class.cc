#include "core/zolv-class.h"

#include "core/zolv-raii.h"

#include <gtest/gtest.h>
#include <string>

G_BEGIN_DECLS
GType test_thing_get_type(void);
GType test_base_get_type(void);
G_END_DECLS

/* What ends with the test. */
static std::string *events;

ZOLV_DECLARE_CLASS(TestBase, test_base, TEST_BASE, GObject)
struct _TestBaseClass {
    GObjectClass parent_class;
    int answer;
};

struct _TestBasePrivate {
    int answer = 42;
};

ZOLV_DEFINE_ABSTRACT_CLASS(TestBase, test_base, G_TYPE_OBJECT)
{
    klass->answer = 1;
}

ZOLV_DECLARE_CLASS(TestThing, test_thing, TEST_THING, TestBase)
struct _TestThingClass {
    TestBaseClass parent_class;
};

struct _TestThingPrivate {
    explicit _TestThingPrivate(TestThing *thing) : self(thing) {}
    _TestThingPrivate(const _TestThingPrivate &) = delete;
    _TestThingPrivate &operator=(const _TestThingPrivate &) = delete;
    ~_TestThingPrivate();

    TestThing *self;
};

_TestThingPrivate::~_TestThingPrivate()
{
    *events += self->priv == this ? "private " : "nothing ";
    *events += std::to_string(self->parent_instance.priv->answer);
}

ZOLV_DEFINE_CLASS(TestThing, test_thing, test_base_get_type())
{
    ZOLV_TEST_BASE_CLASS(klass)->answer++;
}

namespace {

TEST(Class, MakesThePrivateObjectWithTheInstanceAndRunsItsBody)
{
    std::string ended;
    events = &ended;
    const zolv::ObjectPtr<TestThing> thing(
        ZOLV_TEST_THING(g_object_new(test_thing_get_type(), nullptr)));

    EXPECT_EQ(thing->priv->self, thing.get());
    EXPECT_EQ(thing->parent_instance.priv->answer, 42);
    EXPECT_EQ(ZOLV_TEST_BASE_GET_CLASS(thing.get())->answer, 2);
}

TEST(Class, DeletesThePrivateObjectBeforeThatOfTheParent)
{
    std::string ended;
    events = &ended;

    g_object_unref(g_object_new(test_thing_get_type(), nullptr));
    EXPECT_EQ(ended, "private 42");
}

} // namespace
