// The SAS expander's firmware image: a 20-byte little-endian header, the firmware payload at
// 1 KiB and the manufacturing data 512 KiB behind it, whatever the firmware's length. The
// header words at 1, 8 and 16 belong to the expander vendor's tools and are not read.
#ifndef NASHAL_IDENTITY_SAS_FW_IMAGE_LAYOUT_H
#define NASHAL_IDENTITY_SAS_FW_IMAGE_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::identity {

constexpr size_t kFwHeaderSize = 20;
constexpr size_t kFwModelTypeOffset = 0;
constexpr size_t kFwMajorOffset = 2;
constexpr size_t kFwMinorOffset = 3;
constexpr size_t kFwLengthOffset = 4;      // 32 bits
constexpr size_t kFwMfgLengthOffset = 12;  // 32 bits
static_assert(kFwMfgLengthOffset + 4 <= kFwHeaderSize, "header words inside the header");

constexpr uint64_t kFwPayloadOffset = 1024;
constexpr uint64_t kMfgPayloadOffset = kFwPayloadOffset + 512 * 1024;
static_assert(kMfgPayloadOffset == 525312, "manufacturing data 512 KiB behind the firmware");

// An image of this type fits every expander.
constexpr int kUniversalModelType = 9;

// The header's fields, as the split and the model check use them.
struct FwImageHeader {
    int model_type = 0;
    int major = 0;
    int minor = 0;
    uint32_t fw_length = 0;
    uint32_t mfg_length = 0;
};

// Decodes the first kFwHeaderSize bytes; false when fewer are given.
bool decode_fw_header(const uint8_t *bytes, size_t size, FwImageHeader *header);

// The image size the header asks for: the end of whichever payload ends last.
uint64_t fw_image_end(const FwImageHeader &header);

// The image model type an expander of this enclosure model takes; kUniversalModelType for a
// model the table doesn't list.
int expander_model_type(const char *model);

}  // namespace nashal::identity

#endif  // NASHAL_IDENTITY_SAS_FW_IMAGE_LAYOUT_H
