// pd_sys_getinfo: one PD_INFO for a disk that enumeration has just listed. The collector is
// chosen by the enclosure text in a fixed order; the link speed comes last, and every field is
// traced so that a boot log shows what each disk was taken for.
#include <cstdio>
#include <cstring>

#include "disk/disk_info.h"
#include "disk/disk_model.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace {

void trace_pd_info(const PD_INFO *p) {
    const char *f = "pd_sys_getinfo";
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->port_id = %d\n", f, p->port_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->pd_sys_id = %s\n", f, p->pd_sys_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->enc_sys_id = %s\n", f, p->enc_sys_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->pd_sys_name = %s\n", f, p->pd_sys_name);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->pd_ctrl_name = %s\n", f, p->pd_ctrl_name);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->pd_bus_name = %s\n", f, p->pd_bus_name);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->wwn = %02x %02x %02x %02x %02x %02x %02x %02x \n", f,
              p->wwn[0], p->wwn[1], p->wwn[2], p->wwn[3], p->wwn[4], p->wwn[5], p->wwn[6],
              p->wwn[7]);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->type = %d\n", f, p->type);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->speed = %d\n", f, p->speed);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->max_speed = %d\n", f, p->max_speed);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->vendor = %s\n", f, p->vendor);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->model = %s\n", f, p->model);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->serial_no = %s\n", f, p->serial_no);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->revision = %s\n", f, p->revision);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->protocol_version = 0x%x\n", f, p->protocol_version);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->capabilities = 0x%x\n", f, p->capabilities);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->sector_size = %u\n", f, p->sector_size);
    ERR_TRACE(HAL_TRACE_INFO, "%s:pd_info->capacity = %llu\n", f,
              static_cast<unsigned long long>(p->capacity));
}

bool starts_with(const char *text, const char *prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

}  // namespace

namespace nashal::disk {

int collect_common_steps(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *info) {
    hal_copy(info->pd_sys_id, pd_sys_id);
    hal_copy(info->enc_sys_id, enc_sys_id);
    get_sg_dev_name(info->pd_sys_id, info->pd_ctrl_name);
    if (get_sd_name(info->pd_sys_id, info->pd_sys_name, sizeof info->pd_sys_name) != 0)
        return -1;
    char link[kPathLen];
    int h, c, t, l;
    if (comm_sys_get_sg_path_info(info->pd_sys_id, link, sizeof link) == 0 &&
        get_scsi_address(link, &h, &c, &t, &l) == 0)
        snprintf(info->pd_bus_name, sizeof info->pd_bus_name, "%d:%d:%d:%d", h, c, t, l);
    return 0;
}

}  // namespace nashal::disk

extern "C" int pd_sys_getinfo(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info) {
    if (!pd_info)
        return -1;
    memset(pd_info, 0, sizeof *pd_info);
    if (!enc_sys_id || !pd_sys_id)
        return -1;
    int result;
    if (strcmp(enc_sys_id, "root_boot") == 0) {
        result = getinfo_pd_in_boot_enclosure(enc_sys_id, pd_sys_id, pd_info);
    } else {
        char link[kPathLen];
        if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof link) != 0)
            return -1;
        if (starts_with(enc_sys_id, "root_pcie_"))
            result = getinfo_pd_in_pcie_enclosure(enc_sys_id, pd_sys_id, pd_info);
        else if (starts_with(enc_sys_id, "i2c"))
            result = getinfo_pd_in_thunderbolt_expander(enc_sys_id, pd_sys_id, pd_info);
        else if (starts_with(enc_sys_id, "root"))
            result = getinfo_pd_in_root_enclosure(enc_sys_id, pd_sys_id, pd_info);
        else if (starts_with(enc_sys_id, "usb"))
            result = getinfo_pd_in_usb_hub(enc_sys_id, pd_sys_id, pd_info);
        else if (comm_sys_check_is_sas_expander(enc_sys_id) == 0)
            result = getinfo_pd_in_sas_expander(enc_sys_id, pd_sys_id, pd_info);
        else
            return -1;  // no collector takes this enclosure
        if (result < 0)
            return result;
    }
    int speed = 0, max_speed = 0;
    pd_sys_get_conn_speed(enc_sys_id, pd_sys_id, &speed, &max_speed);
    pd_info->speed = speed;
    pd_info->max_speed = max_speed;
    trace_pd_info(pd_info);
    return result;
}
