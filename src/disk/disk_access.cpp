// Does a disk really answer? A disk that has served 41 requests or more has; otherwise it must
// finish all but 3 of those it got within about three seconds. And an empty USB-to-SATA bridge
// (vendor "ASMT", no capacity) is left out quietly.
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"

namespace {

constexpr unsigned long long kServedRequests = 41;
constexpr unsigned long long kUnansweredAllowed = 3;
constexpr int kDoneTries = 3;

// "cat /sys/class/scsi_generic/<id>/device/<counter>", read as strtoull with base 0 (the kernel
// prints these in hexadecimal, "0x2a").
bool read_counter(const char *pd_sys_id, const char *counter, unsigned long long *value) {
    char command[HAL_CMD_LEN];
    char answer[HAL_ID_LEN];
    if (nashal::hal_build_command("pd_sys_check_rw_access", command, sizeof command,
                                  "cat %s/%s/device/%s", "/sys/class/scsi_generic", pd_sys_id,
                                  counter) < 0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", "pd_sys_check_rw_access", __LINE__);
        return false;
    }
    *value = strtoull(answer, nullptr, 0);
    return true;
}

}  // namespace

extern "C" int pd_sys_check_rw_access(const char *enc_sys_id, const char *pd_sys_id,
                                      PD_INFO *pd_info) {
    if (enc_sys_id &&
        (strcmp(enc_sys_id, "root_boot") == 0 || strncmp(enc_sys_id, "root_pcie_", 10) == 0))
        return 0;
    if (!pd_sys_id || !pd_sys_id[0]) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
        return -1;
    }
    if (pd_info && strncmp(pd_info->vendor, "ASMT", 4) == 0 && pd_info->capacity == 0)
        return -2;
    unsigned long long requests = 0;
    if (!read_counter(pd_sys_id, "iorequest_cnt", &requests))
        return -1;
    if (requests >= kServedRequests)
        return 0;
    int result = -1;
    for (int attempt = 0; attempt < kDoneTries; ++attempt) {
        unsigned long long done = 0;
        if (!read_counter(pd_sys_id, "iodone_cnt", &done))
            return -1;
        if (done + kUnansweredAllowed >= requests) {
            result = 0;
            break;
        }
        os_sleep(1);
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):%s R/W access:%s\n", __func__, __LINE__, pd_sys_id,
              result == 0 ? "OK" : "FAIL");
    return result;
}
