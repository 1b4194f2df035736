// Disks of a USB enclosure. A managed box (kind 2) has fixed slots: "Port%d" of its external
// type names the port path of each slot on the box's inner hubs ("2", or "4.1" behind a second
// hub), so a slot exists even while it holds no disk. A plain hub has no slots of its own: every
// mass storage device on one of its ports is its disk.
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_model.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/sysfs_read.h"

using namespace nashal::disk;
using nashal::topology::kUsbDevices;

namespace {

int32_t slot_count(int type_number) {
    int32_t slots = 0;
    if (comm_sys_get_c_ext_enclosure_integer(type_number, "MAX_PORT_NUM", &slots, 0) != 0)
        return 0;
    return slots;
}

char **rest(char **list, int room, int count) {
    return list && count < room ? list + count : nullptr;
}

}  // namespace

extern "C" int lookup_disk_in_usb_port(const char *usb_devices_dir, const char *port_bus_name,
                                       char **list, int room) {
    if (!usb_devices_dir || !port_bus_name)
        return 0;
    char interface[kPathLen];
    if (snprintf(interface, sizeof interface, "%s/%s/%s:1.0", usb_devices_dir, port_bus_name,
                 port_bus_name) >= kPathLen)
        return 0;
    int host = -1;
    if (get_sdev_host(interface, 0, &host, nullptr) != 0)
        return 0;
    char target[kPathLen];
    if (snprintf(target, sizeof target, "%s/host%d/target%d:0:0", interface, host, host) >=
        kPathLen)
        return 0;
    nashal::DirHandle d(opendir(target));
    if (!d)
        return 0;
    char prefix[kIdLen];
    snprintf(prefix, sizeof prefix, "%d:0:0:", host);
    int count = 0;
    int stored = 0;
    while (dirent *e = readdir(d.get())) {
        if (strncmp(e->d_name, prefix, strlen(prefix)) != 0)
            continue;
        char lun[kPathLen];
        char id[kIdLen];
        if (snprintf(lun, sizeof lun, "%s/%s", target, e->d_name) >= kPathLen ||
            comm_sys_get_sdev_sysid(lun, id) != 0)
            continue;
        ++count;
        list_store(list, room, &stored, id);
    }
    return count;
}

extern "C" int enumerate_pd_in_usb_expander(const char *enc_sys_id, char **list, int list_size) {
    if (!enc_sys_id || strncmp(enc_sys_id, "usb_", 4) != 0)
        return -1;
    char bus[kIdLen];
    nashal::hal_copy(bus, enc_sys_id + 4);
    int type_number = 0;
    int type = comm_sys_check_usb_expander_type(bus, &type_number);
    int count = 0;
    if (type == USB_EXPANDER_TYPE_PIC) {
        const int32_t slots = slot_count(type_number);
        for (int n = 1; n <= slots; ++n) {
            char key[kIdLen];
            snprintf(key, sizeof key, "Port%d", n);
            char value[kIdLen] = {};
            if (comm_sys_get_c_ext_enclosure_string(type_number, key, value, sizeof value) != 0 ||
                !value[0])
                continue;
            char directory[kPathLen];
            // "4.1": port 1 of the inner hub on port 4 of the box's own hub.
            if (strchr(value, '.'))
                snprintf(directory, sizeof directory, "%s/%s/%s.%d", kUsbDevices, bus, bus,
                         atoi(value));
            else
                snprintf(directory, sizeof directory, "%s/%s", kUsbDevices, bus);
            char port_bus[kIdLen];
            if (snprintf(port_bus, sizeof port_bus, "%s.%s", bus, value) >= kIdLen)
                continue;
            count += lookup_disk_in_usb_port(directory, port_bus, rest(list, list_size, count),
                                             list_size > count ? list_size - count : 0);
        }
        return count;
    }
    if (type != USB_EXPANDER_TYPE_HUB && type != USB_EXPANDER_TYPE_LISTED)
        return 0;
    char directory[kPathLen];
    snprintf(directory, sizeof directory, "%s/%s", kUsbDevices, bus);
    nashal::DirHandle d(opendir(directory));
    if (!d)
        return 0;
    char prefix[kIdLen + 1];
    snprintf(prefix, sizeof prefix, "%s.", bus);
    while (dirent *e = readdir(d.get()))
        if (strncmp(e->d_name, prefix, strlen(prefix)) == 0)
            count += lookup_disk_in_usb_port(directory, e->d_name, rest(list, list_size, count),
                                             list_size > count ? list_size - count : 0);
    return count;
}

extern "C" int get_usb_expander_port(const char *bus_name, const char *pd_sys_id, int type_index,
                                     PD_INFO *pd_info) {
    if (!pd_info)
        return -1;
    pd_info->port_id = -1;
    char link[kPathLen];
    char disk_bus[kIdLen];
    if (!bus_name || !pd_sys_id || comm_sys_get_sg_path_info(pd_sys_id, link, sizeof link) < 0 ||
        !usb_bus_from_path(link, disk_bus))
        return -1;
    // The disk's own bus name is the box's and its port path behind one separator.
    const size_t len = strlen(bus_name);
    if (strncmp(disk_bus, bus_name, len) != 0 || disk_bus[len] != '.')
        return -1;
    const char *port_path = disk_bus + len + 1;
    const int32_t slots = slot_count(type_index);
    for (int n = 1; n <= slots; ++n) {
        char key[kIdLen];
        snprintf(key, sizeof key, "Port%d", n);
        char value[kIdLen] = {};
        if (comm_sys_get_c_ext_enclosure_string(type_index, key, value, sizeof value) == 0 &&
            strcmp(value, port_path) == 0) {
            pd_info->port_id = n;
            break;
        }
    }
    return 0;
}
