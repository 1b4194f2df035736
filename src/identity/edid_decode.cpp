#include "identity/edid_decode.h"

#include <cstring>

namespace nashal::identity {

namespace {

// A text descriptor's 13 bytes end at a line feed and are padded with spaces. Anything a
// terminal would act on is shown as "?": the text comes from the display.
std::string descriptor_text(const uint8_t *data, uint8_t tag) {
    for (size_t d = 0; d < kEdidDescriptorCount; ++d) {
        const uint8_t *desc = data + kEdidDescriptors + d * kEdidDescriptorSize;
        if (desc[0] || desc[1] || desc[3] != tag)
            continue;
        std::string text;
        for (size_t i = 5; i < kEdidDescriptorSize && desc[i] != '\n'; ++i)
            text += desc[i] >= 0x20 && desc[i] <= 0x7E ? static_cast<char>(desc[i]) : '?';
        while (!text.empty() && text.back() == ' ')
            text.pop_back();
        return text;
    }
    return {};
}

}  // namespace

bool edid_valid(const uint8_t (&data)[kEdidRead]) {
    uint8_t sum = 0;
    for (uint8_t byte : data)
        sum = static_cast<uint8_t>(sum + byte);
    return std::memcmp(data, kEdidHeader, sizeof kEdidHeader) == 0 && sum == 0;
}

bool edid_decode(const uint8_t *data, size_t size, EdidSummary *out) {
    if (!data || !out || size < kEdidBlock)
        return false;
    unsigned maker = (data[kEdidManufacturer] << 8) | data[kEdidManufacturer + 1];
    out->manufacturer.clear();
    for (int shift : {10, 5, 0}) {
        unsigned letter = (maker >> shift) & 0x1F;
        out->manufacturer +=
            letter >= 1 && letter <= 26 ? static_cast<char>('A' - 1 + letter) : '?';
    }
    out->product = data[kEdidProductCode] | (data[kEdidProductCode + 1] << 8);
    out->serial = data[kEdidSerial] | (data[kEdidSerial + 1] << 8) | (data[kEdidSerial + 2] << 16) |
                  (static_cast<uint32_t>(data[kEdidSerial + 3]) << 24);
    out->year = 1990 + data[kEdidYear];
    out->version = data[kEdidVersion];
    out->revision = data[kEdidRevision];
    out->extensions = data[kEdidExtensionCount];
    out->name = descriptor_text(data, kEdidTagProductName);
    out->serial_text = descriptor_text(data, kEdidTagSerialText);
    return true;
}

}  // namespace nashal::identity
