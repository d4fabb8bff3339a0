#include "peripherals/serialport/zolv-adapter-models.h"
#include "peripherals/serialport/zolv-adapter-name.h"
#include "peripherals/serialport/zolv-mode-tables.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using zolv::AdapterClass;
using zolv::AdapterModel;
using zolv::PinMode;
using zolv::PinModeTable;

/* What the compiler refuses in a table. */

constexpr PinMode good = {SERIALPORT_RS232, {1, 0, 0}};
constexpr std::array sound = {good, PinMode{SERIALPORT_RS422, {0, 1, 0}}};
static_assert(zolv::is_sound({.n_levels = 3, .rows = sound}));

constexpr std::array same_code = {good, PinMode{SERIALPORT_RS422, {1, 0, 0}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = same_code}));

constexpr std::array same_mode = {good, PinMode{SERIALPORT_RS232, {0, 1, 0}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = same_mode}));

constexpr std::array third_level = {good, PinMode{SERIALPORT_RS422, {0, 2, 0}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = third_level}));

constexpr std::array level_of_no_line = {good, PinMode{SERIALPORT_RS422, {0, 1, 0, 1}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = level_of_no_line}));

constexpr std::array refused_mode = {good, PinMode{SERIALPORT_RS485_4W, {0, 1, 0}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = refused_mode}));

constexpr std::array unknown_mode = {good, PinMode{SERIALPORT_NO_INTERFACE, {0, 1, 0}}};
static_assert(!zolv::is_sound({.n_levels = 3, .rows = unknown_mode}));
static_assert(!zolv::is_sound({.n_levels = 5, .rows = sound}));

struct TableCase {
    const char *name;
    const PinModeTable &table;
    std::map<guint, unsigned> codes; /* by mode */
    ZolvCoreError four_wire_code;
    ZolvCoreError unknown_code;
};

class ModeTable : public testing::TestWithParam<TableCase> {};

INSTANTIATE_TEST_SUITE_P(All, ModeTable,
                         testing::Values(TableCase{"Type2",
                                                   zolv::type2_modes,
                                                   {{0, 12}, {1, 1}, {2, 2}},
                                                   ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT,
                                                   ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE},
                                         TableCase{"Type3",
                                                   zolv::type3_modes,
                                                   {{0, 7}, {1, 9}, {2, 10}},
                                                   ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT,
                                                   ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE},
                                         TableCase{"Type4",
                                                   zolv::type4_modes,
                                                   {{0, 4}, {1, 10}, {2, 9}},
                                                   ZOLV_CORE_ERROR_DEVICE_IO,
                                                   ZOLV_CORE_ERROR_INVAL_ARG},
                                         TableCase{"Type5",
                                                   zolv::type5_modes,
                                                   {{0, 4}, {1, 1}, {2, 2}},
                                                   ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT,
                                                   ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE}),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST_P(ModeTable, HasTheCodesOfItsModes)
{
    std::map<guint, unsigned> codes;

    for (const PinMode &row : GetParam().table.rows)
        codes[row.mode] = GetParam().table.code(row);
    EXPECT_EQ(codes, GetParam().codes);
}

TEST_P(ModeTable, ReadsEveryCodeBackAndNoOther)
{
    const PinModeTable &table = GetParam().table;

    for (unsigned code = 0; code < 1U << table.n_levels; ++code) {
        g_autoptr(GError) error = nullptr;
        const PinMode *row = table.row_of_code(code, &error);
        const auto known = std::ranges::find(GetParam().codes, code,
                                             [](const auto &entry) { return entry.second; });

        ASSERT_EQ(row != nullptr, known != GetParam().codes.end()) << code;
        if (row != nullptr) {
            EXPECT_EQ(row->mode, known->first);
            continue;
        }
        EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE));
        EXPECT_STREQ(error->message, "get unknown interface");
    }
}

TEST_P(ModeTable, RefusesFourWiresByName)
{
    g_autoptr(GError) error = nullptr;

    EXPECT_EQ(GetParam().table.row_of_mode(SERIALPORT_RS485_4W, &error), nullptr);
    EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, GetParam().four_wire_code));
    EXPECT_STREQ(error->message, "RS-485-4W is not supported");
}

TEST_P(ModeTable, RefusesAnyOtherMode)
{
    for (const auto &[mode, shown] : {std::pair(4U, "4"), std::pair(4294967295U, "-1")}) {
        g_autoptr(GError) error = nullptr;

        EXPECT_EQ(GetParam().table.row_of_mode(mode, &error), nullptr);
        EXPECT_TRUE(g_error_matches(error, ZOLV_CORE_ERROR, GetParam().unknown_code));
        EXPECT_EQ(error->message, std::string("unknown interface: ") + shown);
    }
}

TEST(Type5Table, LetsTheKernelDriveRs485WithTwoWiresAlone)
{
    for (const PinMode &row : zolv::type5_rows)
        EXPECT_EQ(row.kernel_rs485, row.mode == SERIALPORT_RS485_2W);
}

