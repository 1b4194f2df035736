// Disks of the appliance's own enclosures, slot by slot from the model file: the system bays,
// the eSATA ports, the cache bays, the boot device, the USB ports of the chassis and the disks of
// a PCIe slot. Nothing is remembered between calls.
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_model.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace {

// The caller's list and the two numbers kept about it: `count` is the enumeration's result,
// `stored` how many entries really hold a text. They differ only where a result is counted
// beyond the room, or where a failed eSATA port takes one off the count.
struct Found {
    char **list;
    int room;
    int count = 0;
    int stored = 0;

    void add(const char *id) {
        ++count;
        list_store(list, room, &stored, id);
    }
    // Hands the free part of the list to a lookup that stores and counts by itself.
    char **free_part() { return list ? list + stored : nullptr; }
    int free_room() const { return room > stored ? room - stored : 0; }
    void took(int found) {
        count += found;
        if (found > 0)
            stored += found < free_room() ? found : free_room();
    }
    // The result. Entries beyond a count that went down are the caller's no longer: free them
    // here so that nothing leaks.
    int result() {
        int keep = count < 0 ? 0 : count;
        while (stored > keep) {
            free(list[--stored]);
            list[stored] = nullptr;
        }
        return count;
    }
};

// The bus keys shared by the USB sections.
struct UsbPlace {
    char bus[kIdLen] = "";
    char bridge[kIdLen] = "";
    int32_t in_hub = 0;
    int32_t switch_port = -1;
    int32_t domain = 0;
};

void usb_ports(Found &f, const UsbPlace &p, const char *bridge, char *ports, int speed) {
    for (int port; (port = comm_sys_get_each_usb_port(ports)) != 0;)
        f.took(lookup_disk_in_root_usb_hub(p.domain, p.bus, bridge, port, p.in_hub, p.switch_port,
                                           speed, f.free_part(), f.free_room()));
}

// One USB entry: its "DEV_PORT" list at any speed, or else the SuperSpeed ports and then the
// slower ones.
void usb_entry(Found &f, const char *section, const UsbPlace &p, const char *bridge) {
    char ports[kIdLen];
    if (model_text(section, "DEV_PORT", ports)) {
        usb_ports(f, p, bridge, ports, 0);
        return;
    }
    if (model_text(section, "DEV_PORT_SS", ports))
        usb_ports(f, p, bridge, ports, PD_LINK_SPEED_USB_5G);
    if (model_text(section, "DEV_PORT_NS", ports))
        usb_ports(f, p, bridge, ports, PD_LINK_SPEED_USB_480M);
}

// Slots numbered from 1 in sections "<prefix> %d", each a controller port below its bus
// ("DEV_BUS", "DEV_PORT", "DEV_DOMAIN"): fn(section, domain, bus, port) for those that name one.
template <typename Fn>
void for_each_port_section(const char *prefix, int slots, Fn fn) {
    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d", prefix, n);
        char bus[kIdLen];
        int32_t port = 0;
        if (!model_text(section, "DEV_BUS", bus) || !model_int(section, "DEV_PORT", &port))
            continue;
        int32_t domain = 0;
        model_int(section, "DEV_DOMAIN", &domain);
        fn(section, domain, bus, port);
    }
}

void enumerate_system(Found &f, int slots) {
    for_each_port_section(main_unit_enclosure(MainUnitKind::System).slot_prefix, slots,
                          [&](const char *section, int32_t domain, const char *bus, int32_t port) {
                              int32_t switch_port = -1;
                              char bridge[kIdLen];
                              model_int(section, "PCI_SWITCH_PORT", &switch_port);
                              model_text(section, "DEV_BRIDGE_BUS", bridge);
                              char id[kIdLen];
                              if (lookup_disk_in_root(domain, bus, bridge[0] ? bridge : nullptr,
                                                      port, switch_port, id) == 0)
                                  f.add(id);
                          });
}

void enumerate_esata(Found &f, int slots) {
    for_each_port_section(
        main_unit_enclosure(MainUnitKind::Esata).slot_prefix, slots,
        [&](const char *, int32_t domain, const char *bus, int32_t port) {
            // A controller with no path counts -1: the count goes down by one,
            // as it always has.
            f.took(lookup_disk_in_root_esata(domain, bus, port, f.free_part(), f.free_room()));
        });
}

// "Boot Disk %d" of an ATA boot device, which a flash one shares; "Cache Disk %d".
void enumerate_port_sections(Found &f, int slots, const char *name) {
    for_each_port_section(name, slots,
                          [&](const char *, int32_t domain, const char *bus, int32_t port) {
                              char id[kIdLen];
                              if (lookup_disk_in_root(domain, bus, nullptr, port, -1, id) == 0)
                                  f.add(id);
                          });
}

