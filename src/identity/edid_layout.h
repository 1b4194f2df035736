// The parts of a VESA EDID that the library checks, declared once for the reader, the emulator's
// images and the tools that decode one for a person.
#ifndef NASHAL_IDENTITY_EDID_LAYOUT_H
#define NASHAL_IDENTITY_EDID_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::identity {

// Base block and one extension block, read and summed together.
constexpr size_t kEdidBlock = 128;
constexpr size_t kEdidRead = 256;

constexpr uint8_t kEdidHeader[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};

// Base block fields.
constexpr size_t kEdidManufacturer = 8;  // big-endian, three 5-bit letters 'A' = 1
constexpr size_t kEdidProductCode = 10;  // little-endian
constexpr size_t kEdidSerial = 12;       // little-endian, 32 bits
constexpr size_t kEdidWeek = 16;
constexpr size_t kEdidYear = 17;  // years since 1990
constexpr size_t kEdidVersion = 18;
constexpr size_t kEdidRevision = 19;
constexpr size_t kEdidDescriptors = 54;  // four 18-byte descriptors
constexpr size_t kEdidDescriptorSize = 18;
constexpr size_t kEdidDescriptorCount = 4;
constexpr uint8_t kEdidTagProductName = 0xFC;
constexpr uint8_t kEdidTagSerialText = 0xFF;
constexpr size_t kEdidExtensionCount = 126;
constexpr size_t kEdidChecksum = 127;

static_assert(kEdidDescriptors + kEdidDescriptorCount * kEdidDescriptorSize == kEdidExtensionCount,
              "descriptors end where the extension count begins");

}  // namespace nashal::identity

#endif  // NASHAL_IDENTITY_EDID_LAYOUT_H
