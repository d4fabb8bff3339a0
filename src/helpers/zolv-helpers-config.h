#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * Settings that outlive the daemon: the key file
 * "/etc/tarvel/TarvelPerimond/peripheral-settings.conf", one group per object, named by its id.
 * Nothing is cached: each call reads the file, and each change replaces it as a whole, so that a
 * kill at any instant leaves the old or the new file. A set that changes nothing writes nothing.
 * For the main loop only.
 *
 * A failed get has logged a warning and means that nothing usable is stored. A failed set has
 * logged a warning. A set that finds a damaged file keeps it beside the new one as
 * "peripheral-settings.conf.damaged" and starts from an empty file.
 */

/**
 * zolv_helper_config_get_guint:
 * @group: group name
 * @key: key name
 * @value: (out): the number; 0 when the file was read but has no such number
 *
 * Returns: whether a number is stored
 */
ZOLV_API gboolean zolv_helper_config_get_guint(const gchar *group, const gchar *key, guint *value);

/**
 * zolv_helper_config_set_guint:
 * @group: group name
 * @key: key name
 * @value: any number; above %G_MAXINT the file shows it as a negative one
 */
ZOLV_API void zolv_helper_config_set_guint(const gchar *group, const gchar *key, guint value);

/**
 * zolv_helper_config_get_gboolean:
 * @group: group name
 * @key: key name
 * @value: (out): the truth value; %FALSE when the file was read but has no such value
 *
 * Returns: whether a truth value is stored
 */
ZOLV_API gboolean zolv_helper_config_get_gboolean(const gchar *group, const gchar *key,
                                                  gboolean *value);

/**
 * zolv_helper_config_set_gboolean:
 * @group: group name
 * @key: key name
 * @value: the truth value
 */
ZOLV_API void zolv_helper_config_set_gboolean(const gchar *group, const gchar *key, gboolean value);

/**
 * zolv_helper_config_get_string:
 * @group: group name
 * @key: key name
 * @dest: (out) (nullable): 4 * @max_characters + 1 bytes for the string; untouched on failure
 * @max_characters: number of UTF-8 characters, of up to four bytes each, after which the string is
 *   cut
 *
 * Returns: whether a string is stored
 */
ZOLV_API gboolean zolv_helper_config_get_string(const gchar *group, const gchar *key, gchar *dest,
                                                gsize max_characters);

/**
 * zolv_helper_config_set_string:
 * @group: group name
 * @key: key name
 * @value: UTF-8 string
 */
ZOLV_API void zolv_helper_config_set_string(const gchar *group, const gchar *key,
                                            const gchar *value);

G_END_DECLS
