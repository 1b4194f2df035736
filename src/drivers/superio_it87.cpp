// The ITE IT87: power-loss policy and EuP in its environment device, and the two hardware blink
// channels of its GPIO device. It has no recovery read: the services take the mode from CMOS.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/hal_trace.h"

using namespace nashal::superio;

namespace {

void open_environment() {
    open_config(kIT87);
    select_device(it87::kDeviceEnvironment);
}

struct BlinkChannel {
    uint8_t pin;
    uint8_t control;
};
constexpr BlinkChannel kChannel1 = {it87::kRegBlink1Pin, it87::kRegBlink1Control};
constexpr BlinkChannel kChannel2 = {it87::kRegBlink2Pin, it87::kRegBlink2Control};

// Puts one pin on `use`; a pin already on `other` is freed there first, so one LED never blinks
// on both channels.
int blink(const char *function, int line, int gpio_index, int gpio_bit, BlinkChannel use,
          BlinkChannel other) {
    if (!gpio_address_valid(kIT87, gpio_index, gpio_bit, function, line))
        return -1;
    SioLock lock(function, line);
    if (!lock)
        return -1;
    const uint8_t code = static_cast<uint8_t>(((gpio_index + 1) * 8) | gpio_bit);
    open_config(kIT87);
    select_device(it87::kDeviceGpio);
    update_register(static_cast<uint8_t>(it87::kRegSimpleIoEnable + gpio_index),
                    static_cast<uint8_t>(1u << gpio_bit), 0);
    if (read_register(other.pin) == code) {
        write_register(other.pin, 0);
        write_register(other.control, it87::kBlinkFree);
    }
    write_register(use.pin, code);
    write_register(use.control, it87::kBlinkRun);
    close_config(kIT87);
    return 0;
}

}  // namespace

extern "C" {

int sio_it87_set_recovery_mode(int mode) {
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_environment();
    // Mode 0: 0xF2 set, 0xF4 clear; mode 1: 0xF2 clear, 0xF4 set; mode 2: both clear.
    update_register(it87::kRegRecoveryA, it87::kRecoveryBit, mode == 0 ? it87::kRecoveryBit : 0);
    update_register(it87::kRegRecoveryB, it87::kRecoveryBit, mode == 1 ? it87::kRecoveryBit : 0);
    close_config(kIT87);
    return 0;
}

int sio_it87_get_eup_state(int32_t *state) {
    uint8_t v = 0;
    if (locked_read(kIT87, it87::kDeviceEnvironment, it87::kRegEup, &v, __func__, __LINE__))
        return -1;
    if (state)
        *state = (v & it87::kEupReadBit) ? 1 : 0;
    return 0;
}

int sio_it87_set_eup_state(int state) {
    return locked_update(kIT87, it87::kDeviceEnvironment, it87::kRegEup,
                         state ? 0 : it87::kEupWriteMask, state ? it87::kEupWriteMask : 0, __func__,
                         __LINE__);
}

int sio_it87_blink_status_led(int gpio_index, int gpio_bit) {
    return blink(__func__, __LINE__, gpio_index, gpio_bit, kChannel1, kChannel2);
}

// USB and power share channel 2, so the two can't blink in hardware at the same time.
int sio_it87_blink_usb_led(int gpio_index, int gpio_bit) {
    return blink(__func__, __LINE__, gpio_index, gpio_bit, kChannel2, kChannel1);
}

int sio_it87_blink_power_led(int gpio_index, int gpio_bit) {
    return blink(__func__, __LINE__, gpio_index, gpio_bit, kChannel2, kChannel1);
}

}  // extern "C"
