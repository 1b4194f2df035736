// The four lights of a disk slot: error, locate, present and activity. In the main unit each
// light is a model value of the slot's section whose method word (any case) picks the driver:
// a serial frame, a Super I/O pin, an SoC register bit, an I/O port bit, a gpiolib pin, an I2C
// byte, the MCU, or the unit's own SAS expander. Other enclosures have one route each: SES
// element controls for SAS shelves, I2C bytes for Thunderbolt boxes, the bridge's GPIO for
// USB boxes.
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_port.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/mcu_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/soc_sys.h"
#include "nashal/se_sys.h"
#include "nashal/sio_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

using nashal::topology::model_text;

namespace {

constexpr size_t kErrValueLen = 80;  // the error light's value may carry a long serial frame
constexpr const char *kUsbDevices = "/sys/bus/usb/devices";

bool is(const char *id, const char *name) {
    return std::strcmp(id, name) == 0;
}

bool starts(const char *id, const char *prefix) {
    return std::strncmp(id, prefix, std::strlen(prefix)) == 0;
}

// Method words are matched in any case and over their own length only ("sio:I3:B0", "SIOx").
bool method(const char *value, const char *word) {
    return strncasecmp(value, word, std::strlen(word)) == 0;
}

int not_implemented(const char *who, int line) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", who, line);
    return -1;
}

// A pin value behind its method word ("SIO:I3:B0:P" behind "SIO"). `state` is the level to
// write: `on` itself, or inverted for an active-low line when the caller honours the flag.
struct Pin {
    int32_t first = 0, second = 0;
    int state = 0;
};

bool parse_pin(const char *value, size_t skip, int on, bool honour_polarity, Pin *pin) {
    int active_low = comm_sys_parse_c_gpio(value + skip, &pin->first, &pin->second);
    if (active_low < 0)
        return false;
    pin->state = (on != 0) != (honour_polarity && active_low > 0) ? 1 : 0;
    return true;
}

// An I2C start/stop value ("I2C:20:A1:A0"): the byte for on or off, cut to 8 bits.
bool parse_i2c(char *value, int on, int32_t *address, int *byte) {
    int32_t start = 0, stop = 0;
    if (comm_sys_parse_c_i2c_start_stop(value, address, &start, &stop) != 0)
        return false;
    *byte = (on ? start : stop) & 0xFF;
    return true;
}

int send_i2c(char *value, int on) {
    int32_t address = 0;
    int byte = 0;
    if (!parse_i2c(value, on, &address, &byte))
        return -1;
    return i2c_sys_send_byte(address, byte) < 0 ? -1 : 0;
}

int ok(int r) {
    return r < 0 ? -1 : 0;
}

// A bit of a plain I/O port: active low, the other way round with ":P".
int ioport_light(const char *value, int on) {
    Pin pin;
    if (!parse_pin(value, 6, on, true, &pin))
        return -1;
    return ok(common_sys_set_ioport_bit(pin.first, pin.second, pin.state));
}

// SoC register bits come with the SoC GPIO driver; until it is linked these lights fail.
int root_err_led(const char *enc_sys_id, int port_id, int on) {
    const char *who = "pd_sys_set_err_led";
    char section[HAL_NAME_LEN];
    std::snprintf(section, sizeof section, "System Disk %d", port_id);
    char value[kErrValueLen];
    if (!model_text(section, "ERR_LED", value))
        return not_implemented(who, __LINE__);
    Pin pin;
    if (method(value, "UART")) {
        common_sys_send_uart_data(value, on);
        return 0;
    }
    if (method(value, "SIO")) {
        // The Super I/O driver knows the pin's sense itself.
        if (!parse_pin(value, 3, on, false, &pin))
            return -1;
        return ok(sio_sys_set_hdd_err_led(pin.first, pin.second, pin.state));
    }
    if (method(value, "SAS")) {
        char expander[HAL_ID_LEN] = {};
        if (comm_sys_get_real_enc_sys_id(expander) != 0)
            return -1;
        sas_expander_set_hdd_err_led(expander, port_id, on);
        return 0;
    }
    if (method(value, "SOC")) {
        if (!parse_pin(value, 3, on, false, &pin))
            return -1;
        return ok(soc_sys_set_hdd_err_led(pin.first, pin.second, pin.state));
    }
    if (method(value, "IOPORT"))
        return ioport_light(value, on);
    if (method(value, "GPIO")) {
        if (!parse_pin(value, 4, on, true, &pin))
            return -1;
        return ok(common_sys_set_gpiolib(pin.first, pin.state));
    }
    if (method(value, "I2C"))
        return send_i2c(value, on);
    if (method(value, "MCU"))
        return ok(mcu_sys_set_hdd_err_led(enc_sys_id, port_id, on));
    return not_implemented(who, __LINE__);
}

