// disk-probe: the PD_INFO the disk backend builds for one disk, asking the hardware now (the
// registry's answer is `disk`). The enclosure is the one the disk maps back to, unless given;
// a boot flash id has no SCSI device and needs "root_boot".
#include <cstdio>
#include <string>

#include "halctl.h"
#include "nashal/pd_sys.h"
#include "pd_info_fields.h"

HALCTL_COMMAND(cmd_disk_probe, "disk-probe", "PD_SYS_ID [ENC_SYS_ID]",
               "collect a disk's identity, capacity and capabilities from the hardware now") {
    if (ctx.args.empty() || ctx.args.size() > 2)
        return halctl::usage_error(ctx, "disk-probe takes a disk id (sg2) and maybe an enclosure");
    const std::string &pd = ctx.args[0];
    char enc[HAL_ID_LEN] = "";
    if (ctx.args.size() == 2) {
        if (ctx.args[1].size() >= sizeof enc)
            return halctl::usage_error(ctx, "enclosure id too long");
        snprintf(enc, sizeof enc, "%s", ctx.args[1].c_str());
    } else if (PD_Sys_Get_SE_Sys_Id(pd.c_str(), enc) != 0 || enc[0] == '\0') {
        return halctl::failure(pd + " maps to no enclosure; give one");
    }
    PD_INFO info{};
    int rc = pd_sys_getinfo(enc, pd.c_str(), &info);
    if (rc < 0)
        return halctl::failure("pd_sys_getinfo " + std::string(enc) + " " + pd + " failed (" +
                               std::to_string(rc) + ")");
    ctx.out.record(halctl::pd_info_record(info, false));
    return halctl::kOk;
}
