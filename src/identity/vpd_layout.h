// The two vital product data ROMs, declared once: the motherboard ROM (216 bytes) and the
// backplane ROM (224 bytes). Both follow the IPMI FRU information area structure (common
// header; chassis, board and product areas in 8-byte units, each closed by a zero-sum
// checksum; type/length bytes in front of every field), with every field at a fixed place so
// that it can be read at a known offset without walking the areas.
//
// Each layout is a table of items in offset order. The validator walks it to repair an image,
// the default ROM is built by it, and the emulator's images are checked against it.
#ifndef NASHAL_IDENTITY_VPD_LAYOUT_H
#define NASHAL_IDENTITY_VPD_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "nashal/vpd.h"

namespace nashal::identity {

constexpr size_t kMbRomSize = 216;
constexpr size_t kBpRomSize = 224;
constexpr size_t kVpdRomMax = 224;

// FRU type/length byte: type in the upper two bits, length in the lower six.
constexpr uint8_t kTypeBinary = 0;
constexpr uint8_t kTypeText = 3;  // 8-bit ASCII+Latin1
constexpr uint8_t type_length(uint8_t type, uint8_t length) {
    return static_cast<uint8_t>(type * 64 + length);
}
constexpr uint8_t kEndOfFields = 0xC1;

enum class VpdItemKind : uint8_t {
    kConstant,  // a header byte with a fixed value; a difference counts as a repair
    kFiller,    // pad, zero and end-marker bytes: set without counting
    kField,     // a type/length byte and `size` bytes of the field's `type`
    kChecksum,  // the zero-sum byte closing the area that starts at `value` (8-byte units)
    kOpaque,    // bytes the validator leaves alone (dates, the chassis type)
};

struct VpdItem {
    uint8_t offset;
    VpdItemKind kind;
    uint8_t size;   // bytes covered (a field's data length; 1 for single bytes)
    uint8_t value;  // the constant, the field's type, or the area's first offset
};

constexpr VpdItem constant(uint8_t offset, uint8_t value) {
    return {offset, VpdItemKind::kConstant, 1, value};
}
constexpr VpdItem filler(uint8_t offset, uint8_t value, uint8_t count = 1) {
    return {offset, VpdItemKind::kFiller, count, value};
}
constexpr VpdItem text(uint8_t offset, uint8_t length) {
    return {offset, VpdItemKind::kField, length, kTypeText};
}
constexpr VpdItem binary(uint8_t offset, uint8_t length) {
    return {offset, VpdItemKind::kField, length, kTypeBinary};
}
constexpr VpdItem checksum(uint8_t offset, uint8_t area_start) {
    return {offset, VpdItemKind::kChecksum, 1, area_start};
}
constexpr VpdItem opaque(uint8_t offset, uint8_t count) {
    return {offset, VpdItemKind::kOpaque, count, 0};
}

// Minutes since 2013/01/01 00:00 local time, little-endian, 3 bytes.
constexpr size_t kMfgDateSize = 3;
constexpr size_t kMbMfgDate = 11;
constexpr size_t kBpMfgDate = 51;
// Text form of a date: "%04d/%02d/%02d-%02d:%02d".
constexpr size_t kMfgDateTextLength = 16;

// Manufacturer fields (data bytes, behind the type/length byte).
constexpr size_t kMbBoardManufacturer = 15;
constexpr size_t kMbProductManufacturer = 124;
constexpr size_t kBpBoardManufacturer = 55;
constexpr size_t kBpProductManufacturer = 148;

// clang-format off
constexpr VpdItem kMbLayout[] = {
    // common header
    constant(0, 1), constant(1, 0), constant(2, 0), constant(3, 1), constant(4, 15),
    constant(5, 0), filler(6, 0), checksum(7, 0),
    // board area, 14 units
    constant(8, 1), constant(9, 14), constant(10, 0), opaque(11, kMfgDateSize),
    text(14, 16),   // board manufacturer
    text(31, 16),   // board product name
    text(48, 16),   // board serial number
    text(65, 32),   // board part number
    text(98, 0),    // empty
    binary(99, 16),
    filler(116, kEndOfFields), filler(117, 0, 2), checksum(119, 8),
    // product area, 12 units
    constant(120, 1), constant(121, 12), constant(122, 0),
    text(123, 16),  // product manufacturer
    text(140, 32),  // product name
    text(173, 16),  // product part or model number
    text(190, 3),   // product version
    text(194, 16),  // product serial number
    text(211, 0), text(212, 0),
    filler(213, kEndOfFields), filler(214, 0), checksum(215, 120),
};

constexpr VpdItem kBpLayout[] = {
    // common header
    constant(0, 1), constant(1, 0), constant(2, 1), constant(3, 6), constant(4, 18),
    constant(5, 0), filler(6, 0), checksum(7, 0),
    // chassis area, 5 units
    constant(8, 1), constant(9, 5), opaque(10, 1),
    text(11, 16), text(28, 16),
    filler(45, kEndOfFields), filler(46, 0), checksum(47, 8),
    // board area, 12 units
    constant(48, 1), constant(49, 12), constant(50, 0), opaque(51, kMfgDateSize),
    text(54, 16), text(71, 16), text(88, 16), text(105, 32), text(138, 0),
    filler(139, kEndOfFields), filler(140, 0, 3), checksum(143, 48),
    // product area, 10 units
    constant(144, 1), constant(145, 10), constant(146, 0),
    text(147, 16), text(164, 16), text(181, 16), text(198, 3), text(202, 16),
    text(219, 0), text(220, 0),
    filler(221, kEndOfFields), filler(222, 0), checksum(223, 144),
};
// clang-format on

// Every item ends where the next begins, and the last one closes the ROM.
constexpr bool layout_is_contiguous(const VpdItem *items, size_t count, size_t rom_size) {
    size_t at = 0;
    for (size_t i = 0; i < count; ++i) {
        if (items[i].offset != at)
            return false;
        at += items[i].kind == VpdItemKind::kField ? 1u + items[i].size : items[i].size;
    }
    return at == rom_size;
}
static_assert(layout_is_contiguous(kMbLayout, std::size(kMbLayout), kMbRomSize));
static_assert(layout_is_contiguous(kBpLayout, std::size(kBpLayout), kBpRomSize));

// Field descriptors: rom in bits 26-27, type in 24-25, length in 16-23, offset in 0-15.
enum VpdFieldType : uint32_t { kVpdText = 0, kVpdHex = 1, kVpdDate = 2 };
constexpr uint32_t descriptor(uint32_t rom, uint32_t type, uint32_t length, uint32_t offset) {
    return (rom << 26) | (type << 24) | (length << 16) | offset;
}
constexpr uint32_t descriptor_rom(uint32_t d) {
    return (d >> 26) & 0x3;
}
constexpr uint32_t descriptor_type(uint32_t d) {
    return (d >> 24) & 0x3;
}
constexpr uint32_t descriptor_length(uint32_t d) {
    return (d >> 16) & 0xFF;
}
constexpr uint32_t descriptor_offset(uint32_t d) {
    return d & 0xFFFF;
}

constexpr size_t kVpdFieldsPerRow = 13;
// Row 0 is the motherboard ROM, row 1 the backplane ROM. Entry 1:11 points into the middle of
// the 32-byte text at 106: the manufacturing process keeps the backplane's PCB and BOM codes
// there, and model selection reads them through it.
// clang-format off
constexpr uint32_t kVpdFields[2 * kVpdFieldsPerRow] = {
    descriptor(0, kVpdDate, 3, 11),   descriptor(0, kVpdText, 16, 15),
    descriptor(0, kVpdText, 16, 32),  descriptor(0, kVpdText, 16, 49),
    descriptor(0, kVpdText, 32, 66),  descriptor(0, kVpdHex, 16, 100),
    descriptor(0, kVpdText, 16, 124), descriptor(0, kVpdText, 32, 141),
    descriptor(0, kVpdText, 16, 174), descriptor(0, kVpdText, 3, 191),
    descriptor(0, kVpdText, 16, 195), 0, 0,
    descriptor(1, kVpdHex, 1, 10),    descriptor(1, kVpdText, 16, 12),
    descriptor(1, kVpdText, 16, 29),  descriptor(1, kVpdDate, 3, 51),
    descriptor(1, kVpdText, 16, 55),  descriptor(1, kVpdText, 16, 72),
    descriptor(1, kVpdText, 16, 89),  descriptor(1, kVpdText, 32, 106),
    descriptor(1, kVpdText, 16, 148), descriptor(1, kVpdText, 16, 165),
    descriptor(1, kVpdText, 16, 182), descriptor(1, kVpdText, 3, 119),
    descriptor(1, kVpdText, 16, 203),
};
// clang-format on

// The ids of the product codes that choose the model file.
constexpr const char *kMbIdentityField = VPD_MB_IDENTITY_FIELD;
constexpr const char *kBpIdentityField = VPD_BP_IDENTITY_FIELD;

}  // namespace nashal::identity

#endif  // NASHAL_IDENTITY_VPD_LAYOUT_H
