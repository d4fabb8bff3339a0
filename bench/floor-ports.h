/* The ports of the floor. */
#pragma once

#include <gio/gio.h>
#include <gudev/gudev.h>

#define MANAGER_PATH "/com/tarvel/Perimond"

void floor_read_file(const char *path, char *text, gsize size);
void floor_write_file(const char *path, const char *text);
void floor_write_line(int line, const char *level);

void floor_export_ports(GDBusObjectManagerServer *objects);
/* Puts the port of an adapter on the bus, or takes it away. */
void floor_adapter_event(GDBusObjectManagerServer *objects, const char *action,
                         GUdevDevice *device);
