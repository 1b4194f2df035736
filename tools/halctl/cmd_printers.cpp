// printers: the USB printers the registry holds, those the backend finds now, and the scan and
// hot-plug entries.
#include <cstdlib>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/hal_prt.h"

namespace {

using halctl::Output;

Output::Record record_of(int id, const PRT_INFO &info) {
    return {Output::number("id", id), Output::text("prt_sys_id", info.prt_sys_id),
            Output::number("port_id", info.port_id), Output::text("vendor", info.vendor),
            Output::text("model", info.model)};
}

int registered(halctl::Context &ctx) {
    int ids[64];
    int count = PRT_Enumerate(ids, 64, nullptr, nullptr);
    std::vector<Output::Record> rows;
    for (int i = 0; i < count && i < 64; ++i) {
        PRT_INFO info = {};
        if (PRT_Get_Info(ids[i], &info) == 0)
            rows.push_back(record_of(ids[i], info));
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

int found(halctl::Context &ctx) {
    char *names[MAX_PRT_SYS_ENUM] = {};
    int count = prt_sys_enumerate(names, MAX_PRT_SYS_ENUM);
    if (count < 0)
        return halctl::failure("no USB class directory");
    std::vector<Output::Record> rows;
    for (int i = 0; i < count && i < MAX_PRT_SYS_ENUM; ++i) {
        PRT_INFO info = {};
        char enc_sys_id[HAL_ID_LEN] = {};
        prt_get_enc_sys_id(names[i], enc_sys_id);
        int r = prt_sys_getinfo(names[i], &info);
        Output::Record row = record_of(info.port_id, info);
        row.erase(row.begin());
        row.push_back(Output::text("enc_sys_id", enc_sys_id[0] ? enc_sys_id : "?"));
        row.push_back(Output::number("getinfo", r));
        rows.push_back(row);
    }
    for (char *name : names)
        free(name);
    ctx.out.table(rows);
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_printers, "printers", "[found | scan | attach NAME | detach NAME]",
               "USB printers: recorded, found now, rescan, hot-plug") {
    const std::string what = ctx.args.empty() ? "" : ctx.args[0];
    if (what.empty())
        return registered(ctx);
    if (what == "found" && ctx.args.size() == 1)
        return found(ctx);
    if (what == "scan" && ctx.args.size() == 1) {
        int count = PRT_Scan();
        ctx.out.message("scanned: " + std::to_string(count < 0 ? 0 : count) + " printers found");
        return halctl::kOk;
    }
    if ((what == "attach" || what == "detach") && ctx.args.size() == 2) {
        const char *name = ctx.args[1].c_str();
        if ((what == "attach" ? prt_attach(name) : prt_detach(name)) != 0)
            return halctl::failure(what + " of " + ctx.args[1] + " refused");
        ctx.out.message(ctx.args[1] + (what == "attach" ? " recorded" : " forgotten"));
        return halctl::kOk;
    }
    return halctl::usage_error(ctx, "printers takes found, scan, attach NAME or detach NAME");
}
