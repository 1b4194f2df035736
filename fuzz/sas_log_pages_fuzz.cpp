// Fuzzes the decoders of a SAS disk's answers: the log pages with a decoder (error counters,
// non-medium errors, temperature, start-stop cycles, informational exceptions), the self-test
// results page and fixed-format sense data. The first input byte picks the page code (or, above
// 0x2F, the self-test page or sense data); the rest is what the tool printed behind the header.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "disk/sas_log_pages.h"
#include "nashal/hal_trace.h"

using namespace nashal::disk;

namespace {

void check_text(const char *name) {
    if (name && !memchr(name, 0, 64))
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static bool quiet = (HAL_Set_Debug(0, nullptr), true);
    (void)quiet;
    if (size < 1)
        return 0;
    const uint8_t code = data[0];
    // An exact-size copy, so that any read past the answer shows under the sanitizers.
    std::vector<unsigned char> bytes(data + 1, data + size);
    const unsigned char *p = bytes.empty() ? nullptr : bytes.data();
    if (auto decoder = sas_page_decoder(code)) {
        SAS_LOG_PAGE page;
        memset(&page, 0xA5, sizeof page);
        decoder("fuzz", code, p, bytes.size(), &page);
        if (page.page != code)
            __builtin_trap();
        if (code == SAS_LOG_PAGE_START_STOP)
            for (const auto &date : page.body.start_stop.date)
                if (!memchr(date.value, 0, sizeof date.value))
                    __builtin_trap();
        if (code == SAS_LOG_PAGE_TEMPERATURE)
            check_text(page.body.temperature.reference.name);
        return 0;
    }
    if (code & 1) {
        int status = decode_sas_self_test_status(p, bytes.size());
        if (status < 0 || status > 15)
            __builtin_trap();
    } else {
        SasSense s = decode_sas_sense(p, bytes.size());
        (void)s;
        (void)sas_sense_response_ok(p ? p[0] : 0);
    }
    return 0;
}
