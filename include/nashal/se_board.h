/* The main unit's identity places and service routes. A model key of "System Enclosure" says
 * where each thing is kept: "BOARD_SN_DEVICE" and "ETH_MAC_DEVICE" name a network port's
 * EEPROM ("NET:<port from 1>"), the panel controller ("PIC", "MCU") or a place on the boot disk
 * ("BOOT<partition>:<offset>", the offset in any base strtol takes). */
#ifndef NASHAL_SE_BOARD_H
#define NASHAL_SE_BOARD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* `length` bytes at `offset` plus the value's offset in the boot disk's partition named by a
 * "BOOT" value, read (write 0) into or written (write 1) from buffer. 0 or -1. */
int raw_device_access(const char *value, int write, uint64_t offset, char *buffer, int length);

/* MAC address text ("00:11:32:0A:00:42") of network port `port` (from 0). A place that can't
 * be read gives "00:00:00:00:05:09" and 0; only a missing key and a failing network EEPROM are
 * -1. */
int se_sys_get_mac(int port, char *text, int size);
int se_sys_set_mac(int port, const char *text);

/* The model prefix ("MP=" and at most 8 characters) at byte 7864448 of the boot disk's
 * partition 6, "root" only. A reading buffer must hold at least 9 bytes. 0 or -1. */
int se_sys_set_model_prefix_name(const char *enc_sys_id, const char *prefix);

/* "BOOT_RECOVERY_MODE" of "Boot Enclosure" (default -1) and "BOOT_PARTITION" (default 1).
 * Always 0. */
int se_sys_get_boot_parms(int *recovery_mode, int *partition);
/* The external SAS connectors of the internal adapter ("EXT_CONNECTOR_COUNT",
 * "EXT_PORTS_IN_CONNECTOR" of "System Internal SAS"); "root" with CAP_INTERNAL_SAS. 0 or -1. */
int se_sys_get_connector_info(const char *enc_sys_id, int *connector_count,
                              int *ports_in_connector);

/* The panel controller's EEPROM and watchdog, "root" with CAP_PIC. A read longer than `limit`
 * is refused; watchdog modes are 0, 1, 2. */
int se_sys_read_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length, uint8_t *buffer,
                           uint8_t limit);
int se_sys_write_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length,
                            const uint8_t *buffer);
int se_sys_set_pic_wdt(const char *enc_sys_id, int mode);

/* The SAS adapter in PCIe slot `slot` (0: the internal one), read with /sbin/lsiutil. Each
 * non-null output is cleared and filled; `firmware` is "<firmware>_<nvdata>" and is the only
 * one whose failure gives -1. */
int se_sys_get_SAS_HBA_info(int slot, char *name, int name_size, char *serial, int serial_size,
                            char *firmware, int firmware_size, char *wwn, int wwn_size);
/* The two version texts of a firmware file named "<prefix>_<first>_<second>.<ending>" (the
 * first 32 characters are looked at). 0 or -1. */
int se_sys_get_SAS_FW_fileinfo(const char *file_name, char *first, int first_size, char *second,
                               int second_size);
/* Flashes `image` into the adapter of `slot` with sas3flash (sas_version 3) or sas2flash,
 * keeping its board name and serial number, and reads the new firmware text into `version`.
 * 0 or -1; the tools' own results are not looked at. */
int se_sys_upgrade_hba_fw(int slot, const char *image, char *version, int version_size,
                          int sas_version);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_BOARD_H */
