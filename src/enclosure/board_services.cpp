// The main unit's boot parameters and panel controller services: what the motherboard
// interface reports beside the board's identity.
#include "enclosure/enclosure_kinds.h"
#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"
#include "nashal/se_board.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::model_int_or;
using nashal::topology::root_capability;

namespace {

// Watchdog modes 0, 1, 2 are the panel controller's commands 103, 104, 105.
constexpr int kWatchdogCommandBase = 103;

bool has_pic(const char *who, const char *enc_sys_id) {
    if (is(enc_sys_id, "root") && (root_capability() & CAP_PIC))
        return true;
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d): NAS not support this feature\n", who, __LINE__);
    return false;
}

}  // namespace

extern "C" int se_sys_get_boot_parms(int *recovery_mode, int *partition) {
    if (recovery_mode)
        *recovery_mode = model_int_or("Boot Enclosure", "BOOT_RECOVERY_MODE", -1);
    if (partition)
        *partition = model_int_or(nashal::topology::kSystemEnclosure, "BOOT_PARTITION", 1);
    return 0;
}

extern "C" int se_sys_read_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length,
                                      uint8_t *buffer, uint8_t limit) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    if (length > limit) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): request length(%d) > max length(%d)\n", __func__,
                  __LINE__, length, limit);
        return -1;
    }
    return pic_sys_access_eeprom("root", 0, address, length, buffer);
}

extern "C" int se_sys_write_pic_eeprom(const char *enc_sys_id, uint8_t address, uint8_t length,
                                       const uint8_t *buffer) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    // The controller's access call takes one buffer for both directions; a write only reads it.
    return pic_sys_access_eeprom("root", 1, address, length, const_cast<uint8_t *>(buffer));
}

extern "C" int se_sys_set_pic_wdt(const char *enc_sys_id, int mode) {
    if (!has_pic(__func__, enc_sys_id))
        return -1;
    if (mode < 0 || mode > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NAS not support this feature,mode = %d\n", __func__,
                  __LINE__, mode);
        return -1;
    }
    return pic_sys_send_cmd("root", "root", kWatchdogCommandBase + mode);
}
