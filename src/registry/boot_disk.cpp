// The boot disks recorded in BootDisk_%d of /etc/hal.conf: their name, serial number and size.
// A system that boots from flash has no such record.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"
#include "registry/disk_files.h"

using nashal::registry::DiskRecord;

namespace {

// The USB host driver takes this long to find its disks again after a reload.
constexpr unsigned kUsbReloadSeconds = 3;
// What a flash boot device stands for when no boot disk is recorded: 16 MiB.
constexpr int64_t kFlashSectors = 32768;
constexpr int kFlashSectorSize = 512;

bool boot_field(int index, const char *field, char *out, int size) {
    DiskRecord r(0, index, true);
    return Ini_Conf_Get_Field(r.file, r.section, field, out, size) > 0;
}

bool opens(const char *name) {
    nashal::FileDescriptor fd(open(name, O_RDONLY));
    return fd.valid();
}

void run(const char *command) {
    char line[HAL_CMD_LEN];
    if (nashal::hal_build_command("PD_Get_Boot_Disk", line, sizeof line, command) > 0)
        (void)!system(line);
}

}  // namespace

extern "C" int PD_Get_Boot_Disk(int index, char *buffer, int size) {
    if (!buffer || size <= 0 || !boot_field(index, "pd_sys_name", buffer, size))
        return -1;
    // A flash device needs no check; a disk that opens is there.
    if (strncmp(buffer, "/dev/sd", 7) != 0 || opens(buffer))
        return 0;
    // The USB controller has lost the boot disk. Reloading the host driver affects every USB
    // device, so it is done only for a disk name that really doesn't open.
    run("/sbin/rmmod ehci-hcd.ko &>/dev/null");
    run("/sbin/insmod /lib/modules/misc/ehci-hcd.ko &>/dev/null");
    os_sleep(kUsbReloadSeconds);
    if (!boot_field(index, "pd_sys_name", buffer, size))
        return -1;
    return opens(buffer) ? 0 : -1;
}

extern "C" int PD_Get_Boot_Disk_At_Startup(int index, char *buffer, int size) {
    return pd_sys_get_boot_disk(index, buffer, size);
}

extern "C" int PD_Get_Boot_Disk_Serial_No(int index, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    if (!boot_field(index, "serial_no", buffer, size)) {
        buffer[0] = '\0';
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't retrieve serial_no of boot disk %d!\n", __func__,
                  index);
        return -1;
    }
    return 0;
}

extern "C" int PD_Get_Boot_Disk_Capacity(int index, int64_t *capacity, int *sector_size) {
    char text[HAL_ID_LEN];
    if (capacity) {
        if (boot_field(index, "capacity", text, sizeof text)) {
            *capacity = strtoll(text, nullptr, 10);
        } else {
            ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):Cannot find boot disk,use /dev/mtdblock\n",
                      __func__, __LINE__);
            *capacity = kFlashSectors;
        }
    }
    if (sector_size) {
        if (boot_field(index, "sector_size", text, sizeof text)) {
            *sector_size = static_cast<int>(strtol(text, nullptr, 10));
        } else {
            ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):Cannot find boot disk,use /dev/mtdblock\n",
                      __func__, __LINE__);
            *sector_size = kFlashSectorSize;
        }
    }
    return 0;
}
