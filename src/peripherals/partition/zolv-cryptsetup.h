#pragma once

#include <glib.h>
#include <libcryptsetup.h>

namespace zolv {

/* What is used of libcryptsetup, each function once. */
#define ZOLV_CRYPTSETUP_FUNCTIONS(F)                                                               \
    F(crypt_activate_by_passphrase)                                                                \
    F(crypt_deactivate)                                                                            \
    F(crypt_format)                                                                                \
    F(crypt_free)                                                                                  \
    F(crypt_get_device_name)                                                                       \
    F(crypt_get_uuid)                                                                              \
    F(crypt_init)                                                                                  \
    F(crypt_init_by_name)                                                                          \
    F(crypt_keyslot_add_by_volume_key)                                                             \
    F(crypt_load)                                                                                  \
    F(crypt_set_log_callback)                                                                      \
    F(crypt_status)

/* The library brings OpenSSL along, which a computer without encrypted disks does not need: it is
 * loaded when the first volume is met. */
struct Cryptsetup {
#define ZOLV_CRYPTSETUP_MEMBER(function) decltype(&::function) function = nullptr;
    ZOLV_CRYPTSETUP_FUNCTIONS(ZOLV_CRYPTSETUP_MEMBER)
#undef ZOLV_CRYPTSETUP_MEMBER

    /* For the main loop. What cannot be loaded is tried again by the next call. */
    static const Cryptsetup *get(GError **error);
};

} // namespace zolv
