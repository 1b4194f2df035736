// The hardware layer's own settings in /etc/config/hal_setting.conf, the USB attached SCSI
// driver, and the reload event that tells the hardware daemon to read them again.
#include <cstdlib>

#include "foundation/shell_command.h"
#include "nashal/hal_conf.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"

namespace {

constexpr const char *kFile = HAL_SETTING_CONF_FILE;

bool read_int(const char *section, const char *field, int32_t *out) {
    return Ini_Conf_Get_Field_Int(kFile, section, field, out, INI_CONF_DEC) > 0;
}

bool write_int(const char *section, const char *field, int32_t value) {
    return Ini_Conf_Set_Field_Int(kFile, section, field, value, INI_CONF_DEC) >= 0;
}

// The shell's status of a command whose output nobody wants.
int run(const char *command) {
    return std::system(command);
}

}  // namespace

extern "C" {

int HAL_Daemon_Notify(int event, int /*unused*/) {
    if (event != HAL_DAEMON_EVENT_RELOAD)
        return -1;
    char command[256];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/sbin/hal_event %s >&/dev/null", "--reload") < 0)
        return -1;
    return run(command);
}

int HAL_Conf_Get_All(HAL_SETTINGS *settings) {
    if (!settings)
        return -1;
    int read_secs = 0, write_secs = 0, minutes = 0;
    int result = HAL_Conf_ERC_Get(&read_secs, &write_secs) | HAL_Conf_SMART_Interval_Get(&minutes);
    settings->read_secs = read_secs;
    settings->write_secs = write_secs;
    settings->interval_mins = minutes;
    return result;
}

int HAL_Conf_ERC_Set(int read_secs, int write_secs) {
    bool failed = false;
    if (read_secs >= 0 && !write_int("ERC", "read_secs", read_secs))
        failed = true;
    if (write_secs >= 0 && !write_int("ERC", "write_secs", write_secs))
        failed = true;
    if (failed) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): can't write %s\n", __func__, __LINE__, kFile);
        return -1;
    }
    HAL_Daemon_Notify(HAL_DAEMON_EVENT_RELOAD, 0);
    return 0;
}

int HAL_Conf_ERC_Get(int *read_secs, int *write_secs) {
    int32_t r = 0, w = 0;
    const bool have_read = read_int("ERC", "read_secs", &r);
    const bool have_write = read_int("ERC", "write_secs", &w);
    if (read_secs)
        *read_secs = have_read ? r : 0;
    if (write_secs)
        *write_secs = have_write ? w : 0;
    return have_read && have_write ? 0 : -1;
}

int HAL_Conf_SMART_Interval_Set(int minutes) {
    if (minutes < 0 || !write_int("SMART", "interval_mins", minutes)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): interval %d not stored\n", __func__, __LINE__, minutes);
        return -1;
    }
    HAL_Daemon_Notify(HAL_DAEMON_EVENT_RELOAD, 0);
    return 0;
}

int HAL_Conf_SMART_Interval_Get(int *minutes) {
    int32_t m = HAL_DEFAULT_SMART_INTERVAL_MINS;
    if (!read_int("SMART", "interval_mins", &m))
        m = HAL_DEFAULT_SMART_INTERVAL_MINS;
    if (minutes)
        *minutes = m;
    return 0;
}

int HAL_Conf_UASP_Set(int enable) {
    // The loaded module is the truth; the field only records what was last made of it.
    const bool loaded = run("/sbin/lsmod | /bin/grep \"uas \" >&/dev/null") == 0;
    if (!loaded && enable) {
        if (run("/sbin/insmod /lib/modules/misc/uas.ko >&/dev/null") != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): uas module not loaded\n", __func__, __LINE__);
            return -1;
        }
        Ini_Conf_Set_Field(kFile, "UASP", "enable", "1");
        return 0;
    }
    if (loaded && !enable) {
        if (run("/sbin/rmmod uas >&/dev/null") != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): uas module not removed\n", __func__, __LINE__);
            return -1;
        }
        Ini_Conf_Set_Field(kFile, "UASP", "enable", "0");
        return 0;
    }
    return 0;
}

int HAL_Conf_UASP_Get(int *enable) {
    int32_t v = 0;
    const bool have = read_int("UASP", "enable", &v);
    if (enable)
        *enable = have ? v : 0;
    return have ? 0 : -1;
}

}  // extern "C"
