// Fans, temperatures and the cover switch of the Super I/O chip, through its hwmon driver's
// files. The files are read and written under the chip's lock, as the driver's own accesses to
// the chip would otherwise interleave with a configuration cycle of ours.
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/superio_access.h"
#include "drivers/superio_layout.h"
#include "drivers/superio_services.h"
#include "foundation/raii.h"
#include "nashal/hal_trace.h"
#include "nashal/sio_sys.h"

using namespace nashal::superio;

namespace {

constexpr size_t kValueBytes = 32;

void hwmon_path(char (&path)[512], const char *file) {
    std::snprintf(path, sizeof path, "%s/%s", SIO_HWMON_DIR, file);
}

// The number at the start of the file: cut at the first byte that is not a digit, so a sign or
// a leading space reads as 0.
int get_sys_sio_value(const char *file, int32_t *out) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    char path[512];
    hwmon_path(path, file);
    nashal::FileDescriptor fd(open(path, O_RDONLY));
    if (!fd)
        return -1;
    char text[kValueBytes + 1] = {};
    ssize_t n = read(fd.get(), text, kValueBytes);
    if (n < 1)
        return -1;
    size_t digits = 0;
    while (digits < static_cast<size_t>(n) &&
           std::isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    text[digits] = '\0';
    *out = static_cast<int32_t>(std::strtol(text, nullptr, 10));
    return 0;
}

int set_sys_sio_value(const char *file, int value) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    char path[512];
    hwmon_path(path, file);
    nashal::FileDescriptor fd(open(path, O_RDWR));
    if (!fd)
        return -1;
    char text[16];
    int len = std::snprintf(text, sizeof text, "%d", value);
    return write(fd.get(), text, static_cast<size_t>(len)) > 0 ? 0 : -1;
}

// "<prefix><number><suffix>": temp%d_input, fan%d_input, fan%d_alarm, pwm%d.
int read_numbered(const char *prefix, int number, const char *suffix, int32_t *out) {
    char file[64];
    std::snprintf(file, sizeof file, "%s%d%s", prefix, number, suffix);
    return get_sys_sio_value(file, out);
}

}  // namespace

extern "C" {

int sio_sys_get_cover_status(int32_t *value) {
    return value ? get_sys_sio_value("case_status", value) : -1;
}

int sio_sys_get_temperature(int sensor, double *celsius) {
    int32_t milli = 0;
    if (!celsius || read_numbered("temp", sensor, "_input", &milli) != 0)
        return -1;
    // The chip reports a signed byte of degrees.
    *celsius = static_cast<double>(static_cast<int8_t>(milli / 1000));
    return 0;
}

int sio_sys_get_fan_pwm(int fan, int32_t *value) {
    return value ? read_numbered("pwm", fan, "", value) : -1;
}

int sio_sys_get_fan_alarm(int fan, int32_t *value) {
    return value ? read_numbered("fan", fan, "_alarm", value) : -1;
}

int sio_sys_get_fan_speed(int fan, int32_t *rpm, int32_t *fail) {
    if (!rpm || !fail)
        return -1;
    if (read_numbered("fan", fan, "_input", rpm) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Errro.\n", __func__, __LINE__);
        return -1;
    }
    *fail = 0;
    char name[32];
    if (!model_chip_name(name)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Errro.\n", __func__, __LINE__);
        return 0;
    }
    int chip = chip_index_of(name);
    int32_t v = 0;
    if (chip == kF71869A || chip == kF81866A) {
        if (read_numbered("fan", fan, "_alarm", &v) == 0)
            *fail = v;
    } else if (chip == kIT87 || chip == kNCT5523) {
        // A fan told to stop (pwm 0) standing still is no failure.
        if (read_numbered("pwm", fan, "", &v) == 0)
            *fail = v == 0 ? 0 : (*rpm == 0 ? 1 : 0);
    } else {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    }
    return 0;
}

int sio_sys_set_fan_pwm(int fan, int value) {
    char name[32];
    char file[64];
    if (model_chip_name(name)) {
        int chip = chip_index_of(name);
        if (chip == kF71869A || chip == kF81866A) {
            std::snprintf(file, sizeof file, "pwm%d_enable", fan);
            if (set_sys_sio_value(file, 1) != 0) {
                ERR_TRACE(HAL_TRACE_WARN,
                          "%s(%d): Fan%d is in auto mode, fail to change manual mode\n", __func__,
                          __LINE__, fan);
                return -1;
            }
        }
    }
    std::snprintf(file, sizeof file, "pwm%d", fan);
    return set_sys_sio_value(file, value);
}

}  // extern "C"
