// The enclosures of the main unit: "root" and its sub-enclosures, described from the model
// file. A key that is missing leaves its field 0 or empty; these readers never fail.
#include <dirent.h>

#include <cstdio>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "nashal/se_sys.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "topology/main_unit_kinds.h"
#include "topology/model_file.h"
#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"

namespace nashal::enclosure {

using topology::kSystemEnclosure;
using topology::model_int_or;
using topology::model_text;
using topology::root_capability;

namespace {

void common_fields(ENC_INFO *info, const char *own) {
    info->enc_id = -1;
    hal_copy(info->enc_parent_sys_id, "root");
    hal_copy(info->enc_sys_id, own);
}

// Vendor, model and slot count of a plain sub-enclosure section.
void vendor_model_disks(ENC_INFO *info, const topology::MainUnitEnclosure &row) {
    model_text(row.section, "VENDOR", info->vendor, sizeof info->vendor);
    model_text(row.section, "MODEL", info->model, sizeof info->model);
    info->max_disk_num = model_int_or(row.section, row.count_key, 0, INI_CONF_DEC);
}

int system_get_info(ENC_INFO *info) {
    model_text(kSystemEnclosure, "VENDOR", info->vendor, sizeof info->vendor);
    se_sys_get_display_name("root", info->model, sizeof info->model);
    info->capability = root_capability() | CAP_INTERNAL;
    info->protocol = ENC_PROTOCOL_ROOT;
    info->max_disk_num = model_int_or(kSystemEnclosure, "MAX_DISK_NUM", 0, INI_CONF_DEC);
    info->max_fan_num = model_int_or(kSystemEnclosure, "MAX_FAN_NUM", 0, INI_CONF_DEC);
    info->max_temp_num = model_int_or(kSystemEnclosure, "MAX_TEMP_NUM", 0, INI_CONF_DEC);
    info->max_pcie_num = model_int_or(kSystemEnclosure, "MAX_PCIE_SLOT", 0, INI_CONF_DEC);
    info->max_nic_num = model_int_or(kSystemEnclosure, "INTERNAL_NET_PORT_NUM", 0, INI_CONF_DEC);
    info->ss_max_channels = model_int_or(kSystemEnclosure, "SS_MAX_CHANNELS", 0, INI_CONF_DEC);
    info->ss_free_channels = model_int_or(kSystemEnclosure, "SS_FREE_CHANNELS", 0, INI_CONF_DEC);
    info->cache_port_bitmap = static_cast<uint32_t>(
        model_int_or(kSystemEnclosure, "SYSTEM_DISK_CACHEABLE_BITMAP", 0, INI_CONF_HEX));
    // With a PIC the serial number comes through the controller, once its monitor runs.
    if (!(info->capability & CAP_PIC))
        root_get_board_sn(info->serial, sizeof info->serial);
    return 0;
}

int pcie_get_info(const char *enc_sys_id, const topology::MainUnitEnclosure &row, ENC_INFO *info) {
    // The slot number is taken as it stands behind the id's prefix.
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "%s %s", row.section, enc_sys_id + strlen(row.id));
    info->capability = CAP_INTERNAL;
    info->protocol = ENC_PROTOCOL_PCIE;
    info->max_disk_num = get_pcie_port_max_disknum(section);
    info->cache_port_bitmap = all_slots_bitmap(info->max_disk_num);
    return 0;
}

}  // namespace

// Bits 1 to max_disk_num; bit 0 is never a cache slot. A shift of 32 or more counts as 0, so 31
// slots give 0xFFFFFFFE and a count of -1 (a slot that couldn't be looked at) gives all ones.
uint32_t all_slots_bitmap(int max_disk_num) {
    long shift = static_cast<long>(max_disk_num) + 1;
    uint32_t base = (shift >= 0 && shift < 32) ? (1u << shift) : 0u;
    return base - 2u;
}

