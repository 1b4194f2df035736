// Fuzzes the EDID check and decoder on whatever a display's ROM may hold.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "identity/edid_decode.h"

using namespace nashal::identity;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    uint8_t block[kEdidRead] = {};
    std::memcpy(block, data, size < sizeof block ? size : sizeof block);
    edid_valid(block);
    // An exact-size copy, so that a read past a short EDID shows under the sanitizers.
    std::vector<uint8_t> exact(data, data + size);
    EdidSummary summary;
    if (edid_decode(exact.data(), exact.size(), &summary)) {
        for (char c : summary.name + summary.serial_text + summary.manufacturer) {
            if (c < 0x20 || c > 0x7E)
                __builtin_trap();
        }
    }
    return 0;
}
