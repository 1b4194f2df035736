// Driver calls the panel, power and fan routes of the main unit make into drivers not in this
// build yet (disk LEDs); the I2C devices, the SoC and hub GPIO and the PIC and MCU links are in
// the build and come with their own headers. They
// are declared here as those drivers name them; pending_panel_drivers.cpp holds weak stand-ins
// that fail with -1 and a trace, which the real drivers replace at link time when they land.
#ifndef NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
#define NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H

#include "nashal/hal_types.h"
#include "nashal/i2c_sys.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/soc_sys.h"

extern "C" {

int pd_sys_set_err_led(const char *enc_sys_id, int port_id, int on);
int pd_sys_set_present_led(const char *enc_sys_id, int port_id, int on);
}

#endif  // NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
