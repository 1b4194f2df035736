// Stand-ins for the disk registry, which replaces these two functions (and this file) when it
// lands. Until then an enclosure attaches with no disks.
#include "registry/pending_scans.h"

#include "nashal/hal_trace.h"

extern "C" int PD_Scan(int enc_id) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: no disk registry yet, enclosure %d has no disks\n", __func__,
              enc_id);
    return 0;
}

extern "C" int pd_detach_by_dev_id(int enc_id, int port_id) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: no disk registry yet (%d, %d)\n", __func__, enc_id, port_id);
    return 0;
}
