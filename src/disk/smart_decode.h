// Parsers of the SMART sectors: bytes in, records out, no device in sight, so that they are
// tested on captured sectors and fuzzed.
#ifndef NASHAL_DISK_SMART_DECODE_H
#define NASHAL_DISK_SMART_DECODE_H

#include <cstddef>
#include <cstdint>

#include "nashal/pd_smart.h"

namespace nashal::smart {

// True when the 512 bytes sum to 0 modulo 256.
bool checksum_ok(const uint8_t *sector);

// Fills attrs from a SMART READ DATA sector: entries in table order, stopping at the first id 0,
// after 30, or at attrs_size. Thresholds are left 0. Returns the number filled.
int decode_attributes(const uint8_t *data, SMART_ATTR *attrs, int attrs_size);

// Gives each attribute the threshold of the first entry with its id in a SMART READ THRESHOLDS
// sector, 0 when there is none.
void apply_thresholds(const uint8_t *thresholds, SMART_ATTR *attrs, int count);

// The self test as the data sector reports it: the status nibble, and the percent done
// (100 less ten times the tenths remaining).
struct SelfTestState {
    int status;
    int percent;
};
SelfTestState decode_self_test(const uint8_t *data);

}  // namespace nashal::smart

#endif  // NASHAL_DISK_SMART_DECODE_H
