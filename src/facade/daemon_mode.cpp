// The hardware daemon's service mode: stored in /etc/hal.conf (which a scan deletes) and
// changed by restarting the daemon through daemon_mgr with the mode's flag.

#include <cstdlib>

#include "nashal/hal_conf.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"

extern "C" {

int HAL_Monitor_Set_Mode(int mode) {
    return Ini_Conf_Set_Field_Int(HAL_CONF_FILE, "Global", "Service Mode", mode, INI_CONF_DEC) < 0
               ? -1
               : 0;
}

int HAL_Monitor_Get_Mode(void) {
    int32_t mode = HAL_SERVICE_MODE_NONE;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, "Global", "Service Mode", &mode, INI_CONF_DEC) <= 0)
        return HAL_SERVICE_MODE_NONE;
    return mode;
}

int HAL_Monitor_Change_Mode(int mode) {
    if (mode == HAL_SERVICE_MODE_NONE || HAL_Monitor_Get_Mode() == mode)
        return -1;
    int status = 0;
    if (mode == HAL_SERVICE_MODE_NORMAL)
        status = std::system("/sbin/daemon_mgr hal_daemon start \"/sbin/hal_daemon -f\"");
    else if (mode == HAL_SERVICE_MODE_TEST)
        status = std::system("/sbin/daemon_mgr hal_daemon start \"/sbin/hal_daemon -t\"");
    else
        ERR_TRACE(HAL_TRACE_INFO, "%s: launch hal daemon in %d mode, return code = %d!\n", __func__,
                  mode, 0);
    const int exit_status = status == -1 ? -1 : (status >> 8) & 0xff;
    if (exit_status == 0)
        return 0;
    ERR_TRACE(HAL_TRACE_ERROR, "%s: can't launch hal daemon in %d mode, return code = %d!\n",
              __func__, mode, exit_status);
    return exit_status;
}

}  // extern "C"
