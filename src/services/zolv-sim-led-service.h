#pragma once

#include "zolv-base-manager.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SIM_LED_SERVICE (zolv_sim_led_service_get_type())
ZOLV_DECLARE_CLASS(ZolvSimLedService, zolv_sim_led_service, SIM_LED_SERVICE, GObject)

/**
 * ZolvSimLedServiceClass:
 *
 * Lights the LED of the SIM slot that a cellular network interface uses. It is not on the bus; give
 * it to zolv_base_manager_add_sim_led_service().
 */
struct _ZolvSimLedServiceClass {
    GObjectClass parent_class;
};

/**
 * zolv_sim_led_service_new:
 * @interface: the network interface, such as "wwan0"
 * @manager: where the LEDs are found; a reference is kept
 * @number_of_leds: how many names follow, at most 3
 * @...: the ids of the LEDs, such as "LED/SIM1", that of slot 1 first
 *
 * The names are copied; the LEDs must be there when the first update arrives.
 *
 * Returns: (transfer full): the service
 */
ZOLV_API ZolvSimLedService *zolv_sim_led_service_new(const char *interface,
                                                     ZolvBaseManager *manager, guint number_of_leds,
                                                     ...);

/**
 * zolv_sim_led_service_update_leds:
 * @slot: the slot in use, from 1; the LEDs of all others go dark, so 0 darkens all
 */
ZOLV_API void zolv_sim_led_service_update_leds(ZolvSimLedService *self, guint slot);

G_END_DECLS
