// The slot matchers of the model file.
#include "topology/slot_match.h"

#include <cstring>

#include "nashal/comm_path.h"

namespace nashal::topology {

bool bay_matches(const char *section, const BayPlace &place, DomainCheck domain) {
    char dev_bus[HAL_ID_LEN];
    int32_t dev_port = 0;
    if (!place.bus || !model_text(section, "DEV_BUS", dev_bus) ||
        !model_int(section, "DEV_PORT", &dev_port))
        return false;
    if (strcmp(place.bus, dev_bus) != 0 || dev_port != place.port)
        return false;
    if (domain == DomainCheck::Compared) {
        int32_t dev_domain = 0;
        model_int(section, "DEV_DOMAIN", &dev_domain);
        if (dev_domain != place.domain)
            return false;
    }
    if (place.switch_port == -1)
        return true;
    int32_t switch_port = -1;
    model_int(section, "PCI_SWITCH_PORT", &switch_port);
    return switch_port == place.switch_port;
}

bool usb_slot_matches(const char *section, const UsbPlace &place, DomainCheck domain) {
    char dev_bus[HAL_ID_LEN];
    if (!place.bus || !model_text(section, "DEV_BUS", dev_bus))
        return false;
    char bridge[HAL_ID_LEN];
    model_text(section, "DEV_BRIDGE_BUS", bridge);
    int32_t dev_domain = 0;
    model_int(section, "DEV_DOMAIN", &dev_domain);
    int32_t in_hub = 0;
    model_int(section, "IN_HUB", &in_hub);
    char ports[HAL_ID_LEN];
    if (!model_text(section, "DEV_PORT", ports) &&
        !model_text(section, place.speed == PD_LINK_SPEED_USB_5G ? "DEV_PORT_SS" : "DEV_PORT_NS",
                    ports))
        return false;
    if (strcmp(place.bus, dev_bus) != 0 || place.layer != in_hub ||
        (domain == DomainCheck::Compared && place.domain != dev_domain))
        return false;
    if (bridge[0] != '\0' && strcmp(place.bridge ? place.bridge : "", bridge) != 0)
        return false;
    for (int p; (p = comm_sys_get_each_usb_port(ports)) != 0;)
        if (p == place.port)
            return true;
    return false;
}

}  // namespace nashal::topology
