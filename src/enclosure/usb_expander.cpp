// USB enclosures: hubs on the chassis USB ports and the maker's expansion boxes (a hub with a
// PIC on an internal serial adapter). They are found by walking from each chassis port that the
// model file describes down the PCI and USB trees of sysfs, and described by walking back from
// the USB device to the chassis port or hub it hangs on. A USB 3 controller shows every hub
// twice (a SuperSpeed and a USB 2 root hub); the box's serial adapter is USB 2 only, so finding
// it crosses from one twin to the other. Nothing is cached: a device may go away in the middle
// of a walk, every read is tested and the walk ends with what it found.
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"
#include "topology/sysfs_read.h"

using nashal::hal_copy;
using nashal::topology::kUsbDevices;
using nashal::topology::model_int;
using nashal::topology::model_text;
using nashal::topology::starts_with;

namespace {

constexpr const char *kUsbEnclosure = "Usb Enclosure";
constexpr int kHubClass = 9;

// The bus name behind "usb_" of an id, in the 32 bytes every attribute reader is given.
bool bus_of(const char *enc_sys_id, char (&bus)[HAL_ID_LEN]) {
    if (!enc_sys_id || strncmp(enc_sys_id, "usb_", 4) != 0)
        return false;
    hal_copy(bus, enc_sys_id + 4);
    return true;
}

// A numeric attribute of a USB device, or -1.
int usb_number(const char *name, const char *attribute, int base) {
    char text[HAL_ID_LEN];
    if (comm_sys_get_usb_attribute(name, attribute, text, sizeof text) != 0)
        return -1;
    char *end = nullptr;
    long value = strtol(text, &end, base);
    return end == text ? -1 : static_cast<int>(value);
}

// The speed code of a device's link; 0 when the attribute can't be read or names no USB speed.
int usb_speed(const char *name, bool *read) {
    char text[HAL_ID_LEN];
    *read = comm_sys_get_usb_attribute(name, "speed", text, sizeof text) == 0;
    return *read ? common_sys_transfer_pd_link_speed(1, text) : 0;
}

// The speed test of the scan: super speed only (4), or at most `max_speed`.
bool speed_passes(int max_speed, int code) {
    if (max_speed == 4)
        return code == 4;
    return code <= max_speed;
}

// Appends `step` to the 512-byte path; false (the path untouched) when it would not fit.
bool path_append(char *path, const char *step) {
    if (strlen(path) + strlen(step) >= HAL_SYSFS_PATH_LEN)
        return false;
    strcat(path, step);
    return true;
}

// The number of a root hub entry "usb%d" of a host controller's directory: -2 for an entry of
// another name, -1 for "usb" with no number.
int root_hub_number(const char *entry) {
    if (!starts_with(entry, "usb"))
        return -2;
    char *end = nullptr;
    long bus = strtol(entry + 3, &end, 10);
    return end == entry + 3 ? -1 : static_cast<int>(bus);
}

bool has_pci_bus(const char *path) {
    return comm_sys_search_partial_filename(path, "pci_bus", nullptr, 0) == 0;
}

// One step down the PCI tree from the bridge at `path`, to `device` (or the bridge text).
bool pci_step(char *path, const char *bridge, int device) {
    char step[HAL_SYSFS_PATH_LEN];
    return comm_sys_get_pci_bus(path, "pci_bus", bridge, device, step, sizeof step) == 0 &&
           path_append(path, step);
}

// Stores a copy of the id of `name` while the caller's array has room; the count grows anyway,
// so that a caller sees how many there were.
void store_id(const char *name, char **ids, unsigned int max_count, int count) {
    char id[HAL_ID_LEN];
    snprintf(id, sizeof id, "usb_%s", name);
    if (ids && count >= 0 && static_cast<unsigned int>(count) < max_count)
        ids[count] = strdup(id);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):sysid = %s\n", __func__, __LINE__, id);
}

char **rest(char **ids, unsigned int max_count, int count) {
    return ids && static_cast<unsigned int>(count) < max_count ? ids + count : nullptr;
}

