// doctor: "why has bay 5 no disk?" answered link by link. For each bay the chain the library
// follows is walked with the library's own lookups (the model keys, the controller's PCI
// function, the descent to its SCSI host, the disk, the disk's way back to its bay, and the
// bay's lights with their method words), and the first link that breaks is told in the words a
// firmware engineer uses. It only reads.
#include <dlfcn.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "disk/disk_model.h"
#include "disk/pci_descent.h"
#include "doctor.h"
#include "halctl.h"
#include "nashal/comm_path.h"
#include "nashal/hal_se.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

namespace halctl::doctor {

bool in_build(const char *symbol) {
    return dlsym(RTLD_DEFAULT, symbol) != nullptr;
}

}  // namespace halctl::doctor

namespace {

using halctl::Output;
using halctl::doctor::Bay;
using halctl::doctor::in_build;
using halctl::doctor::Report;

// The lights of a bay, the call that drives each, and the drivers behind the error light's
// method words, in the order the error light tries its prefixes.
struct Light {
    const char *key;
    const char *route;
};
constexpr Light kLights[] = {
    {"ERR_LED", "pd_sys_set_err_led"},
    {"LOCATE_LED", "pd_sys_set_ident_led"},
    {"PRESENT_LED", "pd_sys_set_present_led"},
    {"BLINK_LED", "pd_sys_set_active_led"},
};
struct Method {
    const char *prefix;
    const char *driver;
};
constexpr Method kMethods[] = {
    {"UART", "common_sys_send_uart_data"},
    {"SIO", "sio_sys_set_hdd_err_led"},
    {"SAS", "sas_expander_set_hdd_err_led"},
    {"SOC", "soc_sys_set_hdd_err_led"},
    {"IOPORT", "common_sys_set_ioport_bit"},
    {"GPIO", "common_sys_set_gpiolib"},
    {"I2C", "i2c_sys_send_byte"},
    {"MCU", "mcu_sys_set_hdd_err_led"},
};

// The bay kinds doctor follows: the enclosure, its slot sections and its count.
struct BayKind {
    const char *enc_sys_id;
    const char *section;
    const char *owner;
    bool bridge_and_switch;  // the system bays may sit behind a bridge or a PCIe switch
};
constexpr BayKind kKinds[] = {
    {"root", "System Disk", "System Enclosure", true},
    {"root_cache", "Cache Disk", "Cache Enclosure", false},
};

// The controller's SCSI host for the bay must sit below the controller: a DEV_PORT beyond the
// controller's ports names a host of some other controller, or none.
bool host_below(int host, const char *controller) {
    char host_dev[nashal::disk::kPathLen];
    snprintf(host_dev, sizeof host_dev, "/sys/class/scsi_host/host%d/device", host);
    char real_host[PATH_MAX];
    char real_ctrl[PATH_MAX];
    if (!realpath(host_dev, real_host) || !realpath(controller, real_ctrl))
        return false;
    return strncmp(real_host, real_ctrl, strlen(real_ctrl)) == 0;
}

void check_lights(const char *section, Report &r) {
    for (const Light &l : kLights) {
        char value[nashal::disk::kIdLen];
        if (!nashal::disk::model_text(section, l.key, value))
            continue;
        const Method *method = nullptr;
        for (const Method &m : kMethods)
            if (strncasecmp(value, m.prefix, strlen(m.prefix)) == 0) {
                method = &m;
                break;
            }
        std::string key = std::string("led ") + l.key;
        if (!method) {
            std::string word(value, strcspn(value, ":"));
            r.set(key, std::string(value) + ": unknown method \"" + word + "\"");
            r.fail(std::string(l.key) + " \"" + value + "\" has the method word \"" + word +
                   "\", which no driver answers: the light does nothing");
            continue;
        }
        bool built = in_build(l.route) && in_build(method->driver);
        r.set(key, std::string(value) + ": method " + method->prefix + " via " + l.route +
                       (built ? "" : " (not in this build)"));
        if (!built)
            r.note(std::string(l.key) + " method " + method->prefix + " is not in this build");
    }
}

// One bay, link by link. `claimed` maps each disk found so far to its bay, so that two bays
// resolving to one disk are told.
Report follow_bay(const BayKind &kind, int bay, std::map<std::string, int> &claimed) {
    Report r;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "%s %d", kind.section, bay);
    r.set("section", section);

