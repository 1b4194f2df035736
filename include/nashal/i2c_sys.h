/* I2C core and devices (i2c_sys_ calls).
 *
 * Every call reaches its device through the Linux i2c-dev interface ("/dev/i2c-0", or
 * "/dev/i2c-%d" for the _dev_ calls and the EDID) and holds the one I2C lock, a System V
 * semaphore of key I2C_LOCK_KEY, for its whole length. Device addresses are 7-bit. Results are 0
 * or -1 unless told otherwise. */
#ifndef NASHAL_I2C_SYS_H
#define NASHAL_I2C_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The letters "I2C". */
#define I2C_LOCK_KEY 0x493243

/* What the battery gauge reports. The temperature is in degrees Celsius; the other fields are
 * the gauge's words as read (mV, mA, mAh). */
typedef struct BBU_STATUS {
    double temperature;
    int32_t voltage;
    int32_t current;
    int32_t remaining_capacity;
    int32_t full_charge_capacity;
} BBU_STATUS;

/* The lock of every bus user: 0 and the semaphore id in *semid, or -1 with a trace after three
 * failed attempts. */
int acquire_i2c_lock(int key, int *semid);
int release_i2c_lock(int semid);

/* Byte-wise transfers on an open bus: select the device, then one SMBus byte-data access per
 * byte at (offset + i) modulo 256, each retried up to 1025 times. */
int i2c_read(int fd, int addr, int offset, int length, uint8_t *buffer);
int i2c_write(int fd, int addr, int offset, const uint8_t *buffer, int length);

/* 1 when the fan monitor at addr on bus answers with its vendor id, 0 otherwise; the first
 * answer holds for the life of the process, whatever bus is asked later. */
int i2c_sys_check_hwmon(int bus, int addr);

/* PMBus power supply 1 or 2 ("REDUNDANT_POWER_%d" of "System IO"). *status becomes -1 when the
 * supply reports itself off, 0 otherwise. */
int i2c_sys_read_pmbus_status(int supply, int *status);
/* Degrees Celsius; -1 when the supply is off or reads 101 or more. */
int i2c_sys_read_pmbus_power_temp(int supply, double *temperature);
/* *fail is only ever set to 1 (the caller presets it). */
int i2c_sys_read_pmbus_power_fan(int supply, int *rpm, int *fail);

/* The 512-byte VPD ROM: two 256-byte pages at addr and addr + 1. The read returns length, or 0
 * (without touching the bus when length exceeds size or the ROM's end). */
int i2c_sys_read_vpd(int addr, int offset, int length, uint8_t *buffer, int size);
int i2c_sys_write_vpd(int addr, int offset, const uint8_t *buffer, int length);

/* The battery unit's GPIO expander: one byte at a register. The getter returns the byte, 0 on
 * failure. */
int i2c_sys_set_bbu_gpio(int addr, int reg, int value);
int i2c_sys_get_bbu_gpio(int addr, int reg);
int i2c_sys_get_bbu_status(int addr, BBU_STATUS *status);

/* Fans 1 to 6 of the fan monitor ("FAN_UNIT" of "System FAN"; for the _dev_ calls in
 * /etc/model_jbod.conf). Fans 1, 2, 4, 5 and 6 switch the monitor's input multiplexer and wait
 * a second for the tachometer. */
int i2c_sys_read_fan_speed(int fan, int *rpm, int *fail);
int i2c_sys_read_dev_fan_speed(int bus, int fan, int *rpm, int *fail);
int i2c_sys_set_fan_pwm(int fan, int pwm);
int i2c_sys_set_dev_fan_pwm(int bus, int fan, int pwm);
/* Drives the monitor's GPIO2 (the fan multiplexer) on an open, selected bus. */
int i2c_hwmon_set_gpio2(int fd, int value);

/* Plain device calls. i2c_sys_dev_read_byte_data returns the byte, -1 on failure. */
int i2c_sys_send_byte(int addr, int value);
int i2c_sys_dev_send_byte(int bus, int addr, int value);
int i2c_sys_dev_read_byte_data(int bus, int addr, int offset);
int i2c_sys_dev_write_byte_data(int bus, int addr, int offset, int data);
/* Sets (enable non-zero) or clears one bit of a register. */
int i2c_sys_dev_send_byte_data(int bus, int addr, int offset, int bit, int enable);

/* length bytes of a display's EDID from offset 0. */
int i2c_sys_read_edid(int bus, int addr, int length, uint8_t *buffer);

/* A raw write of length bytes to the device on bus 0. */
int i2c_sys_write(int addr, const uint8_t *buffer, int length);

/* The locate LEDs that an I2C LED controller drives: one disk's ("LOCATE_ENCLOSURE_LED" of
 * "System Disk %d") and the whole unit's ("FULL_LOCATE_LED" of "System IO"). "root" only. */
int i2c_set_enclosure_port_led(const char *enc_sys_id, int port, int on);
int i2c_sys_set_enclosure_led(const char *enc_sys_id, int on);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_I2C_SYS_H */