unsigned int room(unsigned int max_count, int count) {
    return static_cast<unsigned int>(count) < max_count ? max_count - count : 0;
}

// One list of port numbers ("1,3" or "2") of a chassis port section, scanned at one speed.
int scan_port_list(char *path, const char *list, const char *bridge, int layer, int switch_port,
                   int max_speed, char **ids, unsigned int max_count) {
    int count = 0;
    const char *p = list;
    while (*p) {
        char *end = nullptr;
        long port = strtol(p, &end, 10);
        if (end == p)
            break;
        int found =
            usb_expander_get_sysid(path, bridge, static_cast<int>(port), layer, switch_port,
                                   max_speed, rest(ids, max_count, count), room(max_count, count));
        if (found > 0)
            count += found;
        p = end;
        while (*p == ',' || *p == ' ')
            ++p;
    }
    return count;
}

// One section of a chassis port ("Usb Port %d" or "Usb Port %d-%d").
int scan_section(int chassis_port, const char *section, char **ids, unsigned int max_count) {
    char bus[HAL_ID_LEN] = {};
    if (!model_text(section, "DEV_BUS", bus))
        return 0;
    char bridge[HAL_ID_LEN] = {};
    model_text(section, "DEV_BRIDGE_BUS", bridge);
    int domain = nashal::topology::model_int_or(section, "DEV_DOMAIN", 0);
    int layer = nashal::topology::model_int_or(section, "IN_HUB", 0);
    int switch_port = nashal::topology::model_int_or(section, "PCI_SWITCH_PORT", -1);
    char ports[HAL_NAME_LEN] = {};
    char path[HAL_SYSFS_PATH_LEN];
    int count = 0;
    if (model_text(section, "DEV_PORT", ports) && ports[0]) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Usb Port %d->%s:%s\n", __func__, __LINE__, chassis_port,
                  bus, ports);
        if (comm_sys_get_path_from_c_dev_bus(domain, bus, path, sizeof path) != 0)
            return 0;
        return scan_port_list(path, ports, bridge, layer, switch_port, 0, ids, max_count);
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Usb Port %d->%s:%s\n", __func__, __LINE__, chassis_port, bus,
              ports);
    static const struct {
        const char *key;
        int max_speed;
    } kSpeeds[] = {{"DEV_PORT_SS", 4}, {"DEV_PORT_NS", 3}};
    for (const auto &speed : kSpeeds) {
        if (!model_text(section, speed.key, ports) || !ports[0])
            continue;
        if (comm_sys_get_path_from_c_dev_bus(domain, bus, path, sizeof path) != 0)
            break;
        count += scan_port_list(path, ports, bridge, layer, switch_port, speed.max_speed,
                                rest(ids, max_count, count), room(max_count, count));
    }
    return count;
}

// The panel and the controller of a box each sit on a serial adapter on a port of the box's
// inner hub; the panel may also be on a plain listed hub, the controller only on a managed box.
// The panel's "won't ever be there" is -2, so that callers stop retrying.
int serial_devname(const char *usb_bus, const char *key, char *device, int size) {
    const bool panel = strcmp(key, "Port_LCM") == 0;
    const int never = panel ? -2 : -1;
    if (!usb_bus || !device || size <= 0)
        return -1;
    int type_number = 0;
    int type = comm_sys_check_usb_expander_type(usb_bus, &type_number);
    if (type != USB_EXPANDER_TYPE_PIC && !(panel && type == USB_EXPANDER_TYPE_LISTED))
        return never;
    int32_t port = 0;
    if (comm_sys_get_c_ext_enclosure_integer(type_number, key, &port, 0) != 0)
        return never;
    char bus[HAL_ID_LEN];
    hal_copy(bus, usb_bus);
    char interface[HAL_ID_LEN];
    if (usb_expander_get_ext_device_bus(bus, port, interface, sizeof interface) != 0)
        return -1;
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "%s/%s", kUsbDevices, interface);
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d): path = %s\n", __func__, __LINE__, path);
    char tty[HAL_ID_LEN];
    if (comm_sys_search_partial_filename(path, "ttyUSB", tty, sizeof tty) != 0)
        return -1;
    if (snprintf(device, size, "/dev/%s", tty) >= size)
        return -1;
    return 0;
}

}  // namespace

