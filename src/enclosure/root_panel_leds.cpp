// LEDs of the main unit's front panel. The model value of each LED names its driver by its
// first word: "SIO" the Super I/O services, "PIC" and "MCU" a command to the panel controller,
// "IOPORT" a byte on a raw I/O port, "UART" a frame to a small chip on a serial line, "I2C" a
// byte to an I2C device. The first word that matches, in each operation's own order, serves.
#include <cstdio>

#include "enclosure/enclosure_kinds.h"
#include "enclosure/panel_methods.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "nashal/comm_model.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "nashal/sio_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::model_text;

namespace {

constexpr const char *kSystemIo = "System IO";

// The LED's model value, or false: a board without the key has no such LED.
bool led_value(const char *key, char (&value)[HAL_ID_LEN]) {
    return model_text(kSystemIo, key, value);
}

// "PIC" or "MCU": the command to the main unit's controller.
int send_root_cmd(const char *value, int command) {
    if (method_is(value, "PIC"))
        return pic_sys_send_cmd(kRootId, kRootId, command);
    return mcu_sys_send_cmd(kRootId, kRootId, command);
}

bool is_controller(const char *value) {
    return method_is(value, "PIC") || method_is(value, "MCU");
}

// "IOPORT:I<port>": the port is the index field, parsed from the value's seventh character on.
int ioport_of(const char *value, int32_t *port) {
    int32_t bit = 0;
    return comm_sys_parse_c_gpio(value + 6, port, &bit) < 0 ? -1 : 0;
}

// LEDs that only the main unit has: any other id is no failure worth more than a note.
bool main_unit(const char *id, const char *who, int line) {
    if (is(id, "root"))
        return true;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): enc_sys_id = %s not implement.\n", who, line,
              id ? id : "(null)");
    return false;
}

// An LED served by the Super I/O services or by controller commands: its key, the service,
// whether "SIO" is matched in any case, which controllers serve it and their commands.
struct PanelLed {
    const char *key;
    int (*sio)(int);
    bool sio_any_case;
    bool pic, mcu;
    int command_on, command_off;
};

const PanelLed kStatusNight = {
    "STATUS_GREEN_LED", sio_sys_set_status_led_in_night_mode, false, false, false, 0, 0};
const PanelLed kGeneralNight = {
    "STATUS_GREEN_LED", sio_sys_set_general_led_in_night_mode, false, false, false, 0, 0};
const PanelLed kStandby = {"STATUS_GREEN_LED", sio_sys_set_standby_led, true, false, false, 0, 0};
const PanelLed kUsbSet = {"FRONT_USB_LED",      sio_sys_set_usb_led,  false, true, true,
                          panel_cmd::kUsbLedOn, panel_cmd::kUsbLedOff};
const PanelLed kUsbBlink = {"FRONT_USB_LED",         sio_sys_blink_usb_led, false, true, true,
                            panel_cmd::kUsbLedBlink, panel_cmd::kUsbLedOff};
const PanelLed kPowerSet = {"POWER_LED",
                            sio_sys_set_power_led,
                            false,
                            true,
                            false,
                            panel_cmd::kPowerLedOn,
                            panel_cmd::kPowerLedOff};
const PanelLed kPowerBlink = {"POWER_LED",
                              sio_sys_blink_power_led,
                              false,
                              true,
                              false,
                              panel_cmd::kPowerLedBlink,
                              panel_cmd::kPowerLedOff};
const PanelLed k10G = {"10G_LED", sio_sys_set_10G_led, false, false, false, 0, 0};
// The MCU boards' connect LED shares the USB LED's commands.
const PanelLed kJbodConnect = {
    "JBOD_CONNECT_LED",   sio_sys_set_JBOD_connect_led, false, false, true,
    panel_cmd::kUsbLedOn, panel_cmd::kUsbLedOff};

int panel_led(const PanelLed &led, const char *id, int value, const char *who, int line) {
    char v[HAL_ID_LEN];
    if (!main_unit(id, who, line) || !led_value(led.key, v))
        return -1;
    if (led.sio_any_case ? method_is_nocase(v, "SIO") : method_is(v, "SIO"))
        return led.sio(value);
    if ((led.pic && method_is(v, "PIC")) || (led.mcu && method_is(v, "MCU")))
        return send_root_cmd(v, value ? led.command_on : led.command_off);
    return -1;
}

}  // namespace

