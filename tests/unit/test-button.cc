#include "peripherals/button/zolv-button.h"

#include "core/zolv-raii.h"
#include "private-world.h"
#include "zolv-error.h"

#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace {

bool no_threads = false;

} // namespace

/* Stands before GLib's; a system that has no thread left. */
extern "C" GThread *
g_thread_try_new(const gchar *name, GThreadFunc function, gpointer data, GError **error)
{
    static const auto original =
        reinterpret_cast<decltype(&g_thread_try_new)>(dlsym(RTLD_NEXT, "g_thread_try_new"));

    if (!no_threads)
        return original(name, function, data, error);
    g_set_error_literal(error, G_THREAD_ERROR, G_THREAD_ERROR_AGAIN, "no thread left");
    return nullptr;
}

namespace {

const std::string scripts = "/etc/tarvel/TarvelPerimond/button-scripts";

class Button : public PrivateWorld {
  protected:
    void SetUp() override
    {
        PrivateWorld::SetUp();
        put_file(scripts + "/one.sh", "#!/bin/true\n");
        std::filesystem::create_symlink(scripts + "/one.sh", scripts + "/one.action");
        button.reset(ZOLV_BUTTON(g_object_new(ZOLV_TYPE_BUTTON, "zolv-obj-name", "B",
                                              "zolv-obj-peripheral-type", "Button", nullptr)));
        log();
    }
    void TearDown() override { no_threads = false; }

    zolv::ObjectPtr<ZolvButton> button;
};

TEST_F(Button, WhoseReaderCannotBeStartedSaysSo)
{
    g_autoptr(GError) error = nullptr;
    const char *action = nullptr;

    no_threads = true;
    EXPECT_FALSE(zolv_button_set_action(button.get(), "one", &error));
    EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_SYSTEM));
    EXPECT_STREQ(error->message, "Button reader thread cannot be started");
    zolv_button_get_action(button.get(), &action);
    EXPECT_STREQ(action, "one") << "the selection stays";
    no_threads = false;
    EXPECT_TRUE(zolv_button_set_action(button.get(), "one", nullptr));
}

} // namespace
