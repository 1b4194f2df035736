// Buttons, cover switch, power supplies and the power policies of the main unit (recovery after
// a power loss, EuP, wake on LAN). Boards whose panel sits behind a controller can't be asked
// for their policies, so those are kept in /etc/config/Vornix.conf.
#include <cstdio>

#include "enclosure/enclosure_kinds.h"
#include "enclosure/panel_methods.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "nashal/comm_model.h"
#include "nashal/comm_port.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"
#include "nashal/sio_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

constexpr const char *kSystemIo = "System IO";
constexpr const char *kSettings = "/etc/config/Vornix.conf";

// One button's per-process caches: the method once looked up, and for gpiolib its pin and
// polarity (the parser's result: 1 for an active-low "P" pin).
struct ButtonCache {
    int hm_type = kHmUnknown;
    int pin = -1;
    int polarity = -1;
};

int gpiolib_level(const char *value, int *pin, int *polarity) {
    if (*pin < 0) {
        int32_t index = 0, bit = 0;
        int p = comm_sys_parse_c_gpio(value, &index, &bit);
        if (p < 0)
            return -1;
        *pin = index;
        *polarity = p;
    }
    int level = common_sys_get_gpiolib(*pin);
    return *polarity == 1 ? !level : level;
}

using SioButton = int (*)(int32_t *);
using SocButton = int (*)(int *);

int read_button(ButtonCache &cache, const char *key, SioButton sio, SocButton soc, int *pressed,
                const char *id) {
    if (!is(id, "root"))
        return -1;
    char value[HAL_ID_LEN] = {};
    if (cache.hm_type == kHmUnknown || (cache.hm_type == kHmGpio && cache.pin < 0)) {
        if (!model_text(kSystemIo, key, value))
            return -1;
        if (cache.hm_type == kHmUnknown) {
            if (method_is(value, "SIO"))
                cache.hm_type = kHmSio;
            else if (method_is(value, "SOC"))
                cache.hm_type = kHmSoc;
            else if (method_is(value, "GPIO"))
                cache.hm_type = kHmGpio;
            else
                return -1;
        }
    }
    switch (cache.hm_type) {
        case kHmSio: {
            int32_t v = 0;
            int r = sio(&v);
            if (pressed)
                *pressed = v;
            return r;
        }
        case kHmSoc:
            return soc(pressed);
        default: {
            int level = gpiolib_level(value, &cache.pin, &cache.polarity);
            if (level < 0)
                return -1;
            if (pressed)
                *pressed = level;
            return 0;
        }
    }
}

// The settings of a controller board, as the controller's own numbers.
int settings_int(const char *section, const char *key, int *out) {
    return Ini_Conf_Get_Field_Int(kSettings, section, key, out, INI_CONF_DEC) > 0 ? 0 : -1;
}

bool capability(uint32_t *cap) {
    int32_t v = 0;
    if (!model_int(kSystemEnclosure, "CAP", &v, INI_CONF_HEX))
        return false;
    *cap = static_cast<uint32_t>(v);
    return true;
}

}  // namespace

extern "C" {

int se_sys_get_usb_button(const char *id, int *pressed) {
    static ButtonCache cache;
    return read_button(cache, "USB_COPY_BUTTON", sio_sys_get_usb_button, soc_sys_get_usb_button,
                       pressed, id);
}

int se_sys_get_reset_button(const char *id, int *pressed) {
    static ButtonCache cache;
    return read_button(cache, "RESET_BUTTON", sio_sys_get_reset_button, soc_sys_get_reset_button,
                       pressed, id);
}

int gpio_sys_get_power_supply_status(int index, int *status) {
    static int pins[4] = {-1, -1, -1, -1};
    static int polarities[4] = {-1, -1, -1, -1};
    if (index < 1 || index > 4) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
        return -1;
    }
    char value[HAL_ID_LEN] = {};
    if (pins[index - 1] < 0) {
        char key[32];
        std::snprintf(key, sizeof key, "%s_%d", "REDUNDANT_POWER", index);
        if (!model_text(kSystemIo, key, value))
            return -1;
    }
    int level = gpiolib_level(value, &pins[index - 1], &polarities[index - 1]);
    if (level < 0)
        return -1;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): check pwr_%d, set gpio%d\n", __func__, __LINE__, index,
              pins[index - 1]);
    if (status)
        *status = level ? -1 : 0;
    return 0;
}

