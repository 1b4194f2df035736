// A known disk to the enclosure that holds it. The device's link text tells the kind of
// attachment (USB, a SAS expander, an iSCSI session, the board's controllers), and for the
// board's own enclosures the model slots decide between the boot device, the USB ports, the
// system bays, the eSATA ports and the cache bays.
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "disk/disk_model.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

extern "C" int check_usb_in_boot_enclosure(const char *dev_bus, const char *bridge_bus,
                                           int usb_layer, int usb_port, int link_speed,
                                           int *slot_out) {
    if (!dev_bus)
        return -1;
    if (!bridge_bus)
        bridge_bus = "";
    const UsbPlace place{0, dev_bus, bridge_bus, usb_layer, usb_port, link_speed};
    const MainUnitEnclosure &boot = main_unit_enclosure(MainUnitKind::Boot);
    int32_t slots = 0;
    if (!model_int(boot.section, boot.count_key, &slots))
        return -1;
    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d", boot.slot_prefix, n);
        // A port straight on the root hub only matches an entry with no hub in front, and a
        // port behind a hub only one with the same number of hubs; the domain takes no part.
        bool found = visit_usb_entries(section, [&](const char *entry) {
            return usb_slot_matches(entry, place, DomainCheck::Ignored);
        });
        if (found) {
            if (slot_out)
                *slot_out = n;
            return 0;
        }
    }
    return -1;
}

namespace {

// Bays of an enclosure of the board that name this bus text and port. The domain takes no
// part: boards with more than one PCI domain have never put bays on both.
int disk_in_enclosure(MainUnitKind which, const char *dev_bus, int dev_port, int pci_switch_port) {
    if (!dev_bus)
        return -1;
    const MainUnitEnclosure &kind = main_unit_enclosure(which);
    int32_t slots = 0;
    if (!model_int(kind.section, kind.count_key, &slots))
        return -1;
    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d", kind.slot_prefix, n);
        if (bay_matches(section, {0, dev_bus, dev_port, pci_switch_port}, DomainCheck::Ignored))
            return 0;
    }
    return -1;
}

}  // namespace

extern "C" int disk_in_system_enclosure(const char *dev_bus, int dev_port, int pci_switch_port) {
    return disk_in_enclosure(MainUnitKind::System, dev_bus, dev_port, pci_switch_port);
}

extern "C" int disk_in_esata_enclosure(const char *dev_bus, int dev_port) {
    return disk_in_enclosure(MainUnitKind::Esata, dev_bus, dev_port, -1);
}

extern "C" int disk_in_cache_enclosure(const char *dev_bus, int dev_port) {
    return disk_in_enclosure(MainUnitKind::Cache, dev_bus, dev_port, -1);
}

namespace {

// A disk on USB: the boot device, a port of the chassis, or an expansion enclosure named by its
// hub (or by the hub above it when that one is the enclosure's controller board).
int usb_enclosure(const char *link, char *enc_sys_id_out) {
    int domain = 0;
    char bus_text[kIdLen];
    char bridge[kIdLen];
    char usb_bus[kIdLen];
    if (comm_sys_assemble_dev_bus_from_path(link, &domain, bus_text, sizeof(bus_text), bridge,
                                            sizeof(bridge)) != 0 ||
        !usb_bus_from_path(link, usb_bus))
        return -1;
    int layer = comm_sys_get_usb_layer(usb_bus);
    int port = comm_sys_get_usb_port(usb_bus);
    if (port == -1)
        return -1;
    int speed = usb_link_speed(usb_bus);
    if (speed == 0)
        return -1;
    if (check_usb_in_boot_enclosure(bus_text, bridge, layer, port, speed, nullptr) == 0) {
        nashal::hal_copy(enc_sys_id_out, kIdLen, main_unit_enclosure(MainUnitKind::Boot).id);
        return 0;
    }
    if (layer == 0 || ((layer == 1 || layer == 2) &&
                       comm_sys_get_root_usb_port_id(domain, bus_text, bridge, layer, port, speed,
                                                     nullptr) == 0)) {
        nashal::hal_copy(enc_sys_id_out, kIdLen, main_unit_enclosure(MainUnitKind::Usb).id);
        return 0;
    }
    char hub[kIdLen];
    nashal::hal_copy(hub, usb_bus);
    if (char *dot = strrchr(hub, '.'))
        *dot = '\0';
    if (char *dot = strrchr(hub, '.')) {
        char parent[kIdLen];
        nashal::hal_copy(parent, kIdLen, hub, static_cast<size_t>(dot - hub));
        if (comm_sys_check_usb_expander_type(parent, nullptr) == USB_EXPANDER_TYPE_PIC)
            nashal::hal_copy(hub, parent);
    }
    char id[kIdLen + 8];
    snprintf(id, sizeof(id), "usb_%s", hub);
    nashal::hal_copy(enc_sys_id_out, kIdLen, id);
    return 0;
}

}  // namespace

extern "C" int PD_Sys_Get_SE_Sys_Id(const char *pd_sys_id, char *enc_sys_id_out) {
    if (!enc_sys_id_out)
        return -1;
    // Cleared so that only an enclosure services id found below can make the -2 answer.
    enc_sys_id_out[0] = '\0';
    char link[kPathLen];
    if (!pd_sys_id || !strstr(pd_sys_id, "sg") ||
        comm_sys_get_sg_path_info(pd_sys_id, link, sizeof(link)) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }

    if (strstr(link, "usb"))
        return usb_enclosure(link, enc_sys_id_out);

    char pieces[kPathLen];
    nashal::hal_copy(pieces, link);
    char *parent = nullptr;
    char *self = nullptr;
    if (comm_sys_get_sas_bus(pieces, &parent, &self) == 0 && self) {
        if (comm_sys_get_sysid_of_sas_enclosure(self, enc_sys_id_out) != 0)
            return -1;
        if (comm_sys_check_sas_expander_sanity(enc_sys_id_out) == 0)
            return 0;
        // The board's own expander: its disks are bays of the main unit.
    } else if (strstr(link, "session")) {
        nashal::hal_copy(enc_sys_id_out, kIdLen, "iscsi");
        return 0;
    }

    int domain = 0;
    char bus_text[kIdLen] = "";
    char bridge[kIdLen] = "";
    comm_sys_assemble_dev_bus_from_path(link, &domain, bus_text, sizeof(bus_text), bridge,
                                        sizeof(bridge));
    int port = -1;
    int switch_port = -1;
    get_physical_drive_port(pd_sys_id, &port, &switch_port);
    // Only the system bays sit behind PCIe switches.
    for (MainUnitKind bays : {MainUnitKind::System, MainUnitKind::Esata, MainUnitKind::Cache}) {
        if (disk_in_enclosure(bays, bus_text, port,
                              bays == MainUnitKind::System ? switch_port : -1) == 0) {
            nashal::hal_copy(enc_sys_id_out, kIdLen, main_unit_enclosure(bays).id);
            return 0;
        }
    }
    if (strncmp(enc_sys_id_out, "sg", 2) == 0)
        return -2;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
    return 0;
}
