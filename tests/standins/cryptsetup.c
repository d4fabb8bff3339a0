/*
 * Stands for libcryptsetup.so.12 on the board, which has no device mapper. Headers, key slots and
 * passphrases are the real library's, at a price that a test can pay; only the mapped device is a
 * node of no kind, and what it holds a file of its own.
 *
 *   /run/real/libcryptsetup.so.12   the real library
 *   /run/mappings/NAME              the device behind an open mapping
 *   /run/calls/uuid                 a UUID in the place of that in the header
 */
#include "calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <libcryptsetup.h>
#include <sys/stat.h>

struct crypt_device {
    struct crypt_device *real; /* NULL for one that was found by its mapping's name */
    char device[256];
    char uuid[256];
};

static void *
real(const char *function)
{
    static void *library;

    if (library == NULL)
        library = dlopen("/run/real/libcryptsetup.so.12", RTLD_NOW | RTLD_LOCAL);
    return dlsym(library, function);
}

#define REAL(function) ((__typeof__(&function))real(#function))

static void
read_line(const char *path, char *text, size_t size)
{
    FILE *file = fopen(path, "re");

    text[0] = '\0';
    if (file != NULL) {
        if (fgets(text, (int)size, file) != NULL)
            text[strcspn(text, "\n")] = '\0';
        fclose(file);
    }
}

int
crypt_init(struct crypt_device **cd, const char *device)
{
    struct crypt_device *made = calloc(1, sizeof *made);
    char path[512];
    int result = -EINVAL;

    snprintf(made->device, sizeof made->device, "%s", device);
    if (!refused("crypt_init", device))
        result = REAL(crypt_init)(&made->real, image_of(device, path, sizeof path));
    if (result == 0)
        *cd = made;
    else
        free(made);
    return result;
}

int
crypt_init_by_name(struct crypt_device **cd, const char *name)
{
    struct crypt_device *made = NULL;
    char path[512];

    if (refused("crypt_init_by_name", name))
        return -EINVAL;
    snprintf(path, sizeof path, "/run/mappings/%s", name);
    if (access(path, F_OK) != 0)
        return -ENODEV;
    made = calloc(1, sizeof *made);
    read_line(path, made->device, sizeof made->device);
    *cd = made;
    return 0;
}

void
crypt_free(struct crypt_device *cd)
{
    if (cd->real != NULL)
        REAL(crypt_free)(cd->real);
    free(cd);
}

void
crypt_set_log_callback(struct crypt_device *cd,
                       void (*log)(int level, const char *msg, void *usrptr), void *usrptr)
{
    REAL(crypt_set_log_callback)(cd != NULL ? cd->real : NULL, log, usrptr);
}

const char *
crypt_get_device_name(struct crypt_device *cd)
{
    return cd->device;
}

const char *
crypt_get_uuid(struct crypt_device *cd)
{
    read_line("/run/calls/uuid", cd->uuid, sizeof cd->uuid);
    return cd->uuid[0] != '\0' ? cd->uuid : REAL(crypt_get_uuid)(cd->real);
}

int
crypt_format(struct crypt_device *cd, const char *type, const char *cipher, const char *cipher_mode,
             const char *uuid, const char *volume_key, size_t volume_key_size, void *params)
{
    struct crypt_pbkdf_type cheap = {.type = CRYPT_KDF_PBKDF2,
                                     .hash = "sha256",
                                     .iterations = 1000,
                                     .flags = CRYPT_PBKDF_NO_BENCHMARK};
    char text[512];

    snprintf(text, sizeof text, "%s %s %s %s %s %s %zu %s", cd->device, type, cipher, cipher_mode,
             uuid == NULL ? "-" : uuid, volume_key == NULL ? "-" : "key", volume_key_size,
             params == NULL ? "-" : "params");
    if (refused("crypt_format", text))
        return -EINVAL;
    REAL(crypt_set_pbkdf_type)(cd->real, &cheap);
    return REAL(crypt_format)(cd->real, type, cipher, cipher_mode, uuid, volume_key,
                              volume_key_size, params);
}