    char bus[nashal::disk::kIdLen];
    int32_t port = 0;
    bool has_bus = nashal::disk::model_text(section, "DEV_BUS", bus);
    bool has_port = nashal::disk::model_int(section, "DEV_PORT", &port);
    int32_t domain = 0;
    int32_t switch_port = -1;
    char bridge[nashal::disk::kIdLen] = "";
    nashal::disk::model_int(section, "DEV_DOMAIN", &domain);
    if (kind.bridge_and_switch) {
        nashal::disk::model_int(section, "PCI_SWITCH_PORT", &switch_port);
        nashal::disk::model_text(section, "DEV_BRIDGE_BUS", bridge);
    }
    r.set("model", std::string("DEV_BUS ") + (has_bus ? bus : "(missing)") + ", DEV_PORT " +
                       (has_port ? std::to_string(port) : std::string("(missing)")) +
                       ", DEV_DOMAIN " + std::to_string(domain) +
                       (switch_port != -1 ? ", PCI_SWITCH_PORT " + std::to_string(switch_port)
                                          : std::string()) +
                       (bridge[0] ? std::string(", DEV_BRIDGE_BUS ") + bridge : std::string()));
    check_lights(section, r);
    // A section that names only lights is a bay whose disk the library never looks for (a
    // board whose disks are found another way): its lights are still checked.
    if (!has_bus && !has_port) {
        r.note("no DEV_BUS or DEV_PORT: the library looks for no disk in this bay");
        return r;
    }
    if (!has_bus || !has_port) {
        r.fail(std::string("[") + section + "] has no " + (has_bus ? "DEV_PORT" : "DEV_BUS") +
               ": the library skips this bay");
        return r;
    }

    char path[nashal::disk::kPathLen];
    if (comm_sys_get_path_from_c_dev_bus(domain, bus, path, sizeof path) != 0) {
        r.set("controller", "not found");
        r.fail(std::string("no PCI function ") + bus + " in domain " + std::to_string(domain) +
               ": the controller is missing or DEV_BUS is wrong");
        return r;
    }
    // The lookup composes the function's path from its bus number alone: a function that is
    // gone still gives a path, and only the host step fails. Say what is really missing.
    struct stat st;
    if (stat(path, &st) != 0) {
        r.set("controller", std::string(path) + " (missing)");
        r.fail(std::string("no PCI function ") + bus + " in domain " + std::to_string(domain) +
               ": the controller is missing or DEV_BUS is wrong");
        return r;
    }
    r.set("controller", path);
    nashal::disk::append_platform_bridge(path, bridge[0] ? bridge : nullptr);
    if (nashal::disk::descend_to_controller(path, kind.bridge_and_switch, switch_port,
                                            "halctl doctor") != 0) {
        r.fail(std::string("the walk below ") + bus +
               " fails: a bridge or switch has nothing in the slot the model names" +
               (switch_port == -1 ? " (a switch needs PCI_SWITCH_PORT)" : ""));
        return r;
    }
    r.set("controller path", path);

    int host = -1;
    int target = -1;
    if (get_sdev_host(path, port, &host, &target) != 0) {
        r.fail("no SCSI host below the controller: its driver isn't bound or it has no ports");
        return r;
    }
    r.set("host",
          "host" + std::to_string(host) +
              (target == -1 ? " (one host per port)" : ", target " + std::to_string(target)));
    if (target == -1 && !host_below(host, path)) {
        r.fail("DEV_PORT " + std::to_string(port) + " is beyond the controller's ports: host" +
               std::to_string(host) + " is not one of its hosts");
        return r;
    }

    char sg[nashal::disk::kIdLen];
    if (lookup_disk_in_root(domain, bus, bridge[0] ? bridge : nullptr, port, switch_port, sg) !=
        0) {
        r.set("disk", "none");
        r.empty = true;
        r.fail("no disk at port " + std::to_string(port) +
               " of the controller: the bay is empty (disk pulled?)");
        return r;
    }
    r.set("disk", sg);
    char link[nashal::disk::kPathLen];
    if (comm_sys_get_sg_path_info(sg, link, sizeof link) >= 0)
        r.set("disk path", link);

    auto first = claimed.emplace(sg, bay);
    if (!first.second)
        r.fail(std::string(sg) + " is bay " + std::to_string(first.first->second) +
               "'s disk too: DEV_PORT or DEV_BUS of one of the two bays is wrong");