int main_unit_get_info(const topology::MainUnitEnclosure &row, const char *enc_sys_id,
                       ENC_INFO *info) {
    common_fields(info, enc_sys_id);
    switch (row.kind) {
        case topology::MainUnitKind::System:
            return system_get_info(info);
        case topology::MainUnitKind::Boot:
            vendor_model_disks(info, row);
            info->protocol = ENC_PROTOCOL_BOOT;
            return 0;
        case topology::MainUnitKind::Usb:
            vendor_model_disks(info, row);
            info->protocol = ENC_PROTOCOL_USB;
            return 0;
        case topology::MainUnitKind::Esata:
            vendor_model_disks(info, row);
            info->capability =
                static_cast<uint32_t>(model_int_or(row.section, "CAP", 0, INI_CONF_HEX));
            info->protocol = ENC_PROTOCOL_SATA;
            return 0;
        case topology::MainUnitKind::Cache:
            vendor_model_disks(info, row);
            info->capability = CAP_INTERNAL;
            info->protocol = ENC_PROTOCOL_SATA;
            info->cache_port_bitmap = all_slots_bitmap(info->max_disk_num);
            return 0;
        case topology::MainUnitKind::Pcie:
            return pcie_get_info(enc_sys_id, row, info);
    }
    return -1;
}

}  // namespace nashal::enclosure

int nashal::enclosure::disks_on_bus(const char *who, const char *dev_bus, bool skip_expanders,
                                    std::vector<std::string> *names) {
    nashal::DirHandle dir(opendir("/sys/class/scsi_generic"));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", who, __LINE__);
        return -1;
    }
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (strncmp(entry->d_name, "sg", 2) != 0)
            continue;
        char path[HAL_SYSFS_PATH_LEN] = {};
        char bus[HAL_ID_LEN] = {};
        char bridge[HAL_ID_LEN] = {};
        int domain = 0;
        if (comm_sys_get_sg_path_info(entry->d_name, path, sizeof path) < 0 ||
            comm_sys_assemble_dev_bus_from_path(path, &domain, bus, sizeof bus, bridge,
                                                sizeof bridge) < 0)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        if (strcmp(bus, dev_bus) == 0 && !(skip_expanders && strstr(path, "expander"))) {
            ++count;
            if (names)
                names->push_back(entry->d_name);
        }
    }
    return count;
}

// Counts the SCSI generic devices whose controller sits at the section's "DEV_BUS". Unlike the
// enumeration of a slot's disks, paths through an expander are counted too.
extern "C" int get_pcie_port_max_disknum(const char *section) {
    char dev_bus[HAL_ID_LEN] = {};
    if (!section || !nashal::topology::model_text(section, "DEV_BUS", dev_bus)) {
        printf("Get Field failed!\n");
        return 0;
    }
    return nashal::enclosure::disks_on_bus(__func__, dev_bus, false);
}

// A PCIe slot is an enclosure of its own ("root_pcie_%d") when disks hang directly on its
// controller. Disks behind an expander there belong to the expander's enclosure, so they don't
// count. 1 when the slot has disks (its id is stored while there is room), 0 when it has none
// or no "DEV_BUS", -1 when the SCSI generic class can't be read.
extern "C" int pcie_disk_enumerate(char **enc_sys_ids, unsigned int max_count, int slot) {
    const auto &row = nashal::topology::main_unit_enclosure(nashal::topology::MainUnitKind::Pcie);
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "%s %d", row.section, slot);
    char dev_bus[HAL_ID_LEN] = {};
    if (!nashal::topology::model_text(section, "DEV_BUS", dev_bus))
        return 0;
    int count = nashal::enclosure::disks_on_bus(__func__, dev_bus, true);
    if (count < 0)
        return -1;
    if (count == 0)
        return 0;
    if (enc_sys_ids && max_count > 0) {
        char id[HAL_ID_LEN];
        snprintf(id, sizeof id, "%s%d", row.id, slot);
        enc_sys_ids[0] = strdup(id);
    }
    return 1;
}
