// psu: the redundant power supplies as their PMBus controllers report them.
#include <cstdio>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/i2c_sys.h"

namespace {

using halctl::Output;

HALCTL_COMMAND(cmd_psu, "psu", "", "state, temperature and fan of each PMBus power supply") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "psu takes no arguments");
    std::vector<Output::Record> rows;
    for (int supply = 1; supply <= 2; ++supply) {
        int status = -1, rpm = 0, fail = 0;
        double temperature = 0;
        int read = i2c_sys_read_pmbus_status(supply, &status);
        Output::Record r = {Output::number("supply", supply),
                            Output::text("state", read != 0     ? "not answering"
                                                  : status == 0 ? "on"
                                                                : "off")};
        if (read == 0 && status == 0 && i2c_sys_read_pmbus_power_temp(supply, &temperature) == 0) {
            r.push_back(Output::number("temperature", static_cast<long long>(temperature + 0.5)));
        } else {
            r.push_back(Output::none("temperature"));
        }
        if (read == 0 && i2c_sys_read_pmbus_power_fan(supply, &rpm, &fail) == 0) {
            r.push_back(Output::number("fan rpm", fail ? 0 : rpm));
            r.push_back(Output::text("fan", fail ? "failed" : "ok"));
        } else {
            r.push_back(Output::none("fan rpm"));
            r.push_back(Output::none("fan"));
        }
        rows.push_back(r);
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

}  // namespace