extern "C" {

int usb_expander_enumerate(char **enc_sys_ids, unsigned int max_count) {
    int32_t ports = 0;
    if (!model_int(kUsbEnclosure, "MAX_PORT_NUM", &ports))
        return 0;
    int count = 0;
    for (int n = 1; n <= ports; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "Usb Port %d", n);
        int multi = nashal::topology::model_int_or(section, "MULTI_DEVICE", 0);
        if (multi <= 0) {
            count += scan_section(n, section, rest(enc_sys_ids, max_count, count),
                                  room(max_count, count));
            continue;
        }
        for (int m = 1; m <= multi; ++m) {
            char sub[HAL_NAME_LEN + 16];
            snprintf(sub, sizeof sub, "Usb Port %d-%d", n, m);
            count +=
                scan_section(n, sub, rest(enc_sys_ids, max_count, count), room(max_count, count));
        }
    }
    return count;
}

int usb_expander_get_sysid(char *path, const char *bridge_text, int port, int layer,
                           int switch_port, int max_usb_speed, char **enc_sys_ids,
                           unsigned int max_count) {
    if (!path)
        return -1;
    const char *bridge = bridge_text && bridge_text[0] ? bridge_text : nullptr;
    if (!has_pci_bus(path)) {
        // Also the second call on a path that an earlier call walked to its end.
        if (!path_append(path, "/.")) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
    } else {
        if (!pci_step(path, bridge, 0)) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
        if (has_pci_bus(path)) {
            // A PCIe switch between the root port and the controller.
            if (switch_port == -1) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
                return 0;
            }
            if (!pci_step(path, nullptr, switch_port) ||
                (has_pci_bus(path) && !pci_step(path, nullptr, 0))) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
                return -1;
            }
        }
    }
    nashal::DirHandle dir(opendir(path));
    if (!dir)
        return 0;
    int count = 0;
    while (dirent *e = readdir(dir.get())) {
        const int n = root_hub_number(e->d_name);
        if (n == -2)
            continue;
        if (n == -1) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s%d:System Internal Error\n", __func__, __LINE__);
            return count;
        }
        char below[HAL_SYSFS_PATH_LEN];
        char name[HAL_ID_LEN];
        int written;
        if (layer == 1) {
            written = snprintf(below, sizeof below, "%s/usb%d/%d-1", path, n, n);
            snprintf(name, sizeof name, "%d-1.%d", n, port);
        } else if (layer == 2) {
            written = snprintf(below, sizeof below, "%s/usb%d/%d-1/%d-1.1", path, n, n, n);
            snprintf(name, sizeof name, "%d-1.1.%d", n, port);
        } else {
            written = snprintf(below, sizeof below, "%s/usb%d", path, n);
            snprintf(name, sizeof name, "%d-%d", n, port);
        }
        if (written >= static_cast<int>(sizeof below) ||
            comm_sys_search_partial_filename(below, name, nullptr, 0) != 0)
            continue;
        int device_class = usb_number(name, "bDeviceClass", 16);
        if (device_class < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s%d:System Internal Error\n", __func__, __LINE__);
            return count;
        }
        if (device_class != kHubClass)
            continue;
        int type = comm_sys_check_usb_expander_type(name, nullptr);
        if (type == USB_EXPANDER_TYPE_OWN)
            continue;
        bool read = false;
        int code = usb_speed(name, &read);
        if (max_usb_speed > 0 && read) {
            ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):max_usb_speed = %d\n", __func__, __LINE__,
                      max_usb_speed);
            ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):link_usb_speed = %d\n", __func__, __LINE__, code);
            if (!speed_passes(max_usb_speed, code))
                continue;
        }
        store_id(name, enc_sys_ids, max_count, count);
        ++count;
        // Nothing behind a managed box is an enclosure of its own.
        if (type == USB_EXPANDER_TYPE_PIC)
            return count;
        count += usb_expander_get_sysid_each_port(
            name, max_usb_speed, rest(enc_sys_ids, max_count, count), room(max_count, count));
    }
    return count;
}

