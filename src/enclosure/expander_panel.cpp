// LEDs and buzzer of expansion enclosures. A Thunderbolt enclosure's LEDs are register bits of
// an I2C device named in its own model file, two bits an LED (low nibble red, high nibble green);
// a USB expansion enclosure with a PIC takes panel commands by its USB bus name.
#include <cstdio>

#include "enclosure/enclosure_kinds.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "nashal/comm_model.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

namespace {

enum class Action { Set, Blink };

// The I2C bus of a Thunderbolt enclosure: its devices sit on buses numbered above 99.
int thunderbolt_bus(const char *id) {
    int bus = common_sys_get_thunderbolt_i2c_num(id);
    if (bus <= 99) {
        ERR_TRACE(HAL_TRACE_ERROR, "No /dev/i2c-1xx for this %s\n", id ? id : "(null)");
        return -1;
    }
    return bus;
}

// One LED register of the enclosure's file: key, then the byte.
int thunderbolt_led_write(const char *id, const char *key, Action action, int byte) {
    const int bus = thunderbolt_bus(id);
    if (bus < 0)
        return -1;
    const char *file = common_sys_get_thunderbolt_conf(id);
    char value[HAL_ID_LEN];
    if (!file || !nashal::topology::model_text("System IO", key, value, sizeof value, file)) {
        // The trace has always named the status LED, whichever key was read.
        ERR_TRACE(HAL_TRACE_ERROR, "Get %s Field failed!\n", "STATUS_LED");
        return -1;
    }
    int32_t address = 0, index = 0;
    if (comm_sys_parse_c_i2c_index(value, &address, &index) != 0) {
        if (action == Action::Set)
            ERR_TRACE(HAL_TRACE_ERROR, "Parsing Error at status led!\n");
        else
            ERR_TRACE(HAL_TRACE_ERROR, "Parsing error! Check %s\n", key);
        return -1;
    }
    return i2c_sys_dev_write_byte_data(bus, address, index, byte);
}

// A light switched by one byte sent to an I2C device of the enclosure's file: the value of `key`
// in `section` is "address:start:stop", start lighting it and stop darkening it.
int thunderbolt_send_start_stop(const char *id, const char *section, const char *key, bool on) {
    const char *file = common_sys_get_thunderbolt_conf(id);
    char value[HAL_ID_LEN];
    if (!file || !nashal::topology::model_text(section, key, value, sizeof value, file)) {
        ERR_TRACE(HAL_TRACE_ERROR, "Get %s Field %s failed!\n", section, key);
        return -1;
    }
    int32_t address = 0, start = 0, stop = 0;
    if (comm_sys_parse_c_i2c_start_stop(value, &address, &start, &stop) != 0)
        return -1;
    const int bus = common_sys_get_thunderbolt_i2c_num(id);
    if (bus <= 99)
        return -1;
    return i2c_sys_dev_send_byte(bus, address, (on ? start : stop) & 0xff);
}

// The USB bus name behind "usb_", when that enclosure has a PIC; else null.
const char *pic_expander(const char *id) {
    if (!nashal::enclosure::has_prefix(id, "usb_"))
        return nullptr;
    const char *name = id + 4;
    return comm_sys_check_usb_expander_type(name, nullptr) == USB_EXPANDER_TYPE_PIC ? name
                                                                                    : nullptr;
}

}  // namespace

extern "C" {

int thunderbolt_set_status_led(const char *id, int colour, int enable) {
    // Colour 2 has no steady form on these boards: refused rather than writing some byte.
    if (colour != 0 && colour != 1)
        return -1;
    return thunderbolt_led_write(id, "STATUS_LED", Action::Set, enable ? (colour ? 16 : 1) : 0);
}

int thunderbolt_blink_status_led(const char *id, int colour, int enable) {
    static const int kBlink[] = {5, 80, 85};
    if (colour < 0 || colour > 2)
        return -1;
    return thunderbolt_led_write(id, "STATUS_LED", Action::Blink, enable ? kBlink[colour] : 0);
}

// Patterns 1 to 6 are the register values 1, 3, 5, ..., 11; anything else darkens the LED.
int se_sys_set_fanerror_led(const char *id, int pattern) {
    if (!nashal::enclosure::has_prefix(id, "i2c"))
        return -1;
    int byte = pattern >= 1 && pattern <= 6 ? pattern * 2 - 1 : 0;
    return thunderbolt_led_write(id, "FANERROR_LED", Action::Set, byte);
}

int se_sys_set_overheat_led(const char *id, int pattern) {
    if (!nashal::enclosure::has_prefix(id, "i2c"))
        return -1;
    int byte = pattern >= 1 && pattern <= 6 ? pattern * 2 - 1 : 0;
    return thunderbolt_led_write(id, "OVERHEAT_LED", Action::Set, byte);
}

// The box's one-digit display shows its enclosure number.
int thunderbolt_set_7_segment_led(const char *id, int value) {
    if (value < 0 || value > 9)
        return -1;
    const int bus = thunderbolt_bus(id);
    const char *file = common_sys_get_thunderbolt_conf(id);
    char text[HAL_ID_LEN];
    if (bus < 0 || !file ||
        !nashal::topology::model_text("System IO", "7S_LED", text, sizeof text, file))
        return -1;
    int32_t address = 0, index = 0;
    if (comm_sys_parse_c_i2c_index(text, &address, &index) != 0)
        return -1;
    return i2c_sys_dev_write_byte_data(bus, address, index, value);
}

int thunderbolt_set_ident_led(const char *id, int enable) {
    return thunderbolt_send_start_stop(id, "System IO", "LOCATE_LED", enable != 0);
}

int thunderbolt_set_hdd_led(const char *id, int port_id, int on, const char *field) {
    if (!field)
        return -1;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "System Disk %d", port_id);
    return thunderbolt_send_start_stop(id, section, field, on != 0);
}

int usb_expander_set_status_led(const char *id, int colour, int enable) {
    const char *name = pic_expander(id);
    if (!name || (colour != 0 && colour != 1))
        return -1;
    return pic_sys_send_cmd(id, name, !enable ? 73 : colour == 0 ? 71 : 70);
}

int usb_expander_blink_status_led(const char *id, int colour, int enable) {
    static const int kBlink[] = {68, 69, 72};
    const char *name = pic_expander(id);
    if (!name || colour < 0 || colour > 2)
        return -1;
    return pic_sys_send_cmd(id, name, enable ? kBlink[colour] : 73);
}

// The expander plays the pattern itself; the call has always answered -1 even when it went out.
int usb_expander_set_buzzer(const char *id, int mode) {
    if (const char *name = pic_expander(id))
        pic_sys_send_cmd(id, name, mode + 256);
    return -1;
}

}  // extern "C"
