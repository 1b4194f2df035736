// Temperatures and fans of the main unit and of Thunderbolt enclosures: a small index is mapped
// once per process to a method (hm_type) and a channel, and the driver of that method answers.
// The caches are what keep a monitor loop from reading the model file on every poll; a failed
// look-up is remembered too (-1), so a missing sensor costs one read per process.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/panel_methods.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "foundation/raii.h"
#include "nashal/comm_model.h"
#include "nashal/comm_port.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/sio_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

constexpr int kIndexes = 12;
constexpr int kLevels = 8;
constexpr const char *kSystemIo = "System IO";
constexpr const char *kSystemFan = "System FAN";
constexpr const char *kThermalZone = "/sys/devices/virtual/thermal/thermal_zone0/temp";

struct MethodCache {
    int hm_type[kIndexes] = {};
    int channel[kIndexes] = {};
};

// "SIO:1", "DTS:4": the decimal number behind the ":".
bool channel_after_colon(const char *value, int *channel) {
    const char *colon = std::strchr(value, ':');
    if (!colon)
        return false;
    *channel = std::atoi(colon + 1);
    return true;
}

// Power supplies 1 and 2 (indexes 10 and 11) report through PMBus: "I2C" exactly.
bool power_supply_method(int index, int *hm_type, int *channel) {
    char key[32], value[HAL_ID_LEN];
    std::snprintf(key, sizeof key, "%s_%d", "REDUNDANT_POWER", index - 9);
    if (!model_text(kSystemIo, key, value) || !method_is(value, "I2C"))
        return false;
    *hm_type = kHmI2c;
    *channel = index - 9;
    return true;
}

// A fan's method ("FAN_UNIT" of the file's "System FAN") and channel (the number behind the I
// of "FAN_<index + 1>").
bool fan_method(const char *file, int fan_index, bool i2c_only, int *hm_type, int *channel,
                const char *who, int line) {
    char unit[HAL_ID_LEN];
    if (!model_text(kSystemFan, "FAN_UNIT", unit, sizeof unit, file)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", who, line);
        return false;
    }
    if (method_is_nocase(unit, "I2C"))
        *hm_type = kHmI2c;
    else if (i2c_only)
        *hm_type = kHmUnusable;
    else if (method_is_nocase(unit, "SIO"))
        *hm_type = kHmSio;
    else if (method_is_nocase(unit, "PIC"))
        *hm_type = kHmPic;
    else if (method_is_nocase(unit, "MCU"))
        *hm_type = kHmMcu;
    else
        *hm_type = kHmUnusable;
    if (*hm_type == kHmUnusable) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hm_type = %s not implement.\n", who, line, unit);
        return false;
    }
    char key[32], value[HAL_ID_LEN];
    std::snprintf(key, sizeof key, "FAN_%d", fan_index + 1);
    if (!model_text(kSystemFan, key, value, sizeof value, file))
        return false;
    const char *i = std::strchr(value, 'I');
    if (!i)
        return false;
    *channel = std::atoi(i + 1);
    return true;
}

int fan_index_of(MethodCache &cache, const char *file, bool thunderbolt, int fan_index,
                 int *hm_type, int *channel, const char *who, int line) {
    if (fan_index < 0 || fan_index >= kIndexes || cache.hm_type[fan_index] == kHmUnusable)
        return -1;
    int &cached = cache.hm_type[fan_index];
    if (cached == kHmUnknown) {
        bool ok = true;
        if (fan_index <= 4)
            ok = fan_method(file, fan_index, thunderbolt, &cached, &cache.channel[fan_index], who,
                            line);
        else if (!thunderbolt && (fan_index == 10 || fan_index == 11))
            ok = power_supply_method(fan_index, &cached, &cache.channel[fan_index]);
        if (!ok) {
            cached = kHmUnusable;
            return -1;
        }
    }
    *hm_type = cached;
    *channel = cache.channel[fan_index];
    return 0;
}

// PWM value of a level, from "FAN_LEVEL_<level>" of the file, cached once non-zero.
int fan_level(int (&cache)[kLevels], const char *file, int level, int *pwm) {
    if (level < 0 || level >= kLevels)
        return -1;
    if (cache[level] == 0) {
        char key[32];
        std::snprintf(key, sizeof key, "FAN_LEVEL_%d", level);
        int32_t v = 0;
        if (!model_int(kSystemFan, key, &v, INI_CONF_DEC, file))
            return -1;
        cache[level] = v;
    }
    *pwm = cache[level];
    return 0;
}

MethodCache &root_fans() {
    static MethodCache c;
    return c;
}
MethodCache &thunderbolt_fans() {
    static MethodCache c;
    return c;
}

}  // namespace

