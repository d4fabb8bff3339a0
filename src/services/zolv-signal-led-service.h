#pragma once

#include "zolv-base-manager.h"

G_BEGIN_DECLS

#define ZOLV_TYPE_SIGNAL_LED_SERVICE (zolv_signal_led_service_get_type())
ZOLV_DECLARE_CLASS(ZolvSignalLedService, zolv_signal_led_service, SIGNAL_LED_SERVICE, GObject)

/**
 * ZolvSignalLedServiceClass:
 *
 * Shows the signal quality of a cellular network interface on a bar of LEDs, and on one more LED
 * whether the interface is connected. It is not on the bus; give it to
 * zolv_base_manager_add_led_service().
 *
 * The bar shows one of six levels: 0, not connected, is dark; 1 blinks the first LED; 2 to 5 light
 * one to four LEDs. A shorter bar is full at the levels above its length.
 */
struct _ZolvSignalLedServiceClass {
    GObjectClass parent_class;
};

/**
 * zolv_signal_led_service_new:
 * @interface: the network interface, such as "wwan0"
 * @manager: where the LEDs are found; a reference is kept
 * @number_of_leds: length of the bar, 2 to 4
 * @has_status_led: whether there is an LED for the connection
 * @led1: id of the bar's lowest LED, such as "LED/SIG1"
 * @led2: id of the next
 * @led3: (nullable): id of the third, NULL on a shorter bar
 * @led4: (nullable): id of the fourth, NULL on a shorter bar
 * @status_led: (nullable): id of the LED that is lit while connected, NULL without one
 *
 * The names are copied; the LEDs must be there when the first update arrives. Until then the
 * service leaves them as they are.
 *
 * Returns: (transfer full): the service
 */
ZOLV_API ZolvSignalLedService *
zolv_signal_led_service_new(const char *interface, ZolvBaseManager *manager, int number_of_leds,
                            gboolean has_status_led, const char *led1, const char *led2,
                            const char *led3, const char *led4, const char *status_led);

/**
 * zolv_signal_led_service_update_signal_level:
 * @level: signal quality in percent; counts while the strength is 0
 */
ZOLV_API void zolv_signal_led_service_update_signal_level(ZolvSignalLedService *self, guint level);

/**
 * zolv_signal_led_service_update_signal_strength:
 * @strength: signal quality in bars, 1 to 4; above 4 it is shown as the lowest level
 */
ZOLV_API void zolv_signal_led_service_update_signal_strength(ZolvSignalLedService *self,
                                                             guint strength);

/**
 * zolv_signal_led_service_update_conn_state:
 * @state: the connection manager's state; 9 is connected, every other is not
 */
ZOLV_API void zolv_signal_led_service_update_conn_state(ZolvSignalLedService *self, guint state);

G_END_DECLS
