// appliance: what the box (real or virtual) holds, as the library will see it.
#include <dirent.h>

#include <algorithm>
#include <string>
#include <vector>

#include "halctl.h"

namespace {

std::vector<std::string> names_in(const std::string &dir, const std::string &suffix = "") {
    std::vector<std::string> out;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d)) {
            std::string n = e->d_name;
            if (n == "." || n == "..")
                continue;
            if (!suffix.empty() && (n.size() < suffix.size() ||
                                    n.compare(n.size() - suffix.size(), suffix.size(), suffix)))
                continue;
            out.push_back(n);
        }
        closedir(d);
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::string joined(const std::vector<std::string> &v) {
    std::string s;
    for (const auto &x : v)
        s += (s.empty() ? "" : " ") + x;
    return s.empty() ? "-" : s;
}

}  // namespace

HALCTL_COMMAND(cmd_appliance, "appliance", "",
               "show what the box holds: model files, SCSI generic nodes, block devices") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "appliance takes no arguments");
    using halctl::Output;
    ctx.out.record({
        Output::text("config files", joined(names_in("/etc", ".conf"))),
        Output::text("scsi generic", joined(names_in("/sys/class/scsi_generic"))),
        Output::text("block devices", joined(names_in("/sys/block"))),
        Output::text("usb devices", joined(names_in("/sys/bus/usb/devices"))),
        Output::text("network", joined(names_in("/sys/class/net"))),
    });
    return halctl::kOk;
}
