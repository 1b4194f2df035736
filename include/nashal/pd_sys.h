/* The disk backend: pd_sys_ enumeration and slot lookup of disks. */
#ifndef NASHAL_PD_SYS_H
#define NASHAL_PD_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Capability bits of PD_INFO.capabilities. */
#define PD_CAP_WWN 0x1u
#define PD_CAP_SMART 0x2u
#define PD_CAP_SELF_TEST 0x4u
#define PD_CAP_SSD 0x8u
#define PD_CAP_SERIAL 0x10u
#define PD_CAP_BOOT 0x20u
#define PD_CAP_STANDBY 0x40u
#define PD_CAP_NO_DISK 0x80u
#define PD_CAP_ERC 0x100u
#define PD_CAP_TRIM 0x200u
#define PD_CAP_CACHEABLE 0x400u

/* One physical disk as the backend sees it. Owned and cleared by the caller. */
typedef struct PD_INFO {
    int32_t port_id;
    char pd_sys_id[32];
    char enc_sys_id[32];
    char pd_sys_name[32];
    char pd_ctrl_name[32];
    char pd_bus_name[32];
    unsigned char wwn[33];
    int32_t type;
    int32_t speed;
    int32_t max_speed;
    char read_speed[32];
    char vendor[32];
    char model[41];
    char serial_no[33];
    char revision[16];
    uint32_t protocol_version;
    int32_t status;
    uint32_t capabilities;
    uint32_t sector_size;
    uint64_t capacity;
} PD_INFO;

/* ---- Enumeration of the disks of an enclosure ---- */

/* Fills list (list_size text pointers) with fresh heap copies of the pd_sys_ids of the disks of
 * enc_sys_id; the caller frees each. Returns the number of disks, which may exceed list_size
 * (only list_size entries are stored then). Tells udev the enclosure of each disk stored. */
int pd_sys_enumerate(const char *enc_sys_id, char **pd_sys_id_list, int list_size);

/* The root family: "root", "root_esata", "root_cache", "root_boot", "root_usb", "root_pcie_%d". */
int enumerate_pd_in_root_enclosure(const char *enc_sys_id, char **list, int list_size);

/* Expansion enclosures (USB, SAS, Thunderbolt): the disks of one expander. */
int enumerate_pd_in_usb_expander(const char *enc_sys_id, char **list, int list_size);
/* One port of a USB enclosure: every disk LUN of the mass storage device at
 * <usb_devices_dir>/<port_bus_name>. The number found, which may exceed room. */
int lookup_disk_in_usb_port(const char *usb_devices_dir, const char *port_bus_name, char **list,
                            int room);
/* The slot of a disk in a managed USB box (bus name `bus_name`, "External Type" `type_index`):
 * pd_info->port_id is the "Port%d" that names its port path, or -1. 0, or -1 if the disk's
 * place can't be read. */
int get_usb_expander_port(const char *bus_name, const char *pd_sys_id, int type_index,
                          PD_INFO *pd_info);
int enumerate_pd_in_sas_expander(const char *enc_sys_id, char **list, int list_size);
int enumerate_pd_in_thunderbolt_expander(const char *enc_sys_id, char **list, int list_size);
/* One slot of a Thunderbolt box: the walk from the host's controller (dev_bus, dev_domain)
 * through host port start_switch_port, the boxes in front of chain_position and the box's own
 * switch port pci_switch_port to its controller, then port dev_port as in lookup_disk_in_root.
 * conf_file is the box's model file. 0 and "sg%d" in sys_id_out (32 bytes), or negative. */
int lookup_disk_in_thunderbolt_enclosure(const char *conf_file, int chain_position, int dev_domain,
                                         int start_switch_port, const char *dev_bus,
                                         const char *bridge_bus, int dev_port, int pci_switch_port,
                                         char *sys_id_out);
/* The port of a disk on its box's controller and the box switch's downstream port that leads
 * there (pass pci_switch_port_out holding -1). 0 or -1. */
