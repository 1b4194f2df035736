// The main unit's processor: its model name as /proc/cpuinfo gives it, and its running speed.
#include "enclosure/cpu_info.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"

using nashal::enclosure::is;

namespace {

constexpr int kMaxCpus = 8;
// Enough of the model name to reach its "@ 2.40GHz".
constexpr int kModelNameRoom = 60;

// One core's cpufreq reading in kHz, or -1 when the core has none.
long core_khz(int cpu) {
    char path[96];
    std::snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%d/cpufreq/scaling_cur_freq", cpu);
    nashal::FileHandle f(std::fopen(path, "r"));
    char text[32] = {};
    if (!f || !std::fgets(text, sizeof text, f.get()))
        return -1;
    char *end = nullptr;
    long khz = std::strtol(text, &end, 10);
    return end == text || khz < 0 ? -1 : khz;
}

}  // namespace

namespace nashal::enclosure {

int cpu_speed_from_model_name(const char *model_name) {
    const char *at = model_name ? std::strchr(model_name, '@') : nullptr;
    if (!at)
        return -1;
    double scale = 0;
    if (std::strstr(at, "GHz"))
        scale = 1000;
    else if (std::strstr(at, "MHz"))
        scale = 1;
    else
        return -1;
    // Computed in double and cut through float, as the figures have always been reported.
    return static_cast<int>(static_cast<float>(std::strtod(at + 1, nullptr) * scale));
}

}  // namespace nashal::enclosure

extern "C" {

int se_sys_get_cpu_info(const char *enc_sys_id, char *buffer, int size) {
    if (!is(enc_sys_id, "root") || !buffer || size <= 0)
        return -1;
    // Read whole, then cut to the caller's buffer: a long model name is shortened, not lost.
    char line[256];
    if (comm_sys_read_from_popen("/bin/cat /proc/cpuinfo | /bin/busybox grep 'name' | "
                                 "/bin/busybox head -n1 | /bin/busybox sed 's/^.*: //g'",
                                 line, sizeof line) < 0)
        return -1;
    line[std::strcspn(line, "\n")] = '\0';
    nashal::hal_copy(buffer, static_cast<size_t>(size), line);
    return 0;
}

int se_sys_get_cpu_running_speed(const char *enc_sys_id, int *speed) {
    if (!is(enc_sys_id, "root") || !speed)
        return -1;
    long total = 0;
    int cores = 0;
    for (int cpu = 0; cpu < kMaxCpus; ++cpu) {
        long khz = core_khz(cpu);
        if (khz < 0)
            continue;
        total += khz / 1000;
        ++cores;
    }
    if (cores > 0) {
        *speed = static_cast<int>(total / cores);
        return 0;
    }
    char model_name[kModelNameRoom + 1];
    if (se_sys_get_cpu_info(enc_sys_id, model_name, sizeof model_name) != 0)
        return -1;
    int mhz = nashal::enclosure::cpu_speed_from_model_name(model_name);
    if (mhz < 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): no speed in \"%s\"\n", __func__, __LINE__, model_name);
        return -1;
    }
    *speed = mhz;
    return 0;
}

}  // extern "C"
