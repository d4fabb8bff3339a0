#include "helpers/zolv-helpers-sysfs.h"

#include "core/zolv-assert.h"
#include "helpers/zolv-helpers-common.h"

#include <cstdarg>
#include <cstring>
#include <unistd.h>

zolv::SysfsPath::SysfsPath(const char *format, ...)
{
    va_list arguments;

    va_start(arguments, format);
    g_vsnprintf(text_, sizeof text_, format, arguments);
    va_end(arguments);
}

bool
zolv::sysfs_read_text(const char *path, char *text, gsize size, GError **error)
{
    memset(text, 0, size);
    if (!zolv_helper_read_file(path, text, size - 1, error))
        return false;
    text[strcspn(text, "\n")] = '\0';
    return true;
}

bool
zolv::sysfs_write_text(const char *path, const char *text, GError **error)
{
    return zolv_helper_write_file(path, text, strlen(text), error);
}

bool
zolv::sysfs_read_flag(const char *path, guint *flag, GError **error)
{
    char digit = '\0';

    if (!zolv_helper_read_file(path, &digit, 1, error))
        return false;
    if (digit != '0' && digit != '1')
        ZOLV_ASSERT_NOT_REACHED();
    *flag = digit == '1';
    return true;
}

bool
zolv::sysfs_write_flag(const char *path, guint flag, GError **error)
{
    if (flag > 1)
        ZOLV_ASSERT_NOT_REACHED();
    return sysfs_write_text(path, flag == 1 ? "1" : "0", error);
}

bool
zolv::sysfs_export(const char *attribute, const char *export_path, const char *number,
                   GError **error)
{
    return access(attribute, F_OK) == 0 || sysfs_write_text(export_path, number, error);
}
