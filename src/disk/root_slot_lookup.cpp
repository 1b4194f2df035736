// One slot of the model file to the disk that sits in it. The slot names a PCI function and a
// port; the walk goes down through bridges and a PCIe switch to the controller, finds the SCSI
// host of the port, and then the target: on a SAS controller through its phy, directly or
// behind the first expander.
#include <dirent.h>

#include <climits>
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

namespace nashal::disk {

void append_platform_bridge(char *path, const char *bridge_bus) {
    char name[kIdLen];
    if (bridge_bus && comm_sys_parse_c_internal_driver(bridge_bus, name, sizeof(name)) == 0) {
        char step[kIdLen + 2];
        snprintf(step, sizeof(step), "/%s", name);
        path_append(path, step);
    }
}

int append_bus_slot(char *path, const char *bridge_value, int device) {
    char step[kPathLen];
    if (comm_sys_get_pci_bus(path, "pci_bus", bridge_value, device, step, sizeof(step)) != 0)
        return -1;
    return path_append(path, step) ? 0 : -1;
}

int descend_to_controller(char *path, bool allow_switch, int pci_switch_port, const char *who) {
    if (!dir_has_prefix(path, "pci_bus"))
        return path_append(path, "/.") ? 0 : -1;
    if (append_bus_slot(path, nullptr, 0) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        return -1;
    }
    if (!allow_switch || !dir_has_prefix(path, "pci_bus"))
        return 0;
    // A bridge behind the bridge: the upstream port of a PCIe switch. The slot names the
    // downstream port the controller hangs on.
    if (pci_switch_port == -1 || append_bus_slot(path, nullptr, pci_switch_port) != 0 ||
        !dir_has_prefix(path, "pci_bus") || append_bus_slot(path, nullptr, 0) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        return -1;
    }
    return 0;
}

}  // namespace nashal::disk

using namespace nashal::disk;

// The highest SCSI host number the lookups accept: far above any host a board has, and low
// enough that adding a port to it can't overflow.
constexpr int kMaxHostNumber = 65535;

extern "C" int __get_sdev_host(const char *path, int *lowest_host_out, int *host_count_out) {
    if (!path)
        return -1;
    nashal::DirHandle dir(opendir(path));
    if (!dir)
        return -1;
    int lowest = 65535;
    int count = 0;
    while (dirent *e = readdir(dir.get())) {
        if (strncmp(e->d_name, "host", 4) != 0)
            continue;
        // "host" with no number behind it is no SCSI host: reading it as 0 would make every
        // port of the controller point at the wrong host.
        int n = number_behind(e->d_name, "host");
        if (n < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
        ++count;
        if (n < lowest)
            lowest = n;
    }
    if (count == 0)
        return -1;
    if (lowest_host_out)
        *lowest_host_out = lowest;
    if (host_count_out)
        *host_count_out = count;
    return 0;
}

// A controller whose ports are ATA links has its hosts one level down (ata3/host2); each port
// then has a host of its own. A controller with one host for all ports (a SAS HBA) reaches
// the port as the target or phy number.
extern "C" int get_sdev_host(const char *path, int port, int *host_out, int *target_out) {
    if (!path || !host_out)
        return -1;
    int lowest = 65535;
    int count = 0;
    if (__get_sdev_host(path, &lowest, &count) != 0) {
        lowest = 65535;
        count = 0;
        nashal::DirHandle dir(opendir(path));
        if (!dir)
            return -1;
        while (dirent *e = readdir(dir.get())) {
            if (strncmp(e->d_name, "ata", 3) != 0)
                continue;
            char sub[kPathLen];
            if (snprintf(sub, sizeof(sub), "%s/%s", path, e->d_name) >= kPathLen)
                continue;
            int l = 65535;
            int c = 0;
            if (__get_sdev_host(sub, &l, &c) == 0 && c == 1) {
                ++count;
                if (l < lowest)
                    lowest = l;
            } else {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error:host_count = %d\n", __func__,
                          __LINE__, c);
            }
        }
        if (count == 0)
            return -1;
    }
    if (count > 1) {
        // The port comes from the model file ("DEV_PORT"); one past the last host number there
        // can be is no port of this controller, and must not wrap the host number round.
        if (port < 0 || port > kMaxHostNumber - lowest) {
            ERR_TRACE(HAL_TRACE_WARN, "%s(%d):port = %d is out of range\n", __func__, __LINE__,
                      port);
            return -1;
        }
        *host_out = lowest + port;
        if (target_out)
            *target_out = -1;
    } else {
        *host_out = lowest;
        if (target_out)
            *target_out = port;
    }
    return 0;
}

