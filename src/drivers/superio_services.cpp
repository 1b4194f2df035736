// The sio_sys_* calls for LEDs, buttons and power functions: each finds the chip the model
// names and the GPIO the model lists, and acts through the chip operations.
#include <strings.h>

#include <cstdio>

#include "drivers/superio_chips.h"
#include "drivers/superio_layout.h"
#include "drivers/superio_services.h"
#include "nashal/comm_model.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "nashal/sio_sys.h"
#include "topology/model_file.h"

using namespace nashal::superio;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_text;

namespace nashal::superio {

namespace {
constexpr const char *kChipNames[kChipCount] = {"F71869A", "IT87", "F81866A", "NCT5523"};
}

bool model_chip_name(char (&name)[32]) {
    return model_text(kSystemEnclosure, "SIO_DEVICE", name);
}

int chip_index_of(const char *name) {
    for (int i = 0; i < kChipCount; ++i) {
        if (strcasecmp(name, kChipNames[i]) == 0)
            return i;
    }
    return -1;
}

int model_chip(unsigned chips, const char *function, int line) {
    char name[32];
    if (!model_chip_name(name)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): no SIO_DEVICE in the model\n", function, line);
        return -1;
    }
    int chip = chip_index_of(name);
    if (chip < 0 || !(chips & (1u << chip))) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", function, line);
        return -1;
    }
    return chip;
}

int model_gpio(const char *section, const char *key, int32_t *gpio_index, int32_t *gpio_bit) {
    char value[32];
    if (!model_text(section, key, value))
        return -1;
    *gpio_bit = 0;
    return comm_sys_parse_c_gpio(value, gpio_index, gpio_bit);
}

}  // namespace nashal::superio

namespace {

struct Pin {
    int32_t index = 0;
    int32_t bit = 0;
};

// Chip and one "System IO" GPIO; false when either is missing.
bool chip_and_pin(unsigned chips, const char *key, int *chip, Pin *pin, const char *function,
                  int line) {
    *chip = model_chip(chips, function, line);
    return *chip >= 0 && model_gpio(SIO_MODEL_SECTION, key, &pin->index, &pin->bit) >= 0;
}

// Dark first, then lit when asked: the write of 0 also takes an IT87 pin back from a hardware
// blink channel into simple I/O.
int write_off_then(int chip, const Pin &pin, int value) {
    set_gpio_bit(chip, pin.index, pin.bit, 0);
    if (value == 0)
        return 0;
    return set_gpio_bit(chip, pin.index, pin.bit, value);
}

// The USB and power LEDs: one pin each, blinked by a worker. The IT87 blinks the USB LED in
// hardware, and the write of 0 that precedes everything ends that blink; the power LED's
// software blink is stopped on every chip.
struct SingleLed {
    const char *key;
    void (*stop)();
    bool stop_on_it87;
    int (*worker)(int chip, int gpio_index, int gpio_bit);
};
const SingleLed kUsbLed = {"FRONT_USB_LED", stop_usb_blink, false, usb_blink_worker};
const SingleLed kPowerLed = {"POWER_LED", stop_power_blink, true, power_blink_worker};

bool single_led(const SingleLed &led, int *chip, Pin *pin, const char *function, int line) {
    if (!chip_and_pin(kGpioLedChips, led.key, chip, pin, function, line))
        return false;
    if (*chip != kIT87 || led.stop_on_it87)
        led.stop();
    return true;
}

int set_single_led(const SingleLed &led, int value, const char *function, int line) {
    int chip;
    Pin pin;
    if (!single_led(led, &chip, &pin, function, line))
        return -1;
    return write_off_then(chip, pin, value);
}

int blink_single_led(const SingleLed &led, int on, const char *function, int line) {
    int chip;
    Pin pin;
    if (!single_led(led, &chip, &pin, function, line))
        return -1;
    set_gpio_bit(chip, pin.index, pin.bit, 0);
    if (!on)
        return 0;
    return led.worker(chip, pin.index, pin.bit);
}

// The status LED pair, with any blink stopped and both colours dark; false when the model
// lacks the chip or either pin.
bool status_darkened(int *chip, Pin *red, Pin *green, const char *function, int line) {
    if (!chip_and_pin(kAllChips, "STATUS_RED_LED", chip, red, function, line) ||
        model_gpio(SIO_MODEL_SECTION, "STATUS_GREEN_LED", &green->index, &green->bit) < 0)
        return false;
    stop_status_blink();
    set_gpio_bit(*chip, red->index, red->bit, 0);
    set_gpio_bit(*chip, green->index, green->bit, 0);
    return true;
}

// A night-mode dimming bit: the F71869A boards only.
int night_mode(const char *key, int value, const char *function, int line) {
    char name[32];
    if (!model_chip_name(name))
        return -1;
    if (chip_index_of(name) != kF71869A) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): This feature for SIO (%s) is NOT implemented.\n",
                  function, line, name);
        return -1;
    }
    Pin pin;
    if (model_gpio(SIO_MODEL_SECTION, key, &pin.index, &pin.bit) < 0)
        return -1;
    return set_gpio_bit(kF71869A, pin.index, pin.bit, value);
}

