// doctor on expansion enclosures. A SAS shelf's bays are not named in a model file: the library
// goes from the shelf's enclosure services node up to its expander, takes every disk on the
// expander's ports, and places each in a bay by its SAS address in the shelf's Additional
// Element Status page. A managed USB box names the port path of each slot in its external type,
// and reaches its lights through the PIC on the box's serial adapter. Each walk here follows the
// library's own lookups in that order and stops at the first link that breaks.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "doctor.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "topology/sysfs_read.h"

namespace halctl::doctor {

namespace {

using nashal::topology::kSasExpanderClass;
using nashal::topology::kScsiGenericClass;
using nashal::topology::kUsbDevices;

// Room for the disks of the largest shelf: the library's own enumeration room is one
// enclosure's list in the registry, smaller than a 60-bay shelf.
constexpr int kRoom = 256;

bool exists(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

// The disks a lookup stored, freed; the count it gave may be larger than the room.
std::vector<std::string> take_list(char **list, int found, int room) {
    std::vector<std::string> out;
    for (int i = 0; i < found && i < room; ++i) {
        out.push_back(list[i]);
        free(list[i]);
    }
    return out;
}

std::string hex_address(const unsigned char *a) {
    char text[17];
    for (int i = 0; i < 8; ++i)
        snprintf(text + 2 * i, 3, "%02X", a[i]);
    return text;
}

// The lights of a bay that has no light keys of its own go through the enclosure: said once
// per bay, with whether this build carries the route.
void enclosure_light(Report &r, const std::string &how, const char *driver) {
    bool built = in_build("pd_sys_set_err_led") && in_build(driver);
    r.set("led ERR_LED",
          how + " via pd_sys_set_err_led, " + driver + (built ? "" : " (not in this build)"));
    if (!built)
        r.note(std::string("the bay's lights go through ") + driver + ", not in this build");
}

// The links every bay of one enclosure shares, walked once; `broken` stops each bay there.
struct Shared {
    std::vector<Output::Field> fields;
    std::string broken;
};

Report start_bay(const Shared &s) {
    Report r;
    r.fields = s.fields;
    if (!s.broken.empty())
        r.fail(s.broken);
    return r;
}

void follow_sas_shelf(const char *enc_sys_id, int max_disk_num, int only_bay,
                      std::vector<Bay> &bays) {
    Shared s;
    auto set = [&](const char *key, const std::string &value) {
        s.fields.push_back(Output::text(key, value));
    };
    set("model", std::string("SAS shelf, ") + std::to_string(max_disk_num) +
                     " bays as its enclosure services report them");
    char link[HAL_SYSFS_PATH_LEN] = "";
    std::string expander;
    std::vector<std::string> disks;
    if (comm_sys_get_sg_path_info(enc_sys_id, link, sizeof link) != 0) {
        set("controller", "not found");
        s.broken = std::string(enc_sys_id) + " is not in " + kScsiGenericClass +
                   ": the shelf is off, unplugged or its cable is out";
    } else {
        set("controller", std::string("enclosure services ") + enc_sys_id + " at " + link);
        char walk[HAL_SYSFS_PATH_LEN];
        snprintf(walk, sizeof walk, "%s", link);
        char *self = nullptr;
        if (comm_sys_get_sas_bus(walk, nullptr, &self) != 0 || !self) {
            s.broken = std::string(enc_sys_id) +
                       " sits behind no SAS expander: it is not a shelf's enclosure services";
        } else {
            expander = self;
            std::string dir = std::string(kSasExpanderClass) + "/" + expander;
            set("expander", dir);
            if (!exists(dir + "/device")) {
                s.broken = "the shelf's expander " + expander + " is gone from " +
                           kSasExpanderClass + ": it vanished (cable, power, or the HBA lost it)";
            } else if (!exists(std::string(kScsiGenericClass) + "/" + enc_sys_id + "/device")) {
                s.broken = std::string("the enclosure services node ") + enc_sys_id +
                           " is gone: the shelf's bays can't be placed";
            } else {
                char *list[kRoom] = {};
                int found = lookup_disk_in_sas_enclosure(expander.c_str(), list, kRoom);
                disks = take_list(list, found, kRoom);
                set("disks on the expander", std::to_string(found));
            }
        }
    }

    // Each disk on the expander, placed by its SAS address as its information collector does.
    std::map<int, std::string> in_bay;
    std::vector<Bay> strays;
    for (const std::string &sg : disks) {
        unsigned char address[8] = {};
        PD_INFO info{};
        info.port_id = -1;
        comm_sys_get_sas_target_port_address(sg.c_str(), address);
        bool read = get_port_in_sas_enclosure(enc_sys_id, address, &info) == 0;
        if (read && info.port_id > 0 && !in_bay.count(info.port_id)) {
            in_bay[info.port_id] = sg;
            continue;
        }
        if (only_bay)
            continue;
        Report r = start_bay(s);
        r.set("disk", sg);
        r.set("SAS address", hex_address(address));
        r.fail(!read ? "the shelf's Additional Element Status page can't be read (sg_ses on /dev/" +
                           std::string(enc_sys_id) + ")"
               : info.port_id > 0
                   ? sg + " claims bay " + std::to_string(info.port_id) + ", which " +
                         in_bay[info.port_id] + " holds already"
                   : sg + " sits on the shelf's expander, but no bay of the shelf lists its SAS "
                          "address: the disk gets no bay");
        strays.push_back({0, r});
    }

    for (int bay = 1; bay <= max_disk_num; ++bay) {
        if (only_bay && bay != only_bay)
            continue;
        Report r = start_bay(s);
        r.set("section", std::string("bay ") + std::to_string(bay) + " of the shelf's SES slots");
        enclosure_light(r, "SES device slot element " + std::to_string(bay),
                        "sas_expander_set_hdd_err_led");
        if (!r.broken.empty()) {
            bays.push_back({bay, r});
            continue;
        }
        auto d = in_bay.find(bay);
        if (d == in_bay.end()) {
            r.set("disk", "none");
            r.empty = true;
            r.fail("no disk on the shelf's expander names bay " + std::to_string(bay) +
                   ": the bay is empty (disk pulled?)");
        } else {
            r.set("disk", d->second);
            char path[HAL_SYSFS_PATH_LEN];
            if (comm_sys_get_sg_path_info(d->second.c_str(), path, sizeof path) == 0)
                r.set("disk path", path);
            r.set("maps back to", std::string(enc_sys_id) + " bay " + std::to_string(bay));
        }
        bays.push_back({bay, r});
    }
    bays.insert(bays.end(), strays.begin(), strays.end());
}

std::string ext_text(int type, const char *key) {
    char value[HAL_ID_LEN] = "";
    if (comm_sys_get_c_ext_enclosure_string(type, key, value, sizeof value) != 0)
        return "";
    return value;
}

void follow_usb_box(const char *enc_sys_id, int only_bay, std::vector<Bay> &bays) {
    const char *bus = enc_sys_id + 4;
    Shared s;
    auto set = [&](const char *key, const std::string &value) {
        s.fields.push_back(Output::text(key, value));
    };
    int type_number = 0;
    int type = comm_sys_check_usb_expander_type(bus, &type_number);
    std::string box = std::string(kUsbDevices) + "/" + bus;
    if (!exists(box)) {
        Report r;
        r.set("controller", box + " (missing)");
        r.fail(std::string("no USB device ") + bus + ": the box is unplugged or off");
        bays.push_back({only_bay, r});
        return;
    }
    if (type != USB_EXPANDER_TYPE_PIC) {
        // A plain hub has no slots: whatever mass storage sits on its ports is its disk.
        Report r;
        r.set("model", "a plain USB hub: no slots, every disk on its ports is its own");
        r.set("controller", box);
        char *list[kRoom] = {};
        int found = enumerate_pd_in_usb_expander(enc_sys_id, list, kRoom);
        std::string names;
        for (const std::string &d : take_list(list, found, kRoom))
            names += (names.empty() ? "" : " ") + d;
        r.set("disk", names.empty() ? "none" : names);
        bays.push_back({0, r});
        return;
    }
    int32_t slots = 0;
    comm_sys_get_c_ext_enclosure_integer(type_number, "MAX_PORT_NUM", &slots, 0);
    set("model", "External Type " + std::to_string(type_number) + ": MODEL " +
                     ext_text(type_number, "MODEL") + ", MAX_PORT_NUM " + std::to_string(slots) +
                     ", Port_PIC " + ext_text(type_number, "Port_PIC"));
    char tty[HAL_ID_LEN] = "";
    if (usb_expander_get_PIC_devname(bus, tty, sizeof tty) != 0) {
        set("controller", "not found");
        s.broken = "the box's PIC serial adapter is missing: no ttyUSB on port " +
                   ext_text(type_number, "Port_PIC") +
                   " of the box's USB 2 hub, so its lights, fans and buzzer do nothing";
    } else {
        set("controller", std::string("PIC on ") + tty);
    }

    for (int slot = 1; slot <= slots; ++slot) {
        if (only_bay && slot != only_bay)
            continue;
        Report r = start_bay(s);
        char key[16];
        snprintf(key, sizeof key, "Port%d", slot);
        std::string port = ext_text(type_number, key);
        r.set("section", std::string("External Type ") + std::to_string(type_number) + " " + key +
                             " = " + (port.empty() ? "(missing)" : port));
        enclosure_light(r, std::string("the box's PIC") + (tty[0] ? " on " + std::string(tty) : ""),
                        "usb_expander_set_status_led");
        if (port.empty()) {
            r.fail(std::string(key) +
                   " is missing from the box's external type: the library "
                   "looks for no disk in this slot");
            bays.push_back({slot, r});
            continue;
        }
        // "4.1": port 1 of the inner hub on port 4 of the box's own hub.
        std::string port_bus = std::string(bus) + "." + port;
        std::string parent = box;
        if (port.find('.') != std::string::npos)
            parent += "/" + std::string(bus) + "." + std::to_string(atoi(port.c_str()));
        r.set("disk path", parent + "/" + port_bus);
        if (!exists(parent + "/" + port_bus)) {
            r.fail("nothing on port path " + port +
                   " of the box: the slot's USB-to-SATA bridge is "
                   "missing, or " +
                   key + " names the wrong port");
            bays.push_back({slot, r});
            continue;
        }
        char *list[4] = {};
        int found = lookup_disk_in_usb_port(parent.c_str(), port_bus.c_str(), list, 4);
        std::vector<std::string> disks = take_list(list, found, 4);
        if (disks.empty()) {
            r.set("disk", "none");
            r.empty = true;
            r.fail("the slot's bridge " + port_bus +
                   " has no disk behind it: the slot is empty (disk pulled?)");
        } else {
            r.set("disk", disks[0]);
            PD_INFO info{};
            get_usb_expander_port(bus, disks[0].c_str(), type_number, &info);
            r.set("maps back to",
                  std::string(enc_sys_id) + " slot " +
                      (info.port_id > 0 ? std::to_string(info.port_id) : std::string("none")));
            if (info.port_id != slot)
                r.fail(disks[0] + " maps back to slot " + std::to_string(info.port_id) + ", not " +
                       std::to_string(slot) + ": two Port keys name one port path");
        }
        bays.push_back({slot, r});
    }
}

}  // namespace

bool follow_expander(const char *enc_sys_id, int max_disk_num, int only_bay,
                     std::vector<Bay> &bays) {
    if (strncmp(enc_sys_id, "sg", 2) == 0) {
        follow_sas_shelf(enc_sys_id, max_disk_num, only_bay, bays);
        return true;
    }
    if (strncmp(enc_sys_id, "usb_", 4) == 0) {
        follow_usb_box(enc_sys_id, only_bay, bays);
        return true;
    }
    return false;
}

}  // namespace halctl::doctor
