/* The enclosure backend: se_sys_ operations and the hot-plug entries SE_Sys_*.
 *
 * Every operation takes an enc_sys_id and finds the kind of enclosure by string comparison in a
 * fixed order. enc_sys_id forms (at most 31 characters):
 *   "root"          the main unit
 *   "root_boot"     the boot device, as an enclosure of its own
 *   "root_usb"      the chassis USB ports
 *   "root_esata"    the eSATA ports (present while CAP_NO_ESATA is clear)
 *   "root_cache"    the cache-disk bay (present with CAP_CACHE_ENCLOSURE)
 *   "root_pcie_%d"  disks on the controller in PCIe slot %d, from 1 (CAP_PCIE_EXPANSION)
 *   "sg%d"          a SAS expansion enclosure, named by its enclosure services node
 *   "usb_" + name   a USB expansion enclosure or hub, name as in /sys/bus/usb/devices
 *   "i2c-%d"        a Thunderbolt expansion enclosure, %d the I2C bus (above 99) */
#ifndef NASHAL_SE_SYS_H
#define NASHAL_SE_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The model files. */
#define SE_MODEL_CONF_FILE "/etc/model.conf"
#define SE_MODEL_EXT_CONF_FILE "/etc/model_ext.conf"
#define SE_MODEL_JBOD_CONF_FILE "/etc/model_jbod.conf"
#define SE_PLATFORM_CONF_FILE "/etc/platform.conf"

/* Which enclosures exist now. Fills enc_sys_ids with texts the caller frees and returns how
 * many were found; a result above max_count means not all fitted. */
int se_sys_enumerate(char **enc_sys_ids, unsigned int max_count);
/* What one enclosure is. Clears the record first; 0, or negative with the record undefined. */
int se_sys_getinfo(const char *enc_sys_id, ENC_INFO *info);

/* Hot-plug entries. */
int SE_Sys_Attach(const char *enc_sys_id, int report_limit);
int SE_Sys_Pre_Detach(const char *enc_sys_id);
int SE_Sys_Detach(const char *enc_sys_id);
/* 1 present, 0 absent, -1 error. */
int SE_Sys_Exist(const char *enc_sys_id);

/* Disks that hang on the controller of a PCIe slot's section (its "DEV_BUS"). */
int get_pcie_port_max_disknum(const char *section);
/* Stores "root_pcie_<slot>" when disks hang directly on the controller of that PCIe slot
 * (slots counted from 1): 1 with disks, 0 without, -1 when sysfs can't be read. */
int pcie_disk_enumerate(char **enc_sys_ids, unsigned int max_count, int slot);

/* The name shown to the user, worked out from the model file and cached in
 * /etc/platform.conf. "root" only; 0 or -1. */
int se_sys_get_display_name(const char *enc_sys_id, char *buffer, int size);
/* 1 for "root" when the memory in use has ECC, else 0. */
int se_sys_check_ECC_memory_installed(const char *enc_sys_id);
/* The model prefix kept on the boot disk, "root" only; 0 or -1. */
int se_sys_get_model_prefix_name(const char *enc_sys_id, char *buffer, int size);

/* Sensors and fans. */
int se_sys_get_temp(const char *enc_sys_id, int temp_index, double *temperature);
int se_sys_get_voltage(const char *enc_sys_id, int index);
int se_sys_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status);
int se_sys_set_fan_speed(const char *enc_sys_id, int fan_index, int level);
int se_sys_set_fan_pwm(const char *enc_sys_id, int fan_index, int pwm);

/* LEDs, buzzer, display, power supplies. */
int se_sys_set_status_led(const char *enc_sys_id, int colour, int enable);
int se_sys_blink_status_led(const char *enc_sys_id, int colour, int enable);
int se_sys_set_ident_led(const char *enc_sys_id, int enable);
int se_sys_set_buzzer(const char *enc_sys_id, int mode);
int se_sys_set_7_segment_led(const char *enc_sys_id, int value);
int se_sys_get_power_supply_status(const char *enc_sys_id, int index, int *status);

