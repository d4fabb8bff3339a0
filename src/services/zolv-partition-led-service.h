#pragma once

#include "zolv-base-manager.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_PARTITION_LED_SERVICE (zolv_partition_led_service_get_type())
ZOLV_DECLARE_CLASS(ZolvPartitionLedService, zolv_partition_led_service, PARTITION_LED_SERVICE,
                   GObject)

/** ZOLV_PTN_LED_MAX_N: how many LEDs the service drives at most */
#define ZOLV_PTN_LED_MAX_N 5

/**
 * ZolvPartitionLed:
 * @name: id of the LED, such as "LED/USB", at most 255 characters
 * @kind: the kind of disk that it shows: 1 USB, 2 SD, 3 and 4 hot-swap bay 1 and 2; an LED of any
 *   other kind is never driven
 * @status: belongs to the service's own copy
 */
typedef struct {
    char name[256];
    guint32 kind;
    guint32 status;
} ZolvPartitionLed;

/**
 * ZolvPartitionLedServiceClass:
 *
 * Lights LEDs while a partition of their kind of disk is mounted. It is not on the bus; give it to
 * zolv_base_manager_add_ptn_led_service().
 */
struct _ZolvPartitionLedServiceClass {
    GObjectClass parent_class;
};

/**
 * zolv_partition_led_service_new:
 * @manager: where the LEDs are found; a reference is kept
 * @leds: (array length=led_n): the LEDs; copied
 * @led_n: how many, at most %ZOLV_PTN_LED_MAX_N
 *
 * The LEDs must be there when the mount table first changes.
 *
 * Returns: (transfer full): the service
 */
ZOLV_API ZolvPartitionLedService *
zolv_partition_led_service_new(ZolvBaseManager *manager, const ZolvPartitionLed *leds, guint led_n);

/**
 * zolv_partition_led_service_update_led:
 * @status: for each kind of disk from 0 to 4: 0 no partition is there, which leaves the LEDs of the
 *   kind as they are; 1 one is mounted, lit; 2 none of them is mounted, dark
 */
ZOLV_API void zolv_partition_led_service_update_led(ZolvPartitionLedService *self,
                                                    const guint status[]);

G_END_DECLS
