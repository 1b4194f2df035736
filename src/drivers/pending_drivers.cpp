// Weak stand-ins for the driver calls of pending_drivers.h. A model without the feature behaves
// the same as a board whose driver is not in this build: the PMBus switch is a no-op (a model
// without the pin), GPIO and chip reads fail.
#include "drivers/pending_drivers.h"

#include "nashal/hal_trace.h"

#define NASHAL_WEAK __attribute__((weak))

extern "C" NASHAL_WEAK int ich_sys_get_gpio_val(int gpio, int *) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: GPIO %d: the chipset GPIO driver is not in this build\n",
              __func__, gpio);
    return -1;
}

extern "C" NASHAL_WEAK int soc_sys_get_gpio_val(int gpio, int *) {
    ERR_TRACE(HAL_TRACE_WARN, "%s: GPIO %d: the SoC GPIO driver is not in this build\n", __func__,
              gpio);
    return -1;
}

extern "C" NASHAL_WEAK int se_sys_get_cpu_info(const char *, char *buffer, int size) {
    if (buffer && size > 0)
        buffer[0] = '\0';
    ERR_TRACE(HAL_TRACE_WARN, "%s: the CPU reader is not in this build\n", __func__);
    return -1;
}
