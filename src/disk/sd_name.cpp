// The block device of a SCSI generic device. The sd driver binds after the sg node appears, so
// a freshly attached disk may have no block device yet: look again every second, for up to 30.
#include <dirent.h>

#include <cstdio>
#include <cstring>

#include "disk/disk_model.h"
#include "foundation/raii.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"

using namespace nashal::disk;

namespace {

constexpr int kSdWaitSeconds = 30;

int find_sd_name(const char *pd_sys_id, char *name_out, int name_size) {
    nashal::DirHandle d(opendir("/sys/block"));
    if (!d)
        return -1;
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, "sd", 2) != 0)
            continue;
        char path[kPathLen];
        char id[kIdLen];
        if (snprintf(path, sizeof(path), "/sys/block/%s/device", e->d_name) >= kPathLen ||
            comm_sys_get_sdev_sysid(path, id) != 0 || strcmp(id, pd_sys_id) != 0)
            continue;
        if (snprintf(name_out, static_cast<size_t>(name_size), "/dev/%s", e->d_name) >= name_size)
            return -1;
        return 0;
    }
    return -1;
}

}  // namespace

extern "C" int get_sd_name(const char *pd_sys_id, char *name_out, int name_size) {
    if (!pd_sys_id || !name_out || name_size <= 0)
        return -1;
    char device[kPathLen];
    if (snprintf(device, sizeof(device), "/sys/class/scsi_generic/%s/device", pd_sys_id) >=
        kPathLen)
        return -1;
    for (int count = 0;;) {
        // Only a disk (type 0) ever gets a block device.
        if (comm_sys_get_sdev_type(device) != 0)
            return -1;
        if (find_sd_name(pd_sys_id, name_out, name_size) == 0)
            return 0;
        if (count >= kSdWaitSeconds) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error:count = %d\n", __func__, __LINE__,
                      count);
            return -1;
        }
        ++count;
        os_sleep(1);
    }
}
