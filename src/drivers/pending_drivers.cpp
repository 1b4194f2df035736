// Weak stand-ins for the driver calls of pending_drivers.h. A model without the feature behaves
// the same as a board whose driver is not in this build: the PMBus switch is a no-op (a model
// without the pin), chip reads fail, and the PCIe link reads as down.
#include "drivers/pending_drivers.h"

#include "nashal/hal_trace.h"

#define NASHAL_WEAK __attribute__((weak))

extern "C" NASHAL_WEAK int se_sys_get_pcie_link_state(const char *, int, int *link_speed,
                                                      int *link_width, int *) {
    if (link_speed)
        *link_speed = 0;
    if (link_width)
        *link_width = 0;
    ERR_TRACE(HAL_TRACE_WARN, "%s: the PCIe link reader is not in this build\n", __func__);
    return -1;
}
