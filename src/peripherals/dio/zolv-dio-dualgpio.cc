#include "peripherals/dio/zolv-dio-dualgpio.h"

#include "core/zolv-assert.h"
#include "core/zolv-class.h"
#include "core/zolv-fail.h"
#include "core/zolv-obj-log.h"
#include "helpers/zolv-gpio-line.h"
#include "helpers/zolv-setting.h"
#include "peripherals/dio/zolv-dio-internal.h"

#include <atomic>

struct _ZolvDIODualGPIOPrivate {
    explicit _ZolvDIODualGPIOPrivate(ZolvDIODualGPIO *self)
        : stored_direction(ZOLV_OBJ(self), "Direction")
    {
    }

    bool is_output() const { return direction == GPIO_DIRECTION_OUT; }
    /* The line in use. */
    const zolv::GpioLine &line() const { return is_output() ? output : input; }

    zolv::GpioLine input;
    zolv::GpioLine output;
    std::atomic<guint> direction = GPIO_DIRECTION_IN; /* the watcher reads it, too */
    bool pin_defined = false;
    zolv::Setting<guint> stored_direction;
};

static gboolean
dio_dualgpio_set_state(ZolvDIO *dio, guint state, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::drive_dio(priv->pin_defined, priv->is_output(), priv->output, state, error);
}

static gboolean
dio_dualgpio_get_state(ZolvDIO *dio, guint *state, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::check_dio_defined(priv->pin_defined, error) && priv->line().read(state, error);
}

/* The lines keep their directions; an input must not read what the output drives. */
static gboolean
dio_dualgpio_set_direction(ZolvDIO *dio, guint direction, GError **error)
{
    ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    if (direction == GPIO_DIRECTION_IN && !priv->output.drive(1, nullptr))
        return zolv::failf(error, ZOLV_CORE_ERROR_DEVICE_IO,
                           "Fail to pull high for DIO output pin %d", priv->output.number());
    priv->direction = direction;
    ZOLV_DIO_GET_CLASS(dio)->set_gpio_pin(dio, priv->line().number());
    priv->stored_direction.store(direction);
    return TRUE;
}

static gboolean
dio_dualgpio_get_direction(ZolvDIO *dio, guint *direction, GError **error)
{
    const ZolvDIODualGPIOPrivate *priv = ZOLV_DIO_DUALGPIO(dio)->priv;

    return zolv::read_dio_direction(priv->pin_defined, priv->line(), direction, error);
}

ZOLV_DEFINE_CLASS(ZolvDIODualGPIO, zolv_dio_dualgpio, ZOLV_TYPE_DIO)
{
    ZolvDIOClass *dio_class = ZOLV_DIO_CLASS(klass);

    zolv::set_type_word(ZOLV_OBJ_CLASS(klass), "DIO");
    dio_class->set_state = dio_dualgpio_set_state;
    dio_class->get_state = dio_dualgpio_get_state;
    dio_class->set_direction = dio_dualgpio_set_direction;
    dio_class->get_direction = dio_dualgpio_get_direction;
}

void
zolv_dio_dualgpio_define_gpio(ZolvDIODualGPIO *self, int pin_input, int pin_output, guint direction)
{
    ZOLV_ASSERT(pin_input >= 0 && pin_output >= 0);
    ZolvDIODualGPIOPrivate *priv = self->priv;
    ZolvDIO *dio = ZOLV_DIO(self);
    ZolvDIOClass *klass = ZOLV_DIO_GET_CLASS(self);

    priv->input.define(pin_input, GPIO_DIRECTION_IN);
    priv->output.define(pin_output, GPIO_DIRECTION_OUT);
    klass->set_gpio_pin(dio, pin_input);
    klass->set_device_type(dio, DIO_TYPE_DUAL_GPIO);
    klass->set_direction_configurable(dio, TRUE);
    priv->direction = priv->stored_direction.read_or_store(direction, GPIO_DIRECTION_OUT);
    if (!priv->input.apply_direction(nullptr))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Set GPIO direction for pin_input failed");
    if (!priv->output.apply_direction(nullptr))
        zolv_obj_log(ZOLV_OBJ(self), TVL_LOG_WARN, "Set GPIO direction for pin_output failed");
    priv->pin_defined = true;
    klass->set_pin_defined(dio, TRUE);
    klass->export_obj(dio);
}

void
zolv_dio_dualgpio_define_hook(ZolvDIODualGPIO *self)
{
    ZOLV_ASSERT(self->priv->pin_defined == TRUE);
    if (!self->priv->is_output())
        zolv_dio_arm_hook(ZOLV_DIO(self));
}
