// The routing of every other backend operation: each tests the enc_sys_id against the kinds in
// its own fixed order, and the first kind that matches serves the call. Kinds that are built by
// other modules reach them through not_built_yet until they land.
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "enclosure/model_file.h"
#include "enclosure/pending_kinds.h"
#include "enclosure/pending_panel_drivers.h"
#include "enclosure/root_panel.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;

namespace {

// A kind that has no such operation is a decision worth keeping in the log, not a fault.
#define NOT_IMPLEMENTED(id)                                                                    \
    (ERR_TRACE(HAL_TRACE_INFO, "%s(%d): enc_sys_id = %s not implement.\n", __func__, __LINE__, \
               (id) ? (id) : "(null)"),                                                        \
     -1)

// "LCM_DEV", "PIC_DEV", "MCU_DEV" of the main unit.
int root_devname(const char *key, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    return model_text(kSystemEnclosure, key, buffer, size) > 0 ? 0 : -1;
}

// A fan, or with -1 every fan of "MAX_FAN_NUM" of the model file (a Thunderbolt enclosure's count
// too); each fan is tried, and the result is the last one's.
template <typename Fn>
int each_fan(int fan_index, Fn set) {
    if (fan_index != -1)
        return set(fan_index);
    int32_t count = 0;
    if (!nashal::topology::model_int(nashal::topology::kSystemEnclosure, "MAX_FAN_NUM", &count))
        return -1;
    int r = -1;
    for (int fan = 0; fan < count; ++fan)
        r = set(fan);
    return r;
}

}  // namespace

extern "C" int se_sys_get_temp(const char *id, int temp_index, double *temperature) {
    if (temperature)
        *temperature = 0;
    if (is(id, "root"))
        return root_get_temp(temp_index, temperature);
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander sensors");
    if (has_prefix(id, "usb_"))
        return not_built_yet(__func__, id, "USB expander sensors");
    if (has_prefix(id, "i2c"))
        return not_built_yet(__func__, id, "Thunderbolt sensors");
    (void)temp_index;
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_get_voltage(const char *id, int index) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): got called,enc_sys_id = %s, index = %d, NOT implement\n",
              __func__, __LINE__, id ? id : "(null)", index);
    return -1;
}

