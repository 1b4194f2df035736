// Internal access to the raw CMOS setting bytes, for tools that show them as they stand.
#ifndef NASHAL_TOPOLOGY_CMOS_SETTINGS_H
#define NASHAL_TOPOLOGY_CMOS_SETTINGS_H

#include <cstdint>

namespace nashal {

// Reads the byte that the model key ("PWR_RECOVERY_CMOS_STORE", "C2F_CMOS_STORE") places;
// false when the model has no such store.
bool cmos_read_setting_byte(const char *store_key, uint8_t *byte);

}  // namespace nashal

#endif  // NASHAL_TOPOLOGY_CMOS_SETTINGS_H
