// Weak stand-ins for the calls of pending_facade_parts.h: each fails with -1 and a level-2
// trace, leaving any output empty, until the real definition is in the build and wins.
#include "facade/pending_facade_parts.h"

#include "nashal/hal_trace.h"

#define NASHAL_WEAK __attribute__((weak))

namespace {
int not_in_build(const char *who, char *out = nullptr, int size = 0) {
    if (out && size > 0)
        out[0] = '\0';
    ERR_TRACE(HAL_TRACE_WARN, "%s: is not available in this build\n", who);
    return -1;
}
}  // namespace

extern "C" {

NASHAL_WEAK int se_sys_get_mac(int, char *text, int size) {
    return not_in_build(__func__, text, size);
}

NASHAL_WEAK int se_sys_set_mac(int, const char *) {
    return not_in_build(__func__);
}

NASHAL_WEAK int se_sys_get_SAS_HBA_info(int, char *, int, char *, int, char *firmware,
                                        int firmware_size, char *, int) {
    return not_in_build(__func__, firmware, firmware_size);
}

NASHAL_WEAK int se_sys_upgrade_hba_fw(int, const char *, char *version, int version_size, int) {
    return not_in_build(__func__, version, version_size);
}

NASHAL_WEAK int se_sys_get_connector_info(const char *, int *, int *) {
    return not_in_build(__func__);
}

NASHAL_WEAK int pd_sys_get_sys_name_in_connector(const char *, int, int, char *name, int size) {
    return not_in_build(__func__, name, size);
}

NASHAL_WEAK int SAS_Expander_Upgrade_Img(const char *, const char *, char *version, int size) {
    return not_in_build(__func__, version, size);
}

}  // extern "C"
