// The lights of the disk bays: drive one light of one bay as the daemons do, and show every
// bay's lights as a row, so the bay that is lit stands out. On a virtual appliance the lights
// are read from the emulated hardware; a real box can't tell what its LEDs show, so there the
// rows give each light's driver from the model file.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/hal_se.h"
#include "nashal/pd_sys.h"
#include "nashal/se_model.h"
#include "sim/bay_lights.h"
#include "topology/model_file.h"

namespace {

using halctl::Output;

const char *const kLights[] = {"error", "locate", "present", "active"};
const char *const kKeys[] = {"ERR_LED", "LOCATE_LED", "PRESENT_LED", "BLINK_LED"};

bool sys_id_of(int enc_id, std::string *sys_id, int *bays) {
    ENC_INFO info = {};
    if (SE_Get_Info(enc_id, &info) != 0)
        return false;
    *sys_id = info.enc_sys_id;
    *bays = info.max_disk_num;
    return true;
}

int drive(const std::string &sys_id, int port, int light, int on) {
    const char *id = sys_id.c_str();
    switch (light) {
        case 0:
            return pd_sys_set_err_led(id, port, on);
        case 1:
            return pd_sys_set_ident_led(id, port, on, 0);
        case 2:
            return pd_sys_set_present_led(id, port, on);
        default:
            return pd_sys_set_active_led(id, port, on);
    }
}

// "ON", "off", "-" (no such light), or on a real box the light's method word from the model
// ("SIO?"): what drives it, its state unknown.
std::string shown(int state, const std::string &sys_id, int bay, int light) {
    if (access("/sim", F_OK) == 0)
        return state > 0 ? "ON" : state == 0 ? "off" : "-";
    if (sys_id != "root")
        return "?";
    char section[HAL_NAME_LEN], value[HAL_ID_LEN];
    std::snprintf(section, sizeof section, "System Disk %d", bay);
    if (!nashal::topology::model_text(section, kKeys[light], value))
        return "-";
    std::string word(value);
    return word.substr(0, word.find(':')) + "?";
}

void bay_rows(int enc_id, const std::string &sys_id, int bays, std::vector<Output::Record> *rows) {
    for (int bay = 1; bay <= bays; ++bay) {
        const nashal::sim::BayLights l = nashal::sim::bay_lights(sys_id, bay);
        const int states[] = {l.error, l.locate, l.present, l.active};
        bool lit = false;
        Output::Record r = {Output::number("enc_id", enc_id), Output::text("enc_sys_id", sys_id),
                            Output::number("bay", bay)};
        for (int i = 0; i < 4; ++i) {
            r.push_back(Output::text(kLights[i], shown(states[i], sys_id, bay, i)));
            lit = lit || states[i] > 0;
        }
        r.insert(r.begin(), Output::text("lit", lit ? "*" : ""));
        rows->push_back(r);
    }
}

}  // namespace

HALCTL_COMMAND(cmd_disk_led, "disk-led", "ENC_ID PORT error|locate|present|active on|off|blink",
               "light, darken or blink (locate) one light of a disk bay") {
    const auto &a = ctx.args;
    if (a.size() != 4)
        return halctl::usage_error(ctx, "disk-led takes an enclosure, a port, a light and a state");
    long long enc_id = 0, port = 0;
    if (!halctl::parse_int(a[0], enc_id) || !halctl::parse_int(a[1], port) || port < 1)
        return halctl::usage_error(ctx, "the enclosure and port are numbers, ports from 1");
    int light = -1;
    for (int i = 0; i < 4; ++i)
        if (a[2] == kLights[i])
            light = i;
    if (light < 0)
        return halctl::usage_error(ctx, "the light is error, locate, present or active");
    if (a[3] != "on" && a[3] != "off" && a[3] != "blink")
        return halctl::usage_error(ctx, "the state is on, off or blink");
    // Only locate blinks: on its own light or, without one, the bay's other lights.
    if (a[3] == "blink" && light != 1)
        return halctl::usage_error(ctx, "only the locate light blinks");
    std::string sys_id;
    int bays = 0;
    if (!sys_id_of(static_cast<int>(enc_id), &sys_id, &bays))
        return halctl::failure("enclosure " + a[0] + " is not attached");
    const std::string what = "bay " + a[1] + " of " + sys_id + ": " + a[2] + " " + a[3];
    if (drive(sys_id, static_cast<int>(port), light, a[3] != "off") != 0)
        return halctl::failure(what + ": not done (no such light, or see the trace log)");
    ctx.out.message(what);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_disk_leds, "disk-leds", "[ENC_ID]",
               "show the lights of every disk bay, one row per bay, lit bays marked *") {
    const auto &a = ctx.args;
    if (a.size() > 1)
        return halctl::usage_error(ctx, "disk-leds takes at most an enclosure");
    std::vector<int> ids;
    if (a.size() == 1) {
        long long id = 0;
        if (!halctl::parse_int(a[0], id))
            return halctl::usage_error(ctx, "the enclosure is a number");
        ids.push_back(static_cast<int>(id));
    } else {
        int all[64];
        int count = SE_Enumerate(all, 64, nullptr, nullptr);
        if (count < 0)
            return halctl::failure("can't read the registry");
        ids.assign(all, all + (count < 64 ? count : 64));
    }
    std::vector<Output::Record> rows;
    for (int id : ids) {
        std::string sys_id;
        int bays = 0;
        if (!sys_id_of(id, &sys_id, &bays)) {
            if (a.size() == 1)
                return halctl::failure("enclosure " + a[0] + " is not attached");
            continue;
        }
        // Only the main unit and SAS shelves have lights of their own per bay.
        if (sys_id == "root" || sys_id.rfind("sg", 0) == 0)
            bay_rows(id, sys_id, bays, &rows);
    }
    ctx.out.table(rows);
    return halctl::kOk;
}
