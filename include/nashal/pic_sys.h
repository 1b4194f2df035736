/* The PIC link: a small controller on a serial line of the main unit or of a USB expansion
 * enclosure. One monitor process per enclosure owns the line; every other process is a client
 * that gives orders through a System V message queue, reads the monitor's findings from files
 * under /tmp/em and receives EEPROM bytes through a FIFO.
 *
 * Identities: enc_sys_id is "root" or "usb_" and a USB port path; pic_id is "root" or the port
 * path. Results are 0 for success and -1 for failure unless told otherwise. */
#ifndef NASHAL_PIC_SYS_H
#define NASHAL_PIC_SYS_H

#include <stdint.h>

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Files of a monitor, built from PIC_EM_DIR and the id in HAL_NAME_LEN buffers. */
#define PIC_EM_DIR "/tmp/em"
#define PIC_LOCK_KEY 0x504943 /* the letters "PIC": one EEPROM access at a time */
#define PIC_ROOT_NO_DATA_LIMIT 5
#define PIC_USB_NO_DATA_LIMIT 2
#define PIC_WAIT_MS 1000

/* One order to a monitor, sent with message type 1 and a payload of 76 bytes. For a plain
 * command only `command` is set; `offset` and `length` use their low byte. */
typedef struct PIC_REQUEST {
    long mtype;
    int32_t command;
    int32_t offset;
    int32_t length;
    uint8_t data[64];
} PIC_REQUEST;

/* The queue key (a System V key_t) of an id: digits count 4 bits, lower-case letters 8
 * (letter - 'a'), other characters are skipped; a width of 9 nibbles or more is -1. "root" is
 * 0x110E0E13. */
int create_msgkey(const char *pic_id, int32_t *key);

/* 0 when a monitor runs or was started, -1 on failure. no_fan_poll: 0 polls the fan speeds. */
int pic_sys_start_monitor(const char *enc_sys_id, int no_fan_poll);
/* 1 when the monitor of pic_id lives, else 0. */
int pic_sys_check_daemon_exist(const char *pic_id);
/* Queues one command; 0 does not mean the controller acted. */
int pic_sys_send_cmd(const char *enc_sys_id, const char *pic_id, int command);
/* write 1 writes `length` (at most 64) bytes, 0 reads them into buffer. A write gives 0; a read
 * gives the byte count of its last read, and a value below 1 is a failure. */
int pic_sys_access_eeprom(const char *pic_id, int write, int offset, int length,
                          unsigned char *buffer);
int pic_sys_get_sn(const char *pic_id, char *buffer, int size);
int pic_sys_set_sn(const char *pic_id, const char *serial);
/* index 0 or 1. The buffer needs length + 1 bytes when no monitor runs. */
int pic_sys_get_mac(int index, char *buffer, int length);
int pic_sys_set_mac(int index, const char *text, int ignored);
int pic_sys_get_temp(const char *enc_sys_id, const char *pic_id, double *temperature);
int pic_sys_get_fan_status(const char *enc_sys_id, const char *pic_id, int fan, int *status);
int pic_sys_get_fan_speed(const char *enc_sys_id, const char *pic_id, int fan, int *speed);
/* status -1 for a failed supply, 0 for a good one. */
int pic_sys_get_pwr_status(const char *enc_sys_id, const char *pic_id, int supply, int *status);
/* level 0 to 7; another level is -1 and sends nothing. */
int pic_sys_set_fan_speed(const char *enc_sys_id, const char *pic_id, int level);
/* Always 0. */
int pic_sys_set_power_recovery_mode(const char *enc_sys_id, int mode);

/* Line primitives, exported for tools and tests. */
int pic_init_uart(const char *device);
/* One byte within timeout_ms into *out (0xFF until then): 0, -1 on timeout, or the failed
 * read's result. */
int pic_wait_data(int fd, int timeout_ms, unsigned char *out);
unsigned char pic_checksum(const unsigned char *data, int length);
/* What the monitor does with one order and with the bytes waiting on its line. */
int pic_handle_cmd(int fd, const char *pic_id, int command, int offset, int length,
                   unsigned char *buffer);
int pic_parse_data_in(int fd, const char *pic_id);

/* USB expansion enclosures whose hub lost a port: 0 and the hub's bus and device numbers when
 * one needs a reset, 1 when nothing does. */
int check_usb_expander_all_ports_exist(const char *enc_sys_id, int *bus, int *dev);
int reset_usb_hub(int bus, int dev);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_PIC_SYS_H */