    // The way back: the enclosure and bay the disk's information collector will give it.
    char back[HAL_ID_LEN] = "";
    int physical = -1;
    int switch_back = -1;
    PD_INFO info{};
    bool mapped = PD_Sys_Get_SE_Sys_Id(sg, back) == 0;
    get_physical_drive_port(sg, &physical, &switch_back);
    bool bay_back = get_pd_port_id(kind.enc_sys_id, sg, physical, switch_back, &info) == 0;
    r.set("maps back to", std::string(mapped ? back : "?") + " bay " +
                              (bay_back ? std::to_string(info.port_id) : std::string("none")));
    if (!mapped || strcmp(back, kind.enc_sys_id) != 0)
        r.fail(std::string(sg) + " maps back to enclosure " + (mapped ? back : "none") + ", not " +
               kind.enc_sys_id);
    else if (!bay_back || info.port_id != bay)
        r.fail(std::string(sg) + " maps back to bay " +
               (bay_back ? std::to_string(info.port_id) : std::string("none")) + ", not " +
               std::to_string(bay) +
               (bay_back ? ": DEV_PORT or DEV_BUS of one of the two bays is wrong"
                         : ": no bay within MAX_DISK_NUM names its port"));
    return r;
}

int32_t bay_count(const BayKind &kind) {
    int32_t count = 0;
    nashal::disk::model_int(kind.owner, "MAX_DISK_NUM", &count);
    return count;
}

bool configured(const BayKind &kind, int bay) {
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "%s %d", kind.section, bay);
    char bus[nashal::disk::kIdLen];
    int32_t port = 0;
    if (nashal::disk::model_text(section, "DEV_BUS", bus) ||
        nashal::disk::model_int(section, "DEV_PORT", &port))
        return true;
    for (const Light &l : kLights)
        if (nashal::disk::model_text(section, l.key, bus))
            return true;
    return false;
}

// Every bay of one of the main unit's bay kinds, or only `only_bay`.
std::vector<Bay> follow_kind(const BayKind &kind, int only_bay) {
    std::vector<Bay> bays;
    std::map<std::string, int> claimed;
    int count = bay_count(kind);
    for (int bay = 1; bay <= MAX_PD_SYS_ENUM; ++bay) {
        if (only_bay && bay != only_bay)
            continue;
        if (!configured(kind, bay) && (bay > count || only_bay == 0)) {
            // A bay within the count with no section is empty for good: say so when asked.
            if (only_bay == 0 && bay <= count) {
                Report r;
                r.unset = true;
                r.fail("no section: the bay is never looked at");
                bays.push_back({bay, r});
            }
            continue;
        }
        bays.push_back({bay, follow_bay(kind, bay, claimed)});
    }
    return bays;
}

// Some of the library's lookups print progress on standard output, as the boxes' tools expect;
// doctor's own answer (a JSON document above all) must stay the only thing there.
class QuietStdout {
  public:
    QuietStdout() {
        fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (saved_ >= 0 && null >= 0)
            dup2(null, STDOUT_FILENO);
        if (null >= 0)
            close(null);
    }
    ~QuietStdout() { end(); }
    void end() {
        if (saved_ < 0)
            return;
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        saved_ = -1;
    }
    QuietStdout(const QuietStdout &) = delete;
    QuietStdout &operator=(const QuietStdout &) = delete;

  private:
    int saved_ = -1;
};

// An enclosure doctor walks: its id and its bays.
struct Walked {
    std::string enc_sys_id;
    std::vector<Bay> bays;
};

// An attached enclosure: its main-unit bay kind, or its expander walk. False when doctor has
// no walk for it.
bool walk(const char *sys_id, int enc_id, int only_bay, std::vector<Walked> &out) {
    for (const BayKind &k : kKinds)
        if (strcmp(k.enc_sys_id, sys_id) == 0) {
            out.push_back({sys_id, follow_kind(k, only_bay)});
            return true;
        }
    {
        Walked w{sys_id, {}};
        if (halctl::doctor::follow_pcie_slot(sys_id, only_bay, w.bays) ||
            halctl::doctor::follow_thunderbolt_box(sys_id, only_bay, w.bays)) {
            out.push_back(std::move(w));
            return true;
        }
    }
    // The registry's record, or for an enclosure named by its id the enclosure's own answer.
    ENC_INFO info{};
    int max_disk_num =
        (enc_id >= 0 ? SE_Get_Info(enc_id, &info) : se_sys_getinfo(sys_id, &info)) == 0
            ? info.max_disk_num
            : 0;
    Walked w{sys_id, {}};
    if (!halctl::doctor::follow_expander(sys_id, max_disk_num, only_bay, w.bays))
        return false;
    out.push_back(std::move(w));
    return true;
}

}  // namespace

