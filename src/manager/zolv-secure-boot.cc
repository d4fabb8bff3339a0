#include "manager/zolv-secure-boot.h"

#include "core/tvl-log-internal.h"
#include "core/zolv-text.h"
#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-helpers-ubootenv.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr gsize max_description = 64;
using Description = std::array<char, max_description + 1>;

/* One fuse word; OTP memory is compared by its first byte. */
constexpr gsize fuse_size = 4;

constexpr const char *family_file = "/sys/devices/soc0/family";
constexpr const char *machine_file = "/sys/devices/soc0/machine";
constexpr const char *soc_id_file = "/sys/devices/soc0/soc_id";
constexpr const char *fuse_file = "/sys/bus/nvmem/devices/imx-ocotp0/nvmem";
constexpr const char *otp_device = "/dev/mtd0";
constexpr const char *secure_file = "/sys/kernel/tarvel/secure";

/* Compares as much of @name as was read, so a value that is a beginning of @name matches too. */
bool
matches(const Description &value, const char *name)
{
    const gsize length = std::min(strlen(value.data()), strlen(name));

    return g_ascii_strncasecmp(value.data(), name, length) == 0;
}

bool
read_description(const char *path, Description &value)
{
    value.fill('\0');
    if (!zolv_helper_read_file(path, value.data(), max_description, nullptr))
        return false;
    value[strcspn(value.data(), "\n")] = '\0';
    return true;
}

/* i.MX: bit 1 of the second byte of the first fuse word closes the chip. */
bool
fuse_is_closed()
{
    std::array<guchar, fuse_size> fuses{};

    return zolv_helper_read_file_as_uchar(fuse_file, fuses.data(), fuses.size(), nullptr) &&
           (fuses[1] & 2) != 0;
}

bool
otp_is_secured()
{
    std::array<guchar, fuse_size> otp{};

    return zolv_helper_read_flash_otp(otp_device, otp.data(), otp.size(), nullptr) &&
           otp[0] == 0xFE;
}

bool
boot_variable_is_set()
{
    std::array<char, ZOLV_UBOOTENV_VALUE_SIZE> value{};

    return zolv_helper_get_ubootenv_variable("secure", value.data(), nullptr) &&
           strcmp(value.data(), "1") == 0;
}

bool
secure_file_is_set()
{
    std::array<char, fuse_size + 1> value{};

    return zolv_helper_read_file(secure_file, value.data(), fuse_size, nullptr) && value[0] == '1';
}

bool
read_soc(const Description &family, Description &soc)
{
    if (matches(family, "AM33xx"))
        return read_description(machine_file, soc);
    if (matches(family, "Freescale i.MX"))
        return read_description(soc_id_file, soc);
    /* The field has six bytes, so the log shows the word cut. */
    g_strlcpy(soc.data(), "Others", 6);
    return true;
}

} // namespace

bool
zolv::secure_boot_enabled()
{
    Description family;
    Description soc{};

    if (!read_description(family_file, family) || !read_soc(family, soc))
        return false;
    ZOLV_DEBUG("[Manager] SoC '%s'\n", zolv::fit_text(soc.data()).c_str());

    if (matches(soc, "i.MX7d"))
        return fuse_is_closed();
    if (matches(family, "AM64X"))
        return otp_is_secured();
    if (matches(family, "AM62X"))
        return secure_file_is_set();
    if (matches(soc, "i.MX8MP"))
        return fuse_is_closed();
    return boot_variable_is_set();
}
