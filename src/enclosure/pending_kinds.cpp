// Stand-ins for the kinds built by later changes; see pending_kinds.h. Enumerations find
// nothing; readers and monitors fail, so that such an enclosure is never attached half-known.
#include "enclosure/pending_kinds.h"

#include <cstring>
#include <initializer_list>

#include "nashal/hal_trace.h"
#include "topology/model_file.h"

namespace nashal::enclosure {
int not_built_yet(const char *who, const char *enc_sys_id, const char *branch) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: %s of enc_sys_id = %s is not available in this build\n", who,
              branch, enc_sys_id ? enc_sys_id : "(null)");
    return -1;
}
}  // namespace nashal::enclosure

using nashal::enclosure::not_built_yet;

extern "C" int sas_expander_enumerate(char **, unsigned int) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: SAS expansion enclosures are not looked for\n", __func__);
    return 0;
}

extern "C" int usb_expander_enumerate(char **, unsigned int) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: USB expansion enclosures are not looked for\n", __func__);
    return 0;
}

extern "C" int thunderbolt_expander_enumerate(char **, unsigned int) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: Thunderbolt enclosures are not looked for\n", __func__);
    return 0;
}

extern "C" int sas_expander_getinfo(const char *enc_sys_id, ENC_INFO *) {
    return not_built_yet(__func__, enc_sys_id, "SAS expander reader");
}

extern "C" int usb_expander_getinfo(const char *enc_sys_id, ENC_INFO *) {
    return not_built_yet(__func__, enc_sys_id, "USB expander reader");
}

extern "C" int thunderbolt_expander_getinfo(const char *enc_sys_id, ENC_INFO *) {
    return not_built_yet(__func__, enc_sys_id, "Thunderbolt reader");
}

extern "C" int pic_sys_start_monitor(const char *enc_sys_id, int) {
    return not_built_yet(__func__, enc_sys_id, "PIC monitor");
}

extern "C" int mcu_sys_start_monitor(const char *enc_sys_id, int) {
    return not_built_yet(__func__, enc_sys_id, "MCU monitor");
}

// A board without "BOARD_SN_DEVICE" keeps no serial number: that is no failure worth a trace.
// The methods "NET", "PIC", "MCU" and "BOOT" are served by drivers built elsewhere; any other
// word is one the board description shouldn't hold.
extern "C" int root_get_board_sn(char *buffer, int size) {
    char method[HAL_ID_LEN] = {};
    if (!buffer || size <= 0 ||
        !nashal::topology::model_text(nashal::topology::kSystemEnclosure, "BOARD_SN_DEVICE",
                                      method))
        return -1;
    for (const char *known : {"NET", "PIC", "MCU", "BOOT"})
        if (strncmp(method, known, strlen(known)) == 0)
            return not_built_yet(__func__, "root", method);
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Not implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int usb_expander_get_sn(const char *enc_sys_id, char *, int) {
    return not_built_yet(__func__, enc_sys_id, "USB expander serial number");
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
