// Driver calls the panel, power and fan routes of the main unit make into drivers built by other
// changes (I2C devices, SoC GPIO and the I/O controller hub, disk LEDs); the PIC and MCU links
// are in the build and come with their own headers. They
// are declared here as those drivers name them; pending_panel_drivers.cpp holds weak stand-ins
// that fail with -1 and a trace, which the real drivers replace at link time when they land.
#ifndef NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
#define NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H

#include "nashal/hal_types.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"

extern "C" {

int i2c_sys_read_pmbus_status(int supply, int *status);
int i2c_sys_read_pmbus_power_temp(int supply, double *temperature);
int i2c_sys_read_pmbus_power_fan(int supply, int *rpm, int *fail);
int i2c_sys_read_fan_speed(int fan, int *rpm, int *fail);
int i2c_sys_read_dev_fan_speed(int bus, int fan, int *rpm, int *fail);
int i2c_sys_set_fan_pwm(int fan, int pwm);
int i2c_sys_set_dev_fan_pwm(int bus, int fan, int pwm);
int i2c_sys_send_byte(int addr, int value);
int i2c_sys_set_enclosure_led(const char *enc_sys_id, int on);
int i2c_sys_dev_write_byte_data(int bus, int addr, int offset, int data);

int pd_sys_set_err_led(const char *enc_sys_id, int port_id, int on);
int pd_sys_set_present_led(const char *enc_sys_id, int port_id, int on);

int soc_sys_get_usb_button(int *pressed);
int soc_sys_get_reset_button(int *pressed);
int ich_sys_set_power_recovery_mode(int mode);
}

#endif  // NASHAL_ENCLOSURE_PENDING_PANEL_DRIVERS_H
