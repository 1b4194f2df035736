// Decoders of a SAS disk's log pages and sense data. A parameter is a 4-byte header (code,
// control, value length) and its value; a parameter whose value runs past the bytes the tool
// printed is never looked into, so a page that promises more than arrives decodes what did.
#include "disk/sas_log_pages.h"

#include <cstdio>
#include <cstring>

#include "disk/scsi_log_layout.h"
#include "foundation/byte_order.h"
#include "nashal/hal_trace.h"

using namespace nashal::scsi_log;

namespace {

constexpr size_t kMaxNumberLen = 8;

// Calls fn(code, value, value_length, offset) for each whole parameter.
template <typename Fn>
void walk_params(const unsigned char *params, size_t length, Fn fn) {
    size_t pos = 0;
    while (params && pos + kParamHeaderLen <= length) {
        const unsigned char *p = params + pos;
        const size_t value_len = p[offsetof(LogParamHeader, length)];
        if (pos + kParamHeaderLen + value_len > length)
            break;
        fn(nashal::load_be16(p), p + kParamHeaderLen, value_len, pos);
        pos += kParamHeaderLen + value_len;
    }
}

// A counter of any width up to 8 bytes; a wider one reads as all ones, as the system always
// read it.
uint64_t number(const char *who, const unsigned char *value, size_t length) {
    if (length > kMaxNumberLen) {
        if (who)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): len = %d \n", who, __LINE__,
                      static_cast<int>(length));
        return ~0ull;
    }
    return nashal::load_be(value, length);
}

// A parameter passed over. The counter pages trace it with blanks after the commas, the others
// without.
enum class TraceText { Counter, Other };

void trace_unknown(const char *who, int line, TraceText text, unsigned param, size_t offset,
                   size_t length) {
    if (who)
        ERR_TRACE(HAL_TRACE_ERROR,
                  text == TraceText::Counter
                      ? "%s(%d): Not supported param_code = 0x%x, i = %d, buf_count = %d\n"
                      : "%s(%d): Not supported param_code = 0x%x,i = %d,buf_count = %d\n",
                  who, line, param, static_cast<int>(offset), static_cast<int>(length));
}

void clear(uint8_t code, SAS_LOG_PAGE *page) {
    memset(page, 0, sizeof *page);
    page->page = code;
}

}  // namespace

extern "C" const char *get_sas_error_param_name(int param_code) {
    switch (param_code) {
        case 0:
            return "Errors corrected without substantial delay";
        case 1:
            return "Errors corrected with possible delays";
        case 2:
            return "Total rewrites or rereads";
        case 3:
            return "Total errors corrected";
        case 4:
            return "Total times correction algorithm processed";
        case 5:
            return "Total bytes processed";
        case 6:
            return "Total uncorrected errors";
        default:
            return "Unknown Parameter code";
    }
}

extern "C" const char *get_sas_start_stop_param_name(int param_code) {
    switch (param_code) {
        case 1:
            return "Date of Manufacture";
        case 2:
            return "Accounting Date";
        case 3:
            return "Specified Cycle Count Over Device Lifetime";
        case 4:
            return "Accumulated Start-Stop Cycles";
        case 5:
            return "Specified Load-Unload Count Over Device Lifetime";
        case 6:
            return "Accumulated Load-Unload Cycles";
        default:
            return "Unknown Parameter code";
    }
}

