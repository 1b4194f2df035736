// doctor on PCIe slots. A storage card in slot N makes an enclosure "root_pcie_N" of its own once
// a disk is found on it: the library takes "DEV_BUS" of "System PCIE SLOT N", looks through the
// SCSI generic class for the devices whose controller sits at that bus (those behind an
// expander belong to the expander's enclosure), and places each disk in the bay of its SAS port
// ("port-H:P" behind the host is bay P + 1). The walk here follows those lookups in that order.
// An empty slot, or a card without disks, is no fault: the enclosure just doesn't exist.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "doctor.h"
#include "enclosure/enclosure_kinds.h"
#include "nashal/comm_path.h"
#include "nashal/hal_types.h"
#include "nashal/pd_sys.h"
#include "topology/main_unit_kinds.h"
#include "topology/model_file.h"
#include "topology/sysfs_read.h"

namespace halctl::doctor {

namespace {

using nashal::topology::kScsiGenericClass;
using nashal::topology::MainUnitKind;

// The disks whose controller sits at `dev_bus`, as the enumeration of the slot takes them
// (those behind an expander left out), in the order a person reads them: sg2 before sg10.
bool disks_on_bus(const char *dev_bus, std::vector<std::string> &disks) {
    if (nashal::enclosure::disks_on_bus("halctl doctor", dev_bus, true, &disks) < 0)
        return false;
    std::sort(disks.begin(), disks.end(), [](const std::string &a, const std::string &b) {
        return atoi(a.c_str() + 2) < atoi(b.c_str() + 2);
    });
    return true;
}

// One disk of the slot: its bay from its SAS port, and its way back to this enclosure.
Bay follow_disk(const std::string &enc_sys_id, const std::string &section, const char *dev_bus,
                const std::string &sg, std::map<int, std::string> &claimed) {
    Bay b{0, {}};
    Report &r = b.report;
    r.set("section", section);
    r.set("model", std::string("DEV_BUS ") + dev_bus);
    r.set("disk", sg);
    char link[HAL_SYSFS_PATH_LEN] = {};
    if (comm_sys_get_sg_path_info(sg.c_str(), link, sizeof link) >= 0)
        r.set("disk path", link);
    int port = -1;
    int switch_port = -1;
    if (get_pcie_physical_drive_port(sg.c_str(), &port, &switch_port) != 0 || port < 1) {
        r.fail(sg + " has no SAS port (\"port-H:P\") behind its host: the library gives it no bay");
        return b;
    }
    b.bay = port;
    auto first = claimed.emplace(port, sg);
    if (!first.second)
        r.fail(sg + " and " + first.first->second + " are both on port " + std::to_string(port) +
               ": one of them is reached twice");
    // The reverse lookup has no branch for PCIe slots: such a disk maps back to no enclosure,
    // and its slot comes from the enumeration. One that maps back to another enclosure is
    // claimed twice.
    char back[HAL_ID_LEN] = "";
    const bool mapped = PD_Sys_Get_SE_Sys_Id(sg.c_str(), back) == 0;
    r.set("maps back to", back[0] ? back : "no enclosure (as every PCIe slot disk)");
    if (mapped && back[0] && enc_sys_id != back)
        r.fail(sg + " maps back to enclosure " + back + " too: that enclosure's slots name " +
               dev_bus);
    return b;
}

}  // namespace

bool follow_pcie_slot(const char *enc_sys_id, int only_bay, std::vector<Bay> &bays) {
    const auto &row = nashal::topology::main_unit_enclosure(MainUnitKind::Pcie);
    const size_t prefix = strlen(row.id);
    if (strncmp(enc_sys_id, row.id, prefix) != 0)
        return false;
    const std::string id = enc_sys_id;
    const std::string section = std::string(row.section) + " " + (enc_sys_id + prefix);

    Report slot;
    slot.set("section", section);
    auto told = [&](Report r) {
        bays.push_back({0, std::move(r)});
        return true;
    };
    if (!(nashal::topology::root_capability() & CAP_PCIE_EXPANSION)) {
        slot.fail("the board's CAP has no CAP_PCIE_EXPANSION: its PCIe slots are never looked at");
        return told(slot);
    }
    char dev_bus[HAL_ID_LEN] = {};
    if (!nashal::topology::model_text(section.c_str(), "DEV_BUS", dev_bus)) {
        slot.fail("[" + section + "] has no DEV_BUS: the slot is never looked at");
        return told(slot);
    }
    const int32_t domain =
        nashal::topology::model_int_or(section.c_str(), "DEV_DOMAIN", 0, INI_CONF_DEC);
    slot.set("model", std::string("DEV_BUS ") + dev_bus + ", DEV_DOMAIN " + std::to_string(domain));
    char path[HAL_SYSFS_PATH_LEN] = {};
    struct stat st;
    if (comm_sys_get_path_from_c_dev_bus(domain, dev_bus, path, sizeof path) != 0 ||
        stat(path, &st) != 0) {
        slot.set("controller", "none");
        slot.empty = true;
        slot.note(std::string("no card answers at ") + dev_bus +
                  ": the slot is empty, or DEV_BUS is wrong");
        return told(slot);
    }
    slot.set("controller", path);
    std::vector<std::string> disks;
    if (!disks_on_bus(dev_bus, disks)) {
        slot.fail(std::string(kScsiGenericClass) + " can't be read");
        return told(slot);
    }
    std::map<int, std::string> claimed;
    const size_t before = bays.size();
    for (const std::string &sg : disks) {
        Bay b = follow_disk(id, section, dev_bus, sg, claimed);
        if (!only_bay || b.bay == only_bay)
            bays.push_back(std::move(b));
    }
    if (bays.size() == before) {
        slot.empty = true;
        slot.set("disk", "none");
        slot.note(only_bay ? "no disk on port " + std::to_string(only_bay) + " of the card"
                           : std::string("the card has no disk of its own: the enclosure "
                                         "exists only while one is found"));
        return told(slot);
    }
    return true;
}

}  // namespace halctl::doctor
