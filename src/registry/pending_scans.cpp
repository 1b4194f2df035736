// Stand-in for the printer registry, which replaces this function (and this file) when it lands.
// Until then the main unit attaches with no printers.
#include "registry/pending_scans.h"

#include "nashal/hal_trace.h"

extern "C" int PRT_Scan(void) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: no printer registry yet\n", __func__);
    return 0;
}
