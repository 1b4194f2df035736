// The main unit's processor, boot parameters and panel controller services: what the
// motherboard interface reports beside the board's identity.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"
#include "nashal/se_board.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::model_int_or;
using nashal::topology::root_capability;

namespace {

constexpr int kMaxCpus = 8;
constexpr int kCpuModelLimit = 60;
// Watchdog modes 0, 1, 2 are the panel controller's commands 103, 104, 105.
constexpr int kWatchdogCommandBase = 103;

bool has_pic(const char *who, const char *enc_sys_id) {
    if (is(enc_sys_id, "root") && (root_capability() & CAP_PIC))
        return true;
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d): NAS not support this feature\n", who, __LINE__);
    return false;
}

// The processors' average scaling frequency in MHz; 0 when none reports one.
int average_cpu_mhz() {
    long sum = 0;
    int count = 0;
    for (int cpu = 0; cpu < kMaxCpus; ++cpu) {
        char path[96];
        snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%d/cpufreq/scaling_cur_freq", cpu);
        nashal::FileHandle f(fopen(path, "re"));
        char text[32] = {};
        if (!f || !fgets(text, sizeof text, f.get()))
            continue;
        sum += atol(text) / 1000;
        ++count;
    }
    return count ? static_cast<int>(sum / count) : 0;
}

// "Intel(R) Celeron(R) CPU J1900 @ 2.00GHz" gives 2000; -1 without "@" or a unit.
int speed_from_model(const char *model) {
    const char *at = strchr(model, '@');
    if (!at)
        return -1;
    double value = strtod(at + 1, nullptr);
    if (strstr(at, "GHz"))
        value *= 1000;
    else if (!strstr(at, "MHz"))
        return -1;
    // The product is cut through single precision, as the figure has always been shown.
    return static_cast<int>(static_cast<float>(value));
}

}  // namespace

extern "C" int se_sys_get_cpu_info(const char *, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    buffer[0] = '\0';
    int n = comm_sys_read_from_popen(
        "/bin/cat /proc/cpuinfo | /bin/busybox grep 'name' | "
        "/bin/busybox head -n1 | /bin/busybox sed 's/^.*: //g'",
        buffer, size);
    if (n <= 0)
        return -1;
    if (char *nl = strchr(buffer, '\n'))
        *nl = '\0';
    return 0;
}

extern "C" int se_sys_get_cpu_running_speed(const char *enc_sys_id, int *speed) {
    if (!speed || !is(enc_sys_id, "root"))
        return -1;
    if (int mhz = average_cpu_mhz(); mhz > 0) {
        *speed = mhz;
        return 0;
    }
    char model[kCpuModelLimit] = {};
    if (se_sys_get_cpu_info(enc_sys_id, model, sizeof model) != 0)
        return -1;
    int mhz = speed_from_model(model);
    if (mhz < 0)
        return -1;
    *speed = mhz;
    return 0;
}

extern "C" int se_sys_get_boot_parms(int *recovery_mode, int *partition) {
    if (recovery_mode)
        *recovery_mode = model_int_or("Boot Enclosure", "BOOT_RECOVERY_MODE", -1);
    if (partition)
        *partition = model_int_or(nashal::topology::kSystemEnclosure, "BOOT_PARTITION", 1);
    return 0;
}

extern "C" int se_sys_read_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length,
                                      uint8_t *buffer, uint8_t limit) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    if (length > limit) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): request length(%d) > max length(%d)\n", __func__,
                  __LINE__, length, limit);
        return -1;
    }
    return pic_sys_access_eeprom("root", 0, address, length, buffer);
}

extern "C" int se_sys_write_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length,
                                       const uint8_t *buffer) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    // The controller's access call takes one buffer for both directions; a write only reads it.
    return pic_sys_access_eeprom("root", 1, address, length, const_cast<uint8_t *>(buffer));
}

extern "C" int se_sys_set_pic_wdt(const char *enc_sys_id, int mode) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NAS not support this feature,mode = %d\n", __func__,
                  __LINE__, mode);
        return -1;
    }
    return pic_sys_send_cmd("root", "root", kWatchdogCommandBase + mode);
}