extern "C" {

int root_set_status_led(int colour, int enable) {
    if (colour != 0 && colour != 1)
        return -1;
    char value[HAL_ID_LEN];
    if (!led_value(colour == 0 ? "STATUS_RED_LED" : "STATUS_GREEN_LED", value))
        return -1;
    if (method_is(value, "SIO"))
        return sio_sys_set_status_led(colour, enable);
    if (is_controller(value)) {
        int r = send_root_cmd(value, panel_cmd::kStatusOff);
        if (enable)
            r = send_root_cmd(value, colour == 0 ? panel_cmd::kStatusRed : panel_cmd::kStatusGreen);
        return r;
    }
    if (method_is(value, "IOPORT")) {
        int32_t port = 0;
        if (ioport_of(value, &port) != 0)
            return -1;
        return common_sys_set_ioport(port, enable ? 2 : 0);
    }
    if (method_is_nocase(value, "UART"))
        return common_sys_send_uart_data(value, enable);
    return -1;
}

int root_blink_status_led(int colour, int enable) {
    if (colour < 0 || colour > 2)
        return -1;
    char red[HAL_ID_LEN], green[HAL_ID_LEN];
    const char *value = nullptr;
    if (colour == 0 || colour == 2) {
        if (!led_value("STATUS_RED_LED", red))
            return -1;
        value = red;
    }
    if (colour == 1 || colour == 2) {
        if (!led_value("STATUS_GREEN_LED", green))
            return -1;
        value = green;
    }
    if (colour == 2 && (method_is(red, "IOPORT") || method_is(green, "IOPORT"))) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): hybrid_method = 1 not implement.\n", __func__,
                  __LINE__);
        return -1;
    }
    if (method_is(value, "SIO"))
        return sio_sys_blink_status_led(colour, enable);
    if (is_controller(value)) {
        static const int kBlink[] = {panel_cmd::kStatusBlinkRed, panel_cmd::kStatusBlinkGreen,
                                     panel_cmd::kStatusBlinkBoth};
        int r = send_root_cmd(value, panel_cmd::kStatusOff);
        if (enable)
            r = send_root_cmd(value, kBlink[colour]);
        return r;
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): conf_val = %s not implement.\n", __func__, __LINE__, value);
    return -1;
}

int root_set_ident_led(const char *enc_sys_id, int enable) {
    char value[HAL_ID_LEN];
    // Without a locate LED of its own the chassis is shown by blinking all its disks.
    if (!led_value("LOCATE_LED", value))
        return se_sys_set_pd_ident_led(enc_sys_id, -1, enable, 0);
    if (method_is_nocase(value, "UART"))
        return common_sys_send_uart_data(value, enable);
    if (method_is_nocase(value, "MCU"))
        return mcu_sys_set_enclosure_led(enc_sys_id, enable);
    if (method_is_nocase(value, "I2C")) {
        char full[HAL_ID_LEN];
        if (led_value("FULL_LOCATE_LED", full))
            return i2c_sys_set_enclosure_led(enc_sys_id, enable);
        if (!led_value("LOCATE_LED", value))
            return -1;
        int32_t address = 0, start = 0, stop = 0;
        if (comm_sys_parse_c_i2c_start_stop(value, &address, &start, &stop) != 0)
            return -1;
        return i2c_sys_send_byte(address, enable ? start : stop);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    return -1;
}

int se_sys_set_status_led_in_night_mode(const char *id, int value) {
    return panel_led(kStatusNight, id, value, __func__, __LINE__);
}

int se_sys_set_general_led_in_night_mode(const char *id, int value) {
    return panel_led(kGeneralNight, id, value, __func__, __LINE__);
}

int se_sys_set_standby_led(const char *id, int value) {
    return panel_led(kStandby, id, value, __func__, __LINE__);
}

int se_sys_set_usb_led(const char *id, int enable) {
    return panel_led(kUsbSet, id, enable, __func__, __LINE__);
}

int se_sys_blink_usb_led(const char *id, int enable) {
    return panel_led(kUsbBlink, id, enable, __func__, __LINE__);
}

int se_sys_set_power_led(const char *id, int enable) {
    return panel_led(kPowerSet, id, enable, __func__, __LINE__);
}

int se_sys_blink_power_led(const char *id, int enable) {
    return panel_led(kPowerBlink, id, enable, __func__, __LINE__);
}

int se_sys_set_10G_led(const char *id, int enable) {
    return panel_led(k10G, id, enable, __func__, __LINE__);
}

int se_sys_set_JBOD_connect_led(const char *id, int enable) {
    return panel_led(kJbodConnect, id, enable, __func__, __LINE__);
}

int se_sys_set_pwm_led(const char *id, int value) {
    char led[HAL_ID_LEN];
    if (!main_unit(id, __func__, __LINE__) || !led_value("PWM_LED", led))
        return -1;
    if (!method_is_nocase(led, "IOPORT"))
        return -1;
    int32_t port = 0;
    if (ioport_of(led, &port) != 0)
        return -1;
    return common_sys_set_ioport(port, value);
}

}  // extern "C"