int get_thunderbolt_physical_drive_port(const char *conf_file, int chain_position,
                                        int start_switch_port, const char *pd_sys_id,
                                        int *physical_port_out, int *pci_switch_port_out);
/* The "System Disk %d" of the box's model file that names the disk's place: pd_info->port_id.
 * 0, or -1 when no slot does. */
int get_thunderbolt_pd_port_id(const char *enc_sys_id, const char *pd_sys_id, int physical_port,
                               int pci_switch_port, PD_INFO *pd_info);
/* The port of a disk on the controller of a PCIe slot: the number behind ":" of its "port-"
 * path component, plus 1. 0 or -1. */
int get_pcie_physical_drive_port(const char *pd_sys_id, int *physical_port_out,
                                 int *pci_switch_port_out);
int get_pcie_dev_port_from_path(const char *path, int *port_out);
/* A bay light of a Thunderbolt box: `field` ("ERR_LED", "LOCATE_LED", "PRESENT_LED",
 * "POWER_SUPPLY") of "System Disk <port_id>" in the box's file is "address:start:stop"; one byte,
 * start for on and stop for off, goes to that device on the box's bus. 0 or -1. */
int thunderbolt_set_hdd_led(const char *enc_sys_id, int port_id, int on, const char *field);

/* The disks on the ports of one SAS expander ("expander-2:1"), its enclosure services device
 * left out. Returns the number found, which may exceed room. */
int lookup_disk_in_sas_enclosure(const char *expander_name, char **list, int room);

/* The bay of a disk in a SAS enclosure: its SAS address (8 bytes) looked up in the enclosure's
 * Additional Element Status page. 0 when the page was read, with port_id set if the address is
 * there (left as it was otherwise); -1 on failure. */
int get_port_in_sas_enclosure(const char *enclosure_sys_id, const unsigned char *sas_address,
                              PD_INFO *pd_info);

/* The target device's 8-byte address from VPD page 0x83 of pd_ctrl_name (a whole node path)
 * into wwn_out. 0 when the page was read, found or not; -1 on failure. */
int get_sas_target_device_address(const char *pd_ctrl_name, unsigned char *wwn_out);

/* One slot: 0 and "sg%d" in sys_id_out (at least 32 bytes) when a disk sits there, else -1.
 * bridge_bus may be null; pci_switch_port -1 means no switch. */
int lookup_disk_in_root(int dev_domain, const char *dev_bus, const char *bridge_bus, int dev_port,
                        int pci_switch_port, char *sys_id_out);

/* One eSATA port, every disk behind a port multiplier. Returns the number found, which may
 * exceed room; -1 if the controller has no path. */
int lookup_disk_in_root_esata(int dev_domain, const char *dev_bus, int dev_port, char **list,
                              int room);

/* One USB port of the board, every disk LUN behind it. in_hub is the number of hubs on the board
 * in front of the port (0, 1 or 2); max_usb_speed 0 means any speed, 4 exactly SuperSpeed,
 * otherwise at most that speed code. Returns the number found, which may exceed room. */
int lookup_disk_in_root_usb_hub(int dev_domain, const char *dev_bus, const char *bridge_bus,
                                int usb_port, int in_hub, int pci_switch_port, int max_usb_speed,
                                char **list, int room);

/* The SCSI host (and target, when target_out is given) of port on the controller directory
 * path: with one host per port, host = lowest + port and target -1; with one host for all
 * ports, host = that host and target = port. 0 or negative. */
int get_sdev_host(const char *path, int port, int *host_out, int *target_out);

/* Counts the "host%d" entries of path and gives the lowest number. 0 or -1. */
int __get_sdev_host(const char *path, int *lowest_host_out, int *host_count_out);

/* Drive type code of a "DISK_DRV_TYPE" text, any case: USB 1, ATA 2, SCSI 3, SAS 4, FLASH 5,
 * anything else 0. */
int get_disk_drv_type(const char *text);

/* Host, channel, target, lun from the link text of a SCSI device. 0 or -1. */
int get_scsi_address(const char *link_text, int *host, int *channel, int *target, int *lun);

