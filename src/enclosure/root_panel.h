// The main unit's side of the panel, power, buzzer, sensor and fan operations: what the routing
// of operation_routing.cpp calls once an enc_sys_id has been found to be "root" (or, for fans,
// a Thunderbolt enclosure). Each reads the model value of the feature and lets its method word
// pick the driver.
#ifndef NASHAL_ENCLOSURE_ROOT_PANEL_H
#define NASHAL_ENCLOSURE_ROOT_PANEL_H

#include "nashal/hal_types.h"

extern "C" {
int root_set_status_led(int colour, int enable);
int root_blink_status_led(int colour, int enable);
int root_set_ident_led(const char *enc_sys_id, int enable);
int root_get_power_supply_status(int index, int *status);
int gpio_sys_get_power_supply_status(int index, int *status);

int root_set_buzzer(int mode);
int root_beep(int long_beep);

int root_get_temp_index(int temp_index, int *hm_type, int *channel);
int root_get_temp(int temp_index, double *temperature);
int root_get_fan_index(int fan_index, int *hm_type, int *channel);
int root_get_fan_speed(int fan_index, int *speed, int *status);
int root_set_fan_pwm(int fan_index, int pwm);
int root_set_fan_speed(int fan_index, int level);
int root_get_fan_level(int level, int *pwm);
int thunderbolt_get_fan_index(int fan_index, int *hm_type, int *channel);
int thunderbolt_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status);
int thunderbolt_set_fan_pwm(const char *enc_sys_id, int fan_index, int pwm);
int thunderbolt_set_fan_speed(const char *enc_sys_id, int fan_index, int level);
int thunderbolt_get_fan_level(int level, int *pwm);
int get_soc_temp(double *temperature);

int thunderbolt_set_status_led(const char *enc_sys_id, int colour, int enable);
int thunderbolt_blink_status_led(const char *enc_sys_id, int colour, int enable);
int thunderbolt_set_7_segment_led(const char *enc_sys_id, int value);
int thunderbolt_set_ident_led(const char *enc_sys_id, int enable);
int usb_expander_set_status_led(const char *enc_sys_id, int colour, int enable);
int usb_expander_blink_status_led(const char *enc_sys_id, int colour, int enable);
int usb_expander_set_buzzer(const char *enc_sys_id, int mode);
int get_dts_temp(int core_count, double *temperature);
}

#endif  // NASHAL_ENCLOSURE_ROOT_PANEL_H
