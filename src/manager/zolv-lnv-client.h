#pragma once

#include "zolv-base-manager.h"

G_BEGIN_DECLS

/*
 * Follows the connection manager of the computer, com.tarvel.Linkvane, and hands what it publishes
 * of each network interface to the LED services. That service may start late, stop and come back.
 */
#define ZOLV_TYPE_LNV_CLIENT (zolv_lnv_client_get_type())
G_DECLARE_FINAL_TYPE(ZolvLnvClient, zolv_lnv_client, ZOLV, LNV_CLIENT, GObject)

/* A reference of each is kept: whoever owns the client and is @manager lets it go first. */
ZolvLnvClient *zolv_lnv_client_new(GDBusConnection *connection, ZolvBaseManager *manager);

/* Returns at once; the connection is tried until there is one, and again when it is lost. Once. */
void zolv_lnv_client_start(ZolvLnvClient *self);

G_END_DECLS
