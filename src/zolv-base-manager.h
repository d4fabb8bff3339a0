#pragma once

#include "zolv-obj.h"
#include <zolv-gdbus.h>

G_BEGIN_DECLS

#define ZOLV_TYPE_BASE_MANAGER (zolv_base_manager_get_type())
ZOLV_DECLARE_CLASS(ZolvBaseManager, zolv_base_manager, BASE_MANAGER,
                   ZolvGdbusComTarvelPerimondSkeleton)

/* Their headers bring the functions; they need the manager's. */
typedef struct _ZolvSignalLedService ZolvSignalLedService;
typedef struct _ZolvSimLedService ZolvSimLedService;
typedef struct _ZolvPartitionLedService ZolvPartitionLedService;

/**
 * ZolvBaseManagerClass:
 *
 * The one manager of the daemon: the interface com.tarvel.Perimond on the bus, the registry of the
 * peripheral objects, the model plugin and the device events. It belongs to the main loop; no other
 * thread may call it.
 */
struct _ZolvBaseManagerClass {
    ZolvGdbusComTarvelPerimondSkeletonClass parent_class;
};

/**
 * zolv_base_manager_new:
 * @connection: the system bus
 *
 * Identifies the model, loads its plugin and exports the manager interface.
 *
 * Errors: %ZOLV_CORE_ERROR_FAILED when the boot environment, the model or the plugin is not as
 * needed; the errors of GIO for the mount table and the export.
 *
 * Returns: (transfer full): the manager, or NULL with @error set
 */
ZOLV_API ZolvBaseManager *zolv_base_manager_new(GDBusConnection *connection, GError **error);

/** zolv_base_manager_start: has the plugin create its objects, then passes every device of the
 * system and every later device event to the plugin, and watches the mount table. Once. */
ZOLV_API void zolv_base_manager_start(ZolvBaseManager *self);

/** zolv_base_manager_shutdown: ends the plugin's work and releases every object. Once, also for a
 * manager that was never started. */
ZOLV_API void zolv_base_manager_shutdown(ZolvBaseManager *self);

/**
 * zolv_base_manager_create_new_object:
 * @type: a class that has a peripheral type word of its own; base classes have none
 * @name: the name within the type word; see zolv_obj_new()
 *
 * Finds or creates the object, so a device that comes back is the same object on the bus. The
 * last zolv_<kind>_define_ call of its kind exports it.
 *
 * Returns: (transfer none): the object; the registry keeps it
 */
ZOLV_API ZolvObj *zolv_base_manager_create_new_object(ZolvBaseManager *self, GType type,
                                                      const gchar *name);

/**
 * zolv_base_manager_get_object:
 * @id: an id that is known to exist, such as "LED/LED1"; any other ends the process
 *
 * Returns: (transfer none): the object
 */
ZOLV_API ZolvObj *zolv_base_manager_get_object(ZolvBaseManager *self, const gchar *id);

/**
 * zolv_base_manager_find_object:
 * @id: an id, such as "LED/LED1"
 *
 * Returns: (transfer none) (nullable): the object, where there is one with that id
 */
ZOLV_API ZolvObj *zolv_base_manager_find_object(ZolvBaseManager *self, const gchar *id);

/**
 * zolv_base_manager_remove_object:
 * @id: an id that is known to exist; any other ends the process
 *
 * Withdraws the object from the bus and drops the registry's reference.
 */
ZOLV_API void zolv_base_manager_remove_object(ZolvBaseManager *self, const gchar *id);

/**
 * zolv_base_manager_add_led_service:
 * @interface: the network interface whose signal and connection are shown
 * @service: (transfer full): the service; it replaces one that was added for @interface before
 */
ZOLV_API void zolv_base_manager_add_led_service(ZolvBaseManager *self, const gchar *interface,
                                                ZolvSignalLedService *service);

/**
 * zolv_base_manager_add_sim_led_service:
 * @interface: the network interface whose SIM slot is shown
 * @service: (transfer full): the service; it replaces one that was added for @interface before
 */
ZOLV_API void zolv_base_manager_add_sim_led_service(ZolvBaseManager *self, const gchar *interface,
                                                    ZolvSimLedService *service);

/**
 * zolv_base_manager_add_ptn_led_service:
 * @service: (transfer full): the service, told of every change of the mount table; it replaces one
 *   that was added before
 */
ZOLV_API void zolv_base_manager_add_ptn_led_service(ZolvBaseManager *self,
                                                    ZolvPartitionLedService *service);

/* What the connection manager tells of a network interface, for its services; an interface that has
 * none is ignored. */

/** zolv_base_manager_update_signal_level: see zolv_signal_led_service_update_signal_level() */
ZOLV_API void zolv_base_manager_update_signal_level(ZolvBaseManager *self,
                                                    const gchar *interface_name, guint value);
/** zolv_base_manager_update_signal_strength: see zolv_signal_led_service_update_signal_strength()
 */
ZOLV_API void zolv_base_manager_update_signal_strength(ZolvBaseManager *self,
                                                       const gchar *interface_name, guint value);
/** zolv_base_manager_update_conn_state: see zolv_signal_led_service_update_conn_state() */
ZOLV_API void zolv_base_manager_update_conn_state(ZolvBaseManager *self,
                                                  const gchar *interface_name, guint value);
/** zolv_base_manager_update_sim_leds: see zolv_sim_led_service_update_leds() */
ZOLV_API void zolv_base_manager_update_sim_leds(ZolvBaseManager *self, const gchar *interface_name,
                                                guint value);

G_END_DECLS
