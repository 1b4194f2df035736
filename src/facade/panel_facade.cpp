// GPIO_: the front panel by enc_id. Lamps, buttons and the case switch are forwarded to the
// enclosure's backend; the identify state of the enclosure and of its disks is kept beside the
// disk records, so that a daemon can ask what it last set without asking the hardware.
#include "facade/forward.h"
#include "nashal/pd_sys.h"
#include "nashal/hal_gpio.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"

using nashal::facade::forward;
using nashal::facade::forward_port;
using nashal::facade::Trace;

namespace {

constexpr const char *kRoot = "root";
constexpr const char *kIndex = nashal::registry::kIndex;
constexpr const char *kIdentBitmap = "pd_ident_led_bitmap";

// A button or switch: the backend stores the state through a pointer and fails negative.
template <typename Get>
int switch_state(const char *who, int enc_id, Get get) {
    return forward(who, Trace::kNone, enc_id, [&](const char *id) {
        int value = 0;
        return get(id, &value) < 0 ? -1 : value;
    });
}

}  // namespace

extern "C" {

int GPIO_Enable_Status_LED(int enc_id, int colour, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_status_led(id, colour, enable); });
}

int GPIO_Enable_Status_LED_BLINK(int enc_id, int colour, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_blink_status_led(id, colour, enable); });
}

int GPIO_Enable_Power_LED(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_power_led(id, enable); });
}

int GPIO_Enable_Power_LED_BLINK(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_blink_power_led(id, enable); });
}

int GPIO_Enable_Standby_LED(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_standby_led(id, enable); });
}

int GPIO_Enable_USB_LED(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_usb_led(id, enable); });
}

int GPIO_Enable_USB_LED_BLINK(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_blink_usb_led(id, enable); });
}

int GPIO_Enable_HDD_ERR_LED(int enc_id, int port_id, int enable) {
    return forward_port(__func__, enc_id, port_id,
                        [&](const char *id) { return pd_sys_set_err_led(id, port_id, enable); });
}

int GPIO_Enable_HDD_Present_LED(int enc_id, int port_id, int enable) {
    return forward_port(__func__, enc_id, port_id, [&](const char *id) {
        return pd_sys_set_present_led(id, port_id, enable);
    });
}

int GPIO_Enable_HDD_Active_LED(int enc_id, int port_id, int enable) {
    return forward_port(__func__, enc_id, port_id,
                        [&](const char *id) { return pd_sys_set_active_led(id, port_id, enable); });
}

int GPIO_Get_Power_Status(int enc_id, int supply, int *status) {
    return forward(__func__, Trace::kNone, enc_id, [&](const char *id) {
        return se_sys_get_power_supply_status(id, supply, status);
    });
}

int GPIO_Enable_10G_Present_LED(int enable) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d).\n", __func__, enable);
    return se_sys_set_10G_led(kRoot, enable);
}

int GPIO_Enable_EXP_Present_LED(int enable) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d).\n", __func__, enable);
    return se_sys_set_JBOD_connect_led(kRoot, enable);
}

int GPIO_Does_Copy_Button_Press(int enc_id) {
    return switch_state(__func__, enc_id, se_sys_get_usb_button);
}

int GPIO_Does_Reset_Button_Press(int enc_id) {
    return switch_state(__func__, enc_id, se_sys_get_reset_button);
}

int GPIO_Does_Case_Cover_Open(int enc_id) {
    return switch_state(__func__, enc_id, se_sys_get_case_status);
}

// The state is recorded whatever the lamp answered: a daemon that asks again gets what it asked
// for, and the next call retries the hardware.
int GPIO_Enable_Ident_LED(int enc_id, int enable) {
    return forward(__func__, Trace::kEntry, enc_id, [&](const char *id) {
        int result = se_sys_set_ident_led(id, enable);
        se_set_enc_ident_status(enc_id, enable);
        return result;
    });
}

int GPIO_Get_Ident_LED(int enc_id) {
    return se_get_enc_ident_status(enc_id);
}

int GPIO_Enable_HDD_Ident_LED(int enc_id, int port_id, int enable, int err_state) {
    return forward_port(__func__, enc_id, port_id, [&](const char *id) {
        int result = pd_sys_set_ident_led(id, port_id, enable, err_state);
        if (result == 0) {
            nashal::registry::EnclosureConfFile conf(enc_id);
            if (enable)
                Ini_Conf_Bitmap_Set_Bit(conf.name, kIndex, kIdentBitmap, port_id);
            else
                Ini_Conf_Bitmap_Reset_Bit(conf.name, kIndex, kIdentBitmap, port_id);
        }
        return result;
    });
}

}  // extern "C"
