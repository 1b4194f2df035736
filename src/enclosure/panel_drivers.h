// The driver headers the panel, power and fan routes of the main unit call into: the I2C
// devices, the SoC and hub GPIO, the disk LEDs and the PIC and MCU links, all in the build.
#ifndef NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
#define NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H

#include "nashal/hal_types.h"
#include "nashal/i2c_sys.h"
#include "nashal/mcu_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/soc_sys.h"

#endif  // NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
