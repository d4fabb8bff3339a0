#include "zolv-error.h"

#include "core/zolv-fail.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

namespace {

struct ErrorRow {
    int code;
    const char *name;
    const char *nick;
    const char *bus_name;
};

class CoreError : public testing::TestWithParam<ErrorRow> {};

TEST_P(CoreError, HasItsNameAndNick)
{
    auto *type = static_cast<GEnumClass *>(g_type_class_ref(zolv_core_error_get_type()));
    const GEnumValue *value = g_enum_get_value(type, GetParam().code);

    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value->value_name, GetParam().name);
    EXPECT_STREQ(value->value_nick, GetParam().nick);
    g_type_class_unref(type);
}

TEST_P(CoreError, KeepsItsNameAndCodeOverTheBus)
{
    g_autoptr(GError) error = g_error_new_literal(ZOLV_CORE_ERROR, GetParam().code, "text");
    g_autofree char *name = g_dbus_error_encode_gerror(error);
    const std::string bus_name =
        std::string("com.tarvel.Perimond.Error.Core.") + GetParam().bus_name;

    EXPECT_EQ(bus_name, name);
    g_autoptr(GError) back = g_dbus_error_new_for_dbus_error(bus_name.c_str(), "text");
    EXPECT_TRUE(g_error_matches(back, ZOLV_CORE_ERROR, GetParam().code));
}

const ErrorRow rows[] = {
    {1, "ZOLV_CORE_ERROR_FAILED", "OperationFailed", "OperationFailure"},
    {2, "ZOLV_CORE_ERROR_NOT_SUPPORT", "OperationNotSupported", "OperationNotSupported"},
    {3, "ZOLV_CORE_ERROR_NOT_PERMIT", "OperationNotPermitted", "OperationNotPermitted"},
    {4, "ZOLV_CORE_ERROR_ACCESS", "PermissionDenied", "PermissionDenied"},
    {5, "ZOLV_CORE_ERROR_INVAL_CMD", "InvalidCommand", "InvalidCommand"},
    {6, "ZOLV_CORE_ERROR_INVAL_ARG", "InvalidArgument", "InvalidArgument"},
    {7, "ZOLV_CORE_ERROR_EXTERNAL_LIB", "ExternalLibraryFailure", "ExternalLibraryFailure"},
    {8, "ZOLV_CORE_ERROR_DEVICE_IO", "DeviceIOFailure", "DeviceIOFailure"},
    {12, "ZOLV_CORE_ERROR_SYSTEM", "SystemLevelFailure", "SystemLevelFailure"},
    {40, "ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL", "PeripheralNotAvailable", "PeripheralNotAvailable"},
    {41, "ZOLV_CORE_ERROR_PERIPH_NOT_READY", "PeripheralNotReady", "PeripheralNotReady"},
    {42, "ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT", "PeripheralNotSupported", "PeripheralNotSupported"},
    {43, "ZOLV_CORE_ERROR_PERIPH_NOT_FOUND", "PeripheralNotFound", "PeripheralNotFound"},
    {44, "ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE", "PeripheralUnknownValue",
     "PeripheralUnknownValue"},
    {9, "ZOLV_CORE_ERROR_INVAL_FILE_NAME", "InvalidFileName", "InvalidFileName"},
    {10, "ZOLV_CORE_ERROR_INVAL_FILE_TYPE", "InvalidFileType", "InvalidFileType"},
    {11, "ZOLV_CORE_ERROR_INVAL_FILE_ATTR", "InvalidFileAttribute", "InvalidFileAttribute"},
};

INSTANTIATE_TEST_SUITE_P(Codes, CoreError, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.nick); });

TEST(CoreErrorDomain, HoldsNothingElseAndKeepsTheOrder)
{
    auto *type = static_cast<GEnumClass *>(g_type_class_ref(zolv_core_error_get_type()));

    ASSERT_EQ(type->n_values, std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); i++)
        EXPECT_EQ(type->values[i].value, rows[i].code);
    EXPECT_STREQ(g_type_name(zolv_core_error_get_type()), "ZolvCoreError");
    EXPECT_STREQ(g_quark_to_string(zolv_core_error_quark()), "zolv_core_error_quark");
    EXPECT_EQ(zolv_core_error_quark(), zolv_core_error_quark());
    g_type_class_unref(type);
}

struct Failure {
    GError *error = nullptr;
    ~Failure() { g_clear_error(&error); }
};

TEST(Fail, SetsTheErrorAndReturnsFalse)
{
    Failure plain;
    Failure formatted;

    EXPECT_FALSE(zolv::fail(&plain.error, ZOLV_CORE_ERROR_INVAL_ARG, "100 %s"));
    EXPECT_TRUE(g_error_matches(plain.error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_INVAL_ARG));
    EXPECT_STREQ(plain.error->message, "100 %s");
    EXPECT_FALSE(zolv::failf(&formatted.error, ZOLV_CORE_ERROR_SYSTEM, "%s %d", "line", 7));
    EXPECT_TRUE(g_error_matches(formatted.error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_SYSTEM));
    EXPECT_STREQ(formatted.error->message, "line 7");
}

TEST(Fail, IsTheSameForACallerThatWantsNoError)
{
    EXPECT_FALSE(zolv::fail(nullptr, ZOLV_CORE_ERROR_FAILED, "text"));
    EXPECT_FALSE(zolv::failf(nullptr, ZOLV_CORE_ERROR_FAILED, "%s", "text"));
}

TEST(Fail, TellsOfWhatIsNotDefined)
{
    Failure defined;
    Failure missing;

    EXPECT_TRUE(zolv::check_defined(true, "LED pin is not set", &defined.error));
    EXPECT_EQ(defined.error, nullptr);
    EXPECT_FALSE(zolv::check_defined(false, "LED pin is not set", &missing.error));
    EXPECT_TRUE(g_error_matches(missing.error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_PERIPH_NOT_READY));
    EXPECT_STREQ(missing.error->message, "LED pin is not set");
}

} // namespace
