// The WWN index of /etc/hal.conf: from a disk's wwn text to its pd_id, wherever the disk was
// last attached. /etc/hal.conf is rebuilt at each scan, so it holds attached disks only.
#include <cstdio>
#include <cstdlib>

#include "nashal/hal_pd.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/disk_files.h"

using namespace nashal::registry;

extern "C" {

int se_write_pd_wwn_index(int enc_id, int port_id, const char *wwn) {
    if (!wwn || !wwn[0])
        return -1;
    PdWwnField field(wwn);
    char value[16];
    snprintf(value, sizeof value, "%08x", se_gen_global_pd_id(enc_id, port_id));
    if (Ini_Conf_Set_Field(HAL_CONF_FILE, kIndex, field.name, value) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Ini_Conf_Set_Field(%s, %s, %s, %s) error!\n", __func__,
                  __LINE__, HAL_CONF_FILE, kIndex, field.name, value);
        return -1;
    }
    return 0;
}

int se_read_pd_wwn_index(const char *wwn, uint32_t *pd_id) {
    if (!wwn || !pd_id)
        return -1;
    PdWwnField field(wwn);
    char value[kValueLen];
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, kIndex, field.name, value, sizeof value) <= 0)
        return -1;
    *pd_id = static_cast<uint32_t>(strtoul(value, nullptr, 16));
    return 0;
}

int se_remove_pd_wwn_index(const char *wwn) {
    if (!wwn)
        return -1;
    PdWwnField field(wwn);
    return Ini_Conf_Remove_Field(HAL_CONF_FILE, kIndex, field.name) < 0 ? -1 : 0;
}

}  // extern "C"
