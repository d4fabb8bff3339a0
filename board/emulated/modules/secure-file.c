// SPDX-License-Identifier: GPL-2.0
/*
 * The file in which the board support of an AM62x computer tells whether the chip runs secured:
 * /sys/kernel/tarvel/secure, '1' when it does.
 */

#include <linux/kobject.h>
#include <linux/module.h>
#include <linux/sysfs.h>

static char *value = "0";
module_param(value, charp, 0444);
MODULE_PARM_DESC(value, "what the file holds; a newline follows");

static struct kobject *folder;

static ssize_t
secure_show(struct kobject *object, struct kobj_attribute *attribute, char *buffer)
{
    return sysfs_emit(buffer, "%s\n", value);
}

static struct kobj_attribute secure = __ATTR_RO(secure);

static int __init
secure_file_init(void)
{
    int error;

    folder = kobject_create_and_add("tarvel", kernel_kobj);
    if (!folder)
        return -ENOMEM;
    error = sysfs_create_file(folder, &secure.attr);
    if (error)
        kobject_put(folder);
    return error;
}

static void __exit
secure_file_exit(void)
{
    kobject_put(folder);
}

module_init(secure_file_init);
module_exit(secure_file_exit);
MODULE_DESCRIPTION("The file that tells whether an AM62x runs secured");
MODULE_LICENSE("GPL");
