// What halctl doctor's bay walks share: the report of one bay, link by link, and the walks of
// the expansion enclosures (SAS shelves, USB and Thunderbolt boxes) and PCIe slot cards beside the
// main unit's own bays.
#ifndef NASHAL_HALCTL_DOCTOR_H
#define NASHAL_HALCTL_DOCTOR_H

#include <string>
#include <vector>

#include "halctl.h"

namespace halctl::doctor {

// Whether this build of the library carries a function: looked up by name at run time, so the
// answer follows the library halctl runs with and no table here goes stale as drivers land.
bool in_build(const char *symbol);

struct Report {
    std::vector<Output::Field> fields;
    std::string broken;   // the first broken link, empty when the bay resolves
    bool empty = false;   // the chain holds up to the port, and no disk is there
    bool unset = false;   // a bay within the count that nothing describes
    std::string warning;  // what works on the board but not in this build

    void set(const std::string &key, const std::string &value) {
        fields.push_back(Output::text(key, value));
    }
    void note(const std::string &what) { warning += (warning.empty() ? "" : "; ") + what; }
    void fail(const std::string &why) {
        if (broken.empty())
            broken = why;
    }
    const char *status() const {
        return unset ? "unset" : empty ? "empty" : broken.empty() ? "ok" : "broken";
    }
};

struct Bay {
    int bay;  // 0: a disk the enclosure has no bay for
    Report report;
};

// The bays of the attached expansion enclosure `enc_sys_id` (a SAS shelf "sg%d" or a USB
// enclosure "usb_<bus>"), every one or only `only_bay` (0: all), with `max_disk_num` as the
// registry recorded it. False when the enclosure is of neither kind.
bool follow_expander(const char *enc_sys_id, int max_disk_num, int only_bay,
                     std::vector<Bay> &bays);

// The disks of the card in the PCIe slot enclosure `enc_sys_id` ("root_pcie_N"), each in the
// bay of its port, every one or only `only_bay` (0: all); the slot itself, as bay 0, when it has
// none. False when the id isn't a PCIe slot's.
bool follow_pcie_slot(const char *enc_sys_id, int only_bay, std::vector<Bay> &bays);

// The bays of the Thunderbolt box `enc_sys_id` ("i2c-N") as its model file names them, every one
// or only `only_bay` (0: all); the box itself, as bay 0, when the walk stops before its bays.
// False when the id isn't a Thunderbolt box's.
bool follow_thunderbolt_box(const char *enc_sys_id, int only_bay, std::vector<Bay> &bays);

}  // namespace halctl::doctor

#endif  // NASHAL_HALCTL_DOCTOR_H