extern "C" {

int root_get_temp_index(int temp_index, int *hm_type, int *channel) {
    static MethodCache cache;
    if (temp_index < 0 || temp_index >= kIndexes || cache.hm_type[temp_index] == kHmUnusable)
        return -1;
    int &cached = cache.hm_type[temp_index];
    int &ch = cache.channel[temp_index];
    if (cached == kHmUnknown) {
        char value[HAL_ID_LEN];
        int found = kHmUnusable;
        if (temp_index == 0 && model_text(kSystemEnclosure, "CPU_TEMP_UNIT", value)) {
            if (method_is_nocase(value, "SOC"))
                found = kHmSoc;
            else if (method_is_nocase(value, "SIO") && channel_after_colon(value, &ch))
                found = kHmSio;
            else if (method_is_nocase(value, "DTS") && channel_after_colon(value, &ch))
                found = kHmDts;
        } else if (temp_index == 1 && model_text(kSystemEnclosure, "SYSTEM_TEMP_UNIT", value)) {
            if (method_is_nocase(value, "SIO") && channel_after_colon(value, &ch))
                found = kHmSio;
            else if (method_is_nocase(value, "PIC"))
                found = kHmPic;
            else if (method_is_nocase(value, "MCU"))
                found = kHmMcu;
        } else if (temp_index == 10 || temp_index == 11) {
            if (!power_supply_method(temp_index, &found, &ch))
                found = kHmUnusable;
        } else if (temp_index > 1) {
            // No sensor at this index: nothing is cached, and no row serves hm_type 0.
            found = kHmUnknown;
        }
        cached = found;
        if (cached == kHmUnusable)
            return -1;
    }
    *hm_type = cached;
    *channel = ch;
    return 0;
}

int root_get_temp(int temp_index, double *temperature) {
    int hm_type = 0, channel = 0;
    if (root_get_temp_index(temp_index, &hm_type, &channel) != 0)
        return -1;
    switch (hm_type) {
        case kHmSio:
            return sio_sys_get_temperature(channel, temperature);
        case kHmSoc:
            return get_soc_temp(temperature);
        case kHmI2c:
            if (temp_index == 10 || temp_index == 11)
                return i2c_sys_read_pmbus_power_temp(channel, temperature);
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System not implement\n", __func__, __LINE__);
            return -1;
        case kHmPic:
            return pic_sys_get_temp(kRootId, kRootId, temperature);
        case kHmMcu:
            return mcu_sys_get_temp(kRootId, kRootId, temperature);
        case kHmDts:
            return get_dts_temp(channel, temperature);
        default:
            return -1;
    }
}

int get_soc_temp(double *temperature) {
    char text[256] = {};
    char command[HAL_CMD_LEN];
    std::snprintf(command, sizeof command, "/bin/cat %s", kThermalZone);
    if (comm_sys_read_from_popen(command, text, sizeof text) < 0)
        return -1;
    if (temperature)
        *temperature = static_cast<double>(std::atoi(text));
    return 0;
}

int get_dts_temp(int core_count, double *temperature) {
    int sum = 0, count = 0;
    for (int hwmon = 0; hwmon <= 3; ++hwmon) {
        for (int sensor = 2; sensor <= core_count + 1; ++sensor) {
            char path[128], text[65] = {};
            std::snprintf(path, sizeof path, "/sys/class/hwmon/hwmon%d/device/temp%d_label", hwmon,
                          sensor);
            nashal::FileDescriptor label(open(path, O_RDONLY | O_CLOEXEC));
            if (!label)
                break;
            if (read(label.get(), text, 64) < 4 || std::strncmp(text, "Core", 4) != 0)
                continue;
            std::snprintf(path, sizeof path, "/sys/class/hwmon/hwmon%d/device/temp%d_input", hwmon,
                          sensor);
            nashal::FileDescriptor input(open(path, O_RDONLY | O_CLOEXEC));
            char value[65] = {};
            if (!input || read(input.get(), value, 64) < 1)
                continue;
            int celsius = std::atoi(value) / 1000;
            sum += celsius;
            ++count;
            ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):Core %d temp = %d.\n", __func__, __LINE__,
                      sensor - 2, celsius);
        }
    }
    if (!temperature || count <= 0 || sum <= 0)
        return -1;
    *temperature = static_cast<double>(sum / count);
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):CPU temp = %d.\n", __func__, __LINE__, sum / count);
    return 0;
}

int root_get_fan_index(int fan_index, int *hm_type, int *channel) {
    return fan_index_of(root_fans(), nashal::topology::kModelConf, false, fan_index, hm_type,
                        channel, __func__, __LINE__);
}

