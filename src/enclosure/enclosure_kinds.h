// Readers of the main unit's enclosures and the tests that tell the kinds of enc_sys_id apart.
#ifndef NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H
#define NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/comm_ses.h"
#include "nashal/hal_types.h"
#include "topology/main_unit_kinds.h"

namespace nashal::enclosure {

// ENC_INFO of an enclosure of the main unit, from the model file. A key that is missing leaves
// its field 0 or empty; these readers never fail.
int main_unit_get_info(const topology::MainUnitEnclosure &row, const char *enc_sys_id,
                       ENC_INFO *info);

uint32_t all_slots_bitmap(int max_disk_num);

inline bool is(const char *enc_sys_id, const char *kind) {
    return enc_sys_id && strcmp(enc_sys_id, kind) == 0;
}

inline bool has_prefix(const char *enc_sys_id, const char *prefix) {
    return enc_sys_id && strncmp(enc_sys_id, prefix, strlen(prefix)) == 0;
}

// A SAS expansion enclosure, as the enclosure services layer recognises it.
inline bool is_sas(const char *enc_sys_id) {
    return enc_sys_id && comm_sys_check_is_sas_expander(enc_sys_id) == 0;
}

// The SCSI generic devices whose controller sits at `dev_bus` (a PCIe slot's "DEV_BUS"), their
// names added to `names` when given; with `skip_expanders` a device whose path runs through a
// SAS expander is left out. A device whose path or bus can't be worked out is traced and
// compared all the same. Their number, or -1 (traced for `who`) when the class can't be read.
int disks_on_bus(const char *who, const char *dev_bus, bool skip_expanders,
                 std::vector<std::string> *names = nullptr);

}  // namespace nashal::enclosure

extern "C" {
// The main unit's serial number, by "BOARD_SN_DEVICE" (board_identity_routes.cpp). 0 or negative.
int root_get_board_sn(char *buffer, int size);
int root_set_board_sn(const char *serial);
}

#endif  // NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H
