// The disk enumeration dispatcher: picks the enumerator by the kind of enclosure, and tells udev
// the enclosure of every disk found so that its rules can name the device.
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

namespace {

// Traced under the name of the public call, `caller`: the one an engineer looks for in the log.
void notify_udev(const char *pd_sys_id, const char *enc_sys_id, const char *caller) {
    char cmd[HAL_CMD_LEN];
    // The odd redirection is the system's own command, kept byte for byte.
    if (nashal::hal_build_command(caller, cmd, sizeof(cmd), "pidof %s 1 > /dev/null 2 >& 1",
                                  "udevd") < 0)
        return;
    if (system(cmd) != 0)
        return;
    // A command cut at the end of its buffer would hand udev a wrong enclosure name.
    int n = nashal::hal_build_command(caller, cmd, sizeof(cmd), "%s control --env=%s=%s",
                                      "/sbin/udevadm", pd_sys_id, enc_sys_id);
    if (n < 0)
        return;
    if (n >= static_cast<int>(sizeof(cmd))) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", caller, __LINE__);
        return;
    }
    if (system(cmd) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: \"%s\" failed\n", caller, cmd);
}

}  // namespace

extern "C" int pd_sys_enumerate(const char *enc_sys_id, char **pd_sys_id_list, int list_size) {
    if (!enc_sys_id)
        return 0;
    if (!pd_sys_id_list || list_size < 0)
        list_size = 0;
    int count = 0;
    if (strncmp(enc_sys_id, "root", 4) == 0)
        count = enumerate_pd_in_root_enclosure(enc_sys_id, pd_sys_id_list, list_size);
    else if (strncmp(enc_sys_id, "usb", 3) == 0)
        count = enumerate_pd_in_usb_expander(enc_sys_id, pd_sys_id_list, list_size);
    else if (comm_sys_check_is_sas_expander(enc_sys_id) == 0)
        count = enumerate_pd_in_sas_expander(enc_sys_id, pd_sys_id_list, list_size);
    else if (strncmp(enc_sys_id, "i2c", 3) == 0)
        count = enumerate_pd_in_thunderbolt_expander(enc_sys_id, pd_sys_id_list, list_size);
    if (count > list_size) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System error\n", __func__, __LINE__);
        return count;
    }
    for (int i = 0; i < count; ++i)
        if (pd_sys_id_list[i])
            notify_udev(pd_sys_id_list[i], enc_sys_id, __func__);
    return count;
}
