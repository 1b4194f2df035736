// Switching the power of one disk slot, for boards whose model names a switch per bay.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "disk/disk_model.h"
#include "nashal/comm_model.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

extern "C" int pd_sys_set_power_supply(const char *enc_sys_id, int port_id, int value) {
    if (!enc_sys_id)
        return -1;
    if (strcmp(enc_sys_id, "root") == 0) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "%s %d",
                 main_unit_enclosure(MainUnitKind::System).slot_prefix, port_id);
        char setting[HAL_CMD_LEN] = {};
        if (!model_text(section, "POWER_SUPPLY", setting)) {
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s(%d): NOT implement. Something wrong with config field %s = %s\n",
                      __func__, __LINE__, "POWER_SUPPLY", setting);
            return -1;
        }
        int32_t address = 0;
        int32_t reg = 0;
        int32_t bit = -1;
        if (strncasecmp(setting, "I2C", 3) != 0 || comm_sys_parse_c_i2c(setting, &address) < 0 ||
            comm_sys_parse_c_gpio(setting + 3, &reg, &bit) < 0 || bit < 0 || bit > 7) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
            return -1;
        }
        i2c_sys_dev_send_byte_data(0, address, reg, bit, value);
        return 0;
    }
    if (strncmp(enc_sys_id, "i2c", 3) == 0) {
        // A Thunderbolt slot's switch is one of its box's I2C bytes; its result was never
        // looked at.
        thunderbolt_set_hdd_led(enc_sys_id, port_id, value, "POWER_SUPPLY");
        return 0;
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return 0;
}
