// The collectors of the main unit's enclosures: "root", "root_esata", "root_cache", "root_usb",
// the boot devices of "root_boot", and the disks of a controller in a PCIe slot.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/ata_layout.h"
#include "disk/disk_info.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/model_file.h"

using namespace nashal::disk;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

constexpr const char *kBootEnclosure = "Boot Enclosure";
constexpr const char *kCacheEnclosure = "Cache Enclosure";
constexpr const char *kCacheableBitmap = "SYSTEM_DISK_CACHEABLE_BITMAP";

// A self-powered USB disk smaller than this is taken for a card reader slot or a stick that
// isn't a data disk.
constexpr uint64_t kSelfPoweredMinBytes = 1ull << 30;

// Bit port_id of the enclosure's cacheable bitmap. Slot 1 is bit 1. A slot above 31 reads the
// top bit, as a 32-bit word has no more.
void mark_cacheable(const char *section, PD_INFO *info) {
    int32_t bitmap = 0;
    if (info->port_id < 0 || !model_int(section, kCacheableBitmap, &bitmap, INI_CONF_HEX))
        return;
    int bit = info->port_id > 31 ? 31 : info->port_id;
    if ((static_cast<uint32_t>(bitmap) >> bit) & 1u)
        info->capabilities |= PD_CAP_CACHEABLE;
}

// The USB fill of "root_usb": -1 when the disk is not to be attached.
int fill_root_usb_disk(PD_INFO *info) {
    fill_usb_identity(info);
    get_block_capacity(info->pd_sys_name, &info->capacity, &info->sector_size);
    poll_if_removable(info->pd_sys_name);
    char bus[HAL_ID_LEN];
    if (usb_bus_of_disk(info->pd_sys_id, bus) != 0)
        return -1;
    uint64_t bytes = info->capacity * info->sector_size;
    if (usb_self_powered(bus) == 1 ? bytes < kSelfPoweredMinBytes : info->capacity == 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): pd_sys_id = %s, capacity = %llu is not a disk\n",
                  __func__, __LINE__, info->pd_sys_id,
                  static_cast<unsigned long long>(info->capacity));
        return -1;
    }
    return 0;
}

// "FLASH_SIZE_M" of the section, in mebibytes, as a count of sectors.
void flash_size_step(const char *section, PD_INFO *info) {
    int32_t mebibytes = 0;
    if (section && info->sector_size &&
        model_int(section, "FLASH_SIZE_M", &mebibytes, INI_CONF_DEC))
        info->capacity =
            (static_cast<uint64_t>(static_cast<uint32_t>(mebibytes)) << 20) / info->sector_size;
}

}  // namespace

extern "C" {

int getinfo_pd_in_root_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info ||
        collect_common_steps(enc_sys_id, pd_sys_id, pd_info) != 0)
        return -1;
    int physical_port = -1;
    int switch_port = -1;
    if (strcmp(enc_sys_id, "root") == 0 || strcmp(enc_sys_id, "root_esata") == 0 ||
        strcmp(enc_sys_id, "root_cache") == 0) {
        get_physical_drive_port(pd_sys_id, &physical_port, &switch_port);
        unsigned char identify[nashal::ata::kIdentifyLen];
        if (get_sata_ident_resp(pd_info->pd_ctrl_name, identify) == 0)
            fill_sata_info(identify, pd_info, {SataStandby::kWithSmart, true});
        else
            fill_sas_info(enc_sys_id, pd_info, true);
    } else if (strcmp(enc_sys_id, "root_usb") == 0) {
        pd_info->type = PD_TYPE_USB;
        get_usb_physical_drive_port(pd_sys_id, &physical_port);
        if (fill_root_usb_disk(pd_info) != 0)
            return -1;
    }
    int result = get_pd_port_id(enc_sys_id, pd_sys_id, physical_port, switch_port, pd_info);
    if (result != 0)
        return result;
    if (strcmp(enc_sys_id, "root_cache") == 0)
        mark_cacheable(kCacheEnclosure, pd_info);
    else if (strcmp(enc_sys_id, "root") == 0 && (pd_info->capabilities & PD_CAP_SSD))
        mark_cacheable(kSystemEnclosure, pd_info);
    return 0;
}

int getinfo_pd_in_boot_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info)
        return -1;
    nashal::hal_copy(pd_info->pd_sys_id, pd_sys_id);
    nashal::hal_copy(pd_info->enc_sys_id, enc_sys_id);
    char type_text[HAL_ID_LEN];
    if (!model_text(kBootEnclosure, "DISK_DRV_TYPE", type_text))
        return -1;
    pd_info->capabilities |= PD_CAP_BOOT;
    int physical_port = -1;
    int switch_port = -1;
    switch (get_disk_drv_type(type_text)) {
        case DISK_DRV_TYPE_ATA:
            get_sg_dev_name(pd_sys_id, pd_info->pd_ctrl_name);
            if (get_sd_name(pd_sys_id, pd_info->pd_sys_name, sizeof pd_info->pd_sys_name) != 0)
                return -1;
            get_physical_drive_port(pd_sys_id, &physical_port, &switch_port);
            get_pd_port_id(enc_sys_id, pd_sys_id, physical_port, switch_port, pd_info);
            pd_info->sector_size = 512;
            // No section is prepared for the size of an ATA boot disk: it stays 0.
            flash_size_step(nullptr, pd_info);
            return 0;
        case DISK_DRV_TYPE_FLASH: {
            const char *underscore = strchr(pd_sys_id, '_');
            if (!underscore)
                return -1;
            pd_info->port_id = atoi(underscore + 1);
            char section[HAL_NAME_LEN];
            snprintf(section, sizeof section, "Boot Disk %d", pd_info->port_id);
            if (!model_text(section, "FLASH_SYS_NAME", pd_info->pd_sys_name))
                return -1;
            pd_info->sector_size = 512;
            flash_size_step(section, pd_info);
            return 0;
        }
        case DISK_DRV_TYPE_USB:
            get_sg_dev_name(pd_sys_id, pd_info->pd_ctrl_name);
            if (get_sd_name(pd_sys_id, pd_info->pd_sys_name, sizeof pd_info->pd_sys_name) != 0)
                return -1;
            get_usb_physical_drive_port(pd_sys_id, &physical_port);
            get_pd_port_id(enc_sys_id, pd_sys_id, physical_port, -1, pd_info);
            get_block_capacity(pd_info->pd_sys_name, &pd_info->capacity, &pd_info->sector_size);
            return 0;
        default:
            return 0;
    }
}

int getinfo_pd_in_pcie_enclosure(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info ||
        collect_common_steps(enc_sys_id, pd_sys_id, pd_info) != 0)
        return -1;
    int physical_port = -1;
    int switch_port = -1;
    get_pcie_physical_drive_port(pd_sys_id, &physical_port, &switch_port);
    fill_sas_info(enc_sys_id, pd_info, false);
    int result = get_pd_port_id(enc_sys_id, pd_sys_id, physical_port, switch_port, pd_info);
    // Disks behind a PCIe controller are all taken for fast ones.
    if (result == 0)
        pd_info->capabilities |= PD_CAP_SSD;
    return result;
}

}  // extern "C"
