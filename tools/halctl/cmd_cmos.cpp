// cmos: the settings the BIOS reads at power-on (power-loss policy, EuP, C2F reservation).
#include <cstdio>
#include <string>

#include "halctl.h"
#include "nashal/comm_port.h"
#include "topology/cmos_settings.h"

namespace {

using halctl::Output;

constexpr const char *kPowerKey = "PWR_RECOVERY_CMOS_STORE";

std::string hex_byte(uint8_t b) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%02x", b);
    return buf;
}

int recovery(halctl::Context &ctx) {
    if (ctx.args.size() > 2)
        return halctl::usage_error(ctx, "cmos recovery takes at most a mode");
    if (ctx.args.size() == 2) {
        long long mode = 0;
        // Modes 3 and 4 live in the Super I/O only: the library accepts them here and leaves
        // the byte alone, so reporting them as set would tell the engineer something untrue.
        if (!halctl::parse_int(ctx.args[1], mode) || mode < 0 || mode > 2)
            return halctl::usage_error(ctx, "MODE is 0, 1 or 2 (3 and 4 are not kept in CMOS)");
        if (comm_sys_set_power_recovery_mode_to_cmos(static_cast<int>(mode), 1) != 0)
            return halctl::failure("the model file names no CMOS store for the power byte");
        ctx.out.message("recovery mode set to " + std::to_string(mode));
        return halctl::kOk;
    }
    int32_t mode = -1;
    uint8_t byte = 0;
    if (comm_sys_get_power_recovery_mode_from_cmos(&mode, 1) != 0 ||
        !nashal::cmos_read_setting_byte(kPowerKey, &byte))
        return halctl::failure("the model file names no CMOS store for the power byte");
    ctx.out.record(
        {mode >= 0 ? Output::number("mode", mode) : Output::none("mode", "none"),
         Output::number("bios initialised", comm_sys_check_CMOS_is_initialized_by_BIOS()),
         Output::text("power byte", hex_byte(byte))});
    return halctl::kOk;
}

int eup(halctl::Context &ctx) {
    if (ctx.args.size() > 2)
        return halctl::usage_error(ctx, "cmos eup takes at most 0 or 1");
    if (ctx.args.size() == 2) {
        if (ctx.args[1] != "0" && ctx.args[1] != "1")
            return halctl::usage_error(ctx, "EuP is 0 (off) or 1 (on)");
        if (comm_sys_set_eup_mode_to_cmos(ctx.args[1] == "1") != 0)
            return halctl::failure("the model file names no CMOS store for the power byte");
        ctx.out.message(std::string("EuP ") + (ctx.args[1] == "1" ? "on" : "off"));
        return halctl::kOk;
    }
    uint8_t byte = 0;
    if (!nashal::cmos_read_setting_byte(kPowerKey, &byte))
        return halctl::failure("the model file names no CMOS store for the power byte");
    ctx.out.record({Output::number("eup", (byte & CMOS_PWR_EUP_BIT) ? 1 : 0),
                    Output::text("power byte", hex_byte(byte))});
    return halctl::kOk;
}

int c2f(halctl::Context &ctx) {
    if (ctx.args.size() != 1 && ctx.args.size() != 3)
        return halctl::usage_error(ctx, "cmos c2f takes nothing, or ENABLE and SIZE");
    if (ctx.args.size() == 3) {
        long long enable = 0, size = 0;
        if (!halctl::parse_int(ctx.args[1], enable) || (enable != 0 && enable != 1) ||
            !halctl::parse_int(ctx.args[2], size) || size < -1 || size > 8)
            return halctl::usage_error(ctx, "ENABLE is 0 or 1, SIZE is 1, 2, 4, 8 or -1 (keep)");
        if (comm_sys_set_c2f_to_cmos(static_cast<int>(enable), static_cast<int>(size)) != 0)
            return halctl::failure("C2F not set: size not admitted by the memory, or no store");
        ctx.out.message("C2F set");
        return halctl::kOk;
    }
    int32_t enable = 0, size = 0, bitmap = 0;
    comm_sys_get_c2f_support_mem_reserved(&bitmap);
    if (comm_sys_get_c2f_from_cmos(&enable, &size) != 0)
        return halctl::failure("no valid C2F setting in CMOS (or no store in the model file)");
    ctx.out.record({Output::number("enable", enable), Output::number("size", size),
                    Output::hex("supported sizes", static_cast<unsigned>(bitmap))});
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_cmos, "cmos", "recovery [MODE] | eup [0|1] | c2f [ENABLE SIZE]",
               "show or set the CMOS power-loss mode, EuP and C2F reservation") {
    if (ctx.args.empty())
        return halctl::usage_error(ctx, "cmos needs recovery, eup or c2f");
    const std::string &what = ctx.args[0];
    if (what == "recovery")
        return recovery(ctx);
    if (what == "eup")
        return eup(ctx);
    if (what == "c2f")
        return c2f(ctx);
    return halctl::usage_error(ctx, "unknown cmos setting " + what);
}
