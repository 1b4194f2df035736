// The port of a disk on the controller of a PCIe slot enclosure ("root_pcie_%d"). Such a card is
// a SAS HBA: its disks hang on SAS ports "port-H:N" right behind the host, and port N is slot
// N + 1 of the enclosure.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

extern "C" {

int get_pcie_dev_port_from_path(const char *path, int *port_out) {
    if (!path || !port_out)
        return -1;
    // The component behind the first one that begins with "host".
    const char *p = path;
    while ((p = strstr(p, "/host")) != nullptr) {
        p += 1;
        const char *next = strchr(p, '/');
        if (!next)
            return -1;
        const char *component = next + 1;
        const char *end = strchr(component, '/');
        size_t len = end ? static_cast<size_t>(end - component) : strlen(component);
        char name[kIdLen];
        if (len == 0 || len >= sizeof(name))
            return -1;
        memcpy(name, component, len);
        name[len] = '\0';
        const char *port = strstr(name, "port-");
        const char *colon = port ? strchr(port, ':') : nullptr;
        if (!colon || colon[1] < '0' || colon[1] > '9')
            return -1;
        *port_out = atoi(colon + 1) + 1;
        return 0;
    }
    return -1;
}

int get_pcie_physical_drive_port(const char *pd_sys_id, int *physical_port_out,
                                 int *pci_switch_port_out) {
    if (!pd_sys_id || !physical_port_out || !pci_switch_port_out)
        return -1;
    DiskLink disk;
    char path[kPathLen];
    if (!read_disk_link(pd_sys_id, disk) ||
        get_pcie_dev_port_from_path(disk.link, physical_port_out) != 0)
        return -1;
    // The slot's function must still lead to a controller: a card pulled since leaves a port
    // that names nothing.
    if (comm_sys_get_path_from_c_dev_bus(disk.domain, disk.bus, path, sizeof(path)) != 0 ||
        (dir_has_prefix(path, "pci_bus") ? append_bus_slot(path, nullptr, 0)
                                         : (path_append(path, "/.") ? 0 : -1)) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    *pci_switch_port_out = 0;
    return 0;
}

}  // extern "C"
