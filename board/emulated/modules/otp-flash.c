// SPDX-License-Identifier: GPL-2.0
/*
 * A flash with a one-time-programmable user area, as the boot flash of an AM64x computer is: the
 * only flash, /dev/mtd0. Its main area is a page of RAM. One lock bit covers the whole user area.
 */

#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/platform_device.h>

#define LARGEST_AREA 64

static char *area = "";
module_param(area, charp, 0444);
MODULE_PARM_DESC(area, "content of the user area in hexadecimal digits");

static bool locked;
module_param(locked, bool, 0444);
MODULE_PARM_DESC(locked, "whether the user area has been locked");

static u8 content[LARGEST_AREA];
static size_t size;
static u8 main_area[PAGE_SIZE];

static int
get_user_prot_info(struct mtd_info *mtd, size_t len, size_t *retlen, struct otp_info *info)
{
    if (len < sizeof(*info))
        return -ENOSPC;
    info->start = 0;
    info->length = size;
    info->locked = locked;
    *retlen = sizeof(*info);
    return 0;
}

static int
read_user_prot_reg(struct mtd_info *mtd, loff_t from, size_t len, size_t *retlen, u8 *to)
{
    *retlen = 0;
    if (from < 0 || from >= size)
        return 0;
    *retlen = min_t(size_t, len, size - from);
    memcpy(to, content + from, *retlen);
    return 0;
}

static int
read_main(struct mtd_info *mtd, loff_t from, size_t len, size_t *retlen, u8 *to)
{
    memcpy(to, main_area + from, len);
    *retlen = len;
    return 0;
}

static struct mtd_info flash = {
    .name = "otp-flash",
    .type = MTD_ROM,
    .flags = MTD_CAP_ROM | MTD_NO_ERASE,
    .size = sizeof(main_area),
    .writesize = 1,
    .owner = THIS_MODULE,
    ._read = read_main,
    ._get_user_prot_info = get_user_prot_info,
    ._read_user_prot_reg = read_user_prot_reg,
};

static struct platform_device *chip;

static int __init
otp_flash_init(void)
{
    int error;

    size = strlen(area) / 2;
    if (size > sizeof(content) || strlen(area) % 2 || hex2bin(content, area, size))
        return -EINVAL;
    memset(main_area, 0xff, sizeof(main_area));
    /* The kernel shows the area as non-volatile memory, too, which must belong to a device. */
    chip = platform_device_register_simple("otp-flash", PLATFORM_DEVID_NONE, NULL, 0);
    if (IS_ERR(chip))
        return PTR_ERR(chip);
    flash.dev.parent = &chip->dev;
    error = mtd_device_register(&flash, NULL, 0);
    if (error)
        platform_device_unregister(chip);
    return error;
}

static void __exit
otp_flash_exit(void)
{
    WARN_ON(mtd_device_unregister(&flash));
    platform_device_unregister(chip);
}

module_init(otp_flash_init);
module_exit(otp_flash_exit);
MODULE_DESCRIPTION("Flash with a one-time-programmable user area");
MODULE_LICENSE("GPL");
