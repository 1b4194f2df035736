/* The MCU link: the newer controller in the place of the PIC, driven by the same design (one
 * monitor per enclosure, a System V queue for orders, files under /tmp/em, a FIFO for EEPROM
 * reads). It adds a table of five-byte commands for the disk error LEDs and EuP. mcu_id is read
 * as pic_id in <nashal/pic_sys.h>. An enclosure has a PIC or an MCU, never both: they share the
 * queue key, the FIFO and the data files. */
#ifndef NASHAL_MCU_SYS_H
#define NASHAL_MCU_SYS_H

#include <stdint.h>

#include <nashal/pic_sys.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MCU_LOCK_KEY 0xBDA51 /* its own semaphore: PIC and MCU clients never wait for each other \
                              */
#define MCU_CMD_COUNT 18

typedef PIC_REQUEST MCU_REQUEST;

/* One table command: code (0x1000 + index), name, four ASCII characters and their XOR. */
typedef struct MCU_CMD {
    uint32_t code;
    const char *name;
    unsigned char bytes[5];
    int length;
} MCU_CMD;

extern const MCU_CMD mcu_cmds[MCU_CMD_COUNT];

#define MCU_CMD_HDD_ERROR1_ON 0x1000 /* port n adds 4 * (n - 1) */
#define MCU_CMD_HDD_ERROR1_OFF 0x1001
#define MCU_CMD_HDD_ERR1_BLINK_1HZ 0x1002
#define MCU_CMD_HDD_ERR1_BLINK_5HZ 0x1003
#define MCU_CMD_LAN_PHY_ERP_ON 0x1010
#define MCU_CMD_LAN_PHY_ERP_OFF 0x1011

int mcu_sys_start_monitor(const char *enc_sys_id, int no_fan_poll);
int mcu_sys_check_daemon_exist(const char *mcu_id);
int mcu_sys_send_cmd(const char *enc_sys_id, const char *mcu_id, int command);
int mcu_sys_access_eeprom(const char *mcu_id, int write, int offset, int length,
                          unsigned char *buffer);
int mcu_sys_get_sn(const char *mcu_id, char *buffer, int size);
int mcu_sys_set_sn(const char *mcu_id, const char *serial);
/* index * 17 + 36, 17 bytes; without a monitor the buffer needs at least 18 bytes. */
int mcu_sys_get_mac(int index, char *buffer, int buffer_length);
/* index 0 to 8; write slots in rising order (a 17-character text's terminator lands on the next
 * slot). */
int mcu_sys_set_mac(int index, const char *text, int ignored);
int mcu_sys_get_temp(const char *enc_sys_id, const char *mcu_id, double *temperature);
int mcu_sys_get_fan_status(const char *enc_sys_id, const char *mcu_id, int fan, int *status);
int mcu_sys_get_fan_speed(const char *enc_sys_id, const char *mcu_id, int fan, int *speed);
int mcu_sys_get_pwr_status(const char *enc_sys_id, const char *mcu_id, int supply, int *status);
/* level 0 to 7 sends 0x30 to 0x37; another level is -1. */
int mcu_sys_set_fan_speed(const char *enc_sys_id, const char *mcu_id, int level);
int mcu_sys_set_power_recovery_mode(const char *enc_sys_id, int mode);

/* Disk error LEDs of ports 1 to 4 (another port is -1). */
int mcu_sys_set_hdd_err_led(const char *enc_sys_id, int port, int on);
int mcu_sys_set_blink_hdd_err_led(const char *enc_sys_id, int port, int on);
int mcu_set_enclosure_port_led(const char *enc_sys_id, int port, int on);
/* The whole chassis' locate LEDs: every disk's error LED off, then each port whose
 * "LOCATE_LED" names the MCU. "root" only; always 0 once MAX_DISK_NUM is read. */
int mcu_sys_set_enclosure_led(const char *enc_sys_id, int on);

int mcu_init_uart(const char *device);
int mcu_wait_data(int fd, int timeout_ms, unsigned char *out);
/* Reads `length` bytes in one read: 0 when all came, else the read's result (a short read is
 * positive, and callers that test for a negative result let it pass). */
int mcu_wait_data_with_len(int fd, int timeout_ms, unsigned char *buffer, int length);
int mcu_handle_cmd(int fd, const char *mcu_id, int command, int offset, int length,
                   unsigned char *buffer);
int mcu_parse_data_in(int fd, const char *mcu_id);
int mcu_check_usb_expander_all_ports_exist(const char *enc_sys_id, int *bus, int *dev);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_MCU_SYS_H */