// The per-process caches of one button: the chip index and the pin, read once.
struct ButtonCache {
    int chip = -1;
    Pin pin{-1, -1};
};

int read_button(ButtonCache &cache, unsigned chips, const char *key, int32_t *value,
                const char *function, int line) {
    if (cache.chip < 0 || cache.pin.index < 0) {
        int chip = -1;
        Pin pin;
        if (!chip_and_pin(chips, key, &chip, &pin, function, line))
            return -1;
        cache.chip = chip;
        cache.pin = pin;
    }
    int v = get_gpio_bit(cache.chip, cache.pin.index, cache.pin.bit);
    if (value)
        *value = v;
    return 0;
}

}  // namespace

extern "C" {

int sio_sys_set_hdd_err_led(int gpio_index, int gpio_bit, int value) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    return set_gpio_bit(chip, gpio_index, gpio_bit, value);
}

int sio_sys_set_status_led(int colour, int value) {
    int chip;
    Pin red, green;
    if (colour != 0 && colour != 1)
        return -1;
    if (!status_darkened(&chip, &red, &green, __func__, __LINE__))
        return -1;
    const Pin &chosen = colour == 0 ? red : green;
    return set_gpio_bit(chip, chosen.index, chosen.bit, value);
}

int sio_sys_blink_status_led(int colour, int on) {
    int chip;
    Pin red, green;
    if (colour < 0 || colour > 2)
        return -1;
    if (!status_darkened(&chip, &red, &green, __func__, __LINE__))
        return -1;
    if (!on)
        return 0;
    return status_blink_worker(chip, red.index, red.bit, green.index, green.bit, colour);
}

int sio_sys_set_status_led_in_night_mode(int value) {
    return night_mode("STATUS_LED_LIGHT_CTL", value, __func__, __LINE__);
}

int sio_sys_set_general_led_in_night_mode(int value) {
    return night_mode("GENERAL_LED_LIGHT_CTL", value, __func__, __LINE__);
}

int sio_sys_set_standby_led(int value) {
    int chip = model_chip(kAllChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    if (chip != kF71869A) {
        char name[32];
        model_chip_name(name);
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d): NOT implement for SIO %s.\n", __func__, __LINE__,
                  name);
        return -1;
    }
    return sio_f71882fg_set_standby_led(value);
}

int sio_sys_set_usb_led(int value) {
    return set_single_led(kUsbLed, value, __func__, __LINE__);
}

int sio_sys_blink_usb_led(int on) {
    return blink_single_led(kUsbLed, on, __func__, __LINE__);
}

int sio_sys_set_pd_present_led(int value, int disk) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    char section[64];
    std::snprintf(section, sizeof section, "System Disk %d", disk);
    Pin pin;
    if (model_gpio(section, "PRESENT_LED", &pin.index, &pin.bit) < 0)
        return -1;
    return set_gpio_bit(chip, pin.index, pin.bit, value);
}

int sio_sys_set_power_led(int value) {
    return set_single_led(kPowerLed, value, __func__, __LINE__);
}

int sio_sys_blink_power_led(int on) {
    return blink_single_led(kPowerLed, on, __func__, __LINE__);
}

int sio_sys_set_10G_led(int value) {
    int chip;
    Pin pin;
    if (!chip_and_pin(kAllChips, "10G_LED", &chip, &pin, __func__, __LINE__))
        return -1;
    return write_off_then(chip, pin, value);
}

int sio_sys_set_JBOD_connect_led(int value) {
    int chip;
    Pin pin;
    if (!chip_and_pin(kAllChips, "JBOD_CONNECT_LED", &chip, &pin, __func__, __LINE__))
        return -1;
    return write_off_then(chip, pin, value);
}

int sio_sys_set_GPIO_led(const char *gpio, int value) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    if (chip < 0 || !gpio)
        return -1;
    Pin pin;
    int active_low = comm_sys_parse_c_gpio(gpio, &pin.index, &pin.bit);
    if (active_low < 0)
        return -1;
    int r = set_gpio_bit(chip, pin.index, pin.bit, active_low != 0);
    if (value)
        r = set_gpio_bit(chip, pin.index, pin.bit, active_low == 0);
    return r;
}

