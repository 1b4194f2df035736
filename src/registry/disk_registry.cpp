// The disk registry's life cycle: PD_Scan forgets an enclosure's disks and records those the
// backend finds now; pd_attach and pd_detach add and remove one, and start the hooks that
// outside programs use to follow disks.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/disk_files.h"

using namespace nashal::registry;

namespace {

constexpr const char *kAttachHook = "/etc/init.d/pd_attach";
constexpr const char *kDetachHook = "/etc/init.d/pd_detach";
constexpr size_t kHookCommandLen = 512;

// A hook runs when it is there and its owner may execute it (a symbolic link always may).
bool hook_present(const char *path) {
    struct stat st;
    return ::lstat(path, &st) == 0 && (S_ISLNK(st.st_mode) || (st.st_mode & S_IXUSR));
}

// "<hook> <enc_id> <port_id> <device> &", in the background, never waited for. A device name
// with shell characters (it comes from the system's files) is refused by the builder.
void run_hook(const char *who, const char *hook, int enc_id, int port_id, const char *name) {
    if (!hook_present(hook))
        return;
    char command[kHookCommandLen];
    if (nashal::hal_build_command(who, command, sizeof command, "%s %d %d %s &", hook, enc_id,
                                  port_id, name) < 0)
        return;
    if (system(command) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): %s failed\n", who, __LINE__, command);
}

bool starts_with(const char *text, const char *prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

}  // namespace

extern "C" {

int PD_Scan(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d).\n", __func__, enc_id);
    int ports[MAX_PD_SCAN_NUM];
    PD_Enumerate(
        enc_id, ports, MAX_PD_SCAN_NUM,
        [](int enc, int port, void *cookie) { return pd_remove_conf(enc, port, cookie); }, nullptr);
    char enc_sys_id[HAL_ID_LEN];
    if (se_lookup_sys_id(enc_id, enc_sys_id, sizeof enc_sys_id) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: pd logical id %d is invalid!\n", __func__, enc_id);
        return 0;
    }
    char *list[MAX_PD_SCAN_NUM] = {};
    int count = pd_sys_enumerate(enc_sys_id, list, MAX_PD_SCAN_NUM);
    if (count <= 0) {
        ERR_TRACE(HAL_TRACE_CALL, "%s: pd_sys_enumerate return %d.\n", __func__, count);
        return 0;
    }
    // The list holds 24; disks beyond are not seen by this scan.
    for (int i = 0; i < count && i < MAX_PD_SCAN_NUM && list[i]; ++i) {
        pd_attach(enc_sys_id, list[i]);
        free(list[i]);
    }
    return 0;
}

int pd_attach(const char *enc_sys_id, const char *pd_sys_id) {
    int result = -1;
    int enc_id = enc_sys_id ? se_lookup_id(enc_sys_id) : -1;
    PD_INFO info{};
    if (!enc_sys_id || !pd_sys_id || enc_id < 0) {
        ERR_TRACE(HAL_TRACE_ERROR,
                  "%s(%d): System Erorr..enc_sys_id = %s,pd_sys_id=%s,enc_id = %d\n", __func__,
                  __LINE__, enc_sys_id ? enc_sys_id : "(null)", pd_sys_id ? pd_sys_id : "(null)",
                  enc_id);
        return result;
    }
    result = pd_sys_getinfo(enc_sys_id, pd_sys_id, &info);
    if (result != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error..\n", __func__, __LINE__);
        return result;
    }
    result = pd_sys_check_rw_access(enc_sys_id, pd_sys_id, &info);
    if (result != 0) {
        // -2 is an empty USB bridge: left out quietly.
        if (result == -1)
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s(%d): System Error,pd_sys_check_rw_access error..pd_sys_id = %s\n",
                      __func__, __LINE__, pd_sys_id);
        return result;
    }
    // The read speed is the SMART store's note; a disk starts with none.
    snprintf(info.read_speed, sizeof info.read_speed, "none");
    // A record that can't be written (a taken port) still counts as attached, without a hook.
    if (pd_write_conf(enc_id, info.port_id, &info) == 0)
        run_hook(__func__, kAttachHook, enc_id, info.port_id, info.pd_sys_name);
    if (!starts_with(enc_sys_id, "root_boot") && !starts_with(enc_sys_id, "root_usb") &&
        !starts_with(enc_sys_id, "root_esata"))
        pd_sys_set_device_queue(info.pd_sys_name);
    return 0;
}

int pd_detach_by_dev_id(int enc_id, int port_id) {
    char name[HAL_ID_LEN] = "";
    PD_Get_Sys_Name(enc_id, port_id, name, sizeof name);
    int result = pd_remove_conf(enc_id, port_id, nullptr);
    if (name[0])
        run_hook(__func__, kDetachHook, enc_id, port_id, name);
    return result;
}

int pd_detach(const char *enc_sys_id, const char *pd_sys_id) {
    int enc_id = -1;
    int port_id = -1;
    if (enc_sys_id && pd_sys_id && (enc_id = se_lookup_id(enc_sys_id)) >= 0 &&
        (port_id = pd_lookup_id(enc_sys_id, pd_sys_id)) >= 0)
        return pd_detach_by_dev_id(enc_id, port_id);
    ERR_TRACE(HAL_TRACE_ERROR,
              "%s: (enc_sys_id, pd_sys_id, enc_id, port_id) = (%s, %s, %d, %d) is invalid!\n",
              __func__, enc_sys_id ? enc_sys_id : "(null)", pd_sys_id ? pd_sys_id : "(null)",
              enc_id, port_id);
    return -1;
}

}  // extern "C"
