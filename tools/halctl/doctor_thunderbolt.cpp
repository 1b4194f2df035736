// doctor on Thunderbolt boxes ("i2c-N", N the box's I2C adapter). The library finds a box from
// the host's Thunderbolt controller ("DEV_BUS" of "Thunderbolt Enclosure") through one pair of
// PCIe switch ports per step: the host port's, the tunnel of each box in front, and the box's
// own port to its SATA controller. Each bay of the box's model file (/etc/model_jbod.conf) names
// the controller's port and that last switch port; its lights are bytes sent to a device on the
// box's own I2C bus. The walk here follows those lookups in that order.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "doctor.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_types.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

namespace halctl::doctor {

namespace {

using nashal::topology::model_int_or;
using nashal::topology::model_text;

constexpr const char *kHostSection = "Thunderbolt Enclosure";
constexpr const char *kBoxSection = "System Enclosure";

// Where the box hangs: the host's controller, its port's switch port, the box's place in the
// chain. Empty `problem` when all of it holds.
struct Place {
    char dev_bus[HAL_ID_LEN] = {};
    int32_t domain = 0;
    int port = -1;
    int position = -1;
    int32_t start_switch_port = -1;
    std::string problem;
};

Place place_of(const char *enc_sys_id) {
    Place p;
    if (!model_text(kHostSection, "DEV_BUS", p.dev_bus)) {
        p.problem = std::string("[") + kHostSection +
                    "] has no DEV_BUS: the board has no Thunderbolt host the library knows";
        return p;
    }
    p.domain = model_int_or(kHostSection, "DEV_DOMAIN", 0, INI_CONF_DEC);
    if (common_sys_get_thunderbolt_info(enc_sys_id, &p.port, &p.position) != 1 || p.port < 1) {
        p.problem = std::string(enc_sys_id) +
                    " is at the end of no chain of the host's ports: the box is unplugged, or a "
                    "THUNDERBOLT_SWITCH_PORT is wrong";
        return p;
    }
    const char *key = p.port == 1 ? "THUNDERBOLT_SWITCH_PORT1" : "THUNDERBOLT_SWITCH_PORT2";
    p.start_switch_port = model_int_or(kHostSection, key, -1, INI_CONF_HEX);
    if (p.start_switch_port < 0)
        p.problem = std::string("[") + kHostSection + "] has no " + key;
    return p;
}

// The bay's lights: start and stop bytes to a device of the box's bus.
void check_lights(const char *file, const char *section, int bus, Report &r) {
    for (const char *key : {"ERR_LED", "LOCATE_LED", "PRESENT_LED"}) {
        char value[HAL_ID_LEN] = {};
        if (!model_text(section, key, value, sizeof value, file))
            continue;
        char parsed[HAL_ID_LEN];
        snprintf(parsed, sizeof parsed, "%s", value);
        int32_t address = 0, start = 0, stop = 0;
        const std::string field = std::string("led ") + key;
        if (comm_sys_parse_c_i2c_start_stop(parsed, &address, &start, &stop) != 0) {
            r.set(field, std::string(value) + ": not an I2C address, start and stop byte");
            r.fail(std::string(key) + " \"" + value +
                   "\" is no I2C:address:start:stop: the light does nothing");
            continue;
        }
        char shown[96];
        snprintf(shown, sizeof shown, "%s: byte 0x%02x on, 0x%02x off, to 0x%x on i2c-%d", value,
                 start & 0xff, stop & 0xff, address, bus);
        r.set(field, shown);
    }
}

Report follow_bay(const Place &p, const char *file, int bay, int bus) {
    Report r;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "System Disk %d", bay);
    r.set("section", section);
    int32_t dev_port = 0;
    const bool has_port =
        nashal::topology::model_int(section, "DEV_PORT", &dev_port, INI_CONF_DEC, file);
    const int32_t switch_port = model_int_or(section, "PCI_SWITCH_PORT", -1, INI_CONF_HEX, file);
    const int32_t domain = model_int_or(section, "DEV_DOMAIN", 0, INI_CONF_DEC, file);
    r.set("model", "DEV_PORT " + (has_port ? std::to_string(dev_port) : "(missing)") +
                       ", PCI_SWITCH_PORT " + std::to_string(switch_port));
    check_lights(file, section, bus, r);
    if (!has_port) {
        r.fail(std::string("[") + section + "] of " + file +
               " has no DEV_PORT: the library skips this bay");
        return r;
    }
    r.set("host", std::string(p.dev_bus) + ", host port " + std::to_string(p.port) + ", box " +
                      std::to_string(p.position) + " of its chain");
    char sg[HAL_ID_LEN] = {};
    if (lookup_disk_in_thunderbolt_enclosure(file, p.position, domain, p.start_switch_port,
                                             p.dev_bus, nullptr, dev_port, switch_port, sg) != 0) {
        r.set("disk", "none");
        r.empty = true;
        r.fail("no disk at port " + std::to_string(dev_port) + " of the box's SATA controller " +
               "behind switch port " + std::to_string(switch_port) +
               ": the bay is empty (disk pulled?)");
        return r;
    }
    r.set("disk", sg);
    char link[HAL_SYSFS_PATH_LEN] = {};
    if (comm_sys_get_sg_path_info(sg, link, sizeof link) >= 0)
        r.set("disk path", link);
    return r;
}

}  // namespace

bool follow_thunderbolt_box(const char *enc_sys_id, int only_bay, std::vector<Bay> &bays) {
    if (strncmp(enc_sys_id, "i2c-", 4) != 0)
        return false;
    const int bus = common_sys_get_thunderbolt_i2c_num(enc_sys_id);
    const char *file = common_sys_get_thunderbolt_conf(enc_sys_id);
    Report box;
    if (!(nashal::topology::root_capability() & CAP_PCIE_EXPANSION)) {
        box.fail(
            "the board's CAP has no CAP_PCIE_EXPANSION: Thunderbolt boxes are never looked "
            "for");
        bays.push_back({0, box});
        return true;
    }
    const Place p = place_of(enc_sys_id);
    int32_t slots = 0;
    if (!p.problem.empty() || !file ||
        !nashal::topology::model_int(kBoxSection, "MAX_DISK_NUM", &slots, INI_CONF_DEC, file)) {
        box.set("host", p.dev_bus[0] ? p.dev_bus : "(missing)");
        box.fail(!p.problem.empty()
                     ? p.problem
                     : std::string("[") + kBoxSection + "] of the box's model file " +
                           (file ? file : "") + " has no MAX_DISK_NUM");
        bays.push_back({0, box});
        return true;
    }
    for (int bay = 1; bay <= slots && bay <= MAX_PD_SYS_ENUM; ++bay)
        if (!only_bay || bay == only_bay)
            bays.push_back({bay, follow_bay(p, file, bay, bus)});
    return true;
}

}  // namespace halctl::doctor