// A managed USB box (kind 2): the bay's disk is found behind the box's "Port%d" path, waited for
// as a box that was just plugged in may not show it yet, and its bridge drives the light.
int usb_box_err_led(const char *enc_sys_id, int port_id, int on) {
    const char *who = "pd_sys_set_err_led";
    char bus[HAL_ID_LEN];
    nashal::hal_copy(bus, enc_sys_id + 4);
    int type = 0;
    if (comm_sys_check_usb_expander_type(bus, &type) != USB_EXPANDER_TYPE_PIC)
        return 0;
    char key[HAL_ID_LEN], port[kErrValueLen];
    std::snprintf(key, sizeof key, "Port%d", port_id);
    if (comm_sys_get_c_ext_enclosure_string(type, key, port, sizeof port) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", who, __LINE__);
        return -1;
    }
    char port_bus[HAL_ID_LEN + kErrValueLen];
    std::snprintf(port_bus, sizeof port_bus, "%s.%s", bus, port);

    char *found[1] = {nullptr};
    auto forget = [&] {
        std::free(found[0]);
        found[0] = nullptr;
    };
    int count = 0;
    while (lookup_disk_in_usb_port(kUsbDevices, port_bus, found, 1) != 1) {
        forget();
        os_sleep(1);
        if (count++ > 9)
            break;
    }
    // Kept as the boxes' firmware tools count it: ten is the count of a disk found on the
    // eleventh look, and it is taken as a failure; after eleven failed looks the count is eleven
    // and the bridge is asked with no disk, which usb_expander_set_hdd_err_led refuses.
    if (count == 10) {
        forget();
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", who, __LINE__);
        return -1;
    }
    usb_expander_set_hdd_err_led(found[0] ? found[0] : "", port_bus, on);
    forget();
    return 0;
}

int led_on_uart(char *value, int on) {
    return common_sys_send_uart_data(value, on);
}

}  // namespace

