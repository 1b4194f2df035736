// The SAS disk services (log pages, self test, power) that the disk service calls route to,
// until the SAS backend is in the build.
// Each is a weak definition that the real one replaces when it is linked in; until then a
// request fails cleanly and says why.
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"

#define NASHAL_PENDING __attribute__((weak))

namespace {

int not_available(const char *who) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: is not available in this build\n", who);
    return -1;
}

}  // namespace

extern "C" NASHAL_PENDING int pd_sys_get_sas_smart(const char *, const char *, int *,
                                                   struct SAS_LOG_PAGE *, int) {
    return not_available(__func__);
}

extern "C" NASHAL_PENDING int pd_sys_get_sas_self_test_progress(const char *, const char *, int *,
                                                                int *) {
    return not_available(__func__);
}

extern "C" NASHAL_PENDING int pd_sys_set_sas_self_test(const char *, const char *, int) {
    return not_available(__func__);
}

extern "C" NASHAL_PENDING int pd_sys_set_sas_standby(const char *, const char *) {
    return not_available(__func__);
}

extern "C" NASHAL_PENDING int pd_sys_get_sas_power(const char *, const char *, int *) {
    return not_available(__func__);
}
