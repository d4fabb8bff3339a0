#include "peripherals/zolv-stored-switch.h"

#include "core/zolv-raii.h"
#include "private-world.h"

namespace {

const std::string settings = "/etc/tarvel/TarvelPerimond/peripheral-settings.conf";

constexpr zolv::SwitchRules rules = {
    .key = "Terminator",
    .property = "terminator",
    .name = "terminator",
    .disabled = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL, "disabled"},
    .absent = {TVL_LOG_DEBUG, ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT, "absent"},
};

class StoredSwitch : public PrivateWorld {
  protected:
    void SetUp() override
    {
        PrivateWorld::SetUp();
        g_object_set(obj.get(), "zolv-obj-name", "P1", "zolv-obj-peripheral-type", "CAN", nullptr);
        log();
    }

    /* What is logged but for what the settings say of a file that is not there. */
    Lines own_lines()
    {
        Lines lines = log();

        std::erase_if(lines, [](const std::string &line) {
            return line.find("[Config]") != std::string::npos;
        });
        return lines;
    }

    zolv::ObjectPtr<ZolvObj> obj{ZOLV_OBJ(g_object_new(ZOLV_TYPE_OBJ, nullptr))};
    zolv::ObjectPtr<ZolvGdbusObjCAN> skeleton{zolv_gdbus_obj_can_skeleton_new()};
    zolv::StoredSwitch terminator{obj.get(), skeleton.get(), rules};
};

TEST_F(StoredSwitch, IsNotApplicableUntilItIsDefined)
{
    EXPECT_EQ(terminator.published(), 0U);
}

TEST_F(StoredSwitch, IsOffAtItsFirstUseAndStoredSo)
{
    EXPECT_FALSE(terminator.define());
    EXPECT_EQ(own_lines(), Lines{"<info>  [CAN/P1] First time to use terminator, set to default"});
    EXPECT_EQ(terminator.published(), 1U);
    EXPECT_EQ(zolv_gdbus_obj_can_get_terminator(skeleton.get()), 1U);
    EXPECT_EQ(file_content(settings), "[CAN/P1]\nTerminator=false\n");
}

TEST_F(StoredSwitch, IsAsItWasStored)
{
    put_file(settings, "[CAN/P1]\nTerminator=true\n");
    EXPECT_TRUE(terminator.define());
    EXPECT_EQ(terminator.published(), 2U);
    put_file(settings, "[CAN/P1]\nTerminator=false\n");
    EXPECT_FALSE(terminator.define());
    EXPECT_EQ(terminator.published(), 1U);
    EXPECT_EQ(own_lines(), Lines{});
}

TEST_F(StoredSwitch, TakesAWordForNothing)
{
    put_file(settings, "[CAN/P1]\nTerminator=maybe\n");
    EXPECT_FALSE(terminator.define());
    EXPECT_EQ(own_lines(), Lines{"<info>  [CAN/P1] First time to use terminator, set to default"});
    EXPECT_EQ(terminator.published(), 1U);
    EXPECT_EQ(file_content(settings), "[CAN/P1]\nTerminator=false\n");
}

TEST_F(StoredSwitch, PublishesAnyNumberAsItStandsAndStoresAllButTwoAsOff)
{
    terminator.publish(7);
    EXPECT_EQ(terminator.published(), 7U);
    for (const guint state : {2U, 7U, 2U, 0U, 2U, 1U}) {
        terminator.store(state);
        EXPECT_EQ(file_content(settings),
                  std::string("[CAN/P1]\nTerminator=") + (state == 2 ? "true\n" : "false\n"));
    }
}

} // namespace
