// The routing of every other backend operation: each tests the enc_sys_id against the kinds in
// its own fixed order, and the first kind that matches serves the call.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "nashal/se_sys.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "enclosure/sas_expander.h"
#include "foundation/shell_command.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/se_board.h"
#include "os/os_seam.h"
#include "topology/model_file.h"
#include "nashal/hal_types.h"

using namespace nashal::enclosure;

namespace {

// A kind that has no such operation is a decision worth keeping in the log, not a fault. The
// trace names the operation the caller called, also from the helpers shared by two of them.
int not_implemented(const char *who, int line, const char *id) {
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): enc_sys_id = %s not implement.\n", who, line,
              id ? id : "(null)");
    return -1;
}
#define NOT_IMPLEMENTED(id) not_implemented(__func__, __LINE__, id)

// "LCM_DEV", "PIC_DEV", "MCU_DEV" of the main unit.
int root_devname(const char *key, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    return nashal::topology::model_text(nashal::topology::kSystemEnclosure, key, buffer,
                                        static_cast<size_t>(size))
               ? 0
               : -1;
}

// What an enc_sys_id names, told once per call. Only an id that names a SCSI generic device can
// be a SAS expander, and only for such an id is sysfs asked.
enum class Kind { Root, Sas, UsbExpander, UsbOther, Thunderbolt, Other };

Kind classify(const char *id) {
    if (is(id, "root"))
        return Kind::Root;
    if (has_prefix(id, "usb_"))
        return Kind::UsbExpander;
    // "usb" with no "_" is no expander's id; some operations still count it as USB.
    if (has_prefix(id, "usb"))
        return Kind::UsbOther;
    if (has_prefix(id, "i2c"))
        return Kind::Thunderbolt;
    if (is_sas(id))
        return Kind::Sas;
    return Kind::Other;
}

bool is_usb(Kind kind) {
    return kind == Kind::UsbExpander || kind == Kind::UsbOther;
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
    Kind kind = classify(id);
    if (kind == Kind::UsbExpander)
        return usb_expander_get_temperature(id, temp_index, temperature);
    if (kind == Kind::Root)
        return root_get_temp(temp_index, temperature);
    if (kind == Kind::Sas)
        return sas_expander_get_temperature(id, temp_index, temperature);
    if (kind == Kind::Thunderbolt)
        return thunderbolt_expander_get_temperature(id, temp_index, temperature);
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
    Kind kind = classify(id);
    if (kind == Kind::UsbExpander)
        return usb_expander_get_fan_speed(id, fan_index, speed, status);
    if (kind == Kind::Root)
        return root_get_fan_speed(fan_index, speed, status);
    if (kind == Kind::Thunderbolt)
        return thunderbolt_get_fan_speed(id, fan_index, speed, status);
    if (kind == Kind::Sas)
        return sas_expander_get_fan_speed(id, fan_index, speed, status);
    return NOT_IMPLEMENTED(id);
}

