/* Settings of the hardware layer that the library keeps itself, and the hardware daemon's
 * controls.
 *
 * /etc/config/hal_setting.conf holds the disks' error recovery times ("ERC": "read_secs",
 * "write_secs"), the SMART polling interval ("SMART": "interval_mins", 10 when unset) and whether
 * the USB attached SCSI driver is wanted ("UASP": "enable"). A change of the first two tells the
 * daemon to reload ("/sbin/hal_event --reload"); a failed notification doesn't fail the setting,
 * which the daemon reads at its next start anyway.
 *
 * The daemon's service mode (0 normal, "-f"; 1 test, "-t") is "Service Mode" of "Global" in
 * /etc/hal.conf, which a scan deletes: set it again after SE_Scan. */
#ifndef NASHAL_HAL_CONF_H
#define NASHAL_HAL_CONF_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define HAL_SETTING_CONF_FILE "/etc/config/hal_setting.conf"
#define HAL_DEFAULT_SMART_INTERVAL_MINS 10

#define HAL_SERVICE_MODE_NONE (-1)
#define HAL_SERVICE_MODE_NORMAL 0
#define HAL_SERVICE_MODE_TEST 1

/* The only event: the daemon rereads the settings. */
#define HAL_DAEMON_EVENT_RELOAD 1

typedef struct {
    int32_t read_secs;
    int32_t write_secs;
    int32_t interval_mins;
} HAL_SETTINGS;

/* Runs the event tool for `event` 1 and returns system()'s result; -1 for any other event. The
 * second argument is not used. */
int HAL_Daemon_Notify(int event, int unused);

/* OR of HAL_Conf_ERC_Get and HAL_Conf_SMART_Interval_Get into `settings`. */
int HAL_Conf_Get_All(HAL_SETTINGS *settings);
/* A negative time leaves its field alone; with both negative only the daemon is told. -1 when
 * a write fails (both are tried), and then the daemon is not told. */
int HAL_Conf_ERC_Set(int read_secs, int write_secs);
/* Both outputs start at 0; -1 if either field is missing. */
int HAL_Conf_ERC_Get(int *read_secs, int *write_secs);
/* -1 for a negative interval or a failed write. */
int HAL_Conf_SMART_Interval_Set(int minutes);
/* The interval, 10 when unset; always 0. */
int HAL_Conf_SMART_Interval_Get(int *minutes);
/* Loads or unloads the uas module as asked, and records the state it reached. A module already
 * as asked is left alone and the field untouched. 0, or -1 when the module can't be changed. */
int HAL_Conf_UASP_Set(int enable);
/* The output starts at 0; -1 if the field is missing. */
int HAL_Conf_UASP_Get(int *enable);

/* The stored service mode: 0 or -1. */
int HAL_Monitor_Set_Mode(int mode);
/* The stored mode, or -1 when none is stored. */
int HAL_Monitor_Get_Mode(void);
/* Starts the daemon in `mode` (0 or 1) through daemon_mgr. A change to the stored mode, or to
 * -1, is refused with -1; any other unknown mode starts nothing and is 0. Otherwise 0 when the
 * start succeeded, else its exit status (or -1). The new mode is not stored: the caller does
 * that with HAL_Monitor_Set_Mode. */
int HAL_Monitor_Change_Mode(int mode);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_CONF_H */