namespace {

// The target of a SAS controller: through the phy's port link to the end device, directly or
// behind the expander on the controller's first port. Fills target_text; 0 or -1. The trace
// carries the name of `who`, the lookup a firmware engineer finds in the log.
int sas_target_text(char *path, int host, int target, char (&target_text)[kIdLen],
                    const char *who) {
    char step[96];
    char name[kPathLen];
    snprintf(step, sizeof(step), "phy-%d:%d", host, target);
    if (dir_has_prefix(path, step)) {
        snprintf(step, sizeof(step), "/phy-%d:%d/port", host, target);
        path_append(path, step);
        if (comm_sys_search_partial_filename(path, "end_device", name, sizeof(name)) == 0) {
            const char *colon = strchr(name, ':');
            snprintf(step, sizeof(step), "/end_device-%d:%d", host, colon ? atoi(colon + 1) : 0);
            path_append(path, step);
        }
    } else {
        snprintf(step, sizeof(step), "/port-%d:0/expander-%d:0", host, host);
        path_append(path, step);
        snprintf(step, sizeof(step), "/phy-%d:0:%d/port", host, target);
        path_append(path, step);
        if (comm_sys_search_partial_filename(path, "end_device", name, sizeof(name)) == 0) {
            const char *colon = strrchr(name, ':');
            snprintf(step, sizeof(step), "/end_device-%d:0:%d", host, colon ? atoi(colon + 1) : 0);
            path_append(path, step);
        }
    }
    if (comm_sys_get_sdev_target_bus(path, target_text) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", who, __LINE__);
        return -1;
    }
    return 0;
}

// The target of a controller with one host and no phys: "target<h>:0:<t>", else
// "target<h>:<t>:0".
int plain_target_text(const char *path, int host, int target, char (&target_text)[kIdLen]) {
    char prefix[64];
    char name[kPathLen];
    snprintf(prefix, sizeof(prefix), "target%d:0:%d", host, target);
    if (comm_sys_search_partial_filename(path, prefix, name, sizeof(name)) != 0) {
        snprintf(prefix, sizeof(prefix), "target%d:%d:0", host, target);
        if (comm_sys_search_partial_filename(path, prefix, name, sizeof(name)) != 0)
            return -1;
    }
    nashal::hal_copy(target_text, name + strlen("target"));
    return 0;
}

}  // namespace

namespace nashal::disk {

int find_disk_on_controller(const char *path, int dev_port, bool sas_layout, char *sys_id_out,
                            const char *who) {
    int host = -1;
    int target = -1;
    int rc = get_sdev_host(path, dev_port, &host, &target);
    if (rc != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s:%d:Internal Error\n", who, __LINE__);
        return rc;
    }

    char dir[kPathLen];
    snprintf(dir, sizeof(dir), "/sys/class/scsi_host/host%d/device", host);
    char target_text[kIdLen] = "";
    bool phys = target != -1 && dir_has_prefix(dir, "phy");
    if (phys && !sas_layout) {
        // A controller whose disks hang on phys has no place here; its targets are looked for
        // as on a plain controller.
        printf("%s(%d):Should not be here!\n", who, __LINE__);
        phys = false;
    }
    if (target == -1) {
        if (comm_sys_get_sdev_target_bus(dir, target_text) != 0)
            return -1;
    } else if (phys) {
        if (sas_target_text(dir, host, target, target_text, who) != 0)
            return -1;
    } else if (plain_target_text(dir, host, target, target_text) != 0) {
        return -1;
    }

    char step[2 * kIdLen + 16];
    snprintf(step, sizeof(step), "/target%s/%s:0", target_text, target_text);
    if (!path_append(dir, step) || comm_sys_get_sdev_sysid(dir, sys_id_out) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", who, __LINE__);
        return -1;
    }
    return 0;
}

}  // namespace nashal::disk

extern "C" int lookup_disk_in_root(int dev_domain, const char *dev_bus, const char *bridge_bus,
                                   int dev_port, int pci_switch_port, char *sys_id_out) {
    if (!dev_bus || !sys_id_out)
        return -1;
    char path[kPathLen];
    // A slot whose function isn't there is an empty bay, not an error.
    if (comm_sys_get_path_from_c_dev_bus(dev_domain, dev_bus, path, sizeof(path)) != 0)
        return -1;
    append_platform_bridge(path, bridge_bus);
    if (descend_to_controller(path, true, pci_switch_port, __func__) != 0)
        return -1;
    return find_disk_on_controller(path, dev_port, true, sys_id_out, __func__);
}