extern "C" int se_sys_set_fan_speed(const char *id, int fan_index, int level) {
    if (level >= 8)
        return -1;
    Kind kind = classify(id);
    // The box's controller drives all its fans at one level.
    if (kind == Kind::UsbExpander)
        return usb_expander_set_fan_speed(id, level);
    if (kind == Kind::Root)
        return each_fan(fan_index, [&](int fan) { return root_set_fan_speed(fan, level); });
    if (kind == Kind::Thunderbolt)
        return each_fan(fan_index,
                        [&](int fan) { return thunderbolt_set_fan_speed(id, fan, level); });
    // An expansion enclosure's fans share one speed: the overall cooling element sets them all.
    if (kind == Kind::Sas)
        return sas_expander_set_fan_speed(id, level);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):NOT implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_fan_pwm(const char *id, int fan_index, int pwm) {
    Kind kind = classify(id);
    if (kind == Kind::Root)
        return each_fan(fan_index, [&](int fan) { return root_set_fan_pwm(fan, pwm); });
    if (kind == Kind::Thunderbolt)
        return each_fan(fan_index, [&](int fan) { return thunderbolt_set_fan_pwm(id, fan, pwm); });
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):NOT implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_status_led(const char *id, int colour, int enable) {
    switch (classify(id)) {
        case Kind::Root:
            return root_set_status_led(colour, enable);
        case Kind::UsbExpander:
            return usb_expander_set_status_led(id, colour, enable);
        case Kind::Thunderbolt:
            return thunderbolt_set_status_led(id, colour, enable);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

extern "C" int se_sys_blink_status_led(const char *id, int colour, int enable) {
    switch (classify(id)) {
        case Kind::Root:
            return root_blink_status_led(colour, enable);
        case Kind::UsbExpander:
            return usb_expander_blink_status_led(id, colour, enable);
        case Kind::Thunderbolt:
            return thunderbolt_blink_status_led(id, colour, enable);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

extern "C" int se_sys_set_ident_led(const char *id, int enable) {
    Kind kind = classify(id);
    if (kind == Kind::Root)
        return root_set_ident_led(id, enable);
    if (is_usb(kind))
        return se_sys_set_pd_ident_led(id, -1, enable, 0);
    if (kind == Kind::Sas)
        return sas_expander_set_ident_led(id, enable);
    if (kind == Kind::Thunderbolt)
        return thunderbolt_set_ident_led(id, enable);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_set_buzzer(const char *id, int mode) {
    switch (classify(id)) {
        case Kind::Root:
            return root_set_buzzer(mode);
        case Kind::UsbExpander:
            return usb_expander_set_buzzer(id, mode);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

extern "C" int se_sys_set_7_segment_led(const char *id, int value) {
    switch (classify(id)) {
        case Kind::Sas:
            if (value < 0 || value > 99)
                return -1;
            return sas_expander_set_7_segment_led(id, value);
        case Kind::Thunderbolt:
            return thunderbolt_set_7_segment_led(id, value);
        default:
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d): Not implemented\n", __func__, __LINE__);
            return -1;
    }
}

extern "C" int se_sys_get_power_supply_status(const char *id, int index, int *status) {
    if (index != 1 && index != 2)
        return -1;
    Kind kind = classify(id);
    if (kind == Kind::Root)
        return root_get_power_supply_status(index, status);
    if (is_usb(kind))
        return usb_expander_get_power_supply_status(id, index, status);
    // Anything else is taken to be a SAS enclosure, without asking.
    return sas_expander_get_power_supply_status(id, index, status);
}

extern "C" int se_sys_get_board_sn(const char *id, char *buffer, int size) {
    switch (classify(id)) {
        case Kind::Root:
            return root_get_board_sn(buffer, size);
        case Kind::UsbExpander:
            return usb_expander_get_sn(id, buffer, size);
        case Kind::Sas:
            return sas_expander_get_sn(id, buffer, size);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

extern "C" int se_sys_set_board_sn(const char *id, const char *serial) {
    switch (classify(id)) {
        case Kind::Root:
            return root_set_board_sn(serial);
        case Kind::UsbExpander:
            return usb_expander_set_sn(id, serial);
        default:
            return -1;
    }
}

namespace {

bool has_internal_sas(const char *who) {
    if (nashal::topology::root_capability() & CAP_INTERNAL_SAS)
        return true;
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d): NAS not support this feature\n", who, __LINE__);
    return false;
}

}  // namespace

extern "C" int se_sys_get_sas_addr(const char *id, char *buffer, int size) {
    switch (classify(id)) {
        case Kind::Root: {
            if (!has_internal_sas(__func__) || !buffer || size <= 0)
                return -1;
            char command[HAL_CMD_LEN];
            if (nashal::hal_build_command(__func__, command, sizeof command,
                                          "%s --show_board_WWN slot=0", "/sbin/lsiutil") < 0)
                return -1;
            int n = comm_sys_read_from_popen(command, buffer, size);
            if (n <= 0)
                return -1;
            if (buffer[n - 1] == '\n')
                buffer[n - 1] = '\0';
            return 0;
        }
        case Kind::Sas:
            return sas_expander_get_sas_addr(id, buffer, size);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

extern "C" int se_sys_get_connector_info(const char *id, int *connector_count,
                                         int *ports_in_connector) {
    if (classify(id) != Kind::Root || !has_internal_sas(__func__) || !connector_count ||
        !ports_in_connector)
        return -1;
    using nashal::topology::kInternalSas;
    int32_t count = 0, ports = 0;
    if (!nashal::topology::model_int(kInternalSas, "EXT_CONNECTOR_COUNT", &count) ||
        !nashal::topology::model_int(kInternalSas, "EXT_PORTS_IN_CONNECTOR", &ports))
        return -1;
    *connector_count = count;
    *ports_in_connector = ports;
    return 0;
}

extern "C" int se_sys_set_sas_addr(const char *id, const char *address) {
    Kind kind = classify(id);
    if (kind != Kind::Root && kind != Kind::Sas)
        return NOT_IMPLEMENTED(id);
    if (!address || strlen(address) != 16) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Error:sas_addr_len = %d != 16\n", __func__, __LINE__,
                  address ? static_cast<int>(strlen(address)) : 0);
        return -1;
    }
    // Only hexadecimal digits go into the command: anything else is no address, and would
    // otherwise reach the shell.
    if (!is_sas_address_text(address)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Error:sas_addr = %s is not hexadecimal\n", __func__,
                  __LINE__, address);
        return -1;
    }
    if (kind == Kind::Sas)
        return sas_expander_set_sas_addr(id, address);
    if (!has_internal_sas(__func__))
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "%s --set_board_WWN slot=0,WWN=%s", "/sbin/lsiutil", address) < 0)
        return -1;
    return send_with_retries(__func__, id, "sas addr", command);
}

namespace {

bool is_sas_kind(const char *id) {
    return classify(id) == Kind::Sas;
}

}  // namespace

extern "C" int se_sys_get_nickname(const char *id, char *buffer, int size) {
    if (!is_sas_kind(id))
        return -1;
    return sas_expander_get_nickname(id, buffer, size);
}

extern "C" int se_sys_set_nickname(const char *id, const char *name) {
    if (!name || name[0] == '\0' || strlen(name) >= 33)
        return -1;
    if (classify(id) != Kind::Sas)
        return NOT_IMPLEMENTED(id);
    return sas_expander_set_nickname(id, name);
}

extern "C" int se_sys_get_connector_status(const char *id, uint32_t *status, int max) {
    if (classify(id) != Kind::Sas)
        return NOT_IMPLEMENTED(id);
    return sas_expander_get_connector_status(id, status, max);
}

extern "C" int se_sys_set_heartbeat(const char *id) {
    return is_sas_kind(id) ? sas_expander_heartbeat(id) : -1;
}

extern "C" int se_sys_set_reboot(const char *id) {
    return is_sas_kind(id) ? sas_expander_reboot(id) : -1;
}

extern "C" int se_sys_get_phy_link_state(const char *id, int direction, int *link_num, int *speed) {
    if (!is_sas_kind(id))
        return -1;
    char sg_name[HAL_ID_LEN] = {};
    char path[512] = {};
    char *expander = nullptr;
    if (comm_sys_get_sg_name(id, sg_name) < 0 ||
        comm_sys_get_sg_path_info(sg_name, path, sizeof path) < 0 ||
        comm_sys_get_sas_bus(path, nullptr, &expander) < 0 || !expander) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    const char *dash = strchr(expander, '-');
    return sas_expander_get_link_state(direction, expander, dash ? dash + 1 : "", link_num, speed);
}

extern "C" int se_sys_get_LCM_devname(const char *id, char *buffer, int size) {
    switch (classify(id)) {
        case Kind::UsbExpander: {
            // The box's serial adapter may still be coming up after a hot plug: look again
            // while it is missing, but not when the box has no panel at all (-2).
            int result = -1;
            for (int attempt = 0; attempt < 5; ++attempt) {
                if (attempt > 0)
                    os_sleep(1);
                result = usb_expander_get_LCM_devname(id + 4, buffer, size);
                if (result != -1)
                    break;
            }
            return result;
        }
        case Kind::UsbOther:
            return -1;
        case Kind::Root:
            return root_devname("LCM_DEV", buffer, size);
        default:
            return NOT_IMPLEMENTED(id);
    }
}

namespace {

// The controller of the main unit or of a USB expander; nothing else has one.
int controller_devname(const char *who, const char *id, const char *key, char *buffer, int size) {
    Kind kind = classify(id);
    if (kind == Kind::Root)
        return root_devname(key, buffer, size);
    // A box's controller is a PIC whichever name the caller asks by; its serial adapter may
    // still be coming up after a hot plug. An id without "usb_" names no box.
    if (kind == Kind::UsbExpander) {
        int result = -1;
        for (int attempt = 0; attempt < 3 && result != 0; ++attempt) {
            if (attempt > 0)
                os_sleep(1);
            result = usb_expander_get_PIC_devname(id + 4, buffer, size);
        }
        return result;
    }
    if (kind == Kind::UsbOther)
        return -1;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
    return -1;
}

}  // namespace

extern "C" int se_sys_get_PIC_devname(const char *id, char *buffer, int size) {
    return controller_devname(__func__, id, "PIC_DEV", buffer, size);
}

extern "C" int se_sys_get_MCU_devname(const char *id, char *buffer, int size) {
    return controller_devname(__func__, id, "MCU_DEV", buffer, size);
}