int root_get_fan_speed(int fan_index, int *speed, int *status) {
    int hm_type = 0, channel = 0;
    if (root_get_fan_index(fan_index, &hm_type, &channel) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
        return -1;
    }
    switch (hm_type) {
        case kHmSio:
            return sio_sys_get_fan_speed(channel, speed, status);
        case kHmPic:
            // A PIC board tells whether a fan turns, not how fast.
            return pic_sys_get_fan_status(kRootId, kRootId, channel, status);
        case kHmMcu: {
            int r = mcu_sys_get_fan_status(kRootId, kRootId, channel, status);
            if (r == 0)
                r = mcu_sys_get_fan_speed(kRootId, kRootId, channel, speed);
            return r;
        }
        case kHmI2c:
            if (fan_index == 10 || fan_index == 11)
                return i2c_sys_read_pmbus_power_fan(channel, speed, status);
            return i2c_sys_read_fan_speed(channel, speed, status);
        default:
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hm_type = %d not implement.\n", __func__, __LINE__,
                      hm_type);
            return -1;
    }
}

int root_set_fan_pwm(int fan_index, int pwm) {
    int hm_type = 0, channel = 0;
    if (root_get_fan_index(fan_index, &hm_type, &channel) != 0)
        return -1;
    if (hm_type == kHmSio)
        return sio_sys_set_fan_pwm(channel, pwm);
    if (hm_type == kHmI2c)
        return i2c_sys_set_fan_pwm(channel, pwm);
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hm_type = %d not implement.\n", __func__, __LINE__,
              hm_type);
    return -1;
}

int root_get_fan_level(int level, int *pwm) {
    static int cache[kLevels] = {};
    return fan_level(cache, nashal::topology::kModelConf, level, pwm);
}

int root_set_fan_speed(int fan_index, int level) {
    int hm_type = 0, channel = 0, pwm = 0;
    if (root_get_fan_index(fan_index, &hm_type, &channel) != 0)
        return -1;
    switch (hm_type) {
        case kHmSio:
            return root_get_fan_level(level, &pwm) != 0 ? -1 : sio_sys_set_fan_pwm(channel, pwm);
        case kHmI2c:
            return root_get_fan_level(level, &pwm) != 0 ? -1 : i2c_sys_set_fan_pwm(channel, pwm);
        case kHmPic:
            // Such a board sets all its fans together.
            return pic_sys_set_fan_speed(kRootId, kRootId, level);
        case kHmMcu:
            return mcu_sys_set_fan_speed(kRootId, kRootId, level);
        default:
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hm_type = %d not implement.\n", __func__, __LINE__,
                      hm_type);
            return -1;
    }
}

int thunderbolt_get_fan_index(int fan_index, int *hm_type, int *channel) {
    return fan_index_of(thunderbolt_fans(), COMM_MODEL_JBOD_CONF, true, fan_index, hm_type, channel,
                        __func__, __LINE__);
}

// These also print their outcome on standard output, which tools built on the library have
// always shown.
int thunderbolt_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status) {
    int hm_type = 0, channel = 0;
    if (thunderbolt_get_fan_index(fan_index, &hm_type, &channel) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
        std::printf("%s(%d):Error get fan_index \n", __func__, __LINE__);
        return -1;
    }
    if (hm_type != kHmI2c) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hm_type = %d not implement.\n", __func__, __LINE__,
                  hm_type);
        return -1;
    }
    int bus = common_sys_get_thunderbolt_i2c_num(enc_sys_id);
    int r = i2c_sys_read_dev_fan_speed(bus, channel, speed, status);
    std::printf("%s(%d):return ret %d \n", __func__, __LINE__, r);
    return r;
}

int thunderbolt_set_fan_pwm(const char *enc_sys_id, int fan_index, int pwm) {
    int hm_type = 0, channel = 0;
    if (thunderbolt_get_fan_index(fan_index, &hm_type, &channel) != 0) {
        std::printf("%s(%d):Error get fan_index \n", __func__, __LINE__);
        return -1;
    }
    int r = i2c_sys_set_dev_fan_pwm(common_sys_get_thunderbolt_i2c_num(enc_sys_id), channel, pwm);
    std::printf("%s(%d): return ret %d\n", __func__, __LINE__, r);
    return r;
}

int thunderbolt_get_fan_level(int level, int *pwm) {
    static int cache[kLevels] = {};
    return fan_level(cache, COMM_MODEL_JBOD_CONF, level, pwm);
}

int thunderbolt_set_fan_speed(const char *enc_sys_id, int fan_index, int level) {
    int hm_type = 0, channel = 0, pwm = 0;
    if (thunderbolt_get_fan_index(fan_index, &hm_type, &channel) != 0) {
        std::printf("%s(%d):Error get fan_index \n", __func__, __LINE__);
        return -1;
    }
    if (thunderbolt_get_fan_level(level, &pwm) != 0)
        return -1;
    int r = i2c_sys_set_dev_fan_pwm(common_sys_get_thunderbolt_i2c_num(enc_sys_id), channel, pwm);
    std::printf("%s(%d):return 0 \n", __func__, __LINE__);
    return r;
}

}  // extern "C"
