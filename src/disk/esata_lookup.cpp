// One eSATA port to its disks. A port multiplier puts several disks on one port, each as a
// target of the port's host, so every target of the host is a disk of this port.
#include <dirent.h>

#include <cstdio>
#include <cstring>

#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "foundation/raii.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

extern "C" int lookup_disk_in_root_esata(int dev_domain, const char *dev_bus, int dev_port,
                                         char **list, int room) {
    if (!dev_bus)
        return -1;
    char path[kPathLen];
    if (comm_sys_get_path_from_c_dev_bus(dev_domain, dev_bus, path, sizeof(path)) != 0)
        return -1;
    // An eSATA controller sits on the root bus or behind one bridge, never behind a switch.
    if (descend_to_controller(path, false, -1, __func__) != 0)
        return -1;
    int host = -1;
    if (get_sdev_host(path, dev_port, &host, nullptr) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s:%d:Internal Error\n", __func__, __LINE__);
        return 0;
    }
    char dir[kPathLen];
    snprintf(dir, sizeof(dir), "/sys/class/scsi_host/host%d/device", host);
    nashal::DirHandle d(opendir(dir));
    if (!d)
        return 0;
    int count = 0;
    int stored = 0;
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, "target", 6) != 0)
            continue;
        const char *t = e->d_name + 6;
        char dev[kPathLen];
        char id[kIdLen];
        if (snprintf(dev, sizeof(dev), "%s/target%s/%s:0", dir, t, t) >= kPathLen ||
            comm_sys_get_sdev_sysid(dev, id) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", __func__, __LINE__);
            continue;
        }
        ++count;
        list_store(list, room, &stored, id);
    }
    return count;
}
