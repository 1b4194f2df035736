// Stand-ins for the board routes built by later changes; see pending_kinds.h. They fail, so
// that nothing is attached half-known.
#include "enclosure/pending_kinds.h"

#include <cstring>
#include <initializer_list>

#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "topology/model_file.h"

namespace nashal::enclosure {
int not_built_yet(const char *who, const char *enc_sys_id, const char *branch) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: %s of enc_sys_id = %s is not available in this build\n", who,
              branch, enc_sys_id ? enc_sys_id : "(null)");
    return -1;
}
}  // namespace nashal::enclosure

using nashal::enclosure::not_built_yet;

// A board without "BOARD_SN_DEVICE" keeps no serial number: that is no failure worth a trace.
// "PIC" and "MCU" ask the controller's EEPROM; "NET" and "BOOT" are served by drivers built
// elsewhere; any other word is one the board description shouldn't hold.
extern "C" int root_get_board_sn(char *buffer, int size) {
    char method[HAL_ID_LEN] = {};
    if (!buffer || size <= 0 ||
        !nashal::topology::model_text(nashal::topology::kSystemEnclosure, "BOARD_SN_DEVICE",
                                      method))
        return -1;
    if (strncmp(method, "PIC", 3) == 0)
        return pic_sys_get_sn("root", buffer, size);
    if (strncmp(method, "MCU", 3) == 0)
        return mcu_sys_get_sn("root", buffer, size);
    for (const char *known : {"NET", "BOOT"})
        if (strncmp(method, known, strlen(known)) == 0)
            return not_built_yet(__func__, "root", method);
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Not implement\n", __func__, __LINE__);
    return -1;
}

// The writing side of root_get_board_sn, by the same word.
extern "C" int root_set_board_sn(const char *serial) {
    char method[HAL_ID_LEN] = {};
    if (!serial || !nashal::topology::model_text(nashal::topology::kSystemEnclosure,
                                                 "BOARD_SN_DEVICE", method))
        return -1;
    if (strncmp(method, "PIC", 3) == 0)
        return pic_sys_set_sn("root", serial);
    if (strncmp(method, "MCU", 3) == 0)
        return mcu_sys_set_sn("root", serial);
    for (const char *known : {"NET", "BOOT"})
        if (strncmp(method, known, strlen(known)) == 0)
            return not_built_yet(__func__, "root", method);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Not implement\n", __func__, __LINE__);
    return -1;
}

// The prefix is kept on the boot disk; until the boot disk can be found there is none, and the
// display name is built from the model file alone.
extern "C" int se_sys_get_model_prefix_name(const char *enc_sys_id, char *buffer, int size) {
    if (buffer && size > 0)
        buffer[0] = '\0';
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: no model prefix for enc_sys_id = %s in this build\n", __func__,
              enc_sys_id ? enc_sys_id : "(null)");
    return -1;
}
