// The chip operations by chip index: GPIO bits, the PMBus pin, power button routing and state,
// chip id, and the power-loss policy kept in both chip and CMOS.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"

using namespace nashal::superio;

namespace {

bool known_chip(int chip) {
    return chip >= 0 && chip < kChipCount;
}

// One configuration cycle per row; a device selection changes the device at that point.
void route_power_button(int chip, int mode) {
    open_config(chip);
    switch (chip) {
        case kF71869A:
            if (mode) {
                update_register(fintek::kF71869aRegPwbMux, 0, fintek::kF71869aPwbMuxBit);
                select_device(fintek::kDeviceGpio);
                update_register(fintek::kF71869aRegPwbPin, fintek::kF71869aPwbMuxBit, 0);
            } else {
                update_register(fintek::kF71869aRegPwbMux, fintek::kF71869aPwbMuxBit, 0);
            }
            break;
        case kIT87:
            select_device(it87::kDeviceGpio);
            if (mode) {
                update_register(it87::kRegPwbMux, 0, it87::kPwbBit);
                update_register(it87::kRegPwbSelect, 0, it87::kPwbBit);
                update_register(it87::kRegPwbPin, it87::kPwbBit, 0);
            } else {
                update_register(it87::kRegPwbMux, it87::kPwbBit, 0);
            }
            break;
        case kF81866A:
            update_register(fintek::kF81866aRegPwbMux, fintek::kF81866aPwbMuxMask,
                            fintek::kF81866aPwbMuxValue);
            if (mode) {
                update_register(fintek::kF81866aRegPwbSelect, 0, fintek::kF81866aPwbBit);
                select_device(fintek::kDeviceGpio);
                update_register(fintek::kF81866aRegPwbPin, fintek::kF81866aPwbBit, 0);
            } else {
                update_register(fintek::kF81866aRegPwbSelect, fintek::kF81866aPwbBit, 0);
            }
            break;
        case kNCT5523:
            if (mode) {
                update_register(nct5523::kRegPwbMux, 0, nct5523::kPwbMuxBits);
                select_device(nct5523::kDeviceGpio);
                update_register(nct5523::kRegPwbGpio, nct5523::kPwbBit, 0);
                select_device(nct5523::kDeviceGpioActivate);
                update_register(nct5523::kRegPwbActivate, 0, nct5523::kPwbBit);
            } else {
                select_device(nct5523::kDeviceGpioActivate);
                update_register(nct5523::kRegPwbActivate, nct5523::kPwbBit, 0);
                select_device(nct5523::kDeviceGpio);
                update_register(nct5523::kRegPwbGpio, 0, nct5523::kPwbBit);
                update_register(nct5523::kRegPwbMux, nct5523::kPwbMuxBits, 0);
            }
            break;
        default:
            break;
    }
    close_config(chip);
}

// A pressed button pulls its pin low.
int fintek_button_pressed(int chip, uint8_t status_register, uint8_t bit) {
    open_config(chip);
    select_device(fintek::kDeviceGpio);
    uint8_t v = read_register(status_register);
    close_config(chip);
    return (v & bit) ? 0 : 1;
}

}  // namespace

extern "C" {

int set_gpio_bit(int chip, int gpio_index, int gpio_bit, int value) {
    if (known_chip(chip) && !gpio_address_valid(chip, gpio_index, gpio_bit, __func__, __LINE__))
        return -1;
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    // An unknown chip index does nothing and succeeds, so a board whose model names a chip
    // outside the table stays silent rather than failing every LED call.
    write_gpio_bit(chip, gpio_index, gpio_bit, value);
    return 0;
}

int get_gpio_bit(int chip, int gpio_index, int gpio_bit) {
    if (!known_chip(chip) || !gpio_address_valid(chip, gpio_index, gpio_bit, __func__, __LINE__))
        return -1;
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    return read_gpio_bit(chip, gpio_index, gpio_bit);
}

int set_pmbus_gpio_unlocked(int chip, int gpio_index, int gpio_bit, int value) {
    if (chip != kF71869A && chip != kIT87 && chip != kF81866A)
        return 0;
    if (gpio_address_valid(chip, gpio_index, gpio_bit, __func__, __LINE__))
        write_gpio_bit(chip, gpio_index, gpio_bit, value);
    return 0;
}

int set_pwb_mode(int chip, int mode) {
    if (!known_chip(chip))
        return -1;
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    route_power_button(chip, mode);
    return 0;
}

int get_pwb_status(int chip, int32_t *value) {
    if (!known_chip(chip) || !value)
        return -1;
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    switch (chip) {
        case kF71869A:
            *value =
                fintek_button_pressed(chip, fintek::kF71869aRegPwbStatus, fintek::kF71869aPwbBit);
            break;
        case kF81866A:
            *value =
                fintek_button_pressed(chip, fintek::kF81866aRegPwbStatus, fintek::kF81866aPwbBit);
            break;
        case kIT87:
            *value = read_gpio_bit(chip, it87::kPwbGpioIndex, it87::kPwbGpioBit);
            break;
        default:
            *value = read_gpio_bit(chip, nct5523::kPwbGpioIndex, nct5523::kPwbGpioBit);
            break;
    }
    return 0;
}

int get_chip_id(int chip, uint16_t *id) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    if ((chip != kF71869A && chip != kIT87 && chip != kF81866A) || !id)
        return -1;
    open_config(chip);
    uint16_t high = read_register(kRegChipIdHigh);
    *id = static_cast<uint16_t>((high << 8) | read_register(kRegChipIdLow));
    close_config(chip);
    return 0;
}

int set_power_recovery_mode(int chip, int mode) {
    if (!known_chip(chip))
        return -1;
    if (mode < 0 || mode > 4) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    // Modes 3 and 4 are chip-only variants of 2 and 1: the BIOS's copy in CMOS stays as it is.
    const bool chip_only = mode >= 3;
    const int chip_mode = mode == 3 ? 2 : mode == 4 ? 1 : mode;
    switch (chip) {
        case kF71869A:
        case kF81866A:
            if (chip_only) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
                return -1;
            }
            sio_f71882fg_set_recovery_mode(chip_mode);
            return comm_sys_set_power_recovery_mode_to_cmos(mode, 1);
        case kIT87:
            // Mode 0 goes to the chip as mode 1 while CMOS keeps 0: the board's BIOS restores the
            // chip from CMOS at power-on and the chip's own "off" state is not to be relied on.
            if (chip_only)
                return sio_it87_set_recovery_mode(chip_mode);
            sio_it87_set_recovery_mode(mode == 0 ? 1 : mode);
            return comm_sys_set_power_recovery_mode_to_cmos(mode, 0);
        default:
            if (chip_only)
                return sio_nct5523_set_recovery_mode(chip_mode);
            sio_nct5523_set_recovery_mode(chip_mode);
            return comm_sys_set_power_recovery_mode_to_cmos(mode, 1);
    }
}

}  // extern "C"
