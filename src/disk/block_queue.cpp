// The request size limit of a disk's block queue, from the appliance's own setting
// "HDD_MAX_SECTORS_KB" of "Limitation" (read with /sbin/vcfg).
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

extern "C" {

int pd_sys_set_device_queue(const char *pd_sys_name) {
    char answer[HAL_ID_LEN];
    if (comm_sys_read_from_popen("/sbin/vcfg -g \"Limitation\" \"HDD_MAX_SECTORS_KB\" 2>>/dev/null",
                                 answer, sizeof answer) <= 0)
        return -1;
    return pd_sys_set_max_sectors_kb(pd_sys_name, atoi(answer));
}

int pd_sys_set_max_sectors_kb(const char *pd_sys_name, int kilobytes) {
    const char *slash = pd_sys_name ? strrchr(pd_sys_name, '/') : nullptr;
    if (!slash || kilobytes < 1)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/bin/echo %d >%s/%s/queue/max_sectors_kb", kilobytes,
                                  "/sys/block", slash + 1) < 0)
        return -1;
    return system(command) == 0 ? 0 : -1;
}

}  // extern "C"
