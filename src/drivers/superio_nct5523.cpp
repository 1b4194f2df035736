// The Nuvoton NCT5523: power-loss policy in its power management device. It has no chip id and
// no EuP here.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/hal_trace.h"

using namespace nashal::superio;

extern "C" {

int sio_nct5523_get_recovery_mode(int32_t *mode) {
    uint8_t v = 0;
    if (locked_read(kNCT5523, nct5523::kDevicePme, nct5523::kRegRecovery, &v, __func__, __LINE__))
        return -1;
    decode_recovery(v, nct5523::kRecoveryMask, nct5523::kRecoveryShift, nct5523::kRecoveryField,
                    mode);
    return 0;
}

int sio_nct5523_set_recovery_mode(int mode) {
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    return locked_update(
        kNCT5523, nct5523::kDevicePme, nct5523::kRegRecovery, nct5523::kRecoveryMask,
        static_cast<uint8_t>(nct5523::kRecoveryField[mode] << nct5523::kRecoveryShift), __func__,
        __LINE__);
}

}  // extern "C"
