#pragma once

#include <glib.h>

namespace zolv {

/* A path of a sysfs attribute, made on the stack. */
class SysfsPath {
  public:
    explicit SysfsPath(const char *format, ...) G_GNUC_PRINTF(2, 3);
    operator const char *() const { return text_; }

  private:
    /* More than two names of NAME_MAX: a name without a slash for which this is too short is one
     * that the kernel refuses as too long, cut or not. */
    char text_[576];
};

/* Reads an attribute of at most @size - 1 bytes as text: terminated, without the newline that the
 * kernel puts behind a value. */
bool sysfs_read_text(const char *path, char *text, gsize size, GError **error);
bool sysfs_write_text(const char *path, const char *text, GError **error);

/* An attribute that is 0 or 1. Anything else, read or passed, aborts: a line that does not behave
 * so must not be declared by a model. */
bool sysfs_read_flag(const char *path, guint *flag, GError **error);
bool sysfs_write_flag(const char *path, guint flag, GError **error);

/* Asks @export_path for line or channel @number unless @attribute, one of its, is there. */
bool sysfs_export(const char *attribute, const char *export_path, const char *number,
                  GError **error);

} // namespace zolv
