// Readers of the main unit's enclosures and the tests that tell the kinds of enc_sys_id apart.
#ifndef NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H
#define NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H

#include <cstdint>
#include <cstring>

#include "nashal/comm_ses.h"
#include "nashal/hal_types.h"

namespace nashal::enclosure {

int root_get_info(ENC_INFO *info);
int root_boot_get_info(ENC_INFO *info);
int root_usb_get_info(ENC_INFO *info);
int root_esata_get_info(ENC_INFO *info);
int root_cache_get_info(ENC_INFO *info);
int root_pcie_get_info(const char *enc_sys_id, ENC_INFO *info);

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

}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_ENCLOSURE_KINDS_H
