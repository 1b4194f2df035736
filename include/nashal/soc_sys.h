/* Pins and power settings that are not on a Super I/O chip.
 *
 * soc_sys_*: the system-on-chip's memory-mapped GPIO registers, reached through /dev/mem. The
 * physical base of the register block is "SOC_PHY_REG_BASE" of "System Enclosure" in
 * /etc/model.conf (hexadecimal), read once per process; pins are named by register offset from
 * that base and bit, as model values "SOC:I<offset>:B<bit>[:P]" give them. Writes are a
 * read-modify-write of one 32-bit word with no lock: two processes writing pins of the same word
 * at once can lose a change.
 *
 * ich_sys_*: the Intel I/O controller hub at PCI 00:1f.0: its GPIO block through the I/O ports
 * its configuration space names, and the power-failure bit (GEN_PMCON_3 bit 0) written back
 * into its configuration space.
 *
 * All return 0 on success and -1 on failure unless told otherwise. */
#ifndef NASHAL_SOC_SYS_H
#define NASHAL_SOC_SYS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The record of the activity LED blink of disk `led`: "%s_%d" of this and the LED number, a
 * symbolic link whose target is "/proc/<pid>\n" of the blink process, which bears the link's
 * path as its name. */
#define SOC_ACTIVE_BLINK_LINK "/tmp/active_blink"

/* One bit of the 32-bit register at SOC_PHY_REG_BASE + `reg_offset`: set for a non-zero
 * `value`, cleared for 0; or read into `*value` as 1 or 0. */
int mmio_set_gpio(int32_t reg_offset, int32_t bit, int value);
int mmio_get_gpio(int32_t reg_offset, int32_t bit, int *value);

/* Disk LEDs wired to SoC pins, active low: `value` 1 lights the LED (the pin is driven low). */
int soc_sys_set_hdd_err_led(int32_t reg_offset, int32_t bit, int value);
int soc_sys_set_present_led(int32_t reg_offset, int32_t bit, int value);
/* Activity LED `led` blinking (8 changes a second) while `on` is non-zero; off kills the blink
 * and leaves the pin high. A second "on" for a running blink changes nothing. */
int soc_sys_set_active_led(int led, int32_t reg_offset, int32_t bit, int on);

/* Buttons "USB_COPY_BUTTON" and "RESET_BUTTON" of "System IO" ("SOC:I<offset>:B<bit>", ":P"
 * inverts the level). The value is the pin's level after inversion. */
int soc_sys_get_usb_button(int *value);
int soc_sys_get_reset_button(int *value);

/* The level of SoC pin `pin` (0 to 63), 1 or 0. */
int soc_sys_get_gpio_val(int pin, int *value);

/* The level of hub pin `pin` (0 to 95), made a GPIO input first. Fails with GPIO disabled in the
 * hub's GPIO control word. */
int ich_sys_get_gpio_val(int pin, int *value);

/* Writes the hub's power-failure bit: `on` non-zero powers the machine up after a failure.
 * The configuration space must read back as exactly 256 bytes. */
int write_power_recovery_mode_to_ich(int on);

/* Recovery after a power failure: 0 and 1 power up (CMOS is told the mode as given), 2 stays
 * off, 3 stays off and 4 powers up without telling CMOS; any other mode stays off. Always 0:
 * a failed write is traced only. */
int ich_sys_set_power_recovery_mode(int mode);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SOC_SYS_H */
