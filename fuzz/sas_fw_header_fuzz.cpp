// Fuzzes the expander firmware image header: whatever a file begins with, the decoded lengths
// give an end that covers both payload places, so a short file is always caught before a copy.
#include <cstddef>
#include <cstdint>

#include "identity/sas_fw_image_layout.h"

using namespace nashal::identity;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FwImageHeader header;
    if (!decode_fw_header(data, size, &header)) {
        if (size >= kFwHeaderSize)
            __builtin_trap();
        return 0;
    }
    const uint64_t end = fw_image_end(header);
    if (end < kFwPayloadOffset + header.fw_length || end < kMfgPayloadOffset + header.mfg_length)
        __builtin_trap();
    if (header.model_type > 0xff || header.major > 0xff || header.minor > 0xff)
        __builtin_trap();
    return 0;
}