int usb_expander_get_sysid_each_port(const char *name, int max_usb_speed, char **enc_sys_ids,
                                     unsigned int max_count) {
    int children = usb_number(name, "maxchild", 10);
    if (children <= 0)
        return 0;
    char hub_dir[HAL_SYSFS_PATH_LEN];
    snprintf(hub_dir, sizeof hub_dir, "%s/%s", kUsbDevices, name);
    int count = 0;
    for (int port = 1; port <= children; ++port) {
        char child[HAL_ID_LEN];
        if (snprintf(child, sizeof child, "%s.%d", name, port) >= static_cast<int>(sizeof child))
            break;
        char child_dir[HAL_SYSFS_PATH_LEN];
        if (snprintf(child_dir, sizeof child_dir, "%s/%s", hub_dir, child) >=
                static_cast<int>(sizeof child_dir) ||
            access(child_dir, F_OK) != 0 || usb_number(child, "bDeviceClass", 16) != kHubClass)
            continue;
        bool read = false;
        int code = usb_speed(child, &read);
        // A speed that can't be read lets the child through.
        if (max_usb_speed > 0 && read && !speed_passes(max_usb_speed, code))
            continue;
        store_id(child, enc_sys_ids, max_count, count);
        ++count;
        count += usb_expander_get_sysid_each_port(
            child, max_usb_speed, rest(enc_sys_ids, max_count, count), room(max_count, count));
    }
    return count;
}

int usb_expander_get_path(const char *name, char *path, int size) {
    if (!name || !path || size <= 1)
        return -1;
    char link[HAL_SYSFS_PATH_LEN];
    if (snprintf(link, sizeof link, "%s/%s", kUsbDevices, name) >= static_cast<int>(sizeof link))
        return -1;
    ssize_t n = readlink(link, path, static_cast<size_t>(size) - 1);
    if (n < 0)
        return -1;
    path[n] = '\0';
    return 0;
}

void usb_expander_get_parent(char *path, const char *name, int domain, const char *bus_text,
                             const char *bridge_text, char *parent, int *port_id) {
    if (!path || !name || !parent)
        return;
    parent[0] = '\0';
    // The device is the last component; the one before it is its hub.
    size_t name_len = strlen(name);
    size_t len = strlen(path);
    if (len <= name_len || strcmp(path + len - name_len, name) != 0 ||
        path[len - name_len - 1] != '/')
        return;
    path[len - name_len - 1] = '\0';
    const char *slash = strrchr(path, '/');
    char hub[HAL_ID_LEN];
    hal_copy(hub, sizeof hub, slash ? slash + 1 : path);

    int layer = comm_sys_get_usb_layer(name);
    int port = comm_sys_get_usb_port(name);
    bool read = false;
    int speed = usb_speed(name, &read);
    if (port == -1 || !read || speed == 0)
        return;
    if (layer == 0) {
        hal_copy(parent, HAL_ID_LEN, "root_usb");
        comm_sys_get_root_usb_port_id(domain, bus_text, bridge_text, 0, port, speed, port_id);
        return;
    }
    if ((layer == 1 || layer == 2) &&
        comm_sys_get_root_usb_port_id(domain, bus_text, bridge_text, layer, port, speed, port_id) ==
            0) {
        hal_copy(parent, HAL_ID_LEN, "root_usb");
        return;
    }
    // A hub name too long for an id leaves the parent unknown rather than cut.
    if (snprintf(parent, HAL_ID_LEN, "usb_%s", hub) >= HAL_ID_LEN)
        parent[0] = '\0';
}