extern "C" int se_sys_get_fan_speed(const char *id, int fan_index, int *speed, int *status) {
    if (speed)
        *speed = 0;
    if (status)
        *status = 0;
    if (is(id, "root"))
        return root_get_fan_speed(fan_index, speed, status);
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander fans");
    if (has_prefix(id, "usb_"))
        return not_built_yet(__func__, id, "USB expander fans");
    if (has_prefix(id, "i2c"))
        return thunderbolt_get_fan_speed(id, fan_index, speed, status);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_fan_speed(const char *id, int fan_index, int level) {
    if (level >= 8)
        return -1;
    if (is(id, "root"))
        return each_fan(fan_index, [&](int fan) { return root_set_fan_speed(fan, level); });
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander fans");
    if (has_prefix(id, "usb_"))
        return not_built_yet(__func__, id, "USB expander fans");
    if (has_prefix(id, "i2c"))
        return each_fan(fan_index,
                        [&](int fan) { return thunderbolt_set_fan_speed(id, fan, level); });
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):NOT implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_fan_pwm(const char *id, int fan_index, int pwm) {
    if (is(id, "root"))
        return each_fan(fan_index, [&](int fan) { return root_set_fan_pwm(fan, pwm); });
    if (has_prefix(id, "i2c"))
        return each_fan(fan_index, [&](int fan) { return thunderbolt_set_fan_pwm(id, fan, pwm); });
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):NOT implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_status_led(const char *id, int colour, int enable) {
    if (is(id, "root"))
        return root_set_status_led(colour, enable);
    if (has_prefix(id, "usb_"))
        return usb_expander_set_status_led(id, colour, enable);
    if (has_prefix(id, "i2c"))
        return thunderbolt_set_status_led(id, colour, enable);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_blink_status_led(const char *id, int colour, int enable) {
    if (is(id, "root"))
        return root_blink_status_led(colour, enable);
    if (has_prefix(id, "usb_"))
        return usb_expander_blink_status_led(id, colour, enable);
    if (has_prefix(id, "i2c"))
        return thunderbolt_blink_status_led(id, colour, enable);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_ident_led(const char *id, int enable) {
    if (is(id, "root"))
        return root_set_ident_led(id, enable);
    if (has_prefix(id, "usb"))
        return se_sys_set_pd_ident_led(id, -1, enable, 0);
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander locate LED");
    if (has_prefix(id, "i2c"))
        return not_built_yet(__func__, id, "Thunderbolt locate LED");
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_buzzer(const char *id, int mode) {
    if (is(id, "root"))
        return root_set_buzzer(mode);
    if (has_prefix(id, "usb_"))
        return usb_expander_set_buzzer(id, mode);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_7_segment_led(const char *id, int value) {
    if (is_sas(id)) {
        if (value < 0 || value > 99)
            return -1;
        return not_built_yet(__func__, id, "SAS expander display");
    }
    if (has_prefix(id, "i2c")) {
        if (value < 0 || value > 9)
            return -1;
        return not_built_yet(__func__, id, "Thunderbolt display");
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): Not implemented\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_get_power_supply_status(const char *id, int index, int *status) {
    if (index != 1 && index != 2)
        return -1;
    if (is(id, "root"))
        return root_get_power_supply_status(index, status);
    if (has_prefix(id, "usb"))
        return not_built_yet(__func__, id, "USB expander power supplies");
    // Anything else is taken to be a SAS enclosure, without asking.
    return not_built_yet(__func__, id, "SAS expander power supplies");
}

extern "C" int se_sys_get_board_sn(const char *id, char *buffer, int size) {
    if (is(id, "root"))
        return root_get_board_sn(buffer, size);
    if (has_prefix(id, "usb_"))
        return usb_expander_get_sn(id, buffer, size);
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander serial number");
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_board_sn(const char *id, const char *serial) {
    (void)serial;
    if (is(id, "root"))
        return not_built_yet(__func__, id, "board serial number");
    if (has_prefix(id, "usb_"))
        return not_built_yet(__func__, id, "USB expander serial number");
    return -1;
}

extern "C" int se_sys_get_sas_addr(const char *id, char *buffer, int size) {
    (void)buffer;
    (void)size;
    if (is(id, "root"))
        return not_built_yet(__func__, id, "internal SAS address");
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander address");
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_sas_addr(const char *id, const char *address) {
    (void)address;
    if (is(id, "root"))
        return not_built_yet(__func__, id, "internal SAS address");
    if (is_sas(id))
        return not_built_yet(__func__, id, "SAS expander address");
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_get_nickname(const char *id, char *buffer, int size) {
    (void)buffer;
    (void)size;
    if (!is_sas(id))
        return -1;
    return not_built_yet(__func__, id, "SAS expander nickname");
}

extern "C" int se_sys_set_nickname(const char *id, const char *name) {
    if (!name || name[0] == '\0' || strlen(name) >= 33)
        return -1;
    if (!is_sas(id))
        return NOT_IMPLEMENTED(id);
    return not_built_yet(__func__, id, "SAS expander nickname");
}

extern "C" int se_sys_get_connector_status(const char *id, uint32_t *status, int max) {
    (void)status;
    (void)max;
    if (!is_sas(id))
        return NOT_IMPLEMENTED(id);
    return not_built_yet(__func__, id, "SAS expander connectors");
}

extern "C" int se_sys_set_heartbeat(const char *id) {
    if (!is_sas(id))
        return -1;
    return not_built_yet(__func__, id, "SAS expander heartbeat");
}

extern "C" int se_sys_set_reboot(const char *id) {
    if (!is_sas(id))
        return -1;
    return not_built_yet(__func__, id, "SAS expander reboot");
}

extern "C" int se_sys_get_phy_link_state(const char *id, int direction, int *link_num, int *speed) {
    (void)direction;
    (void)link_num;
    (void)speed;
    if (!is_sas(id))
        return -1;
    return not_built_yet(__func__, id, "SAS expander link state");
}

extern "C" int se_sys_get_LCM_devname(const char *id, char *buffer, int size) {
    if (has_prefix(id, "usb")) {
        if (!strstr(id, "usb_"))
            return -1;
        return not_built_yet(__func__, id, "USB expander panel display");
    }
    if (is(id, "root"))
        return root_devname("LCM_DEV", buffer, size);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_get_PIC_devname(const char *id, char *buffer, int size) {
    if (is(id, "root"))
        return root_devname("PIC_DEV", buffer, size);
    if (has_prefix(id, "usb"))
        return not_built_yet(__func__, id, "USB expander controller");
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_get_MCU_devname(const char *id, char *buffer, int size) {
    if (is(id, "root"))
        return root_devname("MCU_DEV", buffer, size);
    if (has_prefix(id, "usb"))
        return not_built_yet(__func__, id, "USB expander controller");
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
    return -1;
}
