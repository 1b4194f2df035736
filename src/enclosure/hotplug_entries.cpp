// The entries a hot-plug handler calls when an enclosure comes or goes, and the existence test.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "nashal/se_sys.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"
#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"

using namespace nashal::enclosure;

namespace {

bool usb_link_present(const char *name) {
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "/sys/bus/usb/devices/%s", name);
    char target[HAL_SYSFS_PATH_LEN];
    return readlink(path, target, sizeof target) > 0;
}

int exist(const char *enc_sys_id) {
    // The boot device and the PCIe slots of the main unit are never reported as present.
    if (const auto *row = nashal::topology::main_unit_enclosure(enc_sys_id))
        return row->kind == nashal::topology::MainUnitKind::Boot ||
                       row->kind == nashal::topology::MainUnitKind::Pcie
                   ? 0
                   : 1;
    if (has_prefix(enc_sys_id, "usb")) {
        const char *tag = strstr(enc_sys_id, "usb_");
        if (!tag) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", "SE_Sys_Exist", __LINE__);
            return -1;
        }
        char name[HAL_ID_LEN];
        nashal::hal_copy(name, tag + 4);
        if (!usb_link_present(name))
            return 0;
        // A device that is still settling may vanish again: it counts only if it stays.
        os_sleep(3);
        return usb_link_present(name) ? 1 : 0;
    }
    // Thunderbolt enclosures are never reported as present.
    if (!is_sas(enc_sys_id))
        return 0;
    ENC_INFO scratch;
    memset(&scratch, 0, sizeof scratch);
    return sas_expander_getinfo(enc_sys_id, &scratch) == 0 ? 1 : 0;
}

}  // namespace

extern "C" int SE_Sys_Attach(const char *enc_sys_id, int report_limit) {
    int result = se_attach(enc_sys_id, report_limit);
    if (result < 0)
        return result;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s control --env=%s=enc",
                                  "/sbin/udevadm", enc_sys_id) >= 0)
        system(command);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):enc_sys_id = %s attach, run udevadm = %s\n", __func__,
              __LINE__, enc_sys_id, command);
    return 0;
}

extern "C" int SE_Sys_Pre_Detach(const char *enc_sys_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s(%d):enc_sys_id = %s\n", __func__, __LINE__,
              enc_sys_id ? enc_sys_id : "(null)");
    return se_pre_detach(enc_sys_id);
}

extern "C" int SE_Sys_Detach(const char *enc_sys_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s(%d):enc_sys_id = %s\n", __func__, __LINE__,
              enc_sys_id ? enc_sys_id : "(null)");
    return se_detach(enc_sys_id);
}

extern "C" int SE_Sys_Exist(const char *enc_sys_id) {
    int result = exist(enc_sys_id);
    if (result >= 0)
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):enc_sys_id = %s, exist= %d\n", __func__, __LINE__,
                  enc_sys_id ? enc_sys_id : "(null)", result);
    return result;
}
