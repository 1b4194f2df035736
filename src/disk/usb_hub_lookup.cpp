// One USB port of the board to the disk LUNs behind it. The port is named by the USB host
// controller's PCI function, the port number on the root hub, and how many hubs the board puts
// in front of it; a SuperSpeed and a slower root hub share the controller, so the speed picks
// the root hub. Every LUN of type 0 is a disk: a card reader gives one per slot, a CD-ROM none.
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace {

// The controller directory of the port: through a bridge (the bridge text picks the function
// behind it) and a PCIe switch when the model says so. Traces carry the name of `who`, the
// lookup a firmware engineer finds in the log.
int usb_controller_path(char *path, const char *bridge_bus, int pci_switch_port, const char *who) {
    if (!dir_has_prefix(path, "pci_bus")) {
        if (!bridge_bus)
            path_append(path, "/.");
        else
            append_platform_bridge(path, bridge_bus);
        return 1;
    }
    if (append_bus_slot(path, bridge_bus, 0) != 0)
        return -1;
    if (!dir_has_prefix(path, "pci_bus"))
        return 1;
    if (pci_switch_port == -1)
        return 0;
    if (append_bus_slot(path, nullptr, pci_switch_port) != 0)
        return -1;
    if (dir_has_prefix(path, "pci_bus")) {
        if (append_bus_slot(path, nullptr, 0) != 0)
            return -1;
    } else {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
    }
    return 1;
}

// The disk LUNs of the usb-storage host behind one interface directory.
int usb_luns(const char *interface, int usb_port, char **list, int room, int *count, int *stored) {
    int host = -1;
    if (get_sdev_host(interface, usb_port, &host, nullptr) != 0)
        return 0;
    char target[kPathLen];
    if (snprintf(target, sizeof(target), "%s/host%d/target%d:0:0", interface, host, host) >=
        kPathLen)
        return 0;
    nashal::DirHandle d(opendir(target));
    if (!d)
        return -1;
    char prefix[32];
    snprintf(prefix, sizeof(prefix), "%d:0:0:", host);
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, prefix, strlen(prefix)) != 0)
            continue;
        char lun[kPathLen];
        char id[kIdLen];
        if (snprintf(lun, sizeof(lun), "%s/%s", target, e->d_name) >= kPathLen)
            continue;
        if (comm_sys_get_sdev_type(lun) != 0 || comm_sys_get_sdev_sysid(lun, id) != 0)
            continue;
        ++*count;
        list_store(list, room, stored, id);
    }
    return 0;
}

// A lookup that gives up with 0 after it stored ids of an earlier root hub hands the caller a
// count that holds none of them: they are freed here, or nobody would.
int give_up(char **list, int stored) {
    while (stored > 0) {
        free(list[--stored]);
        list[stored] = nullptr;
    }
    return 0;
}

}  // namespace

extern "C" int lookup_disk_in_root_usb_hub(int dev_domain, const char *dev_bus,
                                           const char *bridge_bus, int usb_port, int in_hub,
                                           int pci_switch_port, int max_usb_speed, char **list,
                                           int room) {
    if (!dev_bus)
        return 0;
    char path[kPathLen];
    if (comm_sys_get_path_from_c_dev_bus(dev_domain, dev_bus, path, sizeof(path)) != 0)
        return 0;
    int rc = usb_controller_path(path, bridge_bus, pci_switch_port, __func__);
    if (rc <= 0)
        return rc;

    nashal::DirHandle d(opendir(path));
    if (!d)
        return 0;
    int count = 0;
    int stored = 0;
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, "usb", 3) != 0)
            continue;
        int n = number_behind(e->d_name, "usb");
        if (n < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return give_up(list, stored);
        }
        // The hub whose ports the model numbers: the root hub, or the first (and second) hub
        // soldered on the board behind its port 1.
        char bus[kIdLen];
        if (in_hub == 1)
            snprintf(bus, sizeof(bus), "%d-1", n);
        else if (in_hub == 2)
            snprintf(bus, sizeof(bus), "%d-1.1", n);
        else
            nashal::hal_copy(bus, e->d_name);

        char text[kIdLen];
        if (comm_sys_get_usb_attribute(bus, "maxchild", text, sizeof(text)) >= 0 &&
            text[0] != '\0' && atoi(text) < usb_port)
            continue;
        if (max_usb_speed != 0 &&
            comm_sys_get_usb_attribute(bus, "speed", text, sizeof(text)) >= 0 && text[0] != '\0') {
            int speed = common_sys_transfer_pd_link_speed(1, text);
            if (max_usb_speed == PD_LINK_SPEED_USB_5G ? speed != PD_LINK_SPEED_USB_5G
                                                      : speed > max_usb_speed)
                continue;
        }

        char step[160];
        if (in_hub == 1)
            snprintf(step, sizeof(step), "/usb%d/%d-1/%d-1.%d/%d-1.%d:1.0", n, n, n, usb_port, n,
                     usb_port);
        else if (in_hub == 2)
            snprintf(step, sizeof(step), "/usb%d/%d-1/%d-1.1/%d-1.1.%d/%d-1.1.%d:1.0", n, n, n, n,
                     usb_port, n, usb_port);
        else
            snprintf(step, sizeof(step), "/usb%d/%d-%d/%d-%d:1.0", n, n, usb_port, n, usb_port);
        char interface[kPathLen];
        if (snprintf(interface, sizeof(interface), "%s%s", path, step) >= kPathLen)
            continue;
        if (usb_luns(interface, usb_port, list, room, &count, &stored) != 0)
            return give_up(list, stored);
    }
    return count;
}
