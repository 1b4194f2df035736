// Disks of Thunderbolt boxes ("i2c-%d") and their slots. From the host's Thunderbolt controller
// the walk goes through one pair of PCIe switch ports per step: the host port, the tunnel of each
// box in front, and the box's own switch port to its SATA controller. The box's model file names
// its slots by that last switch port and the port on the controller.
#include <cstdio>
#include <cstring>

#include "disk/ata_layout.h"
#include "disk/disk_info.h"
#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"

using namespace nashal::disk;

namespace {

constexpr const char *kHostSection = "Thunderbolt Enclosure";
constexpr const char *kBoxSection = "System Enclosure";

// "THUNDERBOLT_SWITCH_PORT1" or "...2" of the host: the switch port of host port 1 or 2.
bool host_switch_port(int port, int32_t *switch_port) {
    if (port != 1 && port != 2)
        return false;
    return model_int(kHostSection,
                     port == 1 ? "THUNDERBOLT_SWITCH_PORT1" : "THUNDERBOLT_SWITCH_PORT2",
                     switch_port, INI_CONF_HEX);
}

// From the host's controller at path to the downstream port in front of the box at
// chain_position: the host port, then the tunnel of each box before it. -1 when the box file
// names no tunnel port.
int walk_chain(char *path, const char *conf_file, int start_switch_port, int chain_position,
               const char *who) {
    comm_sys_get_pair_bus_switch(path, start_switch_port);
    int32_t tunnel = 0;
    if (!conf_file ||
        !model_int(kBoxSection, "THUNDERBOLT_SWITCH_PORT", &tunnel, INI_CONF_HEX, conf_file)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Can't get thunderbolt switch port\n", who, __LINE__);
        return -1;
    }
    for (int position = 1; position < chain_position; ++position)
        comm_sys_get_pair_bus_switch(path, tunnel);
    return 0;
}

// Port and chain position of a box, and its host port's switch port.
bool box_place(const char *enc_sys_id, int *position, int32_t *start_switch_port) {
    int port = -1;
    return common_sys_get_thunderbolt_info(enc_sys_id, &port, position) == 1 && port >= 0 &&
           *position >= 0 && host_switch_port(port, start_switch_port);
}

}  // namespace

extern "C" {

int lookup_disk_in_thunderbolt_enclosure(const char *conf_file, int chain_position, int dev_domain,
                                         int start_switch_port, const char *dev_bus,
                                         const char *bridge_bus, int dev_port, int pci_switch_port,
                                         char *sys_id_out) {
    (void)bridge_bus;  // the box's controller is reached through its switch port alone
    if (!dev_bus || !sys_id_out)
        return -1;
    char path[kPathLen] = {};
    if (comm_sys_get_path_from_c_dev_bus(dev_domain, dev_bus, path, sizeof(path)) != 0)
        return -1;
    if (walk_chain(path, conf_file, start_switch_port, chain_position, __func__) != 0)
        return -1;
    comm_sys_get_pair_bus_switch(path, pci_switch_port);
    if (dir_has_prefix(path, "pci_bus") && append_bus_slot(path, nullptr, 0) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    return find_disk_on_controller(path, dev_port, false, sys_id_out, __func__);
}

int enumerate_pd_in_thunderbolt_expander(const char *enc_sys_id, char **list, int list_size) {
    char dev_bus[kIdLen] = {};
    int position = -1;
    int32_t start_switch_port = 0;
    if (!model_text(kHostSection, "DEV_BUS", dev_bus) ||
        !box_place(enc_sys_id, &position, &start_switch_port))
        return -1;
    const char *conf_file = common_sys_get_thunderbolt_conf(enc_sys_id);
    int count = 0;
    for (int n = 1; n <= list_size; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "System Disk %d", n);
        int32_t dev_port = 0;
        if (!model_int(section, "DEV_PORT", &dev_port, INI_CONF_DEC, conf_file))
            continue;
        const int32_t switch_port =
            nashal::topology::model_int_or(section, "PCI_SWITCH_PORT", -1, INI_CONF_HEX, conf_file);
        const int32_t domain =
            nashal::topology::model_int_or(section, "DEV_DOMAIN", 0, INI_CONF_DEC, conf_file);
        char bridge[kIdLen] = {};
        model_text(section, "DEV_BRIDGE_BUS", bridge, conf_file);
        char id[kIdLen] = {};
        if (lookup_disk_in_thunderbolt_enclosure(conf_file, position, domain, start_switch_port,
                                                 dev_bus, bridge[0] ? bridge : nullptr, dev_port,
                                                 switch_port, id) == 0)
            list_store(list, list_size, &count, id);
    }
    return count;
}

int get_thunderbolt_physical_drive_port(const char *conf_file, int chain_position,
                                        int start_switch_port, const char *pd_sys_id,
                                        int *physical_port_out, int *pci_switch_port_out) {
    if (!pd_sys_id || !physical_port_out || !pci_switch_port_out)
        return -1;
    DiskLink disk;
    char path[kPathLen] = {};
    if (!read_disk_link(pd_sys_id, disk) ||
        comm_sys_get_path_from_c_dev_bus(disk.domain, disk.bus, path, sizeof(path)) != 0)
        return -1;
    if (walk_chain(path, conf_file, start_switch_port, chain_position, __func__) != 0)
        return -1;

    // The box's switch: the first or second bus behind the place that is itself a bridge.
    const size_t chain_end = strlen(path);
    char upstream[kPathLen] = {};
    if (dir_has_prefix(path, "pci_bus")) {
        for (int index = 1; index <= 2 && !upstream[0]; ++index) {
            char step[kPathLen];
            if (comm_sys_get_num_pci_bus(path, "pci_bus", index, 0, 0, step, sizeof(step)) != 0 ||
                !path_append(path, step))
                continue;
            if (dir_has_prefix(path, "pci_bus"))
                nashal::hal_copy(upstream, step);
            else
                path[chain_end] = '\0';
        }
    }
    if (!upstream[0]) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    // Callers pass the switch port as -1, to be found here; the trace has always been written.
    if (*pci_switch_port_out == -1)
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):System Error\n", __func__, __LINE__);
    int pci_class = 0;
    if (comm_sys_get_device_class(path, &pci_class) != 0)
        return -1;
    if (pci_class != 6) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error,pci_class_codes = %d unknown\n", __func__,
                  __LINE__, pci_class);
        return -1;
    }
    return port_behind_switch(disk, upstream, path, physical_port_out, pci_switch_port_out,
                              __func__);
}

