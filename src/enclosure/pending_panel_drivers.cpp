// Weak stand-ins for the calls of pending_panel_drivers.h: each fails with -1 and a level-2
// trace until the driver that defines it is in the build, whose strong definition then wins.
#include "enclosure/pending_panel_drivers.h"

#include "nashal/hal_trace.h"

#define NASHAL_WEAK __attribute__((weak))

namespace {
int not_in_build(const char *who) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: is not available in this build\n", who);
    return -1;
}
}  // namespace

extern "C" NASHAL_WEAK int pd_sys_set_err_led(const char *, int, int) {
    return not_in_build(__func__);
}

extern "C" NASHAL_WEAK int pd_sys_set_present_led(const char *, int, int) {
    return not_in_build(__func__);
}
