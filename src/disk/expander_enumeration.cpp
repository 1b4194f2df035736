// Disks of Thunderbolt expansion enclosures (SAS shelves: sas_expander_disks.cpp; USB boxes:
// usb_expander_disks.cpp). Placeholders that find nothing until
// the expander enumerators are written; they replace this file.
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

extern "C" int enumerate_pd_in_thunderbolt_expander(const char *enc_sys_id, char **, int) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: %s: Thunderbolt expander disks are not enumerated yet\n",
              __func__, enc_sys_id ? enc_sys_id : "(null)");
    return 0;
}
