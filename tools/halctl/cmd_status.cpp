// What the daemons ask most, one command away: the health of an enclosure as the monitoring
// service reports it and the status event register behind the main unit's status lamp, the
// event bits themselves, and a disk found by device number, device name or WWN.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/hal_gpio.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"

namespace {

using halctl::Output;

// The register as it stands in its file; 0 when no event was ever set.
std::string event_register() {
    std::ifstream in(GPIO_STATUS_EVENT_FILE);
    std::string text;
    in >> text;
    char out[16];
    snprintf(out, sizeof out, "0x%08x",
             static_cast<unsigned>(strtoul(text.empty() ? "0" : text.c_str(), nullptr, 0)));
    return out;
}

bool parse_enc_id(const std::string &text, int &enc_id) {
    long long value = 0;
    if (!halctl::parse_int(text, value) || value < 0 || value > 0x7fffffff)
        return false;
    enc_id = static_cast<int>(value);
    return true;
}

std::vector<Output::Record> health_rows(const SE_SYSTEM_STATUS &s) {
    std::vector<Output::Record> rows;
    for (int i = 0; i < s.fan_num && i < SE_STATUS_MAX_FAN; ++i)
        rows.push_back({Output::text("part", "fan"), Output::number("index", i + 1),
                        Output::number("status", s.fan_status[i]),
                        Output::number("speed", s.fan_speed[i]),
                        Output::number("temperature", -1)});
    for (int i = 0; i < s.power_num && i < SE_STATUS_MAX_POWER; ++i)
        rows.push_back({Output::text("part", "power"), Output::number("index", i + 1),
                        Output::number("status", s.power_status[i]),
                        Output::number("speed", s.power_fan_speed[i]),
                        Output::number("temperature", s.power_temperature[i])});
    return rows;
}

}  // namespace

HALCTL_COMMAND(cmd_status, "status", "[ENC_ID]",
               "an enclosure's fans, temperatures and supplies, and the status event register") {
    int enc_id = 0;
    if (ctx.args.size() > 1 || (ctx.args.size() == 1 && !parse_enc_id(ctx.args[0], enc_id)))
        return halctl::usage_error(ctx, "status takes an enclosure id");
    if (!SE_Is_Exist(enc_id))
        return halctl::failure("enclosure " + std::to_string(enc_id) + " is not attached");
    // Cleared as a daemon clears it: the fields of a second supply that isn't monitored stay -1.
    SE_SYSTEM_STATUS s;
    memset(&s, 0xff, sizeof s);  // every field -1
    s.fan_num = 0;
    s.power_num = 0;
    bool monitored = SE_Get_System_Status(enc_id, &s) == 0;
    ctx.out.record({Output::number("enc_id", enc_id), Output::text("events", event_register()),
                    Output::number("monitored", monitored ? 1 : 0),
                    Output::number("temperature_0", monitored ? s.temperature[0] : -1),
                    Output::number("temperature_1", monitored ? s.temperature[1] : -1)});
    if (!monitored) {
        char file[HAL_NAME_LEN];
        snprintf(file, sizeof file, SE_EM_INFO_FORMAT, enc_id);
        ctx.out.message(std::string("no monitoring data: ") + file +
                        " is missing (the monitoring service writes it)");
        return halctl::kOk;
    }
    ctx.out.table(health_rows(s));
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_event, "event", "set BIT | clear BIT | clear all",
               "set or clear a bit of the status event register and drive the status lamp") {
    const auto &a = ctx.args;
    if (a.size() != 2 || (a[0] != "set" && a[0] != "clear"))
        return halctl::usage_error(ctx, "event takes set or clear and a bit number (0 to 31)");
    bool set = a[0] == "set";
    uint32_t event = 0;
    if (!(a[0] == "clear" && a[1] == "all")) {
        long long bit = 0;
        if (!halctl::parse_int(a[1], bit) || bit < 0 || bit > 31)
            return halctl::usage_error(ctx, "the bit is a number from 0 to 31");
        event = 1u << bit;
    }
    if (GPIO_Set_NAS_Status_LED(event, set ? 1 : 0) != 0)
        return halctl::failure("the status event register " GPIO_STATUS_EVENT_FILE
                               " can't be opened or locked");
    ctx.out.record({Output::text("events", event_register())});
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_lookup, "lookup", "DEVNO | /dev/sdX[N] | WWN",
               "a disk by device number, device name or WWN: its name, number and place") {
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, "lookup takes a device number, a device name or a WWN");
    const std::string &what = ctx.args[0];
    char name[HAL_ID_LEN] = {};
    uint64_t dev_no = 0;
    long long number = 0;
    if (what.rfind("/dev/", 0) == 0) {
        snprintf(name, sizeof name, "%s", what.c_str());
        if (PD_Get_Dev_No_By_Sys_Name(name, &dev_no) != 0)
            return halctl::failure(what + ": not a SCSI disk name this system can number");
    } else if (halctl::parse_int(what, number) && number >= 0) {
        dev_no = static_cast<uint64_t>(number);
        if (PD_Get_Sys_Name_By_Dev_No(dev_no, name, sizeof name) != 0)
            return halctl::failure(what + ": not the number of a SCSI disk");
    } else if (PD_Get_Sys_Name_By_WWN(what.c_str(), name, sizeof name) != 0 ||
               PD_Get_Dev_No_By_Sys_Name(name, &dev_no) != 0) {
        return halctl::failure(what + ": no recorded disk has this WWN");
    }
    Output::Record r{Output::text("name", name), Output::hex("dev_no", dev_no),
                     Output::number("major", static_cast<long long>(PD_DEV_NO_MAJOR(dev_no))),
                     Output::number("minor", static_cast<long long>(PD_DEV_NO_MINOR(dev_no)))};
    // The place comes from the disk behind the name and the registry; a partition names its disk.
    int enc_id = -1;
    int port_id = -1;
    if (PD_Get_Id_By_Sys_Name(name, &enc_id, &port_id) == 0) {
        char log_name[HAL_NAME_LEN] = {};
        PD_Get_Log_Name(enc_id, port_id, log_name, sizeof log_name);
        r.push_back(Output::number("enc_id", enc_id));
        r.push_back(Output::number("port_id", port_id));
        r.push_back(Output::text("log_name", log_name));
    }
    ctx.out.record(r);
    return halctl::kOk;
}
