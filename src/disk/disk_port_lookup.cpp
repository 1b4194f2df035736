// A known disk to its slot. The reverse of the slot walk: from the device's link text back to the
// controller's bus text and the port on it, then the model slot that names both.
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace nashal::disk {

int get_pci_path_segments(const char *link, const char *upstream, char (&downstream)[kIdLen],
                          char (&controller)[kIdLen]) {
    const char *p = strstr(link, upstream);
    if (!p)
        return -1;
    p += strlen(upstream);
    char *outs[] = {downstream, controller};
    for (char *out : outs) {
        if (*p != '/')
            return -1;
        ++p;
        const char *end = strchr(p, '/');
        size_t len = end ? static_cast<size_t>(end - p) : strlen(p);
        if (len == 0 || len >= static_cast<size_t>(kIdLen))
            return -1;
        nashal::hal_copy(out, kIdLen, p, len);
        p += len;
    }
    return 0;
}

int parse_pci_device_number(const char *function) {
    const char *colon = strrchr(function, ':');
    if (!colon || !strchr(colon, '.'))
        return -1;
    return static_cast<int>(strtol(colon + 1, nullptr, 16));
}

// The port is the difference of the hosts: a host below the controller's (or one a hostile
// link text makes up) is no port of it, and must not make the difference overflow.
bool host_of_controller(int host, int lowest, const char *caller, int line) {
    if (host >= lowest && lowest >= 0)
        return true;
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d):host = %d is not one of the controller's (from %d)\n", caller,
              line, host, lowest);
    return false;
}

bool read_disk_link(const char *pd_sys_id, DiskLink &out) {
    return comm_sys_get_sg_path_info(pd_sys_id, out.link, sizeof(out.link)) >= 0 &&
           get_scsi_address(out.link, &out.host, &out.channel, &out.target, &out.lun) == 0 &&
           comm_sys_assemble_dev_bus_from_path(out.link, &out.domain, out.bus, sizeof(out.bus),
                                               out.bridge, sizeof(out.bridge)) == 0;
}

int port_behind_switch(const DiskLink &disk, const char *upstream, char *path,
                       int *physical_port_out, int *pci_switch_port_out, const char *who) {
    char downstream[kIdLen];
    char controller[kIdLen];
    int switch_port = -1;
    int lowest = 0;
    bool ok = get_pci_path_segments(disk.link, upstream, downstream, controller) == 0 &&
              (switch_port = parse_pci_device_number(downstream)) >= 0;
    if (ok) {
        char step[2 * kIdLen + 4];
        snprintf(step, sizeof(step), "/%s/%s", downstream, controller);
        ok = path_append(path, step) && get_sdev_host(path, 0, &lowest, nullptr) == 0;
    }
    if (ok && !host_of_controller(disk.host, lowest, who, __LINE__))
        return -1;
    if (!ok) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        return -1;
    }
    *pci_switch_port_out = switch_port;
    *physical_port_out = disk.host - lowest;
    return 0;
}

}  // namespace nashal::disk

namespace {

// The phy of a SAS end device: the port component in front of "end_device" names a port of
// /sys/class/sas_port, whose phy entry ends in the phy number.
int get_sas_end_device_phy(const char *link, int *phy_out) {
    char text[kPathLen];
    nashal::hal_copy(text, link);
    char *end = strstr(text, "end_device");
    if (!end || end == text)
        return -1;
    *end = '\0';
    if (end[-1] == '/')
        end[-1] = '\0';
    const char *port = strrchr(text, '/');
    port = port ? port + 1 : text;
    char dir[kPathLen];
    char phy[kPathLen];
    if (snprintf(dir, sizeof(dir), "/sys/class/sas_port/%s/device", port) >= kPathLen ||
        comm_sys_search_partial_filename(dir, "phy", phy, sizeof(phy)) != 0)
        return -1;
    const char *colon = strrchr(phy, ':');
    if (!colon)
        return -1;
    *phy_out = atoi(colon + 1);
    return 0;
}

}  // namespace

extern "C" int get_physical_drive_port(const char *pd_sys_id, int *physical_port_out,
                                       int *pci_switch_port_out) {
    if (!pd_sys_id || !physical_port_out || !pci_switch_port_out)
        return -1;
    char link[kPathLen];
    int host, channel, target, lun;
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof(link)) < 0 ||
        get_scsi_address(link, &host, &channel, &target, &lun) != 0)
        return -1;

    // A SAS end device, direct or behind an expander: the port is its phy.
    if (target != 0 || strstr(link, "expander"))
        return get_sas_end_device_phy(link, physical_port_out);

    int domain = 0;
    char bus[kIdLen];
    char bridge[kIdLen];
    char path[kPathLen];
    if (comm_sys_assemble_dev_bus_from_path(link, &domain, bus, sizeof(bus), bridge,
                                            sizeof(bridge)) != 0 ||
        comm_sys_get_path_from_c_dev_bus(domain, bus, path, sizeof(path)) != 0)
        return -1;
    append_platform_bridge(path, bridge);
    size_t function_end = strlen(path);
    if (!dir_has_prefix(path, "pci_bus")) {
        path_append(path, "/.");
    } else if (append_bus_slot(path, nullptr, 0) != 0) {
        return -1;
    }

    int pci_class = 0;
    if (comm_sys_get_device_class(path, &pci_class) != 0)
        return -1;
    if (pci_class == 1) {
        int lowest = 0;
        if (get_sdev_host(path, 0, &lowest, nullptr) != 0 ||
            !host_of_controller(host, lowest, __func__, __LINE__))
            return -1;
        int port = host - lowest;
        // One host for several devices: a port multiplier link stands in the channel, a LUN
        // of a multi-LUN bridge in the lun.
        if (port == 0)
            port = channel != 0 ? channel : lun;
        *physical_port_out = port;
        *pci_switch_port_out = -1;
        return 0;
    }
    if (pci_class == 6) {
        // A PCIe switch: the link text names the downstream port and the controller behind
        // the upstream port that the descent reached.
        char upstream[kIdLen];
        nashal::hal_copy(upstream, path + function_end);
        DiskLink disk = {};
        nashal::hal_copy(disk.link, link);
        disk.host = host;
        return port_behind_switch(disk, upstream, path, physical_port_out, pci_switch_port_out,
                                  __func__);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error,pci_class_codes = %d unknown\n", __func__,
              __LINE__, pci_class);
    return -1;
}

