#include "peripherals/dio/zolv-dio-dualgpio.h"

#include "core/zolv-assert.h"
#include "core/zolv-obj-log.h"
#include "helpers/zolv-helpers-config.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "peripherals/dio/zolv-dio-internal.h"
#include "zolv-error.h"

#include <atomic>

#define DIRECTION_KEY "Direction"

struct _ZolvDIODualGPIOPrivate {
    /* The line in use. */
    int pin() const { return direction == GPIO_DIRECTION_OUT ? pin_output : pin_input; }

    int pin_input = -1;
    int pin_output = -1;
    std::atomic<guint> direction = GPIO_DIRECTION_IN; /* the watcher reads it, too */
    bool pin_defined = false;
};

G_DEFINE_TYPE(ZolvDIODualGPIO, zolv_dio_dualgpio, ZOLV_TYPE_DIO)

static gboolean
dio_dualgpio_set_state(ZolvDIO *dio, guint state, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::drive_dio(priv->pin_defined, priv->direction, priv->pin_output, state, error);
}

static gboolean
dio_dualgpio_get_state(ZolvDIO *dio, guint *state, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::check_dio_defined(priv->pin_defined, "DIO pin is not set", error) &&
           zolv_helper_get_sysfs_gpio_value(priv->pin(), state, error);
}

/* The lines keep their directions; an input must not read what the output drives. */
static gboolean
dio_dualgpio_set_direction(ZolvDIO *dio, guint direction, GError **error)
{
    ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    if (direction == GPIO_DIRECTION_IN &&
        !zolv_helper_set_sysfs_gpio_value(priv->pin_output, 1, nullptr)) {
        g_set_error(error, ZOLV_CORE_ERROR, ZOLV_CORE_ERROR_DEVICE_IO,
                    "Fail to pull high for DIO output pin %d", priv->pin_output);
        return FALSE;
    }
    priv->direction = direction;
    ZOLV_DIO_GET_CLASS(dio)->set_gpio_pin(dio, priv->pin());
    zolv_helper_config_set_guint(zolv_obj_get_id(ZOLV_OBJ(dio)), DIRECTION_KEY, direction);
    return TRUE;
}

static gboolean
dio_dualgpio_get_direction(ZolvDIO *dio, guint *direction, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::check_dio_defined(priv->pin_defined, "DIO GPIO pin is not set", error) &&
           zolv_helper_get_sysfs_gpio_direction(priv->pin(), direction, error);
}

static void
zolv_dio_dualgpio_init(ZolvDIODualGPIO *self)
{
    self->priv = new ZolvDIODualGPIOPrivate;
}

static void
zolv_dio_dualgpio_finalize(GObject *object)
{
    delete ZOLV_DIO_DUALGPIO(object)->priv;
    G_OBJECT_CLASS(zolv_dio_dualgpio_parent_class)->finalize(object);
}

static void
zolv_dio_dualgpio_class_init(ZolvDIODualGPIOClass *klass)
{
    ZolvDIOClass *dio_class = ZOLV_DIO_CLASS(klass);

    G_OBJECT_CLASS(klass)->finalize = zolv_dio_dualgpio_finalize;
    dio_class->set_state = dio_dualgpio_set_state;
    dio_class->get_state = dio_dualgpio_get_state;
    dio_class->set_direction = dio_dualgpio_set_direction;
    dio_class->get_direction = dio_dualgpio_get_direction;
}

/* The settings' choice, or else the model's, which is stored. */
static guint
stored_direction(ZolvDIODualGPIO *self, guint direction)
{
    ZolvObj *obj = ZOLV_OBJ(self);
    guint stored = direction;
    const bool found = zolv_helper_config_get_guint(zolv_obj_get_id(obj), DIRECTION_KEY, &stored);

    if (found && stored <= GPIO_DIRECTION_OUT)
        return stored;
    if (found)
        zolv_obj_log(obj, TVL_LOG_WARN, "Stored direction %u is not valid", stored);
    zolv_helper_config_set_guint(zolv_obj_get_id(obj), DIRECTION_KEY, direction);
    return direction;
}

void
zolv_dio_dualgpio_define_gpio(ZolvDIODualGPIO *self, int pin_input, int pin_output, guint direction)
{
    ZOLV_ASSERT(pin_input >= 0 && pin_output >= 0);
    ZolvDIODualGPIOPrivate *priv = self->priv;
    ZolvDIO *dio = ZOLV_DIO(self);
    ZolvDIOClass *klass = ZOLV_DIO_GET_CLASS(self);

    priv->pin_input = pin_input;
    priv->pin_output = pin_output;
    klass->set_gpio_pin(dio, pin_input);
    klass->set_device_type(dio, DIO_TYPE_DUAL_GPIO);
    klass->set_direction_configurable(dio, TRUE);
    priv->direction = stored_direction(self, direction);
    if (!zolv_helper_set_sysfs_gpio_direction(pin_input, GPIO_DIRECTION_IN, nullptr))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Set GPIO direction for pin_input failed");
    if (!zolv_helper_set_sysfs_gpio_direction(pin_output, GPIO_DIRECTION_OUT, nullptr))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Set GPIO direction for pin_output failed");
    priv->pin_defined = true;
    klass->set_pin_defined(dio, TRUE);
    klass->export_obj(dio);
}

void
zolv_dio_dualgpio_define_hook(ZolvDIODualGPIO *self)
{
    ZOLV_ASSERT(self->priv->pin_defined == TRUE);
    if (self->priv->direction == GPIO_DIRECTION_IN)
        zolv_dio_arm_hook(ZOLV_DIO(self));
}
