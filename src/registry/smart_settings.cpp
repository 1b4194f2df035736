// The SMART settings the monitoring service works by: temperature threshold and the schedules
// of short and extended self tests, per disk, in /etc/config/smart.conf for the main unit and
// /etc/config/smart_<enc_id>.conf for each other enclosure. A setting that can't be read has
// its default, never an error.
#include <cstdio>
#include <cstdlib>

#include "nashal/ini_conf.h"
#include "nashal/pd_smart.h"

namespace {

constexpr const char *kSection = "SMART";
constexpr int kShortTest = 1;

struct SettingsFile {
    char name[HAL_NAME_LEN];
    explicit SettingsFile(int enc_id) {
        if (enc_id == 0)
            snprintf(name, sizeof name, "/etc/config/smart.conf");
        else
            snprintf(name, sizeof name, "/etc/config/smart_%d.conf", enc_id);
    }
};

// Two ways of naming a disk's field: "Temperature Threshold 3" and "HD 3 Last Test Type".
struct FieldName {
    char name[HAL_NAME_LEN];
    static FieldName trailing(const char *fixed, int port_id) {
        FieldName f;
        snprintf(f.name, sizeof f.name, "%s %d", fixed, port_id);
        return f;
    }
    static FieldName leading(const char *fixed, int port_id) {
        FieldName f;
        snprintf(f.name, sizeof f.name, "HD %d %s", port_id, fixed);
        return f;
    }
};

int32_t read_int(int enc_id, const FieldName &field, int32_t fallback) {
    SettingsFile file(enc_id);
    int32_t value;
    if (Ini_Conf_Get_Field_Int(file.name, kSection, field.name, &value, INI_CONF_DEC) < 0)
        return fallback;
    return value;
}

}  // namespace

extern "C" int PD_SMART_Is_Temp_Thresh_Enabled(int enc_id, int port_id) {
    return read_int(enc_id, FieldName::trailing("Enable Temperature Threshold", port_id), 0);
}

extern "C" int PD_SMART_Get_Temp_Thres(int enc_id, int port_id) {
    return read_int(enc_id, FieldName::trailing("Temperature Threshold", port_id), 50) & 0xff;
}

extern "C" int pd_smart_get_temp_type(int enc_id, int port_id) {
    return read_int(enc_id, FieldName::trailing("Temperature Type", port_id), 1);
}

extern "C" int PD_SMART_Is_Schedule_Enabled(int enc_id, int port_id, int test_type) {
    const char *fixed =
        test_type == kShortTest ? "Enable Short Schedule" : "Enable Extended Schedule";
    return read_int(enc_id, FieldName::trailing(fixed, port_id), 0);
}

extern "C" int64_t PD_SMART_Get_Test_Schedule(int enc_id, int port_id, int test_type, int32_t *b4,
                                              int32_t *b3, int32_t *b2, int32_t *b1, int32_t *b0) {
    const char *fixed = test_type == kShortTest ? "Short Test Schedule" : "Extended Test Schedule";
    SettingsFile file(enc_id);
    FieldName field = FieldName::trailing(fixed, port_id);
    char text[64];
    if (Ini_Conf_Get_Field(file.name, kSection, field.name, text, sizeof text) < 0)
        return -1;
    uint64_t value = strtoull(text, nullptr, 0);
    int32_t *bytes[] = {b0, b1, b2, b3, b4};
    for (int i = 0; i < 5; ++i)
        if (bytes[i])
            *bytes[i] = static_cast<int32_t>((value >> (8 * i)) & 0xff);
    return static_cast<int64_t>(value);
}

extern "C" int PD_SMART_Get_Last_Test_Type(int enc_id, int port_id) {
    return read_int(enc_id, FieldName::leading("Last Test Type", port_id), -1);
}

extern "C" int PD_SMART_Get_Now_Test_Type(int enc_id, int port_id) {
    return read_int(enc_id, FieldName::leading("Now Test Type", port_id), -1);
}

extern "C" long pd_smart_get_last_test_time(int enc_id, int port_id) {
    SettingsFile file(enc_id);
    FieldName field = FieldName::leading("Last Test Time", port_id);
    char text[32] = "0";
    if (Ini_Conf_Get_Field(file.name, kSection, field.name, text, sizeof text) < 0)
        text[0] = '0', text[1] = '\0';
    return atol(text);
}

extern "C" int PD_SMART_Get_Conf(int enc_id, int port_id, PD_SMART_CONF *out) {
    if (!out)
        return -1;
    out->port_id = port_id;
    out->temp_thresh_enabled = PD_SMART_Is_Temp_Thresh_Enabled(enc_id, port_id);
    out->temp_thresh = PD_SMART_Get_Temp_Thres(enc_id, port_id);
    out->temp_type = pd_smart_get_temp_type(enc_id, port_id);
    out->short_enabled = PD_SMART_Is_Schedule_Enabled(enc_id, port_id, 1);
    out->short_schedule = static_cast<uint64_t>(PD_SMART_Get_Test_Schedule(
        enc_id, port_id, 1, nullptr, nullptr, nullptr, nullptr, nullptr));
    out->extended_enabled = PD_SMART_Is_Schedule_Enabled(enc_id, port_id, 2);
    out->extended_schedule = static_cast<uint64_t>(PD_SMART_Get_Test_Schedule(
        enc_id, port_id, 2, nullptr, nullptr, nullptr, nullptr, nullptr));
    return 0;
}