int usb_expander_getinfo(const char *enc_sys_id, ENC_INFO *info) {
    char bus[HAL_ID_LEN];
    if (!info || !enc_sys_id || !strstr(enc_sys_id, "usb_"))
        return -1;
    bus_of(strstr(enc_sys_id, "usb_"), bus);
    char path[HAL_SYSFS_PATH_LEN];
    int domain = 0;
    char bus_text[HAL_ID_LEN];
    char bridge_text[HAL_ID_LEN];
    if (usb_expander_get_path(bus, path, sizeof path) != 0 ||
        comm_sys_assemble_dev_bus_from_path(path, &domain, bus_text, sizeof bus_text, bridge_text,
                                            sizeof bridge_text) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", __func__, __LINE__);
        return -1;
    }
    usb_expander_get_parent(path, bus, domain, bus_text, bridge_text, info->enc_parent_sys_id,
                            &info->enc_parent_port_id);
    if (strcmp(info->enc_parent_sys_id, "root_usb") == 0 && info->enc_parent_port_id == 0) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):%s is on no chassis port of the model\n", __func__,
                  __LINE__, enc_sys_id);
        return -1;
    }
    hal_copy(info->enc_sys_id, enc_sys_id);
    // Device text, stored as it is and never handed to a shell.
    comm_sys_get_usb_attribute(bus, "manufacturer", info->vendor, sizeof info->vendor);
    comm_sys_get_usb_attribute(bus, "product", info->model, sizeof info->model);

    int type_number = 0;
    int type = comm_sys_check_usb_expander_type(bus, &type_number);
    if (type < 0 || type == USB_EXPANDER_TYPE_OWN)
        return -1;
    char parent_bus[HAL_ID_LEN];
    if (bus_of(info->enc_parent_sys_id, parent_bus)) {
        // The inner hubs of a managed box or of the maker's own device are no enclosures.
        int parent_type = comm_sys_check_usb_expander_type(parent_bus, nullptr);
        if (parent_type == USB_EXPANDER_TYPE_OWN || parent_type == USB_EXPANDER_TYPE_PIC)
            return -1;
    }
    if (type == USB_EXPANDER_TYPE_PIC) {
        comm_sys_get_c_ext_enclosure_string(type_number, "MODEL", info->model, sizeof info->model);
        int32_t value = 0;
        if (comm_sys_get_c_ext_enclosure_integer(type_number, "CAP", &value, 1) == 0)
            info->capability = static_cast<uint32_t>(value);
        info->capability |= CAP_INTERNAL;
        comm_sys_get_c_ext_enclosure_integer(type_number, "MAX_FAN_NUM", &info->max_fan_num, 0);
        comm_sys_get_c_ext_enclosure_integer(type_number, "MAX_TEMP_NUM", &info->max_temp_num, 0);
        comm_sys_get_c_ext_enclosure_integer(type_number, "MAX_PORT_NUM", &info->max_disk_num, 0);
    } else {
        int children = usb_number(bus, "maxchild", 10);
        if (children >= 0)
            info->max_disk_num = children;
    }
    info->protocol = 2;
    info->enc_id = -1;
    memset(info->wwn, 0, sizeof info->wwn);
    info->status = 0;
    return 0;
}

int usb_expander_get_companion_port(int domain, const char *bus_text, int layer, int port,
                                    int *other_port) {
    int32_t ports = 0;
    if (!bus_text || !other_port || !model_int(kUsbEnclosure, "MAX_PORT_NUM", &ports))
        return -1;
    for (int n = 1; n <= ports; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "Usb Port %d", n);
        char bus[HAL_ID_LEN] = {};
        if (!model_text(section, "DEV_BUS", bus) ||
            nashal::topology::model_int_or(section, "IN_HUB", 0) != layer ||
            nashal::topology::model_int_or(section, "DEV_DOMAIN", 0) != domain ||
            strcmp(bus, bus_text) != 0)
            continue;
        int32_t value = 0;
        if (model_int(section, "DEV_PORT", &value)) {
            if (value == port) {
                *other_port = value;
                return 0;
            }
            continue;
        }
        int32_t other = 0;
        if (model_int(section, "DEV_PORT_SS", &value) && value == port &&
            model_int(section, "DEV_PORT_NS", &other)) {
            *other_port = other;
            return 0;
        }
    }
    return -1;
}

