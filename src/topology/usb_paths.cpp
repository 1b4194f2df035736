// USB places: layers and ports of a kernel USB name (2-1.4), attributes under
// /sys/bus/usb/devices, the chassis port of a place on the tree, and link speed texts.
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "topology/slot_match.h"
#include "topology/sysfs_read.h"

using namespace nashal::topology;

extern "C" {

int comm_sys_get_usb_layer(const char *name) {
    if (!name)
        return -1;
    int dots = 0;
    for (const char *c = name; *c; ++c)
        dots += *c == '.';
    return dots;
}

int comm_sys_get_usb_port(const char *name) {
    if (!name)
        return -1;
    const char *mark = strrchr(name, '.');
    if (!mark)
        mark = strchr(name, '-');
    if (!mark)
        return -1;
    return static_cast<int>(strtol(mark + 1, nullptr, 10));
}

int comm_sys_get_usb_attribute(const char *name, const char *attribute, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    if (!name || !attribute)
        return -1;
    char path[HAL_SYSFS_PATH_LEN];
    if (snprintf(path, sizeof path, "%s/%s/%s", nashal::topology::kUsbDevices, name, attribute) >=
        static_cast<int>(sizeof path))
        return -1;
    int n = nashal::topology::read_attribute(path, buffer, static_cast<size_t>(size));
    if (n <= 0) {
        buffer[0] = '\0';
        return n < 0 ? n : -1;
    }
    // The last byte read is the attribute's newline.
    buffer[n - 1] = '\0';
    return 0;
}

int comm_sys_get_root_usb_port_id(int domain, const char *bus_text, const char *bridge_text,
                                  int layer, int port, int speed, int *port_id) {
    if (!bus_text)
        return -1;
    int32_t max_port = 0;
    if (!model_int("Usb Enclosure", "MAX_PORT_NUM", &max_port))
        return -1;
    const UsbPlace place{domain, bus_text, bridge_text, layer, port, speed};
    for (int n = 1; n <= max_port; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "Usb Port %d", n);
        // A chassis port is told by its place alone, the PCI domain included.
        if (visit_usb_entries(section, [&](const char *entry) {
                return usb_slot_matches(entry, place, DomainCheck::Compared);
            })) {
            if (port_id)
                *port_id = n;
            return 0;
        }
    }
    return -1;
}

int common_sys_transfer_pd_link_speed(int kind, const char *text) {
    if (!text)
        return PD_LINK_SPEED_UNKNOWN;
    if (kind == 1) {
        static const struct {
            const char *text;
            int code;
        } usb[] = {{"5000", PD_LINK_SPEED_USB_5G},
                   {"480", PD_LINK_SPEED_USB_480M},
                   {"12", PD_LINK_SPEED_USB_12M},
                   {"1.5", PD_LINK_SPEED_USB_1_5M}};
        for (const auto &s : usb)
            if (strcmp(text, s.text) == 0)
                return s.code;
        return PD_LINK_SPEED_UNKNOWN;
    }
    if (kind == 2 || kind == 4) {
        // sysfs writes "6.0 Gbps" or "6.0 Gbit": only the leading number counts.
        static const struct {
            const char *text;
            int code;
        } wire[] = {{"12.0", PD_LINK_SPEED_12G},
                    {"6.0", PD_LINK_SPEED_6G},
                    {"3.0", PD_LINK_SPEED_3G},
                    {"1.5", PD_LINK_SPEED_1_5G}};
        for (const auto &s : wire)
            if (strncasecmp(text, s.text, strlen(s.text)) == 0)
                return s.code;
    }
    return PD_LINK_SPEED_UNKNOWN;
}

}  // extern "C"
