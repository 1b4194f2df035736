/* The battery backup unit of the main unit: its status LED and charge switches on a GPIO
 * expander ("BBU_GPIO" of "System IO") and its state from the fuel gauge ("BBU_GAUGE"). */
#ifndef NASHAL_SE_BBU_H
#define NASHAL_SE_BBU_H

#include <nashal/i2c_sys.h>

#ifdef __cplusplus
extern "C" {
#endif

/* colour 0, 1 or 2 (the two LED pins driven as 2, 1 or 0); index must be 0; enable 0 turns the
 * LED off. 0 or -1. */
int se_sys_set_bbu_status_led(int colour, int index, int enable);
/* Opens both switches, then closes the charge (discharge) switch when enable is set. */
int se_sys_enable_bbu_charge(int enable);
int se_sys_enable_bbu_discharge(int enable);
/* The gauge's report; 0 or -1. */
int se_sys_get_bbu_status(BBU_STATUS *status);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_BBU_H */
