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
#include "topology/sysfs_read.h"

using nashal::topology::kModelConf;

namespace {

// One "Usb Port" section against a place on the USB tree.
bool usb_section_matches(const char *section, int domain, const char *bus_text,
                         const char *bridge_text, int layer, int port, int speed) {
    char dev_bus[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(kModelConf, section, "DEV_BUS", dev_bus, sizeof dev_bus) < 0)
        return false;
    char bridge[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(kModelConf, section, "DEV_BRIDGE_BUS", bridge, sizeof bridge) < 0)
        bridge[0] = '\0';
    int32_t dev_domain = 0;
    if (Ini_Conf_Get_Field_Int(kModelConf, section, "DEV_DOMAIN", &dev_domain, INI_CONF_DEC) < 0)
        dev_domain = 0;
    char ports[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(kModelConf, section, "DEV_PORT", ports, sizeof ports) < 0) {
        // Boards that wire SuperSpeed and older lanes to different controller ports.
        const char *key = speed == PD_LINK_SPEED_USB_5G ? "DEV_PORT_SS" : "DEV_PORT_NS";
        if (Ini_Conf_Get_Field(kModelConf, section, key, ports, sizeof ports) < 0)
            return false;
    }
    int32_t in_hub = 0;
    if (Ini_Conf_Get_Field_Int(kModelConf, section, "IN_HUB", &in_hub, INI_CONF_DEC) < 0)
        in_hub = 0;
    if (layer != in_hub)
        return false;
    const char *bridge_here = bridge_text ? bridge_text : "";
    for (int p = comm_sys_get_each_usb_port(ports); p != 0; p = comm_sys_get_each_usb_port(ports)) {
        if (strcmp(bus_text, dev_bus) == 0 && port == p && domain == dev_domain &&
            (bridge[0] == '\0' || strcmp(bridge_here, bridge) == 0))
            return true;
    }
    return false;
}

}  // namespace

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
    if (Ini_Conf_Get_Field_Int(kModelConf, "Usb Enclosure", "MAX_PORT_NUM", &max_port,
                               INI_CONF_DEC) < 0)
        return -1;
    for (int n = 1; n <= max_port; ++n) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "Usb Port %d", n);
        int32_t multi = 0;
        if (Ini_Conf_Get_Field_Int(kModelConf, section, "MULTI_DEVICE", &multi, INI_CONF_DEC) < 0)
            multi = 0;
        bool found = false;
        if (multi <= 0) {
            found = usb_section_matches(section, domain, bus_text, bridge_text, layer, port, speed);
        } else {
            for (int sub = 1; sub <= multi && !found; ++sub) {
                snprintf(section, sizeof section, "Usb Port %d-%d", n, sub);
                found =
                    usb_section_matches(section, domain, bus_text, bridge_text, layer, port, speed);
            }
        }
        if (found) {
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
