// SAS disks are not spoken to directly: every command goes through an sg3_utils tool, which
// prints the raw answer. This file runs the tools and reads exactly the bytes each answer's
// header promises (the decoders are in sas_log_pages.cpp): the log pages of a SAS disk's SMART
// summary, its self test, standby and power state, and the informational exceptions setting
// that makes the disk report failure prediction when asked.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "disk/sas_log_pages.h"
#include "disk/scsi_log_layout.h"
#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"

using namespace nashal::scsi_log;
using nashal::disk::SasSense;

namespace {

constexpr const char *kSgLogs = "/sbin/sg_logs";
constexpr const char *kSgRequests = "/sbin/sg_requests";
constexpr const char *kSgSenddiag = "/sbin/sg_senddiag";
constexpr const char *kSgStart = "/sbin/sg_start";
constexpr const char *kSginfo = "/sbin/sginfo";
constexpr int kIecAnswerLen = 32;

bool read_exact(FILE *stream, unsigned char *buffer, size_t length) {
    return fread(buffer, 1, length, stream) == length;
}

// How reading one answer ended; each caller turns it into its own result.
enum class Read { kOk, kNoPipe, kShortHeader, kBadHeader, kNoMemory, kShortBody };

// A log page: the 4-byte header, then exactly the length it gives. A missing tool shows as an
// empty pipe, that is a short header.
struct LogPage {
    unsigned char header[kPageHeaderLen] = {};
    std::unique_ptr<unsigned char[]> params;
    size_t length = 0;
};

Read read_log_page(const char *who, const char *command, LogPage &page) {
    nashal::PipeHandle pipe(popen(command, "r"));
    if (!pipe)
        return Read::kNoPipe;
    if (!read_exact(pipe.get(), page.header, sizeof page.header))
        return Read::kShortHeader;
    page.length = nashal::load_be16(page.header + offsetof(LogPageHeader, length_be));
    if (page.length == 0 || page.length == kLengthInvalid)
        return Read::kBadHeader;
    page.params.reset(new (std::nothrow) unsigned char[page.length]);
    if (!page.params) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        return Read::kNoMemory;
    }
    return read_exact(pipe.get(), page.params.get(), page.length) ? Read::kOk : Read::kShortBody;
}

// The page of one code through "sg_logs -p 0x%x -r /dev/%s". 0 or -1.
int read_page_of(const char *who, const char *name, int page_code, LogPage &page) {
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(who, command, sizeof command, "%s -p 0x%x -r /dev/%s", kSgLogs,
                                  page_code, name) < 0)
        return -1;
    return read_log_page(who, command, page) == Read::kOk ? 0 : -1;
}

// Fixed-format sense data through "sg_requests -r /dev/%s": the 8-byte header, then the bytes it
// announces. `byte0` receives the response code for the caller's trace.
struct Sense {
    unsigned char header[kSenseHeaderLen] = {};
    SasSense condition;
    bool has_following = false;
};

Read read_sense(const char *who, const char *name, Sense &sense) {
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(who, command, sizeof command, "%s -r /dev/%s", kSgRequests,
                                  name) < 0)
        return Read::kNoPipe;
    nashal::PipeHandle pipe(popen(command, "r"));
    if (!pipe)
        return Read::kNoPipe;
    if (!read_exact(pipe.get(), sense.header, sizeof sense.header))
        return Read::kShortHeader;
    if (!nashal::disk::sas_sense_response_ok(sense.header[0]))
        return Read::kBadHeader;
    const size_t length = sense.header[offsetof(FixedSense, additional_length)];
    if (length == 0)
        return Read::kOk;
    std::unique_ptr<unsigned char[]> following(new (std::nothrow) unsigned char[length]);
    if (!following)
        return Read::kNoMemory;
    if (!read_exact(pipe.get(), following.get(), length))
        return Read::kShortBody;
    sense.condition = nashal::disk::decode_sas_sense(following.get(), length);
    sense.has_following = true;
    return Read::kOk;
}

void trace_bad_response(const char *who, int line, const Sense &sense) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error:response_code = 0x%x\n", who, line,
              sense.header[0]);
}

// The sense data for a caller that fails alike on every kind of bad answer: 0 or -1.
int read_sense_or_fail(const char *who, const char *name, Sense &sense) {
    Read r = read_sense(who, name, sense);
    if (r == Read::kBadHeader)
        trace_bad_response(who, __LINE__, sense);
    return r == Read::kOk ? 0 : -1;
}

// Runs a command that prints nothing of interest; the shell's result.
int run(const char *who, const char *command) {
    int result = system(command);
    if (result < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error:error = 0x%x\n", who, __LINE__,
                  errno);
    return result;
}

int decode_page(const char *who, const char *name, int page_code, SAS_LOG_PAGE *page) {
    auto decoder = nashal::disk::sas_page_decoder(static_cast<uint8_t>(page_code));
    LogPage raw;
    if (!name || !page || !decoder || read_page_of(who, name, page_code, raw) != 0)
        return -1;
    return decoder(who, static_cast<uint8_t>(page_code), raw.params.get(), raw.length, page) ? 0
                                                                                             : -1;
}

}  // namespace

