// The Nuvoton NCT5523: power-loss policy in its power management device. It has no chip id and
// no EuP here.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/hal_trace.h"

using namespace nashal::superio;

extern "C" {

int sio_nct5523_get_recovery_mode(int32_t *mode) {
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_config(kNCT5523);
    select_device(nct5523::kDevicePme);
    uint8_t v = read_register(nct5523::kRegRecovery);
    close_config(kNCT5523);
    const int field = (v & nct5523::kRecoveryMask) >> nct5523::kRecoveryShift;
    // Field 2 encodes no mode and leaves the caller's value as it was.
    for (int m = 0; m < 3; ++m) {
        if (nct5523::kRecoveryField[m] == field && mode)
            *mode = m;
    }
    return 0;
}

int sio_nct5523_set_recovery_mode(int mode) {
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    SioLock lock(__func__, __LINE__);
    if (!lock)
        return -1;
    open_config(kNCT5523);
    select_device(nct5523::kDevicePme);
    update_register(nct5523::kRegRecovery, nct5523::kRecoveryMask,
                    static_cast<uint8_t>(nct5523::kRecoveryField[mode] << nct5523::kRecoveryShift));
    close_config(kNCT5523);
    return 0;
}

}  // extern "C"
