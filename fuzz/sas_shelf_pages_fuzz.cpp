// Fuzzes the decoders of a SAS shelf's pages: the connector (0x81) and SAS address (0x82)
// vendor pages, the Additional Element Status descriptors that place a disk in a bay, the
// device identification designators, and the element look-up in a status page laid out by a
// hostile configuration page. The first input byte picks the decoder; the rest is the answer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "disk/sas_expander_disks.h"
#include "enclosure/sas_expander.h"
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
            const int wanted[] = {0, 1, 2, 3, 4, 5, 6, 7};
            uint32_t status[4];
            int n = nashal::enclosure::decode_connector_page(p, bytes.size(), wanted, 8, status, 4);
            if (n > 4)
                __builtin_trap();
            break;
        }
        case 1: {
            char address[17];
            nashal::enclosure::decode_sas_address_page(p, bytes.size(), address, sizeof address);
            break;
        }
        case 2: {
            const unsigned char address[kSasAddressLen] = {0x50, 0, 0, 0, 0, 0, 0x01, 0x01};
            nashal::disk::decode_additional_status_port(p, bytes.size(), address);
            break;
        }
        case 3: {
            unsigned char wwn[kSasAddressLen];
            nashal::disk::decode_target_device_address(p, bytes.size(), wwn);
            break;
        }
        default: {
            // A configuration page, and a status page as long as the rest of the input (at most
            // the callers' 256 bytes): every element the list names must stay inside it.
            uint32_t types[SES_MAX_ELEMENT_TYPES][2];
            int n = ses_decode_config_page(p, bytes.size(), types, SES_MAX_ELEMENT_TYPES);
            int page_len = static_cast<int>(
                bytes.size() < SES_STATUS_PAGE_LEN ? bytes.size() : SES_STATUS_PAGE_LEN);
            for (int t = 0; t < n; ++t)
                for (int index = 1; index <= static_cast<int>(types[t][1]) + 1; ++index) {
                    int at = nashal::enclosure::bounded_element_offset(
                        static_cast<uint8_t>(types[t][0]), index, types, n, page_len);
                    if (at >= 0 && at + static_cast<int>(kSesElementLen) > page_len)
                        __builtin_trap();
                }
            break;
        }
    }
    return 0;
}
