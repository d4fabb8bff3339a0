#pragma once

#include "zolv-error.h"

G_BEGIN_DECLS

/*
 * Small files, links, directory trees and scripts. All functions are synchronous, keep no state
 * and may be called from any thread. They leave no file descriptor open.
 *
 * Unless a function says otherwise its failures are %ZOLV_CORE_ERROR_FAILED with the path and the
 * system's error text.
 */

/**
 * zolv_helper_read_file:
 * @path: file to read
 * @buffer: (out): receives at most @length bytes and no terminator: for a string pass a zeroed
 *   buffer one byte larger than @length
 * @length: number of bytes to ask for
 *
 * Reads once, as sysfs attributes want it. A file without a byte is an error.
 *
 * Errors: "open '%s' failed: %s", "read '%s' failed: %s"
 *
 * Returns: whether at least one byte was read
 */
ZOLV_API gboolean zolv_helper_read_file(const char *path, char *buffer, gsize length,
                                        GError **error);

/**
 * zolv_helper_read_file_as_uchar:
 * @path: file to read
 * @buffer: (out): receives at most @length bytes
 * @length: number of bytes to ask for
 *
 * Reads raw bytes. A file that cannot be opened is only logged as a warning: callers must expect
 * %FALSE without an error.
 *
 * Errors: "read '%s' failed: %s"
 *
 * Returns: whether at least one byte was read
 */
ZOLV_API gboolean zolv_helper_read_file_as_uchar(const char *path, guchar *buffer, gsize length,
                                                 GError **error);

/**
 * zolv_helper_write_file:
 * @path: existing file; it is neither created nor truncated
 * @buffer: bytes to write
 * @length: number of bytes
 *
 * Writes once, as sysfs attributes want it. A short write counts as success.
 *
 * Errors: "open '%s' failed: %s", "write '%s' failed: %s"
 *
 * Returns: whether the write was accepted
 */
ZOLV_API gboolean zolv_helper_write_file(const char *path, const char *buffer, gsize length,
                                         GError **error);

/**
 * zolv_helper_create_file:
 * @filepath: file to create with mode 0400; one that exists keeps its content and mode
 *
 * Errors: "open '%s' failed: %s"
 *
 * Returns: whether the file exists now
 */
ZOLV_API gboolean zolv_helper_create_file(const char *filepath, GError **error);

/**
 * zolv_helper_create_symlink:
 * @target: literal content of the link
 * @link_path: where the link is made; a file there, or a link that leads to one, is replaced, but
 *   a dangling link is not
 *
 * Errors: "couldn't remove file '%s'", "create symlink '%s' failed: %s"
 *
 * Returns: whether the link was made
 */
ZOLV_API gboolean zolv_helper_create_symlink(const char *target, const char *link_path,
                                             GError **error);

/**
 * zolv_helper_execute_file:
 * @path: script for /bin/bash; the command line is cut after 255 bytes
 * @buffer: (out): the last line that the script printed, without its newline and terminated;
 *   untouched when it printed nothing. A line of @length bytes or more counts as several.
 * @length: size of @buffer in bytes; with less than 2 the output is read and dropped
 *
 * Runs a script and waits for the end of its output. Its exit status does not matter.
 *
 * Errors: "[Common] File path is NULL.", "[Common] Output buffer is NULL.", "[Common] Output buffer
 * length is negative.", "[Common] Failed to run command '%s'"
 *
 * Returns: whether the script was started
 */
ZOLV_API gboolean zolv_helper_execute_file(const char *path, char *buffer, gint length,
                                           GError **error);

/**
 * zolv_helper_read_flash_otp:
 * @filepath: MTD character device, such as /dev/mtd0
 * @data: (out): receives at most @length bytes
 * @length: number of bytes to ask for
 *
 * Reads the start of the user one-time-programmable area. An area that is not locked is not
 * trusted: then, and when the device cannot be opened (a logged warning), the result is %FALSE
 * without an error. See the kernel's include/uapi/mtd/mtd-abi.h.
 *
 * Errors: "otp select '%s' failed: %s", "otp get REGIONINFO '%s' failed: %s",
 * "read '%s' failed: %s"
 *
 * Returns: whether at least one byte was read
 */
ZOLV_API gboolean zolv_helper_read_flash_otp(const char *filepath, guchar *data, gsize length,
                                             GError **error);

/**
 * zolv_helper_copy_file:
 * @src_path: file to copy
 * @dst_path: the copy's path, not a directory; a file there is overwritten
 *
 * Errors: those of g_file_copy()
 *
 * Returns: whether the file was copied
 */
ZOLV_API gboolean zolv_helper_copy_file(const char *src_path, const char *dst_path, GError **error);

/**
 * zolv_helper_delete_file:
 * @file_path: file, link or empty directory
 *
 * Errors: those of g_file_delete()
 *
 * Returns: whether it was deleted
 */
ZOLV_API gboolean zolv_helper_delete_file(const char *file_path, GError **error);

/**
 * zolv_helper_delete_directory:
 * @dir_path: directory, not a link to one; links below it are deleted, never followed
 *
 * Deletes a directory tree. With @error the first child that cannot be deleted ends the work,
 * without it the others are still tried; in both cases the directory that remains is the failure.
 *
 * Errors: %G_FILE_ERROR_NOTDIR "Path '%s' is not a directory" when nothing or a link is at
 * @dir_path; else those of g_file_query_info(), g_file_enumerate_children() and g_file_delete()
 *
 * Returns: whether the whole tree is gone
 */
ZOLV_API gboolean zolv_helper_delete_directory(const char *dir_path, GError **error);

/**
 * zolv_helper_move_file:
 * @src_path: file to move
 * @dest_path: the new path, not a directory; a file there is overwritten
 *
 * Errors: those of g_file_move()
 *
 * Returns: whether the file was moved
 */
ZOLV_API gboolean zolv_helper_move_file(const char *src_path, const char *dest_path,
                                        GError **error);

G_END_DECLS