extern "C" int disk_is_in_esata_port_multiplier(const char *enc_sys_id, const char *pd_sys_id) {
    if (!enc_sys_id || !pd_sys_id || strcmp(enc_sys_id, "root_esata") != 0)
        return 0;
    char link[kPathLen];
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof(link)) < 0)
        return 0;
    const char *ata = nullptr;
    for (const char *p = strstr(link, "ata"); p; p = strstr(p + 1, "ata"))
        ata = p;
    if (ata) {
        // The port's own device is the multiplier when its class says so.
        int port = atoi(ata + 3);
        char cmd[HAL_CMD_LEN];
        char out[64];
        if (nashal::hal_build_command(__func__, cmd, sizeof(cmd), "cat %s/dev%d.0/class",
                                      "/sys/class/ata_device", port) < 0 ||
            comm_sys_read_from_popen(cmd, out, sizeof(out)) < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
            return 0;
        }
        return strncmp(out, "pmp", 3) == 0 ? 1 : 0;
    }
    int host = comm_sys_get_num_behind_string(link, "host");
    char dir[kPathLen];
    snprintf(dir, sizeof(dir), "/sys/class/scsi_host/host%d/device", host);
    nashal::DirHandle d(opendir(dir));
    int targets = 0;
    if (d)
        while (dirent *e = readdir(d.get()))
            if (strncmp(e->d_name, "target", 6) == 0)
                ++targets;
    if (targets == 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return 0;
    }
    return targets > 1 ? 1 : 0;
}

extern "C" int get_pd_port_id(const char *enc_sys_id, const char *pd_sys_id, int physical_port,
                              int pci_switch_port, PD_INFO *pd_info) {
    if (!enc_sys_id || !pd_sys_id || !pd_info || !strstr(pd_sys_id, "sg"))
        return -1;
    char link[kPathLen];
    int domain = 0;
    char bus[kIdLen];
    char bridge[kIdLen];
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof(link)) < 0 ||
        comm_sys_assemble_dev_bus_from_path(link, &domain, bus, sizeof(bus), bridge,
                                            sizeof(bridge)) != 0)
        return -1;

    const MainUnitEnclosure *kind = main_unit_enclosure(enc_sys_id);
    if (!kind)
        return -1;
    bool usb = kind->usb;
    if (kind->kind == MainUnitKind::Pcie) {
        // The disks of a PCIe slot enclosure are numbered by their port on the card.
        pd_info->port_id = physical_port;
        return 0;
    }
    if (kind->kind == MainUnitKind::Boot) {
        char type[kIdLen];
        if (!model_text(kind->section, "DISK_DRV_TYPE", type))
            return -1;
        int code = get_disk_drv_type(type);
        if (code == DISK_DRV_TYPE_USB) {
            usb = true;
        } else if (code != DISK_DRV_TYPE_ATA) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
    }
    int32_t slots = 0;
    model_int(kind->section, kind->count_key, &slots);

    char usb_bus[kIdLen] = "";
    int layer = 0;
    int speed = 0;
    bool speed_read = false;
    if (usb && usb_bus_from_path(link, usb_bus)) {
        layer = comm_sys_get_usb_layer(usb_bus);
        // Only a speed that can't be read passes the slots over: a disk faster than any code
        // (10 Gb/s) still has its place on a "DEV_PORT" or "DEV_PORT_NS" port.
        speed = usb_link_speed(usb_bus, &speed_read);
    }

    for (int n = 1; n <= slots; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof(section), "%s %d", kind->slot_prefix, n);
        if (usb) {
            if (!speed_read)
                continue;
            // The slot of a USB disk is told without its PCI domain.
            const UsbPlace place{domain, bus, bridge, layer, physical_port, speed};
            if (visit_usb_entries(section, [&](const char *entry) {
                    return usb_slot_matches(entry, place, DomainCheck::Ignored);
                })) {
                pd_info->port_id = n;
                return 0;
            }
            continue;
        }
        if (bay_matches(section, {domain, bus, physical_port, pci_switch_port},
                        DomainCheck::Compared)) {
            // A disk behind a port multiplier shares its port with others: the registry gives
            // it a number above the enclosure's bays.
            pd_info->port_id = disk_is_in_esata_port_multiplier(enc_sys_id, pd_sys_id) ? -1 : n;
            return 0;
        }
    }
    return -1;
}
