// Fuzzes the decoders of tool output: SES configuration page (binary), SES status page (--raw
// hexadecimal text), inquiry vendor/model, VPD unit serial number and device identification.
// The first input byte picks the decoder; the rest is the tool's answer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "topology/ses_layout.h"
#include "topology/ses_pages.h"

using namespace nashal::topology;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static bool quiet = (HAL_Set_Debug(0, nullptr), true);
    (void)quiet;
    if (size < 1)
        return 0;
    const unsigned selector = data[0] % 5;
    // An exact-size copy, so that any read past the answer shows under the sanitizers.
    std::vector<unsigned char> bytes(data + 1, data + size);
    const unsigned char *p = bytes.empty() ? nullptr : bytes.data();
    switch (selector) {
        case 0: {
            uint32_t types[SES_MAX_ELEMENT_TYPES][2];
            int n = ses_decode_config_page(p, bytes.size(), types, SES_MAX_ELEMENT_TYPES);
            if (n > SES_MAX_ELEMENT_TYPES)
                __builtin_trap();
            // The last element of every type: an offset that is given lies inside the page.
            for (int i = 0; i < n; ++i) {
                int offset = -1;
                if (ses_element_in_page(types[i][0], static_cast<int>(types[i][1]), types, n,
                                        SES_STATUS_PAGE_LEN, &offset, "fuzz") == 0 &&
                    (offset < 0 || offset + 4 > SES_STATUS_PAGE_LEN))
                    __builtin_trap();
            }
            break;
        }
        case 1: {
            unsigned char page[SES_STATUS_PAGE_LEN];
            int n = ses_decode_raw_text(reinterpret_cast<const char *>(p), bytes.size(), page,
                                        sizeof page);
            if (n >= static_cast<int>(sizeof page))
                __builtin_trap();
            break;
        }
        case 2: {
            // The answer buffer of an inquiry is the caller's, cleared and at least 36 bytes.
            char inquiry[128] = {};
            memcpy(inquiry, p ? reinterpret_cast<const char *>(p) : "",
                   bytes.size() < sizeof inquiry - 1 ? bytes.size() : sizeof inquiry - 1);
            char vendor[kInquiryVendorLen + 1];
            char model[kInquiryModelLen + 1];
            comm_sys_parse_sas_vendor_model(inquiry, vendor, model);
            break;
        }
        case 3: {
            char serial[HAL_SERIAL_LEN];
            vpd_decode_serial(
                p, bytes.size() < kVpdSerialAnswerLen ? bytes.size() : kVpdSerialAnswerLen, serial);
            comm_sys_remove_prefix_postfix_space(serial, sizeof serial);
            break;
        }
        default: {
            unsigned char address[SAS_ADDRESS_LEN] = {};
            vpd_decode_target_port_address(p, bytes.size(), address);
            break;
        }
    }
    return 0;
}