HALCTL_COMMAND(cmd_doctor, "doctor", "[ENC_ID|SYS_ID [PORT]]",
               "follow each bay's chain (model keys, controller, sysfs path, disk, lights) and "
               "tell the first broken link; exit 1 when one is broken") {
    if (ctx.args.size() > 2)
        return halctl::usage_error(ctx, "doctor takes an enclosure id and a bay at most");
    std::vector<Walked> walked;
    long long only_bay = 0;
    QuietStdout quiet;
    if (ctx.args.empty()) {
        for (const BayKind &k : kKinds)
            walked.push_back({k.enc_sys_id, follow_kind(k, 0)});
        // Each PCIe slot the board has, whether or not a card in it has made an enclosure.
        if (nashal::topology::root_capability() & CAP_PCIE_EXPANSION) {
            const int32_t slots = nashal::topology::model_int_or(nashal::topology::kSystemEnclosure,
                                                                 "MAX_PCIE_SLOT", 0, INI_CONF_DEC);
            for (int32_t slot = 1; slot <= slots && slot <= MAX_PD_SYS_ENUM; ++slot)
                walk(("root_pcie_" + std::to_string(slot)).c_str(), -1, 0, walked);
        }
        // Then every expansion enclosure the registry holds; the others have no bays to walk.
        int ids[MAX_SE_SYS_ENUM];
        int n = SE_Enumerate(ids, MAX_SE_SYS_ENUM, nullptr, nullptr);
        for (int i = 0; i < n && i < MAX_SE_SYS_ENUM; ++i) {
            char sys_id[HAL_ID_LEN] = "";
            if (ids[i] != 0 && se_lookup_sys_id(ids[i], sys_id, sizeof sys_id) == 0 &&
                strncmp(sys_id, "root", 4) != 0)
                walk(sys_id, ids[i], 0, walked);
        }
    } else {
        long long enc_id = 0;
        char sys_id[HAL_ID_LEN] = "";
        if (ctx.args.size() == 2 && (!halctl::parse_int(ctx.args[1], only_bay) || only_bay < 1))
            return halctl::usage_error(ctx, "PORT is a bay number from 1");
        if (!halctl::parse_int(ctx.args[0], enc_id)) {
            // An enclosure named by its system id is walked whether or not a scan has
            // recorded it: an unplugged shelf is what doctor is asked about.
            if (ctx.args[0].empty() || ctx.args[0].size() >= sizeof sys_id)
                return halctl::usage_error(ctx, "ENC_ID is a number or an enclosure's system id");
            snprintf(sys_id, sizeof sys_id, "%s", ctx.args[0].c_str());
            enc_id = -1;
        } else if (enc_id < 0 || enc_id > INT_MAX) {
            return halctl::usage_error(ctx, "ENC_ID is a number (0 is the main unit)");
        } else if (se_lookup_sys_id(static_cast<int>(enc_id), sys_id, sizeof sys_id) != 0) {
            // The main unit is enclosure 0 whether or not a scan has recorded it yet.
            if (enc_id != 0)
                return halctl::failure("enclosure " + ctx.args[0] + " is not in the registry");
            snprintf(sys_id, sizeof sys_id, "root");
        }
        if (!walk(sys_id, static_cast<int>(enc_id), static_cast<int>(only_bay), walked))
            return halctl::failure(std::string("doctor follows the bays of root, root_cache, "
                                               "PCIe slots, SAS shelves, USB and Thunderbolt "
                                               "boxes; "
                                               "enclosure ") +
                                   sys_id + " is none of them");
    }

    quiet.end();
    std::vector<Output::Record> rows;
    int broken = 0;
    for (const Walked &w : walked) {
        for (const Bay &b : w.bays) {
            const Report &r = b.report;
            broken += !r.unset && !r.broken.empty();
            std::string status = r.status();
            Output::Record row{Output::text("enc_sys_id", w.enc_sys_id),
                               Output::number("port_id", b.bay), Output::text("status", status),
                               Output::text("problem", r.broken),
                               Output::text("warning", r.warning)};
            if (!ctx.out.json()) {
                std::string upper;
                for (char c : status)
                    upper += static_cast<char>(toupper(static_cast<unsigned char>(c)));
                printf("%s %s: %s\n", w.enc_sys_id.c_str(),
                       b.bay ? ("bay " + std::to_string(b.bay)).c_str() : "(no bay)",
                       r.broken.empty() ? "ok" : (upper + ": " + r.broken).c_str());
                for (const auto &f : r.fields)
                    printf("  %-16s %s\n", (f.key + ":").c_str(), f.value.c_str());
                if (!r.warning.empty())
                    printf("  note: %s\n", r.warning.c_str());
            }
            row.insert(row.end(), r.fields.begin(), r.fields.end());
            rows.push_back(row);
        }
    }
    if (ctx.out.json()) {
        ctx.out.record({Output::number("broken", broken)});
        ctx.out.table(rows);
    } else {
        printf("%d broken bay%s\n", broken, broken == 1 ? "" : "s");
    }
    return broken ? halctl::kFailed : halctl::kOk;
}
