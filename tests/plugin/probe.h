/* What the files of the probe share. */
#pragma once

#include <tarvelperimond.h>

#define INFO(...) _tvl_log(TVL_LOG_INFO, "[Probe] " __VA_ARGS__)

typedef struct {
    ZolvBaseManager *manager;
    char **words;        /* [0] is the command */
    GUdevDevice *device; /* of the event that brought it; NULL at the start and at the end */
} Call;

typedef struct {
    const char *word; /* NULL ends a list */
    void (*act)(const Call *call);
} Command;

ZolvObj *probe_obj(const Call *call);
guint probe_number(const Call *call, guint word);
const char *probe_optional(const Call *call, guint word);
void probe_result(const Call *call, gboolean done, GError *error);

/* A device of the system by its subsystem and its name, two words of the call; the caller's. NULL
 * for the name "-". */
GUdevDevice *probe_device(const Call *call, guint word);

extern const Command cellular_commands[];
extern const Command net_commands[];
extern const Command serial_commands[];
extern const Command socket_commands[];
extern const Command storage_commands[];
extern const Command wifi_commands[];
