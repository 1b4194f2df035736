// The lowest layer of the Super I/O driver: the cross-process lock on the chip and the
// operations of the four chips, by chip index (0 F71869A, 1 IT87, 2 F81866A, 3 NCT5523). Only
// the services (sio_sys_*) call these. Every operation that touches the chip holds the lock for
// its whole configuration cycle, apart from set_pmbus_gpio_unlocked, whose caller holds the I2C
// lock and must not wait for this one as well. All return 0 (or a non-negative value) on
// success and -1 on failure.
#ifndef NASHAL_DRIVERS_SUPERIO_CHIPS_H
#define NASHAL_DRIVERS_SUPERIO_CHIPS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* System V semaphore key of the Super I/O lock. */
#define SIO_LOCK_KEY 0x483

/* One System V semaphore set of one semaphore at `key`, mode 0666, taken with SEM_UNDO so that
 * a holder killed with signal 9 gives it back. The creator sets it to 1. Three attempts. The
 * I2C and controller EEPROM locks are the same routine with their own keys. */
int acquire_sio_lock(int key, int *semaphore_id);
int release_sio_lock(int semaphore_id);

/* GPIO bits, active low at this interface: a non-zero value clears the bit, a read gives 1 for
 * a clear bit. A value written reads back as itself. */
int set_gpio_bit(int chip, int gpio_index, int gpio_bit, int value);
int get_gpio_bit(int chip, int gpio_index, int gpio_bit);
/* set_gpio_bit without the lock, chips 0 to 2; always 0. */
int set_pmbus_gpio_unlocked(int chip, int gpio_index, int gpio_bit, int value);

/* Power button: mode non-zero hands the pin to software as a GPIO, 0 gives it back. The status
 * is 1 while the button is pressed. */
int set_pwb_mode(int chip, int mode);
int get_pwb_status(int chip, int32_t *value);

/* Registers 0x20 and 0x21 of the global space; chips 0 to 2. */
int get_chip_id(int chip, uint16_t *id);

/* Chip and CMOS copy of the power-loss policy; modes 3 and 4 change the chip only. */
int set_power_recovery_mode(int chip, int mode);

int sio_f71882fg_get_recovery_mode(int32_t *mode);
int sio_f71882fg_set_recovery_mode(int mode);
int sio_it87_set_recovery_mode(int mode);
int sio_nct5523_get_recovery_mode(int32_t *mode);
int sio_nct5523_set_recovery_mode(int mode);

int sio_f71882fg_get_eup_state(int32_t *state);
int sio_f71882fg_set_eup_state(int state);
int sio_it87_get_eup_state(int32_t *state);
int sio_it87_set_eup_state(int state);

int sio_f71882fg_set_standby_led(int on);

/* IT87 hardware blink: the status LED on channel 1, USB and power LEDs on channel 2. */
int sio_it87_blink_status_led(int gpio_index, int gpio_bit);
int sio_it87_blink_usb_led(int gpio_index, int gpio_bit);
int sio_it87_blink_power_led(int gpio_index, int gpio_bit);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_DRIVERS_SUPERIO_CHIPS_H */
