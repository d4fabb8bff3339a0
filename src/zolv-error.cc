#include "zolv-error.h"

#include <array>
#include <gio/gio.h>

namespace {

struct CoreErrorRow {
    ZolvCoreError code;
    const char *name;
    const char *nick;
    const char *bus_name;
};

#define PREFIX "com.tarvel.Perimond.Error.Core."
#define ROW(code, nick, bus_word)                                                                  \
    CoreErrorRow                                                                                   \
    {                                                                                              \
        code, #code, nick, PREFIX bus_word                                                         \
    }

/* The enumeration type and the bus error names are both made from these rows, so they agree. */
constexpr std::array rows = {
    /* The nick and the bus name of the first code differ; clients know both. */
    ROW(ZOLV_CORE_ERROR_FAILED, "OperationFailed", "OperationFailure"),
    ROW(ZOLV_CORE_ERROR_NOT_SUPPORT, "OperationNotSupported", "OperationNotSupported"),
    ROW(ZOLV_CORE_ERROR_NOT_PERMIT, "OperationNotPermitted", "OperationNotPermitted"),
    ROW(ZOLV_CORE_ERROR_ACCESS, "PermissionDenied", "PermissionDenied"),
    ROW(ZOLV_CORE_ERROR_INVAL_CMD, "InvalidCommand", "InvalidCommand"),
    ROW(ZOLV_CORE_ERROR_INVAL_ARG, "InvalidArgument", "InvalidArgument"),
    ROW(ZOLV_CORE_ERROR_EXTERNAL_LIB, "ExternalLibraryFailure", "ExternalLibraryFailure"),
    ROW(ZOLV_CORE_ERROR_DEVICE_IO, "DeviceIOFailure", "DeviceIOFailure"),
    ROW(ZOLV_CORE_ERROR_SYSTEM, "SystemLevelFailure", "SystemLevelFailure"),
    ROW(ZOLV_CORE_ERROR_PERIPH_NOT_AVAIL, "PeripheralNotAvailable", "PeripheralNotAvailable"),
    ROW(ZOLV_CORE_ERROR_PERIPH_NOT_READY, "PeripheralNotReady", "PeripheralNotReady"),
    ROW(ZOLV_CORE_ERROR_PERIPH_NOT_SUPPORT, "PeripheralNotSupported", "PeripheralNotSupported"),
    ROW(ZOLV_CORE_ERROR_PERIPH_NOT_FOUND, "PeripheralNotFound", "PeripheralNotFound"),
    ROW(ZOLV_CORE_ERROR_PERIPH_UNKNOWN_VALUE, "PeripheralUnknownValue", "PeripheralUnknownValue"),
    ROW(ZOLV_CORE_ERROR_INVAL_FILE_NAME, "InvalidFileName", "InvalidFileName"),
    ROW(ZOLV_CORE_ERROR_INVAL_FILE_TYPE, "InvalidFileType", "InvalidFileType"),
    ROW(ZOLV_CORE_ERROR_INVAL_FILE_ATTR, "InvalidFileAttribute", "InvalidFileAttribute"),
};

constexpr auto
bus_entries()
{
    std::array<GDBusErrorEntry, rows.size()> entries{};

    for (std::size_t i = 0; i < rows.size(); i++)
        entries[i] = {rows[i].code, rows[i].bus_name};
    return entries;
}

/* GObject keeps the array, and wants an all-zero value behind the last one. */
constexpr auto
enum_values()
{
    std::array<GEnumValue, rows.size() + 1> values{};

    for (std::size_t i = 0; i < rows.size(); i++)
        values[i] = {rows[i].code, rows[i].name, rows[i].nick};
    return values;
}

constexpr auto error_entries = bus_entries();
constexpr auto error_values = enum_values();

} // namespace

GQuark
zolv_core_error_quark(void)
{
    static gsize quark = 0;

    g_dbus_error_register_error_domain("zolv_core_error_quark", &quark, error_entries.data(),
                                       error_entries.size());
    return static_cast<GQuark>(quark);
}

GType
zolv_core_error_get_type(void)
{
    static gsize type = 0;

    if (g_once_init_enter(&type))
        g_once_init_leave(&type, g_enum_register_static("ZolvCoreError", error_values.data()));
    return static_cast<GType>(type);
}
