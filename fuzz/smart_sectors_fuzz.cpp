// Fuzzes the parsers of the SMART sectors a drive sends: the attribute table, the thresholds
// matched by id, the self-test byte and the checksum. The input is the data sector and, after
// it, the thresholds sector; whatever is missing of either is zero, as after a short transfer.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "disk/smart_decode.h"
#include "disk/smart_layout.h"

using namespace nashal;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    uint8_t sectors[2][smart::kSectorSize] = {};
    std::memcpy(sectors, data, size < sizeof sectors ? size : sizeof sectors);
    SMART_ATTR attrs[SMART_ATTR_MAX + 1];
    int room = size ? data[0] % (SMART_ATTR_MAX + 2) : SMART_ATTR_MAX;
    int count = smart::decode_attributes(sectors[0], attrs, room);
    if (count < 0 || count > room || count > SMART_ATTR_MAX)
        __builtin_trap();
    smart::apply_thresholds(sectors[1], attrs, count);
    for (int i = 0; i < count; ++i)
        if (attrs[i].id <= 0 || attrs[i].raw >> 48 || !std::memchr(attrs[i].name, 0, 64) ||
            attrs[i].reserved_word != SMART_ATTR_MARKER)
            __builtin_trap();
    smart::SelfTestState t = smart::decode_self_test(sectors[0]);
    if (t.status < 0 || t.status > 15 || t.percent < -50 || t.percent > 100)
        __builtin_trap();
    (void)smart::checksum_ok(sectors[0]);
    return 0;
}
