// The USB fill: what a USB disk tells through sysfs (vendor, model, serial, size), and the
// removable and self-powered tests of USB collectors.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_info.h"
#include "disk/disk_model.h"
#include "foundation/shell_command.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"
#include "topology/sysfs_read.h"

namespace {

constexpr const char *kScsiGeneric = "/sys/class/scsi_generic";
constexpr int kLogicalBlockTries = 11;
constexpr int kUsbPollMilliseconds = 2000;
constexpr unsigned kSelfPoweredBit = 0x40;  // bmAttributes of the configuration

// A SCSI device attribute ("vendor", "model") of the disk into out; the last byte read (the
// newline) becomes the terminator, then blanks are trimmed. Failure leaves out empty.
void scsi_attribute(const char *pd_sys_id, const char *attribute, char *out, int size) {
    out[0] = '\0';
    char path[HAL_SYSFS_PATH_LEN];
    if (snprintf(path, sizeof path, "%s/%s/device/%s", kScsiGeneric, pd_sys_id, attribute) >=
        static_cast<int>(sizeof path))
        return;
    int n = nashal::topology::read_attribute(path, out, static_cast<size_t>(size));
    if (n <= 0) {
        out[0] = '\0';
        return;
    }
    out[n - 1] = '\0';
    comm_sys_remove_prefix_postfix_space(out, size);
}

// The block name behind the last "/" of "/dev/sdb".
const char *block_name(const char *pd_sys_name) {
    const char *slash = strrchr(pd_sys_name, '/');
    return slash ? slash + 1 : pd_sys_name;
}

// A number printed by "cat" of a sysfs file; false when nothing came.
bool cat_number(const char *format, const char *name, uint64_t *value) {
    char command[HAL_CMD_LEN];
    char answer[HAL_ID_LEN];
    if (nashal::hal_build_command("get_block_capacity", command, sizeof command, format, name) <
            0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0)
        return false;
    *value = strtoull(answer, nullptr, 10);
    return true;
}

}  // namespace

namespace nashal::disk {

void get_sg_dev_name(const char *pd_sys_id, char *name) {
    snprintf(name, kIdLen, "/dev/%s", pd_sys_id);
}

int usb_bus_of_disk(const char *pd_sys_id, char *bus_out) {
    char link[kPathLen];
    char bus[kIdLen];
    bus_out[0] = '\0';
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof link) < 0 ||
        !usb_bus_from_path(link, bus))
        return -1;
    snprintf(bus_out, kIdLen, "%s", bus);
    return 0;
}

int get_usb_physical_drive_port(const char *pd_sys_id, int *physical_port_out) {
    char bus[kIdLen];
    if (usb_bus_of_disk(pd_sys_id, bus) != 0)
        return -1;
    int port = comm_sys_get_usb_port(bus);
    if (port < 0)
        return -1;
    *physical_port_out = port;
    return 0;
}

void fill_usb_identity(PD_INFO *info) {
    scsi_attribute(info->pd_sys_id, "vendor", info->vendor, sizeof info->vendor);
    scsi_attribute(info->pd_sys_id, "model", info->model, sizeof info->model);
    char bus[kIdLen];
    if (usb_bus_of_disk(info->pd_sys_id, bus) == 0)
        comm_sys_get_usb_attribute(bus, "serial", info->serial_no, sizeof info->serial_no);
}

void get_block_capacity(const char *pd_sys_name, uint64_t *capacity, uint32_t *sector_size) {
    const char *name = block_name(pd_sys_name);
    uint64_t size = 0;
    if (!cat_number("cat /sys/block/%s/size", name, &size)) {
        *capacity = 0;
        *sector_size = 0;
        return;
    }
    *sector_size = 512;
    *capacity = size;
    // A freshly attached disk may not show its queue yet: ten more tries, a second apart.
    uint64_t logical = 0;
    bool answered = false;
    for (int attempt = 1; attempt <= kLogicalBlockTries; ++attempt) {
        if (cat_number("cat /sys/block/%s/queue/logical_block_size", name, &logical)) {
            answered = true;
            break;
        }
        if (attempt < kLogicalBlockTries)
            os_sleep(1);
    }
    // The size counts 512-byte units; a block size below 512 (garbage) would divide by zero, so
    // it counts as no answer and the 512 and the raw size stand.
    if (answered && (logical >> 9) != 0 && logical <= UINT32_MAX) {
        *sector_size = static_cast<uint32_t>(logical);
        *capacity = size / (logical >> 9);
    }
}

void poll_if_removable(const char *pd_sys_name) {
    uint64_t removable = 0;
    if (!cat_number("cat /sys/block/%s/removable", block_name(pd_sys_name), &removable) ||
        removable == 0)
        return;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):%s is removable disk\n", __func__, __LINE__, pd_sys_name);
    set_usb_disk_polling_time(pd_sys_name, kUsbPollMilliseconds);
}

int usb_self_powered(const char *usb_bus) {
    char text[HAL_ID_LEN];
    if (comm_sys_get_usb_attribute(usb_bus, "bmAttributes", text, sizeof text) != 0)
        return -1;
    return (strtoul(text, nullptr, 16) & kSelfPoweredBit) ? 1 : 0;
}

}  // namespace nashal::disk
