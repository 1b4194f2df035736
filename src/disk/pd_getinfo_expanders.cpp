// The collectors of expansion enclosures: USB hubs and expanders ("usb_%s") and SAS expanders
// ("sg%d"). Thunderbolt boxes have theirs beside their slot lookups (thunderbolt_disks.cpp).
#include <cstring>

#include "disk/ata_layout.h"
#include "disk/disk_info.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace {

// A self-powered disk of a hub with at most this many sectors (1 GiB less one sector) is not
// taken. This compares sectors, where "root_usb" compares bytes.
constexpr uint64_t kHubSelfPoweredMaxSectors = 2097151;
// A USB-to-SATA bridge may need a moment before it passes ATA on: four tries in a row.
constexpr int kBridgeIdentifyTries = 4;

int collect_behind_sata_bridge(const char *bus, const char *pd_sys_id, int type_index,
                               PD_INFO *info) {
    if (get_usb_expander_port(bus, pd_sys_id, type_index, info) != 0)
        info->port_id = -1;
    if (info->capacity == 0) {
        info->capabilities |= PD_CAP_NO_DISK;
        return 0;
    }
    unsigned char identify[nashal::ata::kIdentifyLen];
    bool answered = false;
    for (int attempt = 0; attempt < kBridgeIdentifyTries && !answered; ++attempt)
        answered = get_sata_ident_resp(info->pd_ctrl_name, identify) == 0;
    if (!answered) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d): pd_sys_id = %s get sata ident resp fail.\n",
                  "getinfo_pd_in_usb_hub", __LINE__, pd_sys_id);
        return -1;
    }
    fill_sata_info(identify, info, {SataStandby::kAlways, true});
    return 0;
}

}  // namespace

extern "C" {

int getinfo_pd_in_usb_hub(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info ||
        collect_common_steps(enc_sys_id, pd_sys_id, pd_info) != 0)
        return -1;
    fill_usb_identity(pd_info);
    get_block_capacity(pd_info->pd_sys_name, &pd_info->capacity, &pd_info->sector_size);
    const char *name = strstr(enc_sys_id, "usb_");
    if (!name)
        return -1;
    name += 4;
    int type_index = -1;
    int kind = comm_sys_check_usb_expander_type(name, &type_index);
    if (kind == USB_EXPANDER_TYPE_PIC)
        return collect_behind_sata_bridge(name, pd_sys_id, type_index, pd_info);
    if (kind != USB_EXPANDER_TYPE_HUB && kind != USB_EXPANDER_TYPE_LISTED)
        return 0;
    char bus[HAL_ID_LEN];
    if (usb_bus_of_disk(pd_sys_id, bus) != 0)
        return -1;
    poll_if_removable(pd_info->pd_sys_name);
    int self_powered = usb_self_powered(bus);
    if ((self_powered == 1 && pd_info->capacity <= kHubSelfPoweredMaxSectors) ||
        (self_powered != 1 && pd_info->capacity == 0))
        return -1;
    pd_info->port_id = comm_sys_get_usb_port(bus);
    pd_info->type = PD_TYPE_USB;
    return 0;
}

int getinfo_pd_in_sas_expander(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info ||
        collect_common_steps(enc_sys_id, pd_sys_id, pd_info) != 0 || !strstr(pd_sys_id, "sg"))
        return -1;
    unsigned char address[8] = {};
    comm_sys_get_sas_target_port_address(pd_sys_id, address);
    get_port_in_sas_enclosure(enc_sys_id, address, pd_info);
    unsigned char identify[nashal::ata::kIdentifyLen];
    if (get_sata_ident_resp(pd_info->pd_ctrl_name, identify) == 0)
        fill_sata_info(identify, pd_info, {SataStandby::kAlways, false});
    else
        fill_sas_info(enc_sys_id, pd_info, true);
    return 0;
}

}  // extern "C"