extern "C" {

uint64_t array_to_hex(const unsigned char *bytes, int length) {
    if (length > 8) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): len = %d \n", __func__, __LINE__, length);
        return ~0ull;
    }
    return bytes && length > 0 ? nashal::load_be(bytes, static_cast<size_t>(length)) : 0;
}

int get_sas_log_error_count(const char *name, int page_code, SAS_LOG_PAGE *page) {
    return decode_page(__func__, name, page_code, page);
}

int get_sas_log_non_medium_error(const char *name, int page_code, SAS_LOG_PAGE *page) {
    return decode_page(__func__, name, page_code, page);
}

int get_sas_log_temperature(const char *name, int page_code, SAS_LOG_PAGE *page) {
    return decode_page(__func__, name, page_code, page);
}

int get_sas_log_start_stop_count(const char *name, int page_code, SAS_LOG_PAGE *page) {
    return decode_page(__func__, name, page_code, page);
}

int get_sas_log_informational_exception(const char *name, int page_code, SAS_LOG_PAGE *page) {
    return decode_page(__func__, name, page_code, page);
}

int get_sas_request_sense(const char *, const char *name, int *sense_out) {
    if (!name || !sense_out)
        return -1;
    *sense_out = 0;
    Sense sense;
    if (read_sense_or_fail(__func__, name, sense) != 0)
        return -1;
    if (!sense.has_following)
        return 0;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): ASC = 0x%x, ASCQ = 0x%x\n", __func__, __LINE__,
              sense.condition.asc, sense.condition.ascq);
    *sense_out = sense.condition.asc << 8 | sense.condition.ascq;
    return 0;
}

int pd_sys_get_sas_smart(const char *enc_sys_id, const char *name, int *sense_out,
                         SAS_LOG_PAGE *pages, int pages_size) {
    if (!name || !sense_out || (!pages && pages_size > 0))
        return -1;
    get_sas_request_sense(enc_sys_id, name, sense_out);
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x0 -r /dev/%s",
                                  kSgLogs, name) < 0)
        return -1;
    LogPage list;
    switch (read_log_page(__func__, command, list)) {
        case Read::kOk:
            break;
        case Read::kBadHeader:
        case Read::kNoMemory:
            return -2;
        default:
            return -1;
    }
    int count = 0;
    for (size_t i = 0; i < list.length && count < pages_size; ++i) {
        const int code = list.params[i];
        int decoded;
        switch (code) {
            case SAS_LOG_PAGE_WRITE_ERROR:
            case SAS_LOG_PAGE_READ_ERROR:
            case SAS_LOG_PAGE_VERIFY_ERROR:
                decoded = get_sas_log_error_count(name, code, &pages[count]);
                break;
            case SAS_LOG_PAGE_NON_MEDIUM_ERROR:
                decoded = get_sas_log_non_medium_error(name, code, &pages[count]);
                break;
            case SAS_LOG_PAGE_TEMPERATURE:
                decoded = get_sas_log_temperature(name, code, &pages[count]);
                break;
            case SAS_LOG_PAGE_START_STOP:
                decoded = get_sas_log_start_stop_count(name, code, &pages[count]);
                break;
            case SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION:
                decoded = get_sas_log_informational_exception(name, code, &pages[count]);
                break;
            default:
                ERR_TRACE(HAL_TRACE_INFO, "%s(%d):System haven't impelment:log page= 0x%x\n",
                          __func__, __LINE__, code);
                continue;
        }
        // A page that fails leaves its entry free for the next one.
        if (decoded == 0)
            ++count;
    }
    return count;
}

int pd_sys_get_sas_self_test_progress(const char *, const char *name, int *status_out,
                                      int *percent_out) {
    if (!name || !status_out || !percent_out)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x10 -r /dev/%s",
                                  kSgLogs, name) < 0)
        return -1;
    int status = 0;
    {
        nashal::PipeHandle pipe(popen(command, "r"));
        if (!pipe)
            return -1;
        unsigned char header[kPageHeaderLen];
        if (!read_exact(pipe.get(), header, sizeof header))
            return -1;
        if (header[0] != kSelfTestPage ||
            nashal::load_be16(header + offsetof(LogPageHeader, length_be)) != kSelfTestPageLength) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error\n", __func__, __LINE__);
            return -2;
        }
        // The parameters that arrive whole; a short read ends the search.
        unsigned char params[kSelfTestPageLength];
        size_t got = fread(params, 1, sizeof params, pipe.get());
        got -= got % sizeof(SelfTestParam);
        status = nashal::disk::decode_sas_self_test_status(params, got);
    }
    *status_out = status;
    if (status != kSelfTestInProgress) {
        *percent_out = 100;
        return 0;
    }
    Sense sense;
    switch (read_sense(__func__, name, sense)) {
        case Read::kOk:
            break;
        case Read::kBadHeader:
            trace_bad_response(__func__, __LINE__, sense);
            return -2;
        case Read::kNoMemory:
        case Read::kShortBody:
            return -2;
        default:
            return -1;
    }
    if (sense.condition.asc != kAscNotReady || sense.condition.ascq != kAscqSelfTestInProgress)
        return 0;
    if (!sense.condition.key_specific_valid)
        return -2;
    *percent_out = static_cast<int>(sense.condition.progress * 100u / kProgressScale);
    ERR_TRACE(HAL_TRACE_INFO, "%s: percentage = %d\n", __func__, *percent_out);
    return 0;
}

