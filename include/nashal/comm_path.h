/* Device path resolution: SCSI, PCI and USB helpers over sysfs. Nothing here caches: every
 * answer comes from the file system of the moment. Results are 0 on success and -1 on failure
 * unless said otherwise. Path buffers are 512 bytes (HAL_SYSFS_PATH_LEN), names 32 bytes. */
#ifndef NASHAL_COMM_PATH_H
#define NASHAL_COMM_PATH_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Major number of a SCSI generic node, and the SCSI device type of an enclosure services
 * device. */
#define SCSI_GENERIC_MAJOR 21
#define SCSI_TYPE_ENCLOSURE 13

/* --- SCSI --- */

/* `name` (32 bytes) receives what stands behind "target" in the first entry of `directory`
 * that begins with "target" (e.g. "2:0:0" of target2:0:0). */
int comm_sys_get_sdev_target_bus(const char *directory, char *name);

/* The number in "<directory>/type", or a negative number. */
int comm_sys_get_sdev_type(const char *directory);

/* Appends "/generic/dev" to `path` for good (the caller's 512-byte buffer changes), reads the
 * node's "major:minor" and writes "sg<minor>" into `sysid` (32 bytes). Major other than 21
 * fails. */
int comm_sys_get_sdev_sysid(char *path, char *sysid);

/* If `id` contains "sg", copies it into `name` with a limit of 16 bytes. */
int comm_sys_get_sg_name(const char *id, char *name);

/* Link text of /sys/class/scsi_generic/<sg_name> (or of its "device" link) into `path`. A
 * link that fills the whole buffer fails. Negative on failure. */
int comm_sys_get_sg_path_info(const char *sg_name, char *path, int size);

/* From an expander name of /sys/class/sas_expander (expander-2:0) to the sg name (32 bytes) of
 * its enclosure services device. */
int comm_sys_get_sysid_of_sas_enclosure(const char *expander, char *sysid);

/* Cuts `path` at the "/" behind each "expander" component; `*parent` points at the second last
 * one (0 if only one), `*self` at the last. Either output may be null. */
int comm_sys_get_sas_bus(char *path, char **parent, char **self);

/* The PCI base class ("<path>/class" >> 16) into `dev_class`. No class file: 1 and result 0.
 */
int comm_sys_get_device_class(const char *path, int *dev_class);

/* --- PCI --- */

/* Directory of a function on a root bus: found with "/bin/busybox find /sys/devices -name
 * pci<domain>:<bus>". */
int comm_sys_get_pci_dev_path(int domain, int bus, int device, int function, char *path, int size);

/* "/sys/devices/platform/<name>". */
int comm_sys_get_internal_dev_path(const char *name, char *path, int size);

/* The directory of a model value "B%02d:D%02d:F%d" (or "D%d:F%d") or "B-1:<platform name>". */
int comm_sys_get_path_from_c_dev_bus(int domain, const char *value, char *path, int size);

/* One step down from a bridge. `name` is "pci_bus:<bus>" or a directory below `path` whose
 * first entry beginning "00" names the bus. `text` receives the step "/<bus>:<dd>.<f>": device
 * and function from `bridge_value` (a bus text) when given, else `device` and function 0. */
int comm_sys_get_pci_bus(const char *path, const char *name, const char *bridge_value, int device,
                         char *text, int size);

/* The n-th (from 1, at most 10) entry beginning "00" of "<path>/<name>", as the step
 * "/<entry>:<device>.0"; a larger n gives the last one. `ignored` has no effect. */
int comm_sys_get_num_pci_bus(const char *path, const char *name, int n, int ignored, int device,
                             char *text, int size);

/* From a bridge down through a PCIe switch to downstream port `port`, extending `path`, which
 * must be a 512-byte buffer. No "pci_bus" entry: 0 and `path` unchanged. */
int comm_sys_get_pair_bus_switch(char *path, int port);

/* A sysfs path to domain, bus text "B%02d:D%02d:F%d" (or "B-1:<name>") and bridge text (the
 * next function below, or empty). */
int comm_sys_assemble_dev_bus_from_path(const char *path, int *domain, char *bus_text, int bus_size,
                                        char *bridge_text, int bridge_size);

/* --- USB --- */

/* Number of "." in a USB bus name (2-1.1.4 gives 2): hubs behind the root port. */
int comm_sys_get_usb_layer(const char *name);

/* Number behind the last ".", or with none behind the first "-"; -1 with neither. */
int comm_sys_get_usb_port(const char *name);

/* Reads /sys/bus/usb/devices/<name>/<attribute>, `size` bytes at most; the last byte read is
 * overwritten by the terminator (the attribute's newline). Empty buffer on failure. */
int comm_sys_get_usb_attribute(const char *name, const char *attribute, char *buffer, int size);

/* The chassis port number ("Usb Port %d" of /etc/model.conf) of a place on a USB tree.
 * `port_id` may be null. */
int comm_sys_get_root_usb_port_id(int domain, const char *bus_text, const char *bridge_text,
                                  int layer, int port, int speed, int *port_id);

/* --- Directory and text --- */

/* 0 when an entry of `directory` begins with `prefix`; its name into `name` (may be null). */
int comm_sys_search_partial_filename(const char *directory, const char *prefix, char *name,
                                     int size);

/* The decimal number behind `word` in `text`, or -1 if `word` isn't there. */
int comm_sys_get_num_behind_string(const char *text, const char *word);

/* Link speed code of a text: kind 1 USB ("5000", "480", "12", "1.5"), kind 2 or 4 ATA and SAS
 * ("12.0", "6.0", "3.0", "1.5"); anything else 0. */
int common_sys_transfer_pd_link_speed(int kind, const char *text);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_PATH_H */
