/* Super I/O services: the LEDs, buttons, power functions, fans and sensors that a model puts on
 * the board's Super I/O chip.
 *
 * The chip is named by "SIO_DEVICE" of section "System Enclosure" of /etc/model.conf ("F71869A",
 * "IT87", "F81866A", "NCT5523", in any case); the GPIOs by keys of section "System IO" (and
 * "PRESENT_LED" of "System Disk %d") in the form "SIO:I<index>:B<bit>", hexadecimal. A missing
 * "SIO_DEVICE" or key, or a value without "I", is -1; a chip a call doesn't serve traces
 * "NOT implement." and is -1. GPIO values are active at 1 (a value written reads back as
 * itself). All return 0 on success and -1 on failure unless told otherwise.
 *
 * Software blinks run in background processes named "sled_blink", "usb_led_blink" and
 * "pwr_led_blink", recorded by the links /tmp/status_blink_process, /tmp/usb_blink_process and
 * /tmp/power_blink_process ("/proc/<pid>"), and ended with signal 9 by the next call for that
 * LED. Fans and sensors are the files of /sys/class/hwmon/hwmon0/device, read under the chip's
 * lock. */
#ifndef NASHAL_SIO_SYS_H
#define NASHAL_SIO_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Chip index of each "SIO_DEVICE" name. */
#define SIO_CHIP_F71869A 0
#define SIO_CHIP_IT87 1
#define SIO_CHIP_F81866A 2
#define SIO_CHIP_NCT5523 3

#define SIO_MODEL_SECTION "System IO"
#define SIO_HWMON_DIR "/sys/class/hwmon/hwmon0/device"
#define SIO_STATUS_BLINK_LINK "/tmp/status_blink_process"
#define SIO_USB_BLINK_LINK "/tmp/usb_blink_process"
#define SIO_POWER_BLINK_LINK "/tmp/power_blink_process"

/* LEDs. `value` 1 lights, 0 darkens. Colour 0 is red, 1 green; for the blink also 2, red and
 * green alternating. The blink calls with `on` set return -1 after starting the blink, as the
 * workers always have; with `on` 0 they return 0. */
int sio_sys_set_hdd_err_led(int gpio_index, int gpio_bit, int value);
int sio_sys_set_status_led(int colour, int value);
int sio_sys_blink_status_led(int colour, int on);
int sio_sys_set_status_led_in_night_mode(int value);
int sio_sys_set_general_led_in_night_mode(int value);
int sio_sys_set_standby_led(int value);
int sio_sys_set_usb_led(int value);
int sio_sys_blink_usb_led(int on);
int sio_sys_set_pd_present_led(int value, int disk);
int sio_sys_set_power_led(int value);
int sio_sys_blink_power_led(int on);
int sio_sys_set_10G_led(int value);
int sio_sys_set_JBOD_connect_led(int value);
/* `gpio` is a GPIO text itself; a "P" field makes it active low. */
int sio_sys_set_GPIO_led(const char *gpio, int value);

/* Buttons and pins: 1 pressed (or active), 0 not. */
int sio_sys_get_usb_button(int32_t *value);
int sio_sys_get_reset_button(int32_t *value);
/* IT87 only: tens digit the group (from 1), units digit the bit; 9 or less is -1. */
int sio_sys_get_gpio_val(int gpio_number, int32_t *value);
/* `status` becomes -1 when supply `supply` ("REDUNDANT_POWER_%d") reports a failure, else 0. */
int sio_sys_get_power_supply_status(int supply, int32_t *status);

/* Power policy: recovery mode after a power loss (0, 1, 2; 3 and 4 chip-only), EuP, the power
 * button (mode non-zero hands it to software; status 1 while pressed), chip id. */
int sio_sys_get_power_recovery_mode(int32_t *mode);
int sio_sys_set_power_recovery_mode(int mode);
int sio_sys_get_eup_state(int32_t *state);
int sio_sys_set_eup_state(int state);
int sio_sys_set_pwb_mode(int mode);
int sio_sys_get_pwb_status(int32_t *value);
int sio_sys_get_chip_id(uint16_t *id);
/* Called while the caller holds the I2C lock; takes no Super I/O lock. 0 when the model has no
 * "REDUNDANT_POWER_SWITCH". */
int sio_sys_enable_pmbus_locked(int value);

/* hwmon files of SIO_HWMON_DIR. */
int sio_sys_get_cover_status(int32_t *value);
int sio_sys_get_temperature(int sensor, double *celsius);
int sio_sys_get_fan_pwm(int fan, int32_t *value);
int sio_sys_get_fan_alarm(int fan, int32_t *value);
/* `fail` is 1 for a fan that should turn and doesn't. */
int sio_sys_get_fan_speed(int fan, int32_t *rpm, int32_t *fail);
int sio_sys_set_fan_pwm(int fan, int value);

/* The blink records: the pid of a running blink, or -1. */
int get_status_blink_pid(void);
int get_usb_blink_pid(void);
int get_power_blink_pid(void);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SIO_SYS_H */
