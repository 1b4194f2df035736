// Stand-ins for the kinds built by later changes; see pending_kinds.h. Enumerations find
// nothing; readers and monitors fail, so that such an enclosure is never attached half-known.
#include "enclosure/pending_kinds.h"

#include "nashal/hal_trace.h"

namespace nashal::enclosure {
int not_built_yet(const char *who, const char *enc_sys_id, const char *branch) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: %s of enc_sys_id = %s is not available in this build\n", who,
              branch, enc_sys_id ? enc_sys_id : "(null)");
    return -1;
}
}  // namespace nashal::enclosure

using nashal::enclosure::not_built_yet;

extern "C" int thunderbolt_expander_enumerate(char **, unsigned int) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: Thunderbolt enclosures are not looked for\n", __func__);
    return 0;
}

extern "C" int thunderbolt_expander_getinfo(const char *enc_sys_id, ENC_INFO *) {
    return not_built_yet(__func__, enc_sys_id, "Thunderbolt reader");
}