int usb_expander_get_ext_device_bus(char *usb_bus, int port, char *name, int size) {
    if (!usb_bus || !name || size <= 0)
        return -1;
    const char *dash = strchr(usb_bus, '-');
    if (!dash) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal System Error.\n", __func__, __LINE__);
        return -1;
    }
    const int own_bus = atoi(usb_bus);
    char link[HAL_SYSFS_PATH_LEN];
    char device[HAL_SYSFS_PATH_LEN];
    snprintf(device, sizeof device, "%s/%s", kUsbDevices, usb_bus);
    ssize_t n = readlink(device, link, sizeof link - 1);
    if (n < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal System Error.\n", __func__, __LINE__);
        return -1;
    }
    if (n >= static_cast<ssize_t>(sizeof link) - 1) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Buffer insufficent , need > %d\n", __func__, __LINE__,
                  static_cast<int>(sizeof link));
        return -1;
    }
    link[n] = '\0';
    char controller[HAL_SYSFS_PATH_LEN];
    hal_copy(controller, link);
    char *usb = strstr(controller, "usb");
    const char *devices = strstr(controller, "devices");
    if (!usb || !devices || devices > usb) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal System Error.\n", __func__, __LINE__);
        return -1;
    }
    *usb = '\0';
    char dir_path[HAL_SYSFS_PATH_LEN];
    snprintf(dir_path, sizeof dir_path, "/sys/%s", devices);
    nashal::DirHandle dir(opendir(dir_path));
    int other = -1;
    while (dir) {
        dirent *e = readdir(dir.get());
        if (!e)
            break;
        const int bus = root_hub_number(e->d_name);
        if (bus == -2)
            continue;
        if (bus == -1) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
        if (bus == own_bus && other != -1)
            continue;
        other = bus;
    }
    int written;
    if (other != -1 && other != own_bus) {
        // The box hangs on the SuperSpeed root hub; its serial adapter is on the USB 2 twin.
        int layer = comm_sys_get_usb_layer(usb_bus);
        int chassis_port = comm_sys_get_usb_port(usb_bus);
        int domain = 0;
        char bus_text[HAL_ID_LEN];
        char bridge_text[HAL_ID_LEN];
        if (comm_sys_assemble_dev_bus_from_path(link, &domain, bus_text, sizeof bus_text,
                                                bridge_text, sizeof bridge_text) == 0)
            usb_expander_get_companion_port(domain, bus_text, layer, chassis_port, &chassis_port);
        if (layer == 1)
            written = snprintf(name, size, "%d-1.%d.%d:1.0", other, chassis_port, port);
        else if (layer == 2)
            written = snprintf(name, size, "%d-1.1.%d.%d:1.0", other, chassis_port, port);
        else
            written = snprintf(name, size, "%d-%d.%d:1.0", other, chassis_port, port);
    } else {
        // One controller without a twin: the USB 2 part of the box's hub is a hub on one of
        // its own ports, numbered as the hub chip numbers them.
        char *cut = strrchr(usb_bus, '.');
        if (!cut)
            cut = strrchr(usb_bus, '-');
        if (!cut)
            return -1;
        int q = atoi(cut + 1);
        cut[1] = '\0';
        written = snprintf(name, size, "%s%d.%d:1.0", usb_bus, q < 5 ? q - 2 : q - 4, port);
    }
    return written < size ? 0 : -1;
}

int usb_expander_get_LCM_devname(const char *usb_bus, char *device, int size) {
    return serial_devname(usb_bus, "Port_LCM", device, size);
}

int usb_expander_get_PIC_devname(const char *usb_bus, char *device, int size) {
    return serial_devname(usb_bus, "Port_PIC", device, size);
}

}  // extern "C"