namespace nashal::disk {

bool decode_sas_error_counters(const char *who, uint8_t code, const unsigned char *params,
                               size_t length, SAS_LOG_PAGE *page) {
    clear(code, page);
    auto &body = page->body.error_count;
    walk_params(params, length,
                [&](unsigned param, const unsigned char *value, size_t n, size_t offset) {
                    SAS_LOG_U32 *pair = param < 5                    ? &body.counter[param]
                                        : param == kErrorUncorrected ? &body.uncorrected
                                                                     : nullptr;
                    if (pair) {
                        pair->name = get_sas_error_param_name(static_cast<int>(param));
                        pair->value = static_cast<uint32_t>(number(who, value, n));
                    } else if (param != kErrorBytesProcessed) {
                        // The bytes processed are passed over in silence: nobody shows them.
                        trace_unknown(who, __LINE__, TraceText::Counter, param, offset, length);
                    }
                });
    return true;
}

bool decode_sas_non_medium_errors(const char *who, uint8_t code, const unsigned char *params,
                                  size_t length, SAS_LOG_PAGE *page) {
    clear(code, page);
    bool found = false;
    // Only the first parameter counts, whatever its code.
    walk_params(params, length, [&](unsigned, const unsigned char *value, size_t n, size_t) {
        if (found)
            return;
        found = true;
        page->body.non_medium_error.count.name = "Non-Medium Error";
        page->body.non_medium_error.count.value = static_cast<uint32_t>(number(who, value, n));
    });
    return found;
}

bool decode_sas_temperature(const char *who, uint8_t code, const unsigned char *params,
                            size_t length, SAS_LOG_PAGE *page) {
    clear(code, page);
    auto &body = page->body.temperature;
    walk_params(
        params, length, [&](unsigned param, const unsigned char *value, size_t n, size_t offset) {
            SAS_LOG_U32 *pair = param == kTemperatureParam            ? &body.temperature
                                : param == kReferenceTemperatureParam ? &body.reference
                                                                      : nullptr;
            if (!pair) {
                trace_unknown(who, __LINE__, TraceText::Other, param, offset, length);
            } else if (n >= kTemperatureValueLen) {
                pair->name = param == kTemperatureParam ? "Temperature" : "Reference Temperature";
                pair->value = value[kTemperatureValueByte];
            }
        });
    return true;
}

bool decode_sas_start_stop(const char *who, uint8_t code, const unsigned char *params,
                           size_t length, SAS_LOG_PAGE *page) {
    clear(code, page);
    auto &body = page->body.start_stop;
    walk_params(params, length,
                [&](unsigned param, const unsigned char *value, size_t n, size_t offset) {
                    if (param == kDateOfManufactureParam || param == kAccountingDateParam) {
                        if (n < kDateValueLen)
                            return;
                        char year[kDateYearLen + 1] = {}, week[kDateWeekLen + 1] = {};
                        memcpy(year, value, kDateYearLen);
                        memcpy(week, value + kDateWeekOffset, kDateWeekLen);
                        SAS_LOG_DATE &date = body.date[param - kDateOfManufactureParam];
                        date.name = get_sas_start_stop_param_name(static_cast<int>(param));
                        snprintf(date.value, sizeof date.value, "%s %s", year, week);
                    } else if (param >= kFirstCycleParam && param <= kLastCycleParam) {
                        if (n < kCycleValueLen)
                            return;
                        SAS_LOG_U32 &pair = body.counter[param - kFirstCycleParam];
                        pair.name = get_sas_start_stop_param_name(static_cast<int>(param));
                        pair.value = load_be32(value);
                    } else {
                        trace_unknown(who, __LINE__, TraceText::Counter, param, offset, length);
                    }
                });
    return true;
}

bool decode_sas_informational_exception(const char *who, uint8_t code, const unsigned char *params,
                                        size_t length, SAS_LOG_PAGE *page) {
    clear(code, page);
    auto &body = page->body.informational_exception;
    walk_params(params, length,
                [&](unsigned param, const unsigned char *value, size_t n, size_t offset) {
                    if (param != kIeGeneralParam) {
                        trace_unknown(who, __LINE__, TraceText::Other, param, offset, length);
                        return;
                    }
                    if (n <= kIeAscqByte)
                        return;
                    body.asc = {"Additional Sense Code", value[kIeAscByte]};
                    body.ascq = {"Additional Sense Code Qualifier", value[kIeAscqByte]};
                    if (who)
                        ERR_TRACE(HAL_TRACE_INFO, "%s(%d): asc = 0x%x,ascq = 0x%x\n", who, __LINE__,
                                  body.asc.value, body.ascq.value);
                });
    return true;
}

SasPageDecoder sas_page_decoder(uint8_t code) {
    switch (code) {
        case SAS_LOG_PAGE_WRITE_ERROR:
        case SAS_LOG_PAGE_READ_ERROR:
        case SAS_LOG_PAGE_VERIFY_ERROR:
            return decode_sas_error_counters;
        case SAS_LOG_PAGE_NON_MEDIUM_ERROR:
            return decode_sas_non_medium_errors;
        case SAS_LOG_PAGE_TEMPERATURE:
            return decode_sas_temperature;
        case SAS_LOG_PAGE_START_STOP:
            return decode_sas_start_stop;
        case SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION:
            return decode_sas_informational_exception;
        default:
            return nullptr;
    }
}

int decode_sas_self_test_status(const unsigned char *params, size_t length) {
    for (size_t pos = 0; params && pos + sizeof(SelfTestParam) <= length;
         pos += sizeof(SelfTestParam)) {
        const unsigned char *p = params + pos;
        if (load_be16(p) == kMostRecentSelfTest)
            return p[offsetof(SelfTestParam, code_result)] & kSelfTestResultMask;
    }
    return 0;
}

SasSense decode_sas_sense(const unsigned char *following, size_t length) {
    SasSense s;
    auto byte = [&](size_t i) -> uint8_t { return following && i < length ? following[i] : 0; };
    s.asc = byte(kSenseAscByte);
    s.ascq = byte(kSenseAscqByte);
    s.key_specific_valid = byte(kSenseSksByte) & kSenseKeySpecificValid;
    s.progress =
        static_cast<uint16_t>(byte(kSenseProgressByte) << 8 | byte(kSenseProgressByte + 1));
    return s;
}

bool sas_sense_response_ok(uint8_t byte0) {
    const uint8_t code = byte0 & kSenseResponseMask;
    return code == kSenseCurrent || code == kSenseDeferred;
}

}  // namespace nashal::disk