int get_thunderbolt_pd_port_id(const char *enc_sys_id, const char *pd_sys_id, int physical_port,
                               int pci_switch_port, PD_INFO *pd_info) {
    if (!pd_sys_id || !pd_info)
        return -1;
    const char *conf_file = common_sys_get_thunderbolt_conf(enc_sys_id);
    DiskLink disk;
    char host_bus[kIdLen] = {};
    int32_t slots = 0;
    if (!conf_file || !read_disk_link(pd_sys_id, disk) ||
        !model_text(kHostSection, "DEV_BUS", host_bus) ||
        !model_int(kBoxSection, "MAX_DISK_NUM", &slots, INI_CONF_DEC, conf_file))
        return -1;
    if (strcmp(disk.bus, host_bus) != 0)
        return -1;
    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "System Disk %d", n);
        int32_t dev_port = 0;
        if (!model_int(section, "DEV_PORT", &dev_port, INI_CONF_DEC, conf_file) ||
            dev_port != physical_port ||
            nashal::topology::model_int_or(section, "DEV_DOMAIN", 0, INI_CONF_DEC, conf_file) !=
                disk.domain)
            continue;
        if (pci_switch_port != -1 &&
            nashal::topology::model_int_or(section, "PCI_SWITCH_PORT", -1, INI_CONF_HEX,
                                           conf_file) != pci_switch_port)
            continue;
        pd_info->port_id = disk_is_in_esata_port_multiplier(enc_sys_id, pd_sys_id) ? -1 : n;
        return 0;
    }
    return -1;
}

int getinfo_pd_in_thunderbolt_expander(const char *enc_sys_id, const char *pd_sys_id,
                                       PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info ||
        collect_common_steps(enc_sys_id, pd_sys_id, pd_info) != 0)
        return -1;
    int position = -1;
    int32_t start_switch_port = 0;
    if (!box_place(enc_sys_id, &position, &start_switch_port))
        return -1;
    int physical_port = -1;
    int switch_port = -1;
    get_thunderbolt_physical_drive_port(common_sys_get_thunderbolt_conf(enc_sys_id), position,
                                        start_switch_port, pd_sys_id, &physical_port, &switch_port);
    unsigned char identify[nashal::ata::kIdentifyLen];
    if (get_sata_ident_resp(pd_info->pd_ctrl_name, identify) == 0)
        fill_sata_info(identify, pd_info, {SataStandby::kWithSmart, true});
    return get_thunderbolt_pd_port_id(enc_sys_id, pd_sys_id, physical_port, switch_port, pd_info);
}

}  // extern "C"
