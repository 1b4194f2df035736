// A disk found by a name outside the registry: its block device node ("/dev/sdc2"), or its place
// on an external SAS connector of the main unit.
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "disk/disk_model.h"
#include "foundation/raii.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/sysfs_read.h"

using namespace nashal::disk;

namespace {

// The external connectors of boards that have them are ports of the internal expander.
constexpr uint32_t kCapExternalSas = CAP_INTERNAL_SAS;

// The expander phy behind a port of a connector, from the model's table; -1 if none.
int ext_port_phy(int connector, int port_in_connector) {
    using nashal::topology::kInternalSas;
    int32_t connectors = 0;
    int32_t ports = 0;
    if (!model_int(kInternalSas, "EXT_CONNECTOR_COUNT", &connectors) || connector < 0 ||
        connector >= connectors || !model_int(kInternalSas, "EXT_PORTS_IN_CONNECTOR", &ports))
        return -1;
    char key[HAL_NAME_LEN];
    snprintf(key, sizeof key, "EXT_PORT_%d", port_in_connector + connector * ports + 1);
    int32_t phy = -1;
    return model_int(kInternalSas, key, &phy) ? phy : -1;
}

}  // namespace

extern "C" int pd_sys_get_sys_id_by_sys_name(const char *name, char *enc_sys_id_out,
                                             char *pd_sys_id_out) {
    const char *dev = name ? strstr(name, "dev") : nullptr;
    const char *slash = dev ? strchr(dev, '/') : nullptr;
    if (!slash || !enc_sys_id_out || !pd_sys_id_out) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    // A partition ("sdc2") has no device of its own: it names its disk, the block device
    // without the trailing digits.
    char block[kIdLen];
    snprintf(block, sizeof block, "%s", slash + 1);
    char path[kPathLen];
    snprintf(path, sizeof path, "%s/%s/device", "/sys/block", block);
    if (access(path, F_OK) != 0) {
        size_t len = strlen(block);
        while (len > 0 && block[len - 1] >= '0' && block[len - 1] <= '9')
            block[--len] = '\0';
        snprintf(path, sizeof path, "%s/%s/device", "/sys/block", block);
    }
    if (comm_sys_get_sdev_sysid(path, pd_sys_id_out) != 0)
        return -1;
    // -2 (a disk on an expander of the box itself that no slot lists) is no answer here either.
    return PD_Sys_Get_SE_Sys_Id(pd_sys_id_out, enc_sys_id_out) < 0 ? -1 : 0;
}

extern "C" int pd_sys_get_sys_name_in_connector(const char *enc_sys_id, int connector,
                                                int port_in_connector, char *name_out,
                                                int name_size) {
    if (!enc_sys_id || strcmp(enc_sys_id, "root") != 0 || !name_out)
        return -1;
    if (!(nashal::topology::root_capability() & kCapExternalSas)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NAS not support this feature\n", __func__, __LINE__);
        return -1;
    }
    int phy = ext_port_phy(connector, port_in_connector);
    char expander_id[kIdLen] = {};
    if (phy < 0 || comm_sys_get_real_enc_sys_id(expander_id) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Interanl Error.\n", __func__, __LINE__);
        return -1;
    }
    char link[kPathLen] = {};
    char *expander = nullptr;
    if (comm_sys_get_sg_path_info(expander_id, link, sizeof link) < 0 ||
        comm_sys_get_sas_bus(link, nullptr, &expander) != 0 || !expander) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    // "expander-H:N": the phys are named "phy-H:N:<phy>".
    const char *dash = strchr(expander, '-');
    const char *suffix = dash ? dash + 1 : expander;
    char port[kPathLen];
    snprintf(port, sizeof port, "%s/expander-%s/device/phy-%s:%d/port",
             nashal::topology::kSasExpanderClass, suffix, suffix, phy);
    nashal::DirHandle dir(opendir(port));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", __func__, __LINE__);
        return -1;
    }
    while (dirent *e = readdir(dir.get())) {
        if (strncmp(e->d_name, "end_device-", 11) != 0)
            continue;
        char end[kPathLen];
        if (snprintf(end, sizeof end, "%s/%s", port, e->d_name) >= kPathLen)
            continue;
        char target[kIdLen] = {};
        if (comm_sys_get_sdev_target_bus(end, target) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):path = %s no end_device\n", __func__, __LINE__, end);
            return -1;
        }
        char lun[kPathLen];
        char id[kIdLen] = {};
        if (snprintf(lun, sizeof lun, "%s/target%s/%s:0", end, target, target) >= kPathLen ||
            comm_sys_get_sdev_sysid(lun, id) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s%d:System Internal Error\n", __func__, __LINE__);
            return -1;
        }
        return get_sd_name(id, name_out, name_size);
    }
    return -1;
}
