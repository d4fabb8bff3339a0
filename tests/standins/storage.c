/*
 * Preloaded into the daemon: its calls of libblkid and libmount are noted, can be refused one by
 * one, and find what the board's disks hold. All else is the libraries'.
 */
#include "calls.h"

#include <blkid.h>
#include <dlfcn.h>
#include <libmount.h>

#define REAL(function) ((__typeof__(&function))dlsym(RTLD_NEXT, #function))

blkid_probe
blkid_new_probe_from_filename(const char *device)
{
    char path[512];

    if (refused("blkid_new_probe_from_filename", device))
        return NULL;
    return REAL(blkid_new_probe_from_filename)(image_of(device, path, sizeof path));
}

int
blkid_do_safeprobe(blkid_probe probe)
{
    if (refused("blkid_do_safeprobe", ""))
        return -1;
    return REAL(blkid_do_safeprobe)(probe);
}

int
blkid_probe_lookup_value(blkid_probe probe, const char *name, const char **data, size_t *length)
{
    if (refused("blkid_probe_lookup_value", name))
        return -1;
    return REAL(blkid_probe_lookup_value)(probe, name, data, length);
}

struct libmnt_context *
mnt_new_context(void)
{
    return refused("mnt_new_context", "") ? NULL : REAL(mnt_new_context)();
}

int
mnt_context_set_mflags(struct libmnt_context *context, unsigned long flags)
{
    char text[32];

    snprintf(text, sizeof text, "%#lx", flags);
    if (refused("mnt_context_set_mflags", text))
        return -EINVAL;
    return REAL(mnt_context_set_mflags)(context, flags);
}

struct libmnt_table *
mnt_new_table(void)
{
    return refused("mnt_new_table", "") ? NULL : REAL(mnt_new_table)();
}
