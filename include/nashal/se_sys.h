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
/* The processor ("root" only): its model name from /proc/cpuinfo, without the final newline;
 * and its speed in MHz, the mean of the cores' cpufreq readings, or when no core has one the
 * figure behind the "@" of the model name ("@ 2.40GHz" is 2400). 0, or -1. */
int se_sys_get_cpu_info(const char *enc_sys_id, char *buffer, int size);
int se_sys_get_cpu_running_speed(const char *enc_sys_id, int *speed);

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

/* --- USB enclosures: hubs on the chassis USB ports and the maker's expansion boxes ---
 * A bus name is the name of the device under /sys/bus/usb/devices (3-2, 3-2.4). Path buffers
 * are 512 bytes (HAL_SYSFS_PATH_LEN). */

/* Every USB enclosure behind the chassis ports of "Usb Enclosure"; the count, which may exceed
 * max_count (only max_count copies are stored, each for the caller to free). */
int usb_expander_enumerate(char **enc_sys_ids, unsigned int max_count);
/* One chassis port: `path` is the 512-byte buffer holding the host controller's directory,
 * which the PCI walk extends in place. `layer` is "IN_HUB", `max_usb_speed` 0 (any), 4 (super
 * speed only) or 3 (high speed and below). The number found, or -1 when the PCI walk fails. */
int usb_expander_get_sysid(char *path, const char *bridge_text, int port, int layer,
                           int switch_port, int max_usb_speed, char **enc_sys_ids,
                           unsigned int max_count);
/* The hubs behind the ports of hub `name`, recursively. */
int usb_expander_get_sysid_each_port(const char *name, int max_usb_speed, char **enc_sys_ids,
                                     unsigned int max_count);
/* What the USB enclosure `enc_sys_id` ("usb_" and a bus name) is. 0 or -1. */
int usb_expander_getinfo(const char *enc_sys_id, ENC_INFO *info);
/* `parent` (32 bytes) receives "root_usb" (with the chassis port in `port_id`) or "usb_" and
 * the name of the hub in front of `name`; empty when that can't be told. `path`, the device's
 * link text, is cut. */
void usb_expander_get_parent(char *path, const char *name, int domain, const char *bus_text,
                             const char *bridge_text, char *parent, int *port_id);
/* The link text of /sys/bus/usb/devices/<name>. 0 or negative. */
int usb_expander_get_path(const char *name, char *path, int size);
/* The interface name ("4-2.3:1.0") of the device on port `port` of a box's inner hub, on the
 * USB 2 side. `usb_bus` may be changed. 0 or -1. */
int usb_expander_get_ext_device_bus(char *usb_bus, int port, char *name, int size);
/* The same chassis port's number on the controller's other root hub. 0 or -1. */
int usb_expander_get_companion_port(int domain, const char *bus_text, int layer, int port,
                                    int *other_port);
/* "/dev/ttyUSB%d" of a box's panel (0, -1, or -2 when the box has none) or controller (0 or
 * -1). */
int usb_expander_get_LCM_devname(const char *usb_bus, char *device, int size);
int usb_expander_get_PIC_devname(const char *usb_bus, char *device, int size);

/* Controls of a managed box (kind 2), through its controller. 0 or -1. */
int usb_expander_get_temperature(const char *enc_sys_id, int temp_index, double *temperature);
int usb_expander_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status);
int usb_expander_set_fan_speed(const char *enc_sys_id, int level);
int usb_expander_get_power_supply_status(const char *enc_sys_id, int index, int *status);
int usb_expander_get_sn(const char *enc_sys_id, char *buffer, int size);
int usb_expander_set_sn(const char *enc_sys_id, const char *serial);

/* "root_usb": the number of chassis USB ports, the bus text of one ("P%04x:<DEV_BUS> ", at most
 * 64 bytes with the terminator) and the bitmap of the USB 3 ports. 0 or -1. */
int se_sys_get_usb_port_count(const char *enc_sys_id, int *count);
int se_sys_get_usb_port_bus(const char *enc_sys_id, int port, char *text);
int se_sys_get_usb3_port(const char *enc_sys_id, uint32_t *bitmap);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_SYS_H */
