// EDID bytes to facts, apart from how they were read: the check the library applies before
// handing an EDID out, and the summary that tools show a person.
#ifndef NASHAL_IDENTITY_EDID_DECODE_H
#define NASHAL_IDENTITY_EDID_DECODE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "identity/edid_layout.h"

namespace nashal::identity {

// The header and the 8-bit sum of all kEdidRead bytes (both blocks together).
bool edid_valid(const uint8_t (&data)[kEdidRead]);

struct EdidSummary {
    std::string manufacturer;  // three letters
    unsigned product = 0;
    uint32_t serial = 0;
    std::string name;         // monitor name descriptor, printable characters only
    std::string serial_text;  // serial number descriptor
    int year = 0;
    int version = 0, revision = 0;
    int extensions = 0;
};

// Decodes the base block; false when fewer than kEdidBlock bytes are given.
bool edid_decode(const uint8_t *data, size_t size, EdidSummary *out);

}  // namespace nashal::identity

#endif  // NASHAL_IDENTITY_EDID_DECODE_H