int sio_sys_get_usb_button(int32_t *value) {
    static ButtonCache cache;
    return read_button(cache, kGpioLedChips, "USB_COPY_BUTTON", value, __func__, __LINE__);
}

int sio_sys_get_reset_button(int32_t *value) {
    static ButtonCache cache;
    return read_button(cache, kAllChips, "RESET_BUTTON", value, __func__, __LINE__);
}

int sio_sys_get_gpio_val(int gpio_number, int32_t *value) {
    int chip = model_chip(kIt87Only, __func__, __LINE__);
    if (chip < 0 || gpio_number <= 9)
        return -1;
    int v = get_gpio_bit(chip, gpio_number / 10 - 1, gpio_number % 10);
    if (v < 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): System Error\n", __func__, __LINE__);
        return -1;
    }
    if (value)
        *value = v;
    return 0;
}

int sio_sys_get_power_supply_status(int supply, int32_t *status) {
    // Pins per supply number, kept once read; index and bit both 0 count as unread.
    static int cached_chip = -1;
    static Pin pins[8];
    const bool cacheable = supply >= 0 && supply < 8;
    Pin pin = cacheable ? pins[supply] : Pin{};
    if (cached_chip < 0) {
        cached_chip = model_chip(kAllChips, __func__, __LINE__);
        if (cached_chip < 0)
            return -1;
    }
    if (pin.index == 0 && pin.bit == 0) {
        char key[32];
        std::snprintf(key, sizeof key, "%s_%d", "REDUNDANT_POWER", supply);
        if (model_gpio(SIO_MODEL_SECTION, key, &pin.index, &pin.bit) < 0)
            return -1;
        if (cacheable)
            pins[supply] = pin;
    }
    int v = get_gpio_bit(cached_chip, pin.index, pin.bit);
    if (v < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
        return v;
    }
    if (status)
        *status = v ? -1 : 0;
    return 0;
}

int sio_sys_get_power_recovery_mode(int32_t *mode) {
    int chip = model_chip(kAllChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    switch (chip) {
        case kIT87:
            return comm_sys_get_power_recovery_mode_from_cmos(mode, 0);
        case kNCT5523:
            // The chip's own field overrides the CMOS copy when it encodes a mode.
            comm_sys_get_power_recovery_mode_from_cmos(mode, 1);
            return sio_nct5523_get_recovery_mode(mode);
        default:
            comm_sys_get_power_recovery_mode_from_cmos(mode, 1);
            return sio_f71882fg_get_recovery_mode(mode);
    }
}

int sio_sys_set_power_recovery_mode(int mode) {
    int chip = model_chip(kAllChips, __func__, __LINE__);
    return chip < 0 ? -1 : set_power_recovery_mode(chip, mode);
}

int sio_sys_get_eup_state(int32_t *state) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    return chip == kIT87 ? sio_it87_get_eup_state(state) : sio_f71882fg_get_eup_state(state);
}

int sio_sys_set_eup_state(int state) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    if (chip < 0)
        return -1;
    comm_sys_set_eup_mode_to_cmos(state);
    return chip == kIT87 ? sio_it87_set_eup_state(state) : sio_f71882fg_set_eup_state(state);
}

int sio_sys_set_pwb_mode(int mode) {
    int chip = model_chip(kAllChips, __func__, __LINE__);
    return chip < 0 ? -1 : set_pwb_mode(chip, mode);
}

int sio_sys_get_pwb_status(int32_t *value) {
    int chip = model_chip(kAllChips, __func__, __LINE__);
    return chip < 0 ? -1 : get_pwb_status(chip, value);
}

int sio_sys_get_chip_id(uint16_t *id) {
    int chip = model_chip(kGpioLedChips, __func__, __LINE__);
    return chip < 0 ? -1 : get_chip_id(chip, id);
}

int sio_sys_enable_pmbus_locked(int value) {
    // 0: not looked up yet; -1: the model has no such pin (looked up once, never again).
    static int pin_state = 0;
    static Pin pin;
    static int chip = -1;
    if (pin_state < 0)
        return 0;
    if (pin_state == 0) {
        char text[32];
        char key[48];
        std::snprintf(key, sizeof key, "%s_%s", "REDUNDANT_POWER", "SWITCH");
        if (!model_text(SIO_MODEL_SECTION, key, text)) {
            pin_state = -1;
            return 0;
        }
        if (comm_sys_parse_c_gpio(text, &pin.index, &pin.bit) < 0)
            return -1;
        pin_state = 1;
    }
    if (chip < 0) {
        char name[32];
        chip = model_chip_name(name) ? chip_index_of(name) : -1;
        if (chip < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
            return 0;
        }
    }
    return set_pmbus_gpio_unlocked(chip, pin.index, pin.bit, value);
}

}  // extern "C"
