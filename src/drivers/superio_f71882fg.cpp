// The Fintek family (F71869A and F81866A): power-loss policy, EuP and the standby LED, all in
// the power management device.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"

using namespace nashal::superio;

namespace {

// The two Fintek chips share their enter and exit sequences.
void open_pme() {
    open_config(kF71869A);
    select_device(fintek::kDevicePme);
}

}  // namespace

extern "C" {

int sio_f71882fg_get_recovery_mode(int32_t *mode) {
    uint8_t v = 0;
    if (locked_read(kF71869A, fintek::kDevicePme, fintek::kRegRecovery, &v, __func__, __LINE__))
        return -1;
    decode_recovery(v, fintek::kRecoveryMask, fintek::kRecoveryShift, fintek::kRecoveryField, mode);
    return 0;
}

int sio_f71882fg_set_recovery_mode(int mode) {
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    return locked_update(
        kF71869A, fintek::kDevicePme, fintek::kRegRecovery, fintek::kRecoveryMask,
        static_cast<uint8_t>(fintek::kRecoveryField[mode] << fintek::kRecoveryShift), __func__,
        __LINE__);
}

// Where EuP lives depends on whether the BIOS keeps the CMOS power byte: a BIOS that does
// manages 0xE1 itself and leaves bit 7 of 0xE0 to us.
int sio_f71882fg_get_eup_state(int32_t *state) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_pme();
    int on;
    if (comm_sys_check_CMOS_is_initialized_by_BIOS() == 1)
        on = (read_register(fintek::kRegEupBios) & fintek::kEupBiosBit) ? 1 : 0;
    else
        on = (read_register(fintek::kRegEup) & fintek::kEupMask) == fintek::kEupMask ? 1 : 0;
    close_config(kF71869A);
    if (state)
        *state = on;
    return 0;
}

int sio_f71882fg_set_eup_state(int state) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_pme();
    if (comm_sys_check_CMOS_is_initialized_by_BIOS() == 1) {
        if (state)
            update_register(fintek::kRegEupBios, 0, fintek::kEupBiosBit);
        else
            update_register(fintek::kRegEupBios, fintek::kEupBiosBit, 0);
    } else {
        write_register(fintek::kRegEup, state ? fintek::kEupOn : fintek::kEupOff);
    }
    close_config(kF71869A);
    return 0;
}

int sio_f71882fg_set_standby_led(int on) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_pme();
    write_register(fintek::kRegStandbyLedMode, fintek::kStandbyLedModeValue);
    write_register(fintek::kRegStandbyLed, on ? fintek::kStandbyLedOn : 0);
    close_config(kF71869A);
    return 0;
}

}  // extern "C"
