// The SMART sectors as a SATA disk returns them (SMART READ DATA, SMART READ THRESHOLDS), and
// the SCT error recovery control sector it takes: every offset the readers and the virtual
// appliance's disk model use. Multi-byte fields are little-endian; take them through
// foundation/byte_order.h.
#ifndef NASHAL_DISK_SMART_LAYOUT_H
#define NASHAL_DISK_SMART_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "nashal/pd_smart.h"

namespace nashal::smart {

constexpr size_t kSectorSize = 512;

// Both sectors: a table of 30 entries of 12 bytes from byte 2, and a checksum in the last byte
// that makes the sum of all 512 bytes 0 modulo 256.
constexpr size_t kTableOffset = 2;
constexpr size_t kEntrySize = 12;
constexpr size_t kEntryCount = SMART_ATTR_MAX;
constexpr size_t kChecksumOffset = 511;
static_assert(kTableOffset + kEntryCount * kEntrySize == 362, "table ends at byte 362");

// An attribute entry of SMART READ DATA. An id of 0 ends the table.
constexpr size_t kAttrId = 0;
constexpr size_t kAttrFlags = 1;  // 2 bytes
constexpr size_t kAttrValue = 3;
constexpr size_t kAttrWorst = 4;
constexpr size_t kAttrRaw = 5;  // 6 bytes
constexpr size_t kAttrRawSize = 6;
static_assert(kAttrRaw + kAttrRawSize <= kEntrySize - 1, "byte 11 is reserved");

// A threshold entry of SMART READ THRESHOLDS.
constexpr size_t kThreshId = 0;
constexpr size_t kThreshValue = 1;

// The rest of SMART READ DATA.
constexpr size_t kOfflineStatus = 362;
constexpr size_t kSelfTestStatus = 363;  // high nibble status, low nibble tenths remaining
constexpr size_t kShortPollMinutes = 372;
constexpr size_t kExtendedPollMinutes = 373;

// Self-test execution status (high nibble of byte 363).
constexpr uint8_t kSelfTestDone = 0x0;
constexpr uint8_t kSelfTestAborted = 0x1;
constexpr uint8_t kSelfTestInProgress = 0xF;

// The sector of SMART WRITE LOG to log 0xE0 (SCT command): 16-bit words.
constexpr size_t kSctActionCode = 0;  // word 0
constexpr size_t kSctFunction = 2;    // word 1
constexpr size_t kSctSelector = 4;    // word 2
constexpr size_t kSctValue = 6;       // word 3
constexpr uint16_t kSctErrorRecoveryControl = 3;
constexpr uint16_t kSctSet = 1;
constexpr uint16_t kSctGet = 2;
constexpr uint16_t kSctReadTimer = 1;
constexpr uint16_t kSctWriteTimer = 2;

static_assert(sizeof(SMART_ATTR) == 88, "a cached entry is 88 bytes");
static_assert(sizeof(PD_SMART_INFO) == 48, "the cached header is twelve words");
static_assert(offsetof(PD_SMART_INFO, attr) == 48, "entries follow the header");

}  // namespace nashal::smart

#endif  // NASHAL_DISK_SMART_LAYOUT_H
