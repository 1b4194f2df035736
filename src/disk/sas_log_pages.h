// Decoders of the SCSI log pages a SAS disk answers, apart from running the tools: each takes
// the parameter bytes behind the 4-byte page header and fills one SAS_LOG_PAGE. Unit tests and
// the fuzz target call them on captured bytes. With `who` null they trace nothing; otherwise
// each parameter they pass over is traced under that name.
#ifndef NASHAL_DISK_SAS_LOG_PAGES_H
#define NASHAL_DISK_SAS_LOG_PAGES_H

#include <cstddef>
#include <cstdint>

#include "nashal/pd_smart.h"

namespace nashal::disk {

// Each clears the body, stores `code` as the page and decodes. False when the page holds
// nothing the decoder can take (only the non-medium decoder can say so: the others succeed on
// any bytes, a parameter cut short by the page end being left out).
bool decode_sas_error_counters(const char *who, uint8_t code, const unsigned char *params,
                               size_t length, SAS_LOG_PAGE *page);
bool decode_sas_non_medium_errors(const char *who, uint8_t code, const unsigned char *params,
                                  size_t length, SAS_LOG_PAGE *page);
bool decode_sas_temperature(const char *who, uint8_t code, const unsigned char *params,
                            size_t length, SAS_LOG_PAGE *page);
bool decode_sas_start_stop(const char *who, uint8_t code, const unsigned char *params,
                           size_t length, SAS_LOG_PAGE *page);
bool decode_sas_informational_exception(const char *who, uint8_t code, const unsigned char *params,
                                        size_t length, SAS_LOG_PAGE *page);

// The decoder of a page code, or null for a page the library doesn't decode.
using SasPageDecoder = bool (*)(const char *, uint8_t, const unsigned char *, size_t,
                                SAS_LOG_PAGE *);
SasPageDecoder sas_page_decoder(uint8_t code);

// The most recent result of the self-test results page (its 400 bytes of parameters, or fewer
// when the answer was cut): the result nibble of parameter 1, or 0 when there is none.
int decode_sas_self_test_status(const unsigned char *params, size_t length);

// The condition told by fixed-format sense data: `following` the bytes behind the 8-byte
// header, `length` of them (missing fields read as 0).
struct SasSense {
    uint8_t asc = 0;
    uint8_t ascq = 0;
    bool key_specific_valid = false;
    uint16_t progress = 0;
};
SasSense decode_sas_sense(const unsigned char *following, size_t length);
// True when byte 0 of sense data is a fixed-format response code.
bool sas_sense_response_ok(uint8_t byte0);

}  // namespace nashal::disk

#endif  // NASHAL_DISK_SAS_LOG_PAGES_H
