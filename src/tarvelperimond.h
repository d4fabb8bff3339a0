#pragma once

/* Everything that a model plugin needs. */

#include "tvl-log.h"
#include "zolv-base-manager.h"
#include "zolv-error.h"
#include "zolv-obj.h"
#include "zolv-plugin.h"

#include "helpers/zolv-helpers-common.h"
#include "helpers/zolv-helpers-config.h"
#include "helpers/zolv-helpers-luks-key.h"
#include "helpers/zolv-helpers-modprobe.h"
#include "helpers/zolv-helpers-sysfs-gpio.h"
#include "helpers/zolv-helpers-sysfs-i2c.h"
#include "helpers/zolv-helpers-sysfs-led.h"
#include "helpers/zolv-helpers-sysfs-pwm.h"
#include "helpers/zolv-helpers-ubootenv.h"

#include "peripherals/button/zolv-button.h"
#include "peripherals/buzzer/zolv-buzzer-gpio.h"
#include "peripherals/buzzer/zolv-buzzer-pcspkr.h"
#include "peripherals/buzzer/zolv-buzzer-pwm.h"
#include "peripherals/buzzer/zolv-buzzer.h"
#include "peripherals/console/zolv-console.h"
#include "peripherals/dio/zolv-dio-dualgpio.h"
#include "peripherals/dio/zolv-dio.h"
#include "peripherals/led/zolv-led-gpio.h"
#include "peripherals/led/zolv-led.h"

#include "services/zolv-partition-led-service.h"
#include "services/zolv-signal-led-service.h"
#include "services/zolv-sim-led-service.h"
