// The main unit's front panel and environment as a field engineer checks them: LEDs, buttons,
// buzzer, temperatures, fans and the power policy, all through the enclosure backend as the
// daemons call it, so that what halctl shows is what the appliance does.
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/se_sys.h"

namespace {

using halctl::Output;

constexpr const char *kRoot = "root";

int on_off_blink(const halctl::Context &ctx, const std::string &word, int *state) {
    if (word == "on")
        *state = 1;
    else if (word == "off")
        *state = 0;
    else if (word == "blink")
        *state = 2;
    else
        return halctl::usage_error(ctx, "the state is on, off or blink");
    return halctl::kOk;
}

int done(halctl::Context &ctx, int result, const std::string &what) {
    if (result != 0)
        return halctl::failure(what +
                               ": not done (no such LED on this board, or see the trace "
                               "log)");
    ctx.out.message(what);
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_led, "led",
               "status red|green|both on|off|blink | power|usb on|off|blink | 10g|locate on|off",
               "light, darken or blink an LED of the main unit") {
    const auto &a = ctx.args;
    if (a.empty())
        return halctl::usage_error(ctx, "led needs an LED");
    const std::string &led = a[0];
    int state = 0;
    if (led == "status") {
        if (a.size() != 3)
            return halctl::usage_error(ctx, "led status takes a colour and a state");
        int colour = a[1] == "red" ? 0 : a[1] == "green" ? 1 : a[1] == "both" ? 2 : -1;
        if (colour < 0)
            return halctl::usage_error(ctx, "the colour is red, green or both");
        if (int rc = on_off_blink(ctx, a[2], &state); rc != halctl::kOk)
            return rc;
        if (colour == 2 && state != 2)
            return halctl::usage_error(ctx, "both colours only blink");
        int r = state == 2 ? se_sys_blink_status_led(kRoot, colour, 1)
                           : se_sys_set_status_led(kRoot, colour, state);
        return done(ctx, r, "status LED " + a[1] + " " + a[2]);
    }
    if (a.size() != 2)
        return halctl::usage_error(ctx, "led " + led + " takes a state");
    if (int rc = on_off_blink(ctx, a[1], &state); rc != halctl::kOk)
        return rc;
    int r;
    if (led == "power") {
        r = state == 2 ? se_sys_blink_power_led(kRoot, 1) : se_sys_set_power_led(kRoot, state);
    } else if (led == "usb") {
        r = state == 2 ? se_sys_blink_usb_led(kRoot, 1) : se_sys_set_usb_led(kRoot, state);
    } else if (led == "10g" || led == "locate") {
        if (state == 2)
            return halctl::usage_error(ctx, "led " + led + " is on or off");
        r = led == "10g" ? se_sys_set_10G_led(kRoot, state) : se_sys_set_ident_led(kRoot, state);
    } else {
        return halctl::usage_error(ctx, "the LED is status, power, usb, 10g or locate");
    }
    // A software blink's worker has always answered -1 once it has started the blink.
    if (state == 2 && r == -1 && (led == "power" || led == "usb"))
        r = 0;
    return done(ctx, r, led + " LED " + a[1]);
}

HALCTL_COMMAND(cmd_buttons, "buttons", "", "show the main unit's buttons and cover switch") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "buttons takes no arguments");
    auto field = [](const char *name, int result, int value) {
        return result == 0 ? Output::number(name, value) : Output::text(name, "absent");
    };
    int copy = 0, reset = 0, cover = 0, power = 0;
    int rc = se_sys_get_usb_button(kRoot, &copy);
    int rr = se_sys_get_reset_button(kRoot, &reset);
    int rv = se_sys_get_case_status(kRoot, &cover);
    int rp = se_sys_get_pwb_status(&power);
    ctx.out.record({field("copy", rc, copy), field("reset", rr, reset),
                    field("cover open", rv, cover), field("power", rp, power)});
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_buzzer, "buzzer", "MODE", "sound a buzzer pattern (0 short, 1 long, ...)") {
    long long mode = 0;
    if (ctx.args.size() != 1 || !halctl::parse_int(ctx.args[0], mode) || mode < 0 || mode > 999)
        return halctl::usage_error(ctx, "buzzer takes a pattern number");
    return done(ctx, se_sys_set_buzzer(kRoot, static_cast<int>(mode)),
                "buzzer pattern " + ctx.args[0]);
}