/* The main unit's front panel ("root" only). Each LED's model value of "System IO" names its
 * driver by its first word ("SIO", "PIC", "MCU", "IOPORT", "UART", "I2C"); a board without the
 * key has no such LED and the call is -1, silently. `enable` 1 lights or blinks, 0 darkens. */
int se_sys_set_status_led_in_night_mode(const char *enc_sys_id, int value);
int se_sys_set_general_led_in_night_mode(const char *enc_sys_id, int value);
int se_sys_set_standby_led(const char *enc_sys_id, int value);
int se_sys_set_usb_led(const char *enc_sys_id, int enable);
int se_sys_blink_usb_led(const char *enc_sys_id, int enable);
int se_sys_set_power_led(const char *enc_sys_id, int enable);
int se_sys_blink_power_led(const char *enc_sys_id, int enable);
int se_sys_set_10G_led(const char *enc_sys_id, int enable);
int se_sys_set_JBOD_connect_led(const char *enc_sys_id, int enable);
int se_sys_set_pwm_led(const char *enc_sys_id, int value);
/* Blinks the LEDs of slot `port_id` (-1: the whole enclosure) from a background process
 * "ident_led_blink", whose state is kept in "/tmp/ident_blink_<enc_sys_id>"; `err_state` 1 leaves
 * a slot that stops blinking with its error LED on. */
int se_sys_set_pd_ident_led(const char *enc_sys_id, int port_id, int enable, int err_state);
/* Thunderbolt enclosures: fan-error and overheat LEDs, pattern 1 to 6, anything else off. */
int se_sys_set_fanerror_led(const char *enc_sys_id, int pattern);
int se_sys_set_overheat_led(const char *enc_sys_id, int pattern);
/* Buttons and switches: 1 pressed (cover open), 0 not. */
int se_sys_get_usb_button(const char *enc_sys_id, int *pressed);
int se_sys_get_reset_button(const char *enc_sys_id, int *pressed);
int se_sys_get_case_status(const char *enc_sys_id, int *status);
/* The power button, handed to software (mode non-zero) or not; status 1 while pressed. */
int se_sys_set_pwb_mode(int mode);
int se_sys_get_pwb_status(int *status);

/* Power policy of the main unit: recovery after a power loss ("PWR_RECOVERY_UNIT": "SIO", "ICH",
 * "PIC", "MCU"), EuP (with CAP_EUP) and wake on LAN. Controller boards keep the first two in
 * /etc/config/Vornix.conf ("Power_Recovery_Mode" of "Misc", "EUP Status" of "System"). */
int se_sys_get_power_recovery_mode(const char *enc_sys_id, int *mode);
int se_sys_set_power_recovery_mode(const char *enc_sys_id, int mode);
int se_sys_get_eup(const char *enc_sys_id, int *enabled);
int se_sys_set_eup(const char *enc_sys_id, int enabled);
int se_sys_set_wol(const char *enc_sys_id, int enable);

/* Identity. */
int se_sys_get_board_sn(const char *enc_sys_id, char *buffer, int size);
int se_sys_set_board_sn(const char *enc_sys_id, const char *serial);
int se_sys_get_sas_addr(const char *enc_sys_id, char *buffer, int size);
int se_sys_set_sas_addr(const char *enc_sys_id, const char *address);

/* SAS expansion enclosures only. */
int se_sys_get_nickname(const char *enc_sys_id, char *buffer, int size);
int se_sys_set_nickname(const char *enc_sys_id, const char *name);
int se_sys_get_connector_status(const char *enc_sys_id, uint32_t *status, int max);
int se_sys_set_heartbeat(const char *enc_sys_id);
int se_sys_set_reboot(const char *enc_sys_id);
int se_sys_get_phy_link_state(const char *enc_sys_id, int direction, int *link_num, int *speed);

/* Device nodes of the panel display and the controllers. */
int se_sys_get_LCM_devname(const char *enc_sys_id, char *buffer, int size);
int se_sys_get_PIC_devname(const char *enc_sys_id, char *buffer, int size);
int se_sys_get_MCU_devname(const char *enc_sys_id, char *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_SYS_H */