int root_get_power_supply_status(int index, int *status) {
    static int hm_types[2] = {kHmUnknown, kHmUnknown};
    if (index != 1 && index != 2)
        return -1;
    int &hm_type = hm_types[index - 1];
    if (hm_type == kHmUnknown) {
        char key[32], value[HAL_ID_LEN];
        std::snprintf(key, sizeof key, "%s_%d", "REDUNDANT_POWER", index);
        if (!model_text(kSystemIo, key, value))
            return -1;
        if (method_is(value, "I2C"))
            hm_type = kHmI2c;
        else if (method_is(value, "SIO"))
            hm_type = kHmSio;
        else if (method_is(value, "GPIO"))
            hm_type = kHmGpio;
        else if (method_is(value, "SOC"))
            hm_type = kHmSoc;
        else
            return -1;
    }
    switch (hm_type) {
        case kHmI2c:
            return i2c_sys_read_pmbus_status(index, status);
        case kHmSio:
            return sio_sys_get_power_supply_status(index, status);
        case kHmGpio:
            return gpio_sys_get_power_supply_status(index, status);
        default:
            // "SOC" names a supply pin no driver reads.
            return -1;
    }
}

int se_sys_get_case_status(const char *id, int *status) {
    if (!is(id, "root") || !status)
        return -1;
    return sio_sys_get_cover_status(status);
}

int se_sys_set_pwb_mode(int mode) {
    return sio_sys_set_pwb_mode(mode);
}

int se_sys_get_pwb_status(int *status) {
    return sio_sys_get_pwb_status(status);
}

int se_sys_get_power_recovery_mode(const char *id, int *mode) {
    char unit[HAL_ID_LEN];
    if (!is(id, "root") || !model_text(kSystemEnclosure, "PWR_RECOVERY_UNIT", unit))
        return -1;
    if (method_is_nocase(unit, "SIO"))
        return sio_sys_get_power_recovery_mode(mode);
    if (method_is_nocase(unit, "ICH"))
        return comm_sys_get_power_recovery_mode_from_cmos(mode, 0);
    const bool pic = method_is_nocase(unit, "PIC");
    if (pic || method_is_nocase(unit, "MCU")) {
        int stored = 0;
        if (settings_int("Misc", "Power_Recovery_Mode", &stored) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Get PWR field fail\n", __func__, __LINE__);
            stored = 0;
        }
        // The two controller families number modes 1 and 2 the opposite way round.
        int reported = 0;
        if (stored == 1)
            reported = pic ? 1 : 2;
        else if (stored == 2)
            reported = pic ? 2 : 1;
        if (mode)
            *mode = reported;
        return 0;
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return -1;
}

int se_sys_set_power_recovery_mode(const char *id, int mode) {
    char unit[HAL_ID_LEN];
    if (!is(id, "root") || !model_text(kSystemEnclosure, "PWR_RECOVERY_UNIT", unit))
        return -1;
    if (method_is_nocase(unit, "SIO"))
        return sio_sys_set_power_recovery_mode(mode);
    if (method_is_nocase(unit, "ICH"))
        return ich_sys_set_power_recovery_mode(mode);
    if (method_is_nocase(unit, "PIC"))
        return pic_sys_set_power_recovery_mode(id, mode);
    if (method_is_nocase(unit, "MCU"))
        return mcu_sys_set_power_recovery_mode(id, mode);
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return -1;
}

int se_sys_get_eup(const char *id, int *enabled) {
    uint32_t cap = 0;
    if (!is(id, "root") || !capability(&cap) || !(cap & CAP_EUP))
        return -1;
    if (cap & (CAP_PIC | CAP_MCU)) {
        int v = 0;
        if (settings_int("System", "EUP Status", &v) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Get EUP field fail\n", __func__, __LINE__);
            v = 0;
        }
        if (enabled)
            *enabled = v;
        return 0;
    }
    int32_t state = 0;
    int r = sio_sys_get_eup_state(&state);
    if (enabled)
        *enabled = state;
    return r;
}

int se_sys_set_eup(const char *id, int enabled) {
    uint32_t cap = 0;
    if (!is(id, "root") || !capability(&cap) || !(cap & CAP_EUP))
        return -1;
    if (cap & (CAP_PIC | CAP_MCU)) {
        int r;
        if (cap & CAP_PIC)
            r = pic_sys_send_cmd(kRootId, kRootId,
                                 enabled ? panel_cmd::kPicEupOn : panel_cmd::kPicEupOff);
        else
            r = mcu_sys_send_cmd(kRootId, kRootId,
                                 enabled ? panel_cmd::kMcuEupOn : panel_cmd::kMcuEupOff);
        // Kept whatever the controller answered: it is the only record the board has.
        Ini_Conf_Set_Field_Int(kSettings, "System", "EUP Status", enabled ? 1 : 0, INI_CONF_DEC);
        return r;
    }
    return sio_sys_set_eup_state(enabled);
}

int se_sys_set_wol(const char *id, int enable) {
    uint32_t cap = 0;
    if (!is(id, "root") || !capability(&cap))
        return -1;
    int r = -1;
    if (cap & CAP_PIC)
        r = pic_sys_send_cmd(kRootId, kRootId, enable ? panel_cmd::kWolOn : panel_cmd::kWolOff);
    if (cap & CAP_MCU)
        r = mcu_sys_send_cmd(kRootId, kRootId, enable ? panel_cmd::kWolOn : panel_cmd::kWolOff);
    else
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Not implemented\n", __func__, __LINE__);
    return r;
}

}  // extern "C"