int
crypt_keyslot_add_by_volume_key(struct crypt_device *cd, int keyslot, const char *volume_key,
                                size_t volume_key_size, const char *passphrase,
                                size_t passphrase_size)
{
    char text[32];

    snprintf(text, sizeof text, "%d", keyslot);
    if (refused("crypt_keyslot_add_by_volume_key", text))
        return -EINVAL;
    return REAL(crypt_keyslot_add_by_volume_key)(cd->real, keyslot, volume_key, volume_key_size,
                                                 passphrase, passphrase_size);
}

int
crypt_load(struct crypt_device *cd, const char *requested_type, void *params)
{
    if (refused("crypt_load", cd->device))
        return -EINVAL;
    return REAL(crypt_load)(cd->real, requested_type, params);
}

/* A script that refuses the call makes the mapping busy. */
crypt_status_info
crypt_status(struct crypt_device *cd, const char *name)
{
    char path[512];

    (void)cd;
    if (refused("crypt_status", name))
        return access("/run/calls/inactive", F_OK) == 0 ? CRYPT_INACTIVE : CRYPT_BUSY;
    snprintf(path, sizeof path, "/run/mappings/%s", name);
    return access(path, F_OK) == 0 ? CRYPT_ACTIVE : CRYPT_INACTIVE;
}

static void
make_mapping(const char *name, const char *device, const char *uuid)
{
    char path[512];
    char image[512];

    snprintf(image, sizeof image, "/run/disks/mapped-%s", uuid);
    int fd = open(image, O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    struct stat status;
    if (fstat(fd, &status) == 0 && status.st_size == 0 && ftruncate(fd, 2 << 20) != 0)
        perror(image);
    close(fd);
    snprintf(path, sizeof path, "/run/disks/dev/mapper/%s", name);
    if (symlink(image, path) != 0)
        perror(path);
    snprintf(path, sizeof path, "/dev/mapper/%s", name);
    mkfifo(path, 0600);
    snprintf(path, sizeof path, "/run/mappings/%s", name);
    FILE *mapping = fopen(path, "we");
    fprintf(mapping, "%s\n", device);
    fclose(mapping);
}

int
crypt_activate_by_passphrase(struct crypt_device *cd, const char *name, int keyslot,
                             const char *passphrase, size_t passphrase_size, uint32_t flags)
{
    char text[300];

    snprintf(text, sizeof text, "%s %d %u", name, keyslot, flags);
    if (refused("crypt_activate_by_passphrase", text))
        return -EPERM;
    int slot = REAL(crypt_activate_by_passphrase)(cd->real, NULL, keyslot, passphrase,
                                                  passphrase_size, flags);
    if (slot < 0)
        return slot;
    if (crypt_status(cd, name) != CRYPT_INACTIVE)
        return -EEXIST;
    make_mapping(name, cd->device, REAL(crypt_get_uuid)(cd->real));
    return slot;
}

/* What is mounted cannot be closed. */
static int
is_mounted(const char *name)
{
    FILE *table = fopen("/proc/self/mountinfo", "re");
    char source[300];
    char line[4096];
    int found = 0;

    snprintf(source, sizeof source, " /dev/mapper/%s ", name);
    while (table != NULL && fgets(line, sizeof line, table) != NULL) {
        const char *end = strstr(line, " - ");
        found |= end != NULL && strstr(end, source) != NULL;
    }
    if (table != NULL)
        fclose(table);
    return found;
}

int
crypt_deactivate(struct crypt_device *cd, const char *name)
{
    static const char *const places[] = {"/run/disks/dev/mapper", "/dev/mapper", "/run/mappings"};
    char path[512];

    (void)cd;
    if (refused("crypt_deactivate", name))
        return -EINVAL;
    if (is_mounted(name))
        return -EBUSY;
    for (size_t i = 0; i < sizeof places / sizeof *places; i++) {
        snprintf(path, sizeof path, "%s/%s", places[i], name);
        unlink(path);
    }
    return 0;
}