void enumerate_boot(Found &f, int slots) {
    const MainUnitEnclosure &boot = main_unit_enclosure(MainUnitKind::Boot);
    for (int n = 1; n <= slots; ++n) {
        int32_t max_disk = 0;
        model_int(boot.section, boot.count_key, &max_disk);
        if (n > max_disk)
            break;
        char type[kIdLen];
        if (!model_text(boot.section, "DISK_DRV_TYPE", type))
            continue;
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d", boot.slot_prefix, n);
        switch (get_disk_drv_type(type)) {
            case DISK_DRV_TYPE_USB: {
                UsbPlace p;
                if (!model_text(section, "DEV_BUS", p.bus))
                    continue;
                model_int(section, "IN_HUB", &p.in_hub);
                model_int(section, "PCI_SWITCH_PORT", &p.switch_port);
                model_int(section, "DEV_DOMAIN", &p.domain);
                usb_entry(f, section, p, nullptr);
                continue;
            }
            case DISK_DRV_TYPE_FLASH: {
                char prefix[kIdLen];
                if (!model_text(section, "FLASH_SYS_ID_PREFIX", prefix))
                    continue;
                char id[kIdLen + 16];
                snprintf(id, sizeof(id), "%s_%d", prefix, n);
                f.add(id);
                // A flash device also goes through the ATA sections, and that ends the walk: only
                // the first slot ever gives a flash id.
                enumerate_port_sections(f, slots, boot.slot_prefix);
                return;
            }
            case DISK_DRV_TYPE_ATA:
                enumerate_port_sections(f, slots, boot.slot_prefix);
                return;
            default:
                continue;
        }
    }
}

void enumerate_usb(Found &f, int slots) {
    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d",
                 main_unit_enclosure(MainUnitKind::Usb).slot_prefix, n);
        visit_usb_entries(section, [&](const char *entry) {
            UsbPlace p;
            if (!model_text(entry, "DEV_BUS", p.bus))
                return false;
            model_int(entry, "IN_HUB", &p.in_hub);
            model_int(entry, "PCI_SWITCH_PORT", &p.switch_port);
            model_int(entry, "DEV_DOMAIN", &p.domain);
            model_text(entry, "DEV_BRIDGE_BUS", p.bridge);
            usb_entry(f, entry, p, p.bridge[0] ? p.bridge : nullptr);
            return false;
        });
    }
}

// Every SCSI generic device whose controller sits at the slot's function is a disk of a PCIe
// slot enclosure: the card behind the slot is all of it. Traced under `caller`, the public call.
void enumerate_pcie(Found &f, const char *enc_sys_id, const char *caller) {
    char number[kIdLen];
    const MainUnitEnclosure &pcie = main_unit_enclosure(MainUnitKind::Pcie);
    nashal::hal_copy(number, enc_sys_id + strlen(pcie.id));
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof(section), "%s %d", pcie.section, atoi(number));
    char slot_bus[kIdLen];
    if (!model_text(section, "DEV_BUS", slot_bus)) {
        printf("Get %s Field failed!\n", "DEV_BUS");
        return;
    }
    nashal::DirHandle d(opendir("/sys/class/scsi_generic"));
    if (!d) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", caller, __LINE__);
        return;
    }
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, "sg", 2) != 0)
            continue;
        char link[kPathLen] = "";
        char bus[kIdLen] = "";
        char bridge[kIdLen] = "";
        int domain = 0;
        if (comm_sys_get_sg_path_info(e->d_name, link, sizeof(link)) < 0 ||
            comm_sys_assemble_dev_bus_from_path(link, &domain, bus, sizeof(bus), bridge,
                                                sizeof(bridge)) != 0)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", caller, __LINE__);
        if (strcmp(bus, slot_bus) == 0)
            f.add(e->d_name);
    }
}

}  // namespace

extern "C" int enumerate_pd_in_root_enclosure(const char *enc_sys_id, char **list, int list_size) {
    if (!enc_sys_id)
        return 0;
    Found f{list, list ? list_size : 0};
    int slots = list_size;
    const MainUnitEnclosure *kind = main_unit_enclosure(enc_sys_id);
    if (!kind)
        return f.result();
    switch (kind->kind) {
        case MainUnitKind::System:
            enumerate_system(f, slots);
            break;
        case MainUnitKind::Esata:
            enumerate_esata(f, slots);
            break;
        case MainUnitKind::Cache:
            enumerate_port_sections(f, slots, kind->slot_prefix);
            break;
        case MainUnitKind::Boot:
            enumerate_boot(f, slots);
            break;
        case MainUnitKind::Usb:
            enumerate_usb(f, slots);
            break;
        case MainUnitKind::Pcie:
            enumerate_pcie(f, enc_sys_id, __func__);
            break;
    }
    return f.result();
}
