// The disk registry as the daemons see it: `disks` lists the records (of one enclosure or of
// all), `disk` shows one, and `pd-attach` / `pd-detach` do what a hot-plug handler does.
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "pd_info_fields.h"

namespace {

bool read_record(int enc_id, int port_id, halctl::Output::Record *record) {
    PD_INFO info{};
    if (PD_Get_Info(enc_id, port_id, &info) != 0)
        return false;
    *record = halctl::pd_info_record(info, true);
    record->insert(record->begin(), halctl::Output::number("enc_id", enc_id));
    return true;
}

}  // namespace

HALCTL_COMMAND(cmd_disks, "disks", "[ENC_ID]",
               "list the recorded disks of every enclosure, or of one, with their fields") {
    if (ctx.args.size() > 1)
        return halctl::usage_error(ctx, "disks takes at most an enclosure id");
    std::vector<int> enclosures;
    if (ctx.args.size() == 1) {
        long long id = 0;
        if (!halctl::parse_int(ctx.args[0], id))
            return halctl::usage_error(ctx, "not an enclosure id: " + ctx.args[0]);
        enclosures.push_back(static_cast<int>(id));
    } else {
        int ids[MAX_SE_SYS_ENUM] = {};
        int n = SE_Enumerate(ids, MAX_SE_SYS_ENUM, nullptr, nullptr);
        for (int i = 0; i < n && i < MAX_SE_SYS_ENUM; ++i)
            enclosures.push_back(ids[i]);
    }
    std::vector<halctl::Output::Record> rows;
    for (int enc : enclosures) {
        int ports[64] = {};
        int n = PD_Enumerate(enc, ports, 64, nullptr, nullptr);
        for (int i = 0; i < n && i < 64; ++i) {
            halctl::Output::Record record;
            if (read_record(enc, ports[i], &record))
                rows.push_back(record);
        }
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_disk, "disk", "ENC_ID PORT", "show the recorded disk at a port") {
    long long enc = 0, port = 0;
    if (ctx.args.size() != 2 || !halctl::parse_int(ctx.args[0], enc) ||
        !halctl::parse_int(ctx.args[1], port))
        return halctl::usage_error(ctx, "disk takes an enclosure id and a port");
    halctl::Output::Record record;
    if (!read_record(static_cast<int>(enc), static_cast<int>(port), &record))
        return halctl::failure("no disk recorded at " + ctx.args[0] + " " + ctx.args[1]);
    ctx.out.record(record);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_pd_attach, "pd-attach", "ENC_SYS_ID PD_SYS_ID",
               "attach one disk as a hot-plug handler does (PD_Sys_Attach)") {
    if (ctx.args.size() != 2)
        return halctl::usage_error(ctx, "pd-attach takes an enclosure id text and a disk id");
    int rc = PD_Sys_Attach(ctx.args[0].c_str(), ctx.args[1].c_str());
    if (rc < 0)
        return halctl::failure("PD_Sys_Attach failed (" + std::to_string(rc) + ")");
    int enc = -1, port = -1;
    if (PD_Get_Id_By_Sys_Id(ctx.args[0].c_str(), ctx.args[1].c_str(), &enc, &port) == 0)
        ctx.out.record(
            {halctl::Output::number("enc_id", enc), halctl::Output::number("port_id", port)});
    else
        ctx.out.message("attached; no record written (the port was taken)");
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_pd_detach, "pd-detach", "ENC_SYS_ID PD_SYS_ID",
               "detach one disk as a hot-plug handler does (PD_Sys_Detach)") {
    if (ctx.args.size() != 2)
        return halctl::usage_error(ctx, "pd-detach takes an enclosure id text and a disk id");
    if (PD_Sys_Detach(ctx.args[0].c_str(), ctx.args[1].c_str()) < 0)
        return halctl::failure(ctx.args[1] + " is not recorded in " + ctx.args[0]);
    ctx.out.message("detached");
    return halctl::kOk;
}
