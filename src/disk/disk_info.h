// The pieces of disk information collection shared by the collectors of each enclosure kind:
// the fills by kind of drive (SATA from IDENTIFY data, SAS from inquiry tools, USB from sysfs)
// and the steps every collector takes first.
#ifndef NASHAL_DISK_DISK_INFO_H
#define NASHAL_DISK_DISK_INFO_H

#include <cstdint>

#include "nashal/pd_sys.h"

namespace nashal::disk {

// What differs between the collectors that fill a SATA drive: the root and Thunderbolt ones set
// standby together with SMART, the expander ones always, and a SAS expander doesn't test TRIM.
enum class SataStandby { kWithSmart, kAlways };
struct SataFillRules {
    SataStandby standby;
    bool test_trim;
};

// The SATA fill from 512 bytes of IDENTIFY data.
void fill_sata_info(const unsigned char *identify, PD_INFO *info, SataFillRules rules);

// The SAS fill through sg_inq and sg_readcap; `test_ssd` false for PCIe enclosures.
void fill_sas_info(const char *enc_sys_id, PD_INFO *info, bool test_ssd);

// The USB fill's identity: vendor and model from the SCSI device, serial from the USB device.
void fill_usb_identity(PD_INFO *info);

// Copies the two ids, forms pd_ctrl_name, finds the block device (the one step that fails: -1)
// and the SCSI address text.
int collect_common_steps(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *info);

// "/dev/<pd_sys_id>" into name (32 bytes).
void get_sg_dev_name(const char *pd_sys_id, char *name);

// The physical port of a USB disk: the port number of its USB bus name. 0 or -1.
int get_usb_physical_drive_port(const char *pd_sys_id, int *physical_port_out);

// Capacity and logical sector size of a block device ("/dev/sdb") from /sys/block.
void get_block_capacity(const char *pd_sys_name, uint64_t *capacity, uint32_t *sector_size);

// A removable block device gets a 2-second media poll, as the root and hub collectors want it.
void poll_if_removable(const char *pd_sys_name);

// 1 when the USB device of bus name `usb_bus` is self-powered, 0 when not, -1 unreadable.
int usb_self_powered(const char *usb_bus);

// The USB bus name of a disk ("2-1.4"), from its sysfs link. 0 or -1.
int usb_bus_of_disk(const char *pd_sys_id, char *bus_out);

}  // namespace nashal::disk

#endif  // NASHAL_DISK_DISK_INFO_H
