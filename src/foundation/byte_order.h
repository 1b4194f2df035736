// Multi-byte fields of device data. SCSI pages and firmware headers are big-endian, ATA IDENTIFY
// and SMART data little-endian words; every reader and every emulator takes and puts them through
// these helpers, never by hand-written shifts.
#ifndef NASHAL_FOUNDATION_BYTE_ORDER_H
#define NASHAL_FOUNDATION_BYTE_ORDER_H

#include <cstddef>
#include <cstdint>

namespace nashal {

constexpr uint16_t load_be16(const uint8_t *p) {
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}
constexpr uint32_t load_be32(const uint8_t *p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}
constexpr uint64_t load_be64(const uint8_t *p) {
    return (static_cast<uint64_t>(load_be32(p)) << 32) | load_be32(p + 4);
}
constexpr uint16_t load_le16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
constexpr uint32_t load_le32(const uint8_t *p) {
    return p[0] | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}
constexpr uint64_t load_le64(const uint8_t *p) {
    return load_le32(p) | (static_cast<uint64_t>(load_le32(p + 4)) << 32);
}
// The low `count` bytes (at most 8) of a little-endian number, as ATA keeps 48-bit values.
constexpr uint64_t load_le(const uint8_t *p, size_t count) {
    uint64_t value = 0;
    for (size_t i = count; i > 0; --i)
        value = (value << 8) | p[i - 1];
    return value;
}

// A big-endian number of `count` bytes (at most 8), as SCSI log parameters hold counters of
// any width.
constexpr uint64_t load_be(const uint8_t *p, size_t count) {
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i)
        value = (value << 8) | p[i];
    return value;
}

inline void store_be16(uint8_t *p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}
inline void store_be32(uint8_t *p, uint32_t v) {
    store_be16(p, static_cast<uint16_t>(v >> 16));
    store_be16(p + 2, static_cast<uint16_t>(v));
}
inline void store_be64(uint8_t *p, uint64_t v) {
    store_be32(p, static_cast<uint32_t>(v >> 32));
    store_be32(p + 4, static_cast<uint32_t>(v));
}
inline void store_le16(uint8_t *p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void store_le32(uint8_t *p, uint32_t v) {
    store_le16(p, static_cast<uint16_t>(v));
    store_le16(p + 2, static_cast<uint16_t>(v >> 16));
}
inline void store_le64(uint8_t *p, uint64_t v) {
    store_le32(p, static_cast<uint32_t>(v));
    store_le32(p + 4, static_cast<uint32_t>(v >> 32));
}
inline void store_le(uint8_t *p, size_t count, uint64_t v) {
    for (size_t i = 0; i < count; ++i, v >>= 8)
        p[i] = static_cast<uint8_t>(v);
}

namespace byte_order_check {
constexpr uint8_t kSample[8] = {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 0xde, 0xf0};
static_assert(load_be32(kSample) == 0x12345678u && load_le32(kSample) == 0x78563412u);
static_assert(load_be64(kSample) == 0x123456789abcdef0ull &&
              load_le(kSample, 6) == 0xbc9a78563412ull);
}  // namespace byte_order_check

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_BYTE_ORDER_H
