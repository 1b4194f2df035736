// SE_Get_System_Status: the enclosure's fans, temperatures and power supplies as the monitoring
// service last wrote them to /tmp/em/em_%d.info. The library only reads that file; the service
// that writes it lies outside.
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <unistd.h>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"

namespace {

constexpr const char *kInfoSection = "INFO";

struct EmFile {
    char name[HAL_NAME_LEN];
    explicit EmFile(int enc_id) { snprintf(name, sizeof name, SE_EM_INFO_FORMAT, enc_id); }

    // "<prefix><n>" of section INFO into *out; the store's result.
    int read(const char *prefix, int n, int32_t *out) const {
        char field[HAL_NAME_LEN];
        snprintf(field, sizeof field, "%s%d", prefix, n);
        return Ini_Conf_Get_Field_Int(name, kInfoSection, field, out, INI_CONF_DEC);
    }
};

bool redundant_power_enabled() {
    char value[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(SE_SYSTEM_CONF_FILE, "System", "Redundant Power Enable", value,
                           sizeof value) <= 0)
        return false;
    return strcasecmp(value, "TRUE") == 0;
}

}  // namespace

extern "C" int SE_Get_System_Status(int enc_id, SE_SYSTEM_STATUS *status) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    if (!status)
        return -1;
    ENC_INFO info{};
    if (SE_Get_Info(enc_id, &info) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    status->fan_num = info.max_fan_num;
    if (info.max_fan_num > SE_STATUS_MAX_FAN) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    bool redundant = (info.capability & CAP_REDUNDANT_POWER) && redundant_power_enabled();
    status->power_num = redundant ? 2 : 1;

    EmFile em(enc_id);
    if (access(em.name, F_OK) != 0) {
        // The cache module has no monitor of its own; only a missing file elsewhere is news.
        if (strcmp(info.enc_sys_id, "root_cache") != 0)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    for (int i = 0; i < info.max_fan_num; ++i) {
        status->fan_status[i] = SE_FAN_UNKNOWN;
        status->fan_speed[i] = -1;
        int32_t works = 0;
        if (em.read("FANS_", i + 1, &works) < 0)
            continue;
        if (works == 1) {
            status->fan_status[i] = SE_FAN_OK;
            em.read("FANR_", i + 1, &status->fan_speed[i]);
        } else {
            status->fan_status[i] = SE_FAN_FAILED;
        }
    }
    for (int i = 0; i < 2; ++i) {
        status->temperature[i] = -1;
        em.read("TEMP_", i, &status->temperature[i]);
    }
    if (redundant) {
        for (int i = 0; i < SE_STATUS_MAX_POWER; ++i) {
            status->power_status[i] = SE_POWER_UNKNOWN;
            int32_t works = -1;
            if (em.read("PWRS_", i + 1, &works) >= 0) {
                if (works == 0)
                    status->power_status[i] = SE_POWER_FAILED;
                else if (works == 1)
                    status->power_status[i] = SE_POWER_OK;
            }
            status->power_temperature[i] = -1;
            status->power_fan_speed[i] = -1;
            if (status->power_status[i] == SE_POWER_OK) {
                em.read("PWRT_", i + 1, &status->power_temperature[i]);
                em.read("PWRR_", i + 1, &status->power_fan_speed[i]);
            }
        }
    } else {
        // A single supply has no monitor of its own: it works if the enclosure answers at all.
        // The second supply's fields stay as the caller left them.
        status->power_status[0] = SE_POWER_OK;
        status->power_temperature[0] = -1;
        status->power_fan_speed[0] = -1;
    }
    return 0;
}
