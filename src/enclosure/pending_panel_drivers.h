// Driver calls the panel, power and fan routes of the main unit make into drivers not in this
// build yet (SoC GPIO and the I/O controller hub); the I2C devices, the disk LEDs and the PIC and
// MCU links are in the build and come with their own headers. They
// are declared here as those drivers name them; pending_panel_drivers.cpp holds weak stand-ins
// that fail with -1 and a trace, which the real drivers replace at link time when they land.
#ifndef NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
#define NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H

#include "nashal/hal_types.h"
#include "nashal/i2c_sys.h"
#include "nashal/mcu_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/pic_sys.h"

extern "C" {

int soc_sys_get_usb_button(int *pressed);
int soc_sys_get_reset_button(int *pressed);
int ich_sys_set_power_recovery_mode(int mode);
}

#endif  // NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
