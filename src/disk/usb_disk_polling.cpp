// The media poll interval of a removable USB disk. The block device's attribute appears a moment
// after the disk, so the write is tried five times, a second apart while the file is missing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"

namespace {
constexpr int kPollTries = 5;
}

extern "C" int set_usb_disk_polling_time(const char *pd_sys_name, int milliseconds) {
    if (!pd_sys_name)
        return -1;
    // Opening the disk makes the kernel look at its media once, which brings the queue up.
    nashal::FileDescriptor(::open(pd_sys_name, O_RDONLY | O_CLOEXEC));
    const char *slash = strrchr(pd_sys_name, '/');
    const char *name = slash ? slash + 1 : pd_sys_name;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/bin/echo %d > %s/%s/events_poll_msecs", milliseconds,
                                  "/sys/block", name) < 0)
        return -1;
    char attribute[HAL_SYSFS_PATH_LEN];
    snprintf(attribute, sizeof attribute, "/sys/block/%s/events_poll_msecs", name);
    for (int attempt = 0; attempt < kPollTries; ++attempt) {
        if (system(command) == 0)
            return 0;
        struct stat st;
        int error = ::stat(attribute, &st) != 0 && errno == ENOENT ? ENOENT : errno;
        if (error == ENOENT) {
            ERR_TRACE(HAL_TRACE_WARN,
                      "%s(%d): send command = %s fail, file not ready, wait 1 second\n", __func__,
                      __LINE__, command);
            os_sleep(1);
        } else {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): send command = %s,errno = %d\n", __func__, __LINE__,
                      command, error);
        }
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): send command = %s fail\n", __func__, __LINE__, command);
    return -1;
}
