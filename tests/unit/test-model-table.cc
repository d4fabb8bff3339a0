#include "manager/zolv-model-table.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

TEST(ModelTable, FindsEachRowByItsPrefix)
{
    for (const zolv::ModelRow &row : zolv::model_table)
        EXPECT_EQ(zolv::find_model(row.prefix), &row) << row.prefix;
}

TEST(ModelTable, HoldsNoRowThatALaterLongerOneHidesBehind)
{
    const auto &table = zolv::model_table;

    for (std::size_t first = 0; first < table.size(); first++)
        for (std::size_t later = first + 1; later < table.size(); later++)
            EXPECT_NE(g_ascii_strncasecmp(table[later].prefix, table[first].prefix,
                                          std::string(table[first].prefix).size()),
                      0)
                << table[first].prefix << " hides " << table[later].prefix;
}

TEST(ModelTable, NamesPluginsInLowerCaseAndInTheirForm)
{
    for (const zolv::ModelRow &row : zolv::model_table) {
        const std::string plugin = row.plugin;
        EXPECT_TRUE(plugin.starts_with("libzolv-model-") && plugin.ends_with(".so")) << plugin;
        for (const char c : plugin)
            EXPECT_FALSE(g_ascii_isupper(c)) << plugin;
    }
}

TEST(ModelTable, MatchesWithoutRegardToLetterCaseAndWithASuffix)
{
    EXPECT_STREQ(zolv::find_model("qx-1110-X9")->plugin, "libzolv-model-qx-1110.so");
    EXPECT_STREQ(zolv::find_model("Rb-500-eu")->plugin, "libzolv-model-rb-500.so");
}

TEST(ModelTable, GivesTheVariantWithoutSocketsItsOwnPlugin)
{
    EXPECT_STREQ(zolv::find_model("RB-500-T-LITE-2")->plugin, "libzolv-model-rb-500_no_socket.so");
    EXPECT_STREQ(zolv::find_model("RB-500-T-EU")->plugin, "libzolv-model-rb-500.so");
    EXPECT_STREQ(zolv::find_model("QX-2210")->plugin, "libzolv-model-qx-1110.so");
}

TEST(ModelTable, FindsNothingForAnUnknownOrShorterOrEmptyName)
{
    for (const char *name : {"", "QX", "QX-11", "RB-500-T", "XQX-1100", " QX-1100"})
        EXPECT_EQ(zolv::find_model(name), nullptr) << name;
}

} // namespace
