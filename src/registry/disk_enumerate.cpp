// Walking the disk registry: the disks of one enclosure, of every enclosure, and the block
// devices of the machine before any registry exists.
#include <dirent.h>

#include <cstring>

#include "foundation/raii.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/disk_files.h"

using namespace nashal::registry;

namespace {

// Holds the enc_id for the bitmap walk, whose callback knows only the bit.
struct EnclosureWalk {
    int enc_id;
    PD_ENUM_CB callback;
    void *cookie;
};

int call_with_enclosure(int port_id, void *cookie) {
    auto *walk = static_cast<EnclosureWalk *>(cookie);
    return walk->callback(walk->enc_id, port_id, walk->cookie);
}

struct AllWalk {
    uint32_t *array;
    int next;
    int capacity;
    int count;
    PD_ENUM_CB callback;
    void *cookie;
};

int take_disk(int enc_id, int port_id, void *cookie) {
    auto *all = static_cast<AllWalk *>(cookie);
    int value = all->callback ? all->callback(enc_id, port_id, all->cookie) : 0;
    if (value == 0) {
        if (all->array && all->next < all->capacity)
            all->array[all->next++] = se_gen_global_pd_id(enc_id, port_id);
        ++all->count;
    } else if (value == -1) {
        all->count = -1;
    }
    return value;
}

int walk_enclosure(int enc_id, void *cookie) {
    int result = PD_Enumerate(enc_id, nullptr, 0, take_disk, cookie);
    return result < 0 ? result : 0;
}

}  // namespace

extern "C" {

int PD_Enumerate(int enc_id, int *array, int capacity, PD_ENUM_CB callback, void *cookie) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    char file[kNameLen];
    snprintf(file, sizeof file, "/etc/enclosure_%d.conf", enc_id);
    EnclosureWalk walk{enc_id, callback, cookie};
    return Ini_Conf_Bitmap_Enumerate(file, kIndex, kPdBitmap, array, capacity,
                                     callback ? call_with_enclosure : nullptr, &walk);
}

int PD_Enumerate_All(uint32_t *array, int capacity, PD_ENUM_CB callback, void *cookie) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called.\n", __func__);
    AllWalk all{array, 0, capacity, 0, callback, cookie};
    SE_Enumerate(nullptr, 0, walk_enclosure, &all);
    return all.count;
}

int PD_Boot_Enumerate(uint64_t *array, int capacity, PD_DEV_ENUM_CB callback, void *cookie) {
    nashal::DirHandle dir(opendir("/sys/block"));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't opendir %s!\n", __func__, "/sys/block");
        return -1;
    }
    int result = -1;
    int count = 0;
    while (dirent *e = readdir(dir.get())) {
        if (strncmp(e->d_name, "sd", 2) != 0)
            continue;
        uint64_t dev_no = pd_get_dev_no_from_sysfs(e->d_name);
        if (dev_no == 0)
            continue;
        ++count;
        if (array && count <= capacity)
            array[count - 1] = dev_no;
        if (!callback)
            continue;
        result = callback(dev_no, cookie);
        if (result == -2)
            --count;
        else if (result == -1)
            break;
    }
    return result;
}

}  // extern "C"
