#include "helpers/zolv-helpers-common.h"
#include "private-world.h"

#include <cerrno>
#include <cstdarg>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/* A flash chip whose driver answers with @regions; what the device file holds is its OTP area. */
struct Chip {
    bool select_fails = false;
    bool info_fails = false;
    std::vector<otp_info> regions = {{0, 64, 1}};
    std::vector<int> selected;
};

Chip *chip = nullptr;

int
chip_ioctl(unsigned long request, void *argument)
{
    if (request == OTPSELECT) {
        chip->selected.push_back(*static_cast<int *>(argument));
        errno = EOPNOTSUPP;
        return chip->select_fails ? -1 : 0;
    }
    errno = EINVAL;
    if (chip->info_fails)
        return -1;
    std::copy(chip->regions.begin(), chip->regions.end(), static_cast<otp_info *>(argument));
    return 0;
}

} // namespace

/* Stands before the C library's. */
extern "C" int
ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;

    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (chip != nullptr && (request == OTPSELECT || request == OTPGETREGIONINFO))
        return chip_ioctl(request, argument);
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

namespace {

class FlashOtp : public PrivateWorld {
  protected:
    void SetUp() override
    {
        PrivateWorld::SetUp();
        chip = &chip_;
        put_file("/sys/test/mtd0", "ABCDEFGH");
    }
    void TearDown() override
    {
        chip = nullptr;
        g_clear_error(&error);
    }
    gboolean read(gsize length)
    {
        return zolv_helper_read_flash_otp("/sys/test/mtd0", data, length, &error);
    }

    Chip chip_;
    guchar data[16] = {};
    GError *error = nullptr;
};

TEST_F(FlashOtp, LockedAreaIsReadFromItsStart)
{
    EXPECT_TRUE(read(4));
    EXPECT_STREQ(reinterpret_cast<char *>(data), "ABCD");
    EXPECT_EQ(chip_.selected, (std::vector<int>{MTD_OTP_USER, MTD_OTP_OFF}));
    EXPECT_EQ(log(), Lines{"<debug> [Common] Read \"ABCD\" from file \"/sys/test/mtd0\""});
}

TEST_F(FlashOtp, UnlockedAreaIsNotTrusted)
{
    chip_.regions = {{0, 64, 0}};
    EXPECT_FALSE(read(4));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(data[0], 0);
    EXPECT_EQ(chip_.selected, (std::vector<int>{MTD_OTP_USER, MTD_OTP_OFF}));
    EXPECT_EQ(log(), Lines{});
}

TEST_F(FlashOtp, ChipWithAPageOfRegionsIsReadWithoutHarm)
{
    chip_.regions.assign(4096 / sizeof(otp_info), otp_info{0, 64, 1});
    EXPECT_TRUE(read(4));
}

TEST_F(FlashOtp, MissingDeviceGivesAWarningAndNoError)
{
    EXPECT_FALSE(zolv_helper_read_flash_otp("/sys/test/none", data, 1, &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(log(), Lines{"<warn>  [Common] open '/sys/test/none' failed: "
                           "No such file or directory"});
}

TEST_F(FlashOtp, RefusedSelectionFails)
{
    chip_.select_fails = true;
    EXPECT_FALSE(read(4));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->message, "otp select '/sys/test/mtd0' failed: Operation not supported");
    EXPECT_EQ(chip_.selected, std::vector<int>{MTD_OTP_USER});
}

TEST_F(FlashOtp, RefusedRegionInformationFails)
{
    chip_.info_fails = true;
    EXPECT_FALSE(read(4));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->message, "otp get REGIONINFO '/sys/test/mtd0' failed: Invalid argument");
    EXPECT_EQ(chip_.selected, (std::vector<int>{MTD_OTP_USER, MTD_OTP_OFF}));
}

TEST_F(FlashOtp, NoFileDescriptorStaysOpen)
{
    const auto before = names_in("/proc/self/fd").size();

    EXPECT_TRUE(read(4));
    chip_.regions = {{0, 64, 0}};
    EXPECT_FALSE(read(4)) << "unlocked";
    chip_.info_fails = true;
    EXPECT_FALSE(read(4));
    g_clear_error(&error);
    chip_.select_fails = true;
    EXPECT_FALSE(read(4));
    g_clear_error(&error);
    chip_ = {};
    put_file("/sys/test/mtd0", "");
    EXPECT_FALSE(read(4)) << "empty";
    EXPECT_EQ(names_in("/proc/self/fd").size(), before);
}

TEST_F(FlashOtp, EmptyAreaFails)
{
    put_file("/sys/test/mtd0", "");
    EXPECT_FALSE(read(4));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->message, "read '/sys/test/mtd0' failed: No data available");
    EXPECT_EQ(chip_.selected, (std::vector<int>{MTD_OTP_USER, MTD_OTP_OFF}));
}

} // namespace
