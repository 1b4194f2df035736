// Stand-ins for /sbin/lsiutil, /sbin/sas2flash and /sbin/sas3flash, answering from the SAS
// adapters described in /sim/hba/slot<N> (format in docs/virtual-appliance.md). lsiutil shows
// and sets the board's name and serial number; the flash tools find an adapter of their own
// generation by its PCI bus, erase it (-o -e 3: firmware, name and serial number gone) and
// flash a firmware file, which for the virtual adapter holds "firmware" and "nvdata" lines.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "../fs.h"
#include "stand_in.h"

namespace {

using Adapter = std::map<std::string, std::string>;

std::string slot_path(const std::string &slot) {
    return "/sim/hba/slot" + slot;
}

void save(const std::string &slot, const Adapter &a) {
    std::string text;
    for (const auto &[key, value] : a)
        text += key + " " + value + "\n";
    nashal::sim::write_file(slot_path(slot), text);
}

// lsiutil --show_board_<what> slot=N, lsiutil --set_board_<what> slot=N,<what>=TEXT.
int answer_lsiutil(const std::vector<std::string> &args) {
    if (args.size() != 2 || args[1].rfind("slot=", 0) != 0)
        return nashal::sim::tool::scripted_answer("lsiutil", args);
    std::string slot = args[1].substr(5);
    std::string value;
    const size_t comma = slot.find(',');
    if (comma != std::string::npos) {
        const size_t eq = slot.find('=', comma);
        value = eq == std::string::npos ? "" : slot.substr(eq + 1);
        slot = slot.substr(0, comma);
    }
    if (!nashal::sim::exists(slot_path(slot))) {
        fprintf(stderr, "lsiutil: no adapter in slot %s\n", slot.c_str());
        return 1;
    }
    Adapter a = nashal::sim::text_settings(nashal::sim::read_file(slot_path(slot)));
    static const std::map<std::string, std::string> kShown = {
        {"--show_board_name", "name"},         {"--show_board_serial", "serial"},
        {"--show_board_WWN", "wwn"},           {"--show_board_firmware_ver", "firmware"},
        {"--show_board_nvdata_ver", "nvdata"},
    };
    if (auto it = kShown.find(args[0]); it != kShown.end()) {
        if (a[it->second].empty())
            return 1;
        nashal::sim::tool::write_out(a[it->second] + "\n");
        return 0;
    }
    if (args[0] == "--set_board_name" || args[0] == "--set_board_serial") {
        a[args[0] == "--set_board_name" ? "name" : "serial"] = value;
        save(slot, a);
        return 0;
    }
    return nashal::sim::tool::scripted_answer("lsiutil", args);
}

// sasNflash -cpci BB:0:0 (-o -e 3 | -f FILE).
int answer_flash(const char *tool, const std::string &generation,
                 const std::vector<std::string> &args) {
    std::string pci, file;
    bool erase = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-cpci" && i + 1 < args.size())
            pci = args[++i].substr(0, 2);
        else if (args[i] == "-f" && i + 1 < args.size())
            file = args[++i];
        else if (args[i] == "-e")
            erase = true;
    }
    for (const std::string &entry : nashal::sim::list_dir("/sim/hba")) {
        std::string slot = entry.substr(4);
        Adapter a = nashal::sim::text_settings(nashal::sim::read_file(slot_path(slot)));
        if (a["pci"] != pci || a["generation"] != generation)
            continue;
        if (erase) {
            a["firmware"] = a["nvdata"] = a["name"] = a["serial"] = "";
        } else if (!file.empty() && nashal::sim::exists(file)) {
            Adapter image = nashal::sim::text_settings(nashal::sim::read_file(file));
            a["firmware"] = image["firmware"];
            a["nvdata"] = image["nvdata"];
        } else {
            fprintf(stderr, "%s: can't open firmware file\n", tool);
            return 1;
        }
        save(slot, a);
        return 0;
    }
    fprintf(stderr, "%s: no adapter on PCI bus %s\n", tool, pci.c_str());
    return 1;
}

int answer_sas2flash(const std::vector<std::string> &args) {
    return answer_flash("sas2flash", "2", args);
}

int answer_sas3flash(const std::vector<std::string> &args) {
    return answer_flash("sas3flash", "3", args);
}

}  // namespace

NASHAL_STAND_IN("lsiutil", answer_lsiutil);
NASHAL_STAND_IN("sas2flash", answer_sas2flash);
NASHAL_STAND_IN("sas3flash", answer_sas3flash);