HALCTL_COMMAND(cmd_temps, "temps", "", "show the main unit's temperatures") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "temps takes no arguments");
    const struct {
        int index;
        const char *name;
    } sensors[] = {{0, "processor"}, {1, "system"}, {10, "power supply 1"}, {11, "power supply 2"}};
    std::vector<Output::Record> rows;
    for (const auto &s : sensors) {
        double celsius = 0;
        if (se_sys_get_temp(kRoot, s.index, &celsius) != 0)
            continue;
        rows.push_back({Output::number("index", s.index), Output::text("sensor", s.name),
                        Output::number("celsius", static_cast<long long>(celsius))});
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_fans, "fans", "", "show the main unit's fans") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "fans takes no arguments");
    std::vector<Output::Record> rows;
    for (int index : {0, 1, 2, 3, 4, 10, 11}) {
        int rpm = 0, status = 0;
        if (se_sys_get_fan_speed(kRoot, index, &rpm, &status) != 0)
            continue;
        rows.push_back({Output::number("index", index), Output::number("rpm", rpm),
                        Output::text("state", status ? "failed" : "ok")});
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_fan_level, "fan-level", "N LEVEL",
               "set fan N (-1: all) to LEVEL 0-7 through the model's PWM table") {
    long long fan = 0, level = 0;
    if (ctx.args.size() != 2 || !halctl::parse_int(ctx.args[0], fan) ||
        !halctl::parse_int(ctx.args[1], level) || fan < -1 || fan > 11 || level < 0 || level > 7)
        return halctl::usage_error(ctx, "fan-level takes a fan (-1 for all) and a level 0-7");
    return done(ctx, se_sys_set_fan_speed(kRoot, static_cast<int>(fan), static_cast<int>(level)),
                "fan " + ctx.args[0] + " at level " + ctx.args[1]);
}

HALCTL_COMMAND(cmd_power_policy, "power-policy", "[recovery MODE] [eup 0|1] [wol 0|1]",
               "show or set the power-loss recovery mode, EuP and wake on LAN") {
    const auto &a = ctx.args;
    if (a.size() % 2)
        return halctl::usage_error(ctx, "power-policy takes pairs of a setting and a value");
    for (size_t i = 0; i < a.size(); i += 2) {
        long long v = 0;
        if (!halctl::parse_int(a[i + 1], v))
            return halctl::usage_error(ctx, "the value of " + a[i] + " is a number");
        int r;
        if (a[i] == "recovery" && v >= 0 && v <= 4)
            r = se_sys_set_power_recovery_mode(kRoot, static_cast<int>(v));
        else if (a[i] == "eup" && (v == 0 || v == 1))
            r = se_sys_set_eup(kRoot, static_cast<int>(v));
        else if (a[i] == "wol" && (v == 0 || v == 1))
            r = se_sys_set_wol(kRoot, static_cast<int>(v));
        else
            return halctl::usage_error(ctx, "recovery 0-4, eup 0|1, wol 0|1");
        if (r != 0)
            return halctl::failure(a[i] + " not set (see the trace log)");
    }
    int mode = -1, eup = -1;
    int rm = se_sys_get_power_recovery_mode(kRoot, &mode);
    int re = se_sys_get_eup(kRoot, &eup);
    ctx.out.record({rm == 0 ? Output::number("recovery", mode) : Output::none("recovery", "none"),
                    re == 0 ? Output::number("eup", eup) : Output::none("eup", "none")});
    return halctl::kOk;
}