/* ---- Slot and enclosure of a known disk ---- */

/* The physical port (and the PCI switch port, when there is one) of a disk. 0 or -1. */
int get_physical_drive_port(const char *pd_sys_id, int *physical_port_out,
                            int *pci_switch_port_out);

/* The slot of a disk in enc_sys_id, stored in pd_info->port_id (-1 behind a port multiplier).
 * 0 or -1. */
int get_pd_port_id(const char *enc_sys_id, const char *pd_sys_id, int physical_port,
                   int pci_switch_port, PD_INFO *pd_info);

/* 1 if the disk of "root_esata" sits behind a port multiplier, else 0. */
int disk_is_in_esata_port_multiplier(const char *enc_sys_id, const char *pd_sys_id);

/* 0 (and the slot in slot_out, when given) if the USB place is a boot disk port, else -1. */
int check_usb_in_boot_enclosure(const char *dev_bus, const char *bridge_bus, int usb_layer,
                                int usb_port, int link_speed, int *slot_out);

/* Slot match of a bus text and port in the system, eSATA and cache enclosures: 0 or -1. */
int disk_in_system_enclosure(const char *dev_bus, int dev_port, int pci_switch_port);
int disk_in_esata_enclosure(const char *dev_bus, int dev_port);
int disk_in_cache_enclosure(const char *dev_bus, int dev_port);

/* The enclosure of a disk, into enc_sys_id_out (32 bytes). 0 decided, -1 failure, -2 the disk is
 * on an expander of the appliance itself and no slot lists it. */
int PD_Sys_Get_SE_Sys_Id(const char *pd_sys_id, char *enc_sys_id_out);

/* The block device ("/dev/sda") or flash name of boot disk `index` (from 0) of "Boot
 * Enclosure", by its "DISK_DRV_TYPE" (ATA, FLASH, USB; a USB stick is waited for up to 31
 * seconds). 0 or -1. */
int pd_sys_get_boot_disk(int index, char *name_out, int name_size);

/* "/dev/sdX" of an sg device, waiting up to 30 seconds for the block device. 0 or -1. */
int get_sd_name(const char *pd_sys_id, char *name_out, int name_size);

/* ---- Disk information ---- */

/* IDENTIFY DEVICE of the drive at pd_ctrl_name ("/dev/sg3") into buffer (512 bytes) through
 * ATA PASS-THROUGH (16). 0 when the drive answered; -1 when the node won't open, the request
 * failed, or no data came back (a SAS disk, a bridge that passes no ATA). */
int get_sata_ident_resp(const char *pd_ctrl_name, unsigned char *buffer);

/* Logical sector size (512 unless word 106 says larger) and the 48-bit sector count of IDENTIFY
 * data, or the 28-bit one when the drive has no 48-bit addressing. 0, or -1 for a null pointer. */
int parse_sata_capacity(const unsigned char *identify, uint64_t *capacity_out,
                        uint32_t *sector_size_out);

/* Fills pd_info (cleared first) for the disk pd_sys_id ("sg3", or a boot flash id) of the
 * enclosure enc_sys_id: names, identity, type, capabilities, capacity, slot and link speed.
 * 0 on success, negative when the disk is not to be attached. */
int pd_sys_getinfo(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);

/* The collectors by enclosure kind, with the same arguments and results. The ones for SAS
 * expanders, USB expanders of kind 2, PCIe and Thunderbolt enclosures fail with -1 and a trace
 * while the lookups they need are not built. */
int getinfo_pd_in_root_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);
int getinfo_pd_in_boot_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);
int getinfo_pd_in_pcie_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);
int getinfo_pd_in_thunderbolt_expander(const char *enc_sys_id, const char *pd_sys_id,
                                       PD_INFO *pd_info);
int getinfo_pd_in_usb_hub(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);
int getinfo_pd_in_sas_expander(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);

/* Writes the media poll interval of a removable disk ("/dev/sdb") to
 * /sys/block/<name>/events_poll_msecs; five tries. 0 or -1. */