int pd_sys_set_sas_self_test(const char *, const char *name, int mode) {
    int code;
    switch (mode) {
        case PD_SELF_TEST_ABORT:
            code = kSelfTestAbort;
            break;
        case PD_SELF_TEST_SHORT:
            code = kSelfTestBackgroundShort;
            break;
        case PD_SELF_TEST_EXTENDED:
            code = kSelfTestBackgroundExtended;
            break;
        default:
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): unknown self test mode %d\n", __func__, __LINE__,
                      mode);
            return -1;
    }
    char command[HAL_CMD_LEN];
    if (!name || nashal::hal_build_command(__func__, command, sizeof command, "%s -s %d /dev/%s",
                                           kSgSenddiag, code, name) < 0)
        return -1;
    return run(__func__, command);
}

int pd_sys_set_sas_standby(const char *, const char *name) {
    char command[HAL_CMD_LEN];
    if (!name || nashal::hal_build_command(__func__, command, sizeof command,
                                           "%s -p 3 -m 0 /dev/%s", kSgStart, name) < 0)
        return -1;
    return run(__func__, command);
}

int pd_sys_get_sas_power(const char *, const char *name, int *power_out) {
    if (!name || !power_out)
        return -1;
    Sense sense;
    if (read_sense_or_fail(__func__, name, sense) != 0)
        return -1;
    *power_out = 1;
    if (sense.has_following) {
        ERR_TRACE(HAL_TRACE_INFO, "%s: ASC = 0x%x, ASCQ = 0x%x\n", __func__, sense.condition.asc,
                  sense.condition.ascq);
        if (sense.condition.asc == kAscLowPowerCondition &&
            sense.condition.ascq == kAscqStandbyByCommand)
            *power_out = 0;
    }
    return 0;
}

int pd_sys_set_sas_warning(const char *, const char *name) {
    char command[HAL_CMD_LEN];
    char answer[kIecAnswerLen];
    if (!name || nashal::hal_build_command(__func__, command, sizeof command, "%s -IX /dev/%s",
                                           kSginfo, name) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, answer, sizeof answer);
    if (n < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (n > 0 && answer[n - 1] == '\n')
        answer[n - 1] = '\0';
    int field[kIecFieldCount] = {};
    int count = 0;
    char *save = nullptr;
    for (char *piece = strtok_r(answer, " ", &save); piece; piece = strtok_r(nullptr, " ", &save)) {
        if (count < kIecFieldCount)
            field[count] = atoi(piece);
        ++count;
    }
    if (count == 0)
        return -1;
    if (count != kIecFieldCount) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error.count = %d\n", __func__, __LINE__, count);
        return -1;
    }
    // Report failure prediction and warnings only when asked, every 30 seconds' worth of
    // checking, and keep the disk's own choices of background errors.
    field[kIecPerf] = 0;
    field[kIecEwasc] = 1;
    field[kIecDexcpt] = 0;
    field[kIecTest] = 0;
    field[kIecLogerr] = 1;
    field[kIecMrie] = kMrieOnRequest;
    field[kIecIntervalTimer] = 300;
    field[kIecReportCount] = 0;
    // Ten numbers and the redirection stay far below the command's 80 bytes only with short
    // values, which is what these are; a longer line is cut and refused below.
    int length = nashal::hal_build_command(
        __func__, command, sizeof command,
        "%s -IXR /dev/%s %d %d %d %d %d %d %d %d %d %d >& /dev/null", kSginfo, name, field[0],
        field[1], field[2], field[3], field[4], field[5], field[6], field[7], field[8], field[9]);
    if (length < 0 || length >= static_cast<int>(sizeof command)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    return system(command) == 0 ? 0 : -1;
}

int get_sas_pwr_standby_support(const char *pd_ctrl_name) {
    char command[HAL_CMD_LEN];
    if (!pd_ctrl_name || nashal::hal_build_command(__func__, command, sizeof command,
                                                   "%s -p 0x0 -r %s", kSgLogs, pd_ctrl_name) < 0)
        return -1;
    LogPage list;
    if (read_log_page(__func__, command, list) != Read::kOk)
        return -1;
    return memchr(list.params.get(), SAS_LOG_PAGE_POWER_TRANSITIONS, list.length) ? 0 : -1;
}

}  // extern "C"
