// controller, controller-events: the PIC or MCU of an enclosure as its monitor sees it. The
// monitor is started as attach starts it when none runs; what it last published under /tmp/em
// and what the controller's EEPROM holds are shown, or followed as they change.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <thread>

#include "halctl.h"
#include "nashal/hal_se.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"

namespace {

using halctl::Output;

struct Controller {
    std::string enc_sys_id;
    std::string id;  // "root" or the USB port path
    bool mcu = false;
    bool started_now = false;  // no monitor ran before this command
};

// The enclosure's controller, with its monitor running; false with the reason on stderr.
bool find_controller(halctl::Context &ctx, Controller &c, int &rc) {
    long long enc_id = 0;
    if (ctx.args.empty() || !halctl::parse_int(ctx.args[0], enc_id) || enc_id < 0 ||
        enc_id > 0x7fffffff) {
        rc = halctl::usage_error(ctx, "ENC_ID is an enclosure id (0 is the main unit)");
        return false;
    }
    ENC_INFO info{};
    if (SE_Get_Info(static_cast<int>(enc_id), &info) != 0) {
        rc = halctl::failure("no enclosure " + std::to_string(enc_id) + " is attached (run scan)");
        return false;
    }
    c.enc_sys_id = info.enc_sys_id;
    c.mcu = (info.capability & CAP_MCU) != 0;
    if (!(info.capability & (CAP_PIC | CAP_MCU))) {
        rc = halctl::failure(c.enc_sys_id + " has no PIC or MCU controller");
        return false;
    }
    c.id = c.enc_sys_id == "root" ? "root" : c.enc_sys_id.substr(c.enc_sys_id.find('_') + 1);
    const int no_fan_poll = (info.capability & CAP_NO_POWER_POLL) ? 1 : 0;
    c.started_now = !(c.mcu ? mcu_sys_check_daemon_exist(c.id.c_str())
                            : pic_sys_check_daemon_exist(c.id.c_str()));
    int started = c.mcu ? mcu_sys_start_monitor(c.enc_sys_id.c_str(), no_fan_poll)
                        : pic_sys_start_monitor(c.enc_sys_id.c_str(), no_fan_poll);
    if (started != 0) {
        rc = halctl::failure("the monitor of " + c.enc_sys_id + " can't be started (see the log)");
        return false;
    }
    return true;
}

std::string em_file(const Controller &c, const std::string &name) {
    return std::string(PIC_EM_DIR) + "/em_" + c.id + "." + name;
}

long long monitor_pid(const Controller &c) {
    char target[32] = {};
    std::string link = em_file(c, c.mcu ? "mcu" : "pic");
    if (readlink(link.c_str(), target, sizeof target - 1) <= 0)
        return -1;
    const char *slash = strrchr(target, '/');
    return atoll(slash ? slash + 1 : target);
}

// Set by Ctrl-C: the follow loop ends and halctl leaves the appliance as after any command.
volatile sig_atomic_t interrupted = 0;
void on_interrupt(int) {
    interrupted = 1;
}

Output::Field reading(const std::string &key, int rc, long long value) {
    return rc == 0 ? Output::number(key, value) : Output::none(key, "unknown");
}

}  // namespace

HALCTL_COMMAND(cmd_controller, "controller", "ENC_ID",
               "the enclosure's PIC or MCU: its monitor, last readings and EEPROM fields") {
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, "controller takes an enclosure id");
    Controller c;
    int rc = halctl::kOk;
    if (!find_controller(ctx, c, rc))
        return rc;
    const char *e = c.enc_sys_id.c_str(), *id = c.id.c_str();
    double temp = 0;
    int fan_err[2] = {}, fan_speed[2] = {}, pwr[2] = {}, got[7];
    got[0] = c.mcu ? mcu_sys_get_temp(e, id, &temp) : pic_sys_get_temp(e, id, &temp);
    for (int n = 1; n <= 2; ++n) {
        got[n] = pic_sys_get_fan_status(e, id, n, &fan_err[n - 1]);
        got[2 + n] = pic_sys_get_fan_speed(e, id, n, &fan_speed[n - 1]);
        got[4 + n] = pic_sys_get_pwr_status(e, id, n, &pwr[n - 1]);
    }
    char serial[HAL_SERIAL_LEN] = {};
    int sn = c.mcu ? mcu_sys_get_sn(id, serial, sizeof serial)
                   : pic_sys_get_sn(id, serial, sizeof serial);
    Output::Record r = {
        Output::text("enc_sys_id", c.enc_sys_id),
        Output::text("link", c.mcu ? "MCU" : "PIC"),
        Output::number("monitor_pid", monitor_pid(c)),
        Output::number("monitor_alive",
                       c.mcu ? mcu_sys_check_daemon_exist(id) : pic_sys_check_daemon_exist(id)),
        reading("temperature", got[0], static_cast<long long>(temp)),
        reading("fan1_error", got[1], fan_err[0]),
        reading("fan2_error", got[2], fan_err[1]),
        reading("fan1_rpm", got[3], fan_speed[0]),
        reading("fan2_rpm", got[4], fan_speed[1]),
        reading("power1_status", got[5], pwr[0]),
        reading("power2_status", got[6], pwr[1]),
        Output::text("serial", sn == 0 ? serial : "unknown"),
    };
    // The MAC addresses live in the main unit's controller only.
    if (c.id == "root") {
        for (int index = 0; index < 2; ++index) {
            char mac[32] = {};
            int m =
                c.mcu ? mcu_sys_get_mac(index, mac, sizeof mac) : pic_sys_get_mac(index, mac, 18);
            r.push_back(Output::text(
                "mac" + std::to_string(index),
                m == 0 && mac[0] && static_cast<unsigned char>(mac[0]) < 128 ? mac : "unknown"));
        }
    }
    ctx.out.record(r);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_controller_events, "controller-events", "ENC_ID [--changes N]",
               "follow the monitor's findings as they change, until interrupted (or N changes)") {
    long long limit = -1;
    if (ctx.args.size() == 3 && ctx.args[1] == "--changes") {
        if (!halctl::parse_int(ctx.args[2], limit) || limit < 1)
            return halctl::usage_error(ctx, "N is a positive count");
        ctx.args.resize(1);
    }
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, "controller-events takes an enclosure id");
    Controller c;
    int rc = halctl::kOk;
    if (!find_controller(ctx, c, rc))
        return rc;
    static const char *const kFiles[] = {"sys_temp", "fan1_err",   "fan2_err",  "pwr1_err",
                                         "pwr2_err", "fan1_speed", "fan2_speed"};
    std::map<std::string, std::string> seen;
    long long told = 0;
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    while (!interrupted) {
        for (const char *name : kFiles) {
            FILE *f = fopen(em_file(c, name).c_str(), "r");
            if (!f)
                continue;
            char text[16] = {};
            size_t n = fread(text, 1, sizeof text - 1, f);
            fclose(f);
            // An empty file is one the monitor is rewriting right now: wait for its content.
            if (n == 0 || seen[name] == text)
                continue;
            seen[name] = text;
            // One line per change: a JSON object each, or "file value" for people.
            if (ctx.out.json())
                ctx.out.event({Output::text("file", name), Output::number("value", atoll(text))});
            else
                printf("%-10s %lld\n", name, atoll(text));
            fflush(stdout);
            if (limit > 0 && ++told >= limit)
                return halctl::kOk;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    return halctl::kOk;
}
