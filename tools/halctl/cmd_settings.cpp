// settings: the hardware layer's own settings (disk error recovery times, SMART interval, the
// USB attached SCSI driver) and the hardware daemon's service mode.
#include <string>

#include "halctl.h"
#include "nashal/hal_conf.h"

namespace {

using halctl::Output;

bool parse_range(const std::string &text, long long low, long long high, long long &out) {
    return halctl::parse_int(text, out) && out >= low && out <= high;
}

int show(halctl::Context &ctx) {
    int read_secs = 0, write_secs = 0, minutes = 0, uasp = 0;
    const bool erc = HAL_Conf_ERC_Get(&read_secs, &write_secs) == 0;
    HAL_Conf_SMART_Interval_Get(&minutes);
    const bool uasp_set = HAL_Conf_UASP_Get(&uasp) == 0;
    // Unset values show as -1: the daemon then keeps its own defaults.
    ctx.out.record({Output::number("erc read secs", erc ? read_secs : -1),
                    Output::number("erc write secs", erc ? write_secs : -1),
                    Output::number("smart interval mins", minutes),
                    Output::number("uasp", uasp_set ? uasp : -1),
                    Output::number("service mode", HAL_Monitor_Get_Mode())});
    return halctl::kOk;
}

int set_erc(halctl::Context &ctx) {
    long long r = 0, w = 0;
    if (ctx.args.size() != 3 || !parse_range(ctx.args[1], -1, 65535, r) ||
        !parse_range(ctx.args[2], -1, 65535, w))
        return halctl::usage_error(ctx, "settings erc takes READ and WRITE seconds (-1: keep)");
    if (HAL_Conf_ERC_Set(static_cast<int>(r), static_cast<int>(w)) != 0)
        return halctl::failure("can't write " HAL_SETTING_CONF_FILE);
    ctx.out.message("error recovery times stored, daemon told to reload");
    return halctl::kOk;
}

int set_smart(halctl::Context &ctx) {
    long long minutes = 0;
    if (ctx.args.size() != 2 || !parse_range(ctx.args[1], 0, 1000000, minutes))
        return halctl::usage_error(ctx, "settings smart takes the interval in minutes");
    if (HAL_Conf_SMART_Interval_Set(static_cast<int>(minutes)) != 0)
        return halctl::failure("can't write " HAL_SETTING_CONF_FILE);
    ctx.out.message("SMART interval " + std::to_string(minutes) + " min, daemon told to reload");
    return halctl::kOk;
}

int set_uasp(halctl::Context &ctx) {
    if (ctx.args.size() != 2 || (ctx.args[1] != "0" && ctx.args[1] != "1"))
        return halctl::usage_error(ctx, "settings uasp takes 0 or 1");
    const bool on = ctx.args[1] == "1";
    if (HAL_Conf_UASP_Set(on) != 0)
        return halctl::failure(on ? "the uas module can't be loaded"
                                  : "the uas module can't be removed");
    ctx.out.message(on ? "uas module loaded" : "uas module not loaded");
    return halctl::kOk;
}

int set_mode(halctl::Context &ctx) {
    long long mode = 0;
    if (ctx.args.size() != 2 || !parse_range(ctx.args[1], 0, 1, mode))
        return halctl::usage_error(ctx, "settings mode takes 0 (normal) or 1 (test)");
    const int m = static_cast<int>(mode);
    if (HAL_Monitor_Get_Mode() == m) {
        ctx.out.message("the daemon already runs in mode " + std::to_string(m));
        return halctl::kOk;
    }
    const int status = HAL_Monitor_Change_Mode(m);
    if (status != 0)
        return halctl::failure("the daemon didn't start in mode " + std::to_string(m) +
                               " (status " + std::to_string(status) + ")");
    HAL_Monitor_Set_Mode(m);
    ctx.out.message("daemon started in mode " + std::to_string(m));
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_settings, "settings", "[erc READ WRITE | smart MINUTES | uasp 0|1 | mode 0|1]",
               "show or change the hardware settings and the daemon's service mode") {
    if (ctx.args.empty())
        return show(ctx);
    const std::string &what = ctx.args[0];
    if (what == "erc")
        return set_erc(ctx);
    if (what == "smart")
        return set_smart(ctx);
    if (what == "uasp")
        return set_uasp(ctx);
    if (what == "mode")
        return set_mode(ctx);
    return halctl::usage_error(ctx, "unknown setting " + what);
}