extern "C" {

int pd_sys_set_err_led(const char *enc_sys_id, int port_id, int on) {
    if (!enc_sys_id)
        return -1;
    if (is(enc_sys_id, "root"))
        return root_err_led(enc_sys_id, port_id, on);
    // The chassis' own extra enclosures have no error lights of their own.
    if (is(enc_sys_id, "root_usb") || is(enc_sys_id, "root_esata") || is(enc_sys_id, "root_cache"))
        return 0;
    if (starts(enc_sys_id, "usb"))
        return starts(enc_sys_id, "usb_") ? usb_box_err_led(enc_sys_id, port_id, on) : 0;
    // An expansion enclosure's light failing is no failure of the caller's request.
    if (starts(enc_sys_id, "i2c"))
        thunderbolt_set_hdd_led(enc_sys_id, port_id, on, "ERR_LED");
    else
        sas_expander_set_hdd_err_led(enc_sys_id, port_id, on);
    return 0;
}

int pd_sys_set_ident_led(const char *enc_sys_id, int port_id, int on, int err_state) {
    if (!enc_sys_id)
        return -1;
    if (is(enc_sys_id, "root")) {
        char section[HAL_NAME_LEN];
        std::snprintf(section, sizeof section, "System Disk %d", port_id);
        char value[HAL_ID_LEN];
        // Without a locate light of its own the slot blinks its error and present lights.
        if (!model_text(section, "LOCATE_LED", value))
            return se_sys_set_pd_ident_led(enc_sys_id, port_id, on, err_state);
        if (method(value, "UART")) {
            int r = led_on_uart(value, on);
            // A serial locate light shares the slot's lamp: an error outlives the locate.
            if (r == 0 && err_state == 1) {
                pd_sys_set_present_led(enc_sys_id, port_id, 0);
                pd_sys_set_err_led(enc_sys_id, port_id, 1);
            }
            return r;
        }
        if (method(value, "MCU"))
            return ok(mcu_sys_set_blink_hdd_err_led(enc_sys_id, port_id, on));
        if (method(value, "I2C"))
            return send_i2c(value, on);
        return not_implemented(__func__, __LINE__);
    }
    if (starts(enc_sys_id, "usb"))
        return se_sys_set_pd_ident_led(enc_sys_id, port_id, on, err_state);
    if (comm_sys_check_is_sas_expander(enc_sys_id) == 0)
        return sas_expander_set_hdd_ident_led(enc_sys_id, port_id, on, err_state);
    if (starts(enc_sys_id, "i2c"))
        return thunderbolt_set_hdd_led(enc_sys_id, port_id, on, "LOCATE_LED");
    return not_implemented(__func__, __LINE__);
}

int pd_sys_set_present_led(const char *enc_sys_id, int port_id, int on) {
    if (!enc_sys_id)
        return -1;
    char section[HAL_NAME_LEN];
    char value[HAL_ID_LEN];
    if (is(enc_sys_id, "root")) {
        std::snprintf(section, sizeof section, "System Disk %d", port_id);
        if (!model_text(section, "PRESENT_LED", value))
            return -1;
        Pin pin;
        if (method(value, "UART")) {
            led_on_uart(value, on);
            return 0;
        }
        if (method(value, "SOC")) {
            if (!parse_pin(value, 3, on, true, &pin))
                return -1;
            return ok(soc_sys_set_present_led(pin.first, pin.second, pin.state));
        }
        if (method(value, "IOPORT"))
            return ioport_light(value, on);
        if (method(value, "I2C"))
            return send_i2c(value, on);
        if (method(value, "SIO")) {
            // The Super I/O driver reads the slot's pin again by itself.
            if (!parse_pin(value, 3, on, false, &pin))
                return -1;
            return ok(sio_sys_set_pd_present_led(on, port_id));
        }
        return not_implemented(__func__, __LINE__);
    }
    if (is(enc_sys_id, "root_esata")) {
        std::snprintf(section, sizeof section, "Esata Disk %d", port_id);
        if (model_text(section, "PRESENT_LED", value) && method(value, "SIO"))
            sio_sys_set_GPIO_led(value, on);
        return 0;
    }
    if (starts(enc_sys_id, "i2c")) {
        thunderbolt_set_hdd_led(enc_sys_id, port_id, on, "PRESENT_LED");
        return 0;
    }
    return not_implemented(__func__, __LINE__);
}

int pd_sys_set_active_led(const char *enc_sys_id, int port_id, int on) {
    if (!enc_sys_id)
        return -1;
    char value[HAL_ID_LEN];
    if (is(enc_sys_id, "root")) {
        char section[HAL_NAME_LEN];
        std::snprintf(section, sizeof section, "System Disk %d", port_id);
        if (!model_text(section, "BLINK_LED", value))
            return -1;
        Pin pin;
        if (method(value, "UART"))
            return led_on_uart(value, on);
        if (method(value, "SOC")) {
            if (!parse_pin(value, 3, on, true, &pin))
                return -1;
            return ok(soc_sys_set_active_led(port_id, pin.first, pin.second, pin.state));
        }
        if (method(value, "IOPORT"))
            return ioport_light(value, on);
        if (method(value, "I2C"))
            return send_i2c(value, on);
        return not_implemented(__func__, __LINE__);
    }
    if (is(enc_sys_id, "root_esata")) {
        // One activity light for the whole eSATA enclosure, on a serial link only.
        if (!model_text("Esata Enclosure", "BLINK_LED", value) || !method(value, "UART"))
            return not_implemented(__func__, __LINE__);
        return led_on_uart(value, on);
    }
    if (is(enc_sys_id, "root_cache"))
        return -1;
    return not_implemented(__func__, __LINE__);
}

}  // extern "C"