TEST(AdapterModels, AreTwentyThreeInTwentyFourRows)
{
    std::map<AdapterClass, int> count;
    std::set<std::pair<std::string, std::string>> seen;

    ASSERT_EQ(zolv::adapter_models.size(), 24U);
    EXPECT_EQ(zolv::adapter_models.back().vendor, nullptr);
    EXPECT_EQ(zolv::adapter_models.back().product, nullptr);
    for (std::size_t i = 0; i + 1 < zolv::adapter_models.size(); ++i) {
        const AdapterModel &model = zolv::adapter_models[i];

        ++count[model.interfaces];
        EXPECT_TRUE(seen.emplace(model.vendor, model.product).second) << model.product;
        EXPECT_STREQ(model.vendor, zolv::adapter_models[0].vendor);
        for (const std::string digits : {model.vendor, model.product}) {
            EXPECT_EQ(digits.size(), 4U);
            EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos) << digits;
        }
    }
    EXPECT_EQ(count, (std::map<AdapterClass, int>{{AdapterClass::rs232_only, 6},
                                                  {AdapterClass::rs422_and_485, 2},
                                                  {AdapterClass::all, 15}}));
}

std::vector<guint>
interfaces_of(const char *vendor, const char *product)
{
    const std::span<const guint> interfaces = zolv::adapter_interfaces(vendor, product);

    return {interfaces.begin(), interfaces.end()};
}

TEST(AdapterModels, HaveTheModesOfTheirClass)
{
    const std::map<AdapterClass, std::vector<guint>> modes = {
        {AdapterClass::rs232_only, {0}},
        {AdapterClass::rs422_and_485, {2, 1, 3}},
        {AdapterClass::all, {0, 2, 1, 3}},
    };

    for (std::size_t i = 0; i + 1 < zolv::adapter_models.size(); ++i) {
        const AdapterModel &model = zolv::adapter_models[i];
        const std::string upper = [&model] {
            std::string text = model.product;
            std::ranges::transform(text, text.begin(), g_ascii_toupper);
            return text;
        }();

        EXPECT_EQ(interfaces_of(model.vendor, model.product), modes.at(model.interfaces));
        EXPECT_EQ(interfaces_of("FFFF", upper.c_str()), modes.at(model.interfaces));
    }
}

TEST(AdapterModels, AreRs232AloneWhenNotKnown)
{
    const char *vendor = zolv::adapter_models[0].vendor;
    const char *product = zolv::adapter_models[22].product;
    const std::vector<guint> rs232 = {0};

    EXPECT_EQ(interfaces_of(vendor, "7fff"), rs232);
    EXPECT_EQ(interfaces_of("0001", product), rs232);
    EXPECT_EQ(interfaces_of(vendor, nullptr), rs232);
    EXPECT_EQ(interfaces_of(nullptr, product), rs232);
    EXPECT_EQ(interfaces_of(nullptr, nullptr), rs232);
    EXPECT_EQ(interfaces_of("", ""), rs232);
    EXPECT_EQ(interfaces_of(product, vendor), rs232);
}

TEST(AdapterBaudrates, AreFifteen)
{
    const std::vector<guint> expected = {50,    300,   600,   1200,   1800,   2400,   4800,  9600,
                                         19200, 38400, 57600, 115200, 230400, 460800, 921600};

    EXPECT_EQ(std::vector<guint>(zolv::adapter_baudrates.begin(), zolv::adapter_baudrates.end()),
              expected);
}

TEST(AdapterName, IsMadeOfPlaceModelAndPort)
{
    struct Case {
        const char *place;
        const char *model;
        const char *link;
        const char *name; /* null: none */
    };
    const std::string digits(40, '7');
    const std::string long_link = "/dev/port" + digits;
    const std::string long_name = "USB1_SERIVO1_PORT" + digits;
    const Case cases[] = {
        {"USB1", "Serivo_4711-X", "/dev/serial/by-path/usb-0:1:1.0-port0",
         "USB1_SERIVO4711_X_PORT0"},
        {"USB1", "Serivo_USB_4711", "/dev/x-port12", "USB1_SERIVO4711_PORT12"},
        {"USB1", "4711", "/dev/x-port3", "USB1_SERIVO4711_PORT3"},
        {"USB1", "Serivo_", "/dev/x-port3", "USB1_SERIVO_PORT3"},
        {"1-1.2", "A_1", "/dev/x-port3", "1_1_2_SERIVO1_PORT3"},
        {"USB1", "A_\xc3\xa4\xff 1/2", "/dev/x-port3", "USB1_SERIVO____1_2_PORT3"},
        {"USB1", "A_1", "/dev/port1-port2", "USB1_SERIVO1_PORT1"},
        {"USB1", "A_1", "/dev/port-portport4x", "USB1_SERIVO1_PORT4"},
        {"USB1", "A_1", "/dev/\xff\xffport5\xff", "USB1_SERIVO1_PORT5"},
        {"USB1", "A_1", long_link.c_str(), long_name.c_str()},
        {"", "", "port0", "_SERIVO_PORT0"},
        {"USB1", "A_1", "/dev/ttyUSB0", nullptr},
        {"USB1", "A_1", "/dev/port", nullptr},
        {"USB1", "A_1", "/dev/portx0", nullptr},
        {"USB1", "A_1", "/dev/PORT0", nullptr},
        {"USB1", "A_1", "/dev/port\xd9\xa1", nullptr}, /* a digit of another script */
        {"USB1", "A_1", "", nullptr},
    };

    for (const Case &one : cases) {
        const auto name = zolv::adapter_port_name(one.place, one.model, one.link);

        ASSERT_EQ(name.has_value(), one.name != nullptr) << one.link;
        if (name) {
            EXPECT_EQ(*name, one.name) << one.link;
        }
    }
}

} // namespace
