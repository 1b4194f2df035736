// The hot-plug entries of disks: a handler outside the library calls these when the kernel
// reports a disk, and udev is told the disk's enclosure as it is at scan time.
#include <cstdlib>

#include "foundation/shell_command.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

extern "C" {

int PD_Sys_Attach(const char *enc_sys_id, const char *pd_sys_id) {
    int result = pd_attach(enc_sys_id, pd_sys_id);
    if (result < 0)
        return result;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s control --env=%s=%s",
                                  "/sbin/udevadm", pd_sys_id, enc_sys_id) >= 0) {
        int status = system(command);
        (void)status;  // udev's answer doesn't change the attach
    }
    return 0;
}

int PD_Sys_Detach(const char *enc_sys_id, const char *pd_sys_id) {
    int result = pd_detach(enc_sys_id, pd_sys_id);
    return result < 0 ? result : 0;
}

}  // extern "C"
