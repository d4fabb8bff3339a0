#pragma once

#include "helpers/zolv-helpers-sysfs-gpio.h"

namespace zolv {

/* A GPIO line as the model describes it: its number in sysfs and the direction that it is to have.
 * A value, free to be copied; the line itself belongs to the kernel. Errors are those of the
 * functions in zolv-helpers-sysfs-gpio.h. */
class GpioLine {
  public:
    GpioLine() = default;
    explicit GpioLine(int number, guint direction = GPIO_DIRECTION_IN)
        : number_(number), direction_(direction)
    {
    }

    void define(int number, guint direction = GPIO_DIRECTION_IN)
    {
        *this = GpioLine(number, direction);
    }
    bool defined() const { return number_ >= 0; }
    /* -1 while not defined */
    int number() const { return number_; }
    bool is_output() const { return direction_ == GPIO_DIRECTION_OUT; }

    bool drive(guint value, GError **error) const
    {
        return zolv_helper_set_sysfs_gpio_value(number_, value, error);
    }
    bool read(guint *value, GError **error) const
    {
        return zolv_helper_get_sysfs_gpio_value(number_, value, error);
    }
    /* The direction that the line has in the hardware, which the definition does not change. */
    bool read_direction(guint *direction, GError **error) const
    {
        return zolv_helper_get_sysfs_gpio_direction(number_, direction, error);
    }
    /* Gives the line the direction of its definition. */
    bool apply_direction(GError **error) const
    {
        return zolv_helper_set_sysfs_gpio_direction(number_, direction_, error);
    }
    bool set_active_low(bool active_low, GError **error) const
    {
        return zolv_helper_set_sysfs_gpio_active_low(number_, active_low ? 1 : 0, error);
    }

  private:
    int number_ = -1;
    guint direction_ = GPIO_DIRECTION_IN;
};

} // namespace zolv
