// The enclosures of the main unit, one row each: the id the library gives it, the model file
// section that describes it, the key that counts its slots, the name of its slot sections, and
// where its enclosure ids start. Enumeration, the reverse lookup of a disk, the readers of
// ENC_INFO and the id allocation all read this one table, so a new kind of board enclosure is
// one new row.
#ifndef NASHAL_TOPOLOGY_MAIN_UNIT_KINDS_H
#define NASHAL_TOPOLOGY_MAIN_UNIT_KINDS_H

#include <cstring>

#include "topology/model_file.h"

namespace nashal::topology {

enum class MainUnitKind { System, Boot, Usb, Esata, Cache, Pcie };

struct MainUnitEnclosure {
    MainUnitKind kind;
    // The whole enc_sys_id, or for the PCIe slots the prefix the slot number follows.
    const char *id;
    bool id_is_prefix;
    // The model section of the enclosure; for the PCIe slots "<section> <slot>".
    const char *section;
    const char *count_key;
    // Slot sections are "<slot_prefix> <n>", n from 1; none for the PCIe slots, whose card is
    // the whole enclosure.
    const char *slot_prefix;
    // Slots are USB ports. The boot device says so per board in "DISK_DRV_TYPE" instead.
    bool usb;
    // The enclosure map hands this kind ids from here on.
    int first_id;
};

// Ids of external enclosures start here, above every id of the main unit.
constexpr int kExternalFirstId = 32;

// In the order the main unit's enclosures are listed and tried.
inline constexpr MainUnitEnclosure kMainUnitEnclosures[] = {
    {MainUnitKind::System, "root", false, kSystemEnclosure, "MAX_DISK_NUM", "System Disk", false,
     0},
    {MainUnitKind::Boot, "root_boot", false, "Boot Enclosure", "MAX_DISK_NUM", "Boot Disk", false,
     0},
    {MainUnitKind::Usb, "root_usb", false, "Usb Enclosure", "MAX_PORT_NUM", "Usb Port", true, 0},
    {MainUnitKind::Esata, "root_esata", false, "Esata Enclosure", "MAX_DISK_NUM", "Esata Disk",
     false, 0},
    // Cache bays and PCIe cards come and go with options, so they take ids above the fixed ones.
    {MainUnitKind::Cache, "root_cache", false, "Cache Enclosure", "MAX_DISK_NUM", "Cache Disk",
     false, 23},
    {MainUnitKind::Pcie, "root_pcie_", true, "System PCIE SLOT", nullptr, nullptr, false, 23},
};

// The row of a kind.
constexpr const MainUnitEnclosure &main_unit_enclosure(MainUnitKind kind) {
    return kMainUnitEnclosures[static_cast<int>(kind)];
}

// The row an enc_sys_id belongs to; nullptr for an id that is no enclosure of the main unit.
inline const MainUnitEnclosure *main_unit_enclosure(const char *enc_sys_id) {
    if (!enc_sys_id)
        return nullptr;
    for (const MainUnitEnclosure &row : kMainUnitEnclosures) {
        bool match = row.id_is_prefix ? strncmp(enc_sys_id, row.id, strlen(row.id)) == 0
                                      : strcmp(enc_sys_id, row.id) == 0;
        if (match)
            return &row;
    }
    return nullptr;
}

constexpr bool rows_in_kind_order() {
    int n = 0;
    for (const MainUnitEnclosure &row : kMainUnitEnclosures)
        if (static_cast<int>(row.kind) != n++)
            return false;
    return n == static_cast<int>(MainUnitKind::Pcie) + 1;
}
static_assert(rows_in_kind_order(), "one row per kind, in the enum's order");

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_MAIN_UNIT_KINDS_H