int set_usb_disk_polling_time(const char *pd_sys_name, int milliseconds);

/* Link speed codes of a disk now and at most; both start at 0. 0 or -1. */
int pd_sys_get_conn_speed(const char *enc_sys_id, const char *pd_sys_id, int *speed_out,
                          int *max_speed_out);

/* 0 when the disk answers (it served 41 requests, or finishes all but 3 within about three
 * seconds), -1 when it doesn't or the counters can't be read, -2 for an empty USB-to-SATA bridge
 * ("ASMT", no capacity), which is left out quietly. */
int pd_sys_check_rw_access(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);

/* The block queue's request limit from "HDD_MAX_SECTORS_KB" (/sbin/vcfg); -1 with no setting. */
int pd_sys_set_device_queue(const char *pd_sys_name);
/* Writes kilobytes to /sys/block/<name>/queue/max_sectors_kb. 0 or -1. */
int pd_sys_set_max_sectors_kb(const char *pd_sys_name, int kilobytes);

/* Hot-plug entries: pd_attach (then udev is told "pd_sys_id=enc_sys_id") and pd_detach. */
int PD_Sys_Attach(const char *enc_sys_id, const char *pd_sys_id);
int PD_Sys_Detach(const char *enc_sys_id, const char *pd_sys_id);

/* The speeds by kind of link: /sys/class/ata_link, the phy on a SAS expander, the USB device,
 * the link register of a USB-to-SATA bridge (through sg_raw). Only non-zero codes are stored.
 * 0 or -1. */
int get_ata_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out);
int get_sas_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out);
int get_usb_disk_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out);
int get_usb_expander_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out);

/* The block device of boot disk `index` (from 0) by the model file alone, before any scan: an ATA
 * port, a flash device's FLASH_SYS_NAME, or a USB port waited for up to about 30 seconds. 0 or
 * -1. */
int pd_sys_get_boot_disk(int index, char *name_out, int name_size);
/* The block device of the disk on a port of an external SAS connector of the main unit ("root"
 * only, boards with CAP_INTERNAL_SAS). 0 or -1. */
int pd_sys_get_sys_name_in_connector(const char *enc_sys_id, int connector, int port_in_connector,
                                     char *name_out, int name_size);
/* The backend's ids (32 bytes each) of the disk behind a device node path ("/dev/sdc"). 0 or -1. */
int pd_sys_get_sys_id_by_sys_name(const char *name, char *enc_sys_id_out, char *pd_sys_id_out);
/* Switches a slot's power through the switch that POWER_SUPPLY of "System Disk %d" names. */
int pd_sys_set_power_supply(const char *enc_sys_id, int port_id, int value);
/* Disk LEDs of one slot: error, locate (identify), present and activity. `on` is 0 or
 * non-zero; `err_state` non-zero means the slot's error light stays on when its locate light
 * goes off. 0 or -1 (enclosures other than "root" swallow their error light's failures). */
int pd_sys_set_err_led(const char *enc_sys_id, int port_id, int on);
int pd_sys_set_ident_led(const char *enc_sys_id, int port_id, int on, int err_state);
int pd_sys_set_present_led(const char *enc_sys_id, int port_id, int on);
int pd_sys_set_active_led(const char *enc_sys_id, int port_id, int on);
/* The routes of the other enclosures: a SAS shelf's array device slot element, a Thunderbolt
 * enclosure's I2C start/stop bytes (`field` names the model key), and the GPIO of a USB box's
 * USB-to-SATA bridge behind the port `usb_bus` (disk `sys_id`). 0 or -1. */
int sas_expander_set_hdd_err_led(const char *enc_sys_id, int port_id, int on);
int sas_expander_set_hdd_ident_led(const char *enc_sys_id, int port_id, int on, int err_state);
int thunderbolt_set_hdd_led(const char *enc_sys_id, int port_id, int on, const char *field);
int usb_expander_set_hdd_err_led(const char *sys_id, const char *usb_bus, int on);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_PD_SYS_H */
