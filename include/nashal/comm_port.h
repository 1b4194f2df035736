/* CMOS settings and port primitives: serial frames, I/O ports, gpiolib.
 *
 * CMOS bytes are reached through the model value "PWR_RECOVERY_CMOS_STORE" or "C2F_CMOS_STORE"
 * ("70,7E": I/O port and CMOS index, hexadecimal) of section "System Enclosure" of
 * /etc/model.conf: the index goes to the port, the byte to or from the port plus 1. All return 0
 * on success and -1 on failure unless told otherwise; a missing store key is -1, so that a
 * caller can try another method. */
#ifndef NASHAL_COMM_PORT_H
#define NASHAL_COMM_PORT_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Power byte, at the index of "PWR_RECOVERY_CMOS_STORE". */
#define CMOS_PWR_RECOVERY_SHIFT 6 /* bits 7, 6: recovery code */
#define CMOS_PWR_RECOVERY_MASK 0xC0u
#define CMOS_PWR_EUP_BIT 0x20u    /* bit 5: EuP on */
#define CMOS_PWR_INIT_MASK 0x1Fu  /* bits 4 to 0 ... */
#define CMOS_PWR_INIT_VALUE 0x01u /* ... equal 1 once the BIOS has initialised the byte */

/* C2F byte, at the index of "C2F_CMOS_STORE". */
#define CMOS_C2F_SIZE_SHIFT 6 /* bits 7, 6: 0 is 1, 1 is 2, 2 is 4, 3 is 8 */
#define CMOS_C2F_SIZE_MASK 0xC0u
#define CMOS_C2F_ENABLE_BIT 0x20u  /* bit 5 */
#define CMOS_C2F_WRITTEN_BIT 0x10u /* bit 4: set whenever written */
#define CMOS_C2F_VALID_MASK 0x0Fu  /* bits 3 to 0 ... */
#define CMOS_C2F_VALID_VALUE 0x01u /* ... equal 1 when valid */

/* Serial links: link 0 is /dev/ttyS0, any other /dev/ttyS1; a frame with all its retries holds
 * the lock file "%s_%d.lck" of UART_LOCK_PREFIX and the link number. */
#define UART_LOCK_PREFIX "/var/lock/uart"
#define UART_TRIES 3
#define UART_REPLY_TIMEOUT_MS 3000
#define UART_CPLD_ACK 'U'
#define UART_MCU_FRAME_MAX 32 /* list bytes and checksum */
#define UART_MCU_REPLY_LEN 3  /* first byte, status, checksum of the two */
#define UART_MCU_STATUS_OK '0'

/* Recovery mode after a power loss, as the system numbers it (0, 1, 2), read from the power
 * byte. With `initialised_form` set and a byte the BIOS has initialised, the code is read by the
 * initialised table, otherwise by the plain one; a code with no mode leaves `mode` untouched. */
int comm_sys_get_power_recovery_mode_from_cmos(int32_t *mode, int initialised_form);
/* Writes the recovery code of `mode`; modes 3 and 4 return 0 and touch nothing. */
int comm_sys_set_power_recovery_mode_to_cmos(int mode, int initialised_form);
/* Sets (enable) or clears bit 5 of the power byte. */
int comm_sys_set_eup_mode_to_cmos(int enable);
/* 1 when the power byte's low 5 bits are 1, 0 when not, -1 when there's no store. */
int comm_sys_check_CMOS_is_initialized_by_BIOS(void);

/* Bitmap of the reservation sizes the memory admits (bit n admits size n); -1 with the bitmap 0
 * when the memory size can't be read. */
int comm_sys_get_c2f_support_mem_reserved(int32_t *bitmap);
/* Size 1, 2, 4 (8 is a legal code but no bitmap admits it); -1 keeps the size stored. */
int comm_sys_set_c2f_to_cmos(int enable, int size);
/* -1 when the byte isn't valid (low 4 bits not 1). */
int comm_sys_get_c2f_from_cmos(int32_t *enable, int32_t *size);
/* The enclosure backend's names for the two calls above. */
int se_sys_set_c2f_to_cmos(int enable, int size);
int se_sys_get_c2f_from_cmos(int32_t *enable, int32_t *size);

/* `value` is a writable copy of a model value "UART<link>:CPLD:<on>:<off>" or
 * "UART<link>:MCU:<on list>:<off list>"; it is cut by the call. */
int common_sys_send_uart_data(char *value, int enable);
/* One byte, acknowledged by "U"; three tries of up to 3000 ms each. */
int __uart_send_cpld_data(int link, uint8_t byte);
/* A list of hexadecimal bytes joined by ",", sent with its XOR checksum; the 3-byte reply must
 * carry status "0". Three tries of up to 3000 ms each. */
int __uart_send_mcu_data(int link, const char *list);

/* Writes the low byte of `value` to the port; always 0. */
int common_sys_set_ioport(int port, int value);
/* Active-low bit: `on` clears it, 0 sets it; always 0. */
int common_sys_set_ioport_bit(int port, int bit, int on);
/* Writes /sys/class/gpio/gpio<pin>/value through the shell; always 0. */
int common_sys_set_gpiolib(int pin, int value);
/* The value of the pin; 0 when it can't be read. */
int common_sys_get_gpiolib(int pin);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_PORT_H */
