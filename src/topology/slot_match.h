// Does a slot section of the model file name a device's place? One matcher for the bays (a
// controller port below a PCI function) and one for the USB ports, so every lookup compares the
// same keys with the same defaults. Whether the PCI domain takes part is the caller's to say:
// the chassis port lookup and the slot number of a bay compare it, while the disk-to-enclosure
// lookups never have (boards with more than one PCI domain have never put slots on both).
#ifndef NASHAL_TOPOLOGY_SLOT_MATCH_H
#define NASHAL_TOPOLOGY_SLOT_MATCH_H

#include <cstdint>
#include <cstdio>

#include "nashal/hal_types.h"
#include "topology/model_file.h"

namespace nashal::topology {

enum class DomainCheck { Compared, Ignored };

// A disk's place below a controller.
struct BayPlace {
    int domain;
    const char *bus;  // the controller's bus text
    int port;         // its physical port
    // The PCI switch port in front of the controller; -1 lets any slot's switch port match.
    int switch_port;
};

// A device's place on a USB tree.
struct UsbPlace {
    int domain;
    const char *bus;     // the host controller's bus text
    const char *bridge;  // the bridge in front of it; nullptr or empty for none
    int layer;           // hubs between the root hub and the device
    int port;
    int speed;  // link speed code: picks "DEV_PORT_SS" or "DEV_PORT_NS" without "DEV_PORT"
};

// A bay section: "DEV_BUS" and "DEV_PORT" are required, "DEV_DOMAIN" is 0 and
// "PCI_SWITCH_PORT" -1 when missing.
bool bay_matches(const char *section, const BayPlace &place, DomainCheck domain);

// A USB port section: "DEV_BUS" is required; the port list is "DEV_PORT", else the list of the
// link speed; "IN_HUB" (0) must equal the layer; "DEV_BRIDGE_BUS", when set, must equal the
// bridge.
bool usb_slot_matches(const char *section, const UsbPlace &place, DomainCheck domain);

// The sections of one USB slot: the slot's own section, or, when it has "MULTI_DEVICE" = k, its
// k entries "<section>-1" to "<section>-k" (a hub or card reader on one chassis port). Calls
// visit(entry) for each until one returns true; true when one did.
template <typename Visit>
bool visit_usb_entries(const char *section, Visit visit) {
    int32_t multi = 0;
    model_int(section, "MULTI_DEVICE", &multi);
    // A negative count lists no entry at all, as a loop from 0 to it would.
    if (multi == 0)
        return visit(section);
    for (int m = 1; m <= multi; ++m) {
        char entry[HAL_NAME_LEN + 16];
        snprintf(entry, sizeof(entry), "%s-%d", section, m);
        if (visit(static_cast<const char *>(entry)))
            return true;
    }
    return false;
}

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SLOT_MATCH_H
