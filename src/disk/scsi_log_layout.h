// The bytes a SAS disk answers through the sg3_utils tools: LOG SENSE pages and their
// parameters (SPC), the self-test results page, fixed-format sense data of REQUEST SENSE, and
// the fields of the Informational Exceptions Control mode page in the order sginfo lists them.
// Declared once here; the library's decoders and the virtual appliance's SAS disk both use these
// names, and every multi-byte field goes through foundation/byte_order.h.
#ifndef NASHAL_DISK_SCSI_LOG_LAYOUT_H
#define NASHAL_DISK_SCSI_LOG_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::scsi_log {

// ---- LOG SENSE page and parameter ----

struct LogPageHeader {
    uint8_t page_code;  // bits 5-0; DS 7, SPF 6
    uint8_t subpage;
    uint8_t length_be[2];  // bytes of parameters behind this header
};
static_assert(sizeof(LogPageHeader) == 4, "log page header");

struct LogParamHeader {
    uint8_t code_be[2];
    uint8_t control;  // DU, TSD, ETC, TMC, format and linking
    uint8_t length;   // bytes of value behind this header
};
static_assert(sizeof(LogParamHeader) == 4, "log parameter header");

constexpr size_t kPageHeaderLen = sizeof(LogPageHeader);
constexpr size_t kParamHeaderLen = sizeof(LogParamHeader);
// A length that no answer can hold: the tool printed something else.
constexpr uint16_t kLengthInvalid = 0xFFFF;

// Control bytes as disks send them: counters are bounded binary, dates ASCII lists.
constexpr uint8_t kControlBinary = 0x03;
constexpr uint8_t kControlCounter = 0x02;
constexpr uint8_t kControlAscii = 0x01;

// Error counter pages (write 0x02, read 0x03, verify 0x05): parameters 0 to 6.
constexpr int kErrorParamCount = 7;
constexpr int kErrorBytesProcessed = 5;
constexpr int kErrorUncorrected = 6;

// Temperature page 0x0D: parameter 0 the temperature, 1 the reference; the degrees sit in value
// byte 1, behind a reserved byte.
constexpr int kTemperatureParam = 0;
constexpr int kReferenceTemperatureParam = 1;
constexpr size_t kTemperatureValueByte = 1;
constexpr size_t kTemperatureValueLen = 2;

// Start-stop cycle counter page 0x0E: 1 and 2 dates (four ASCII digits of year, two of week), 3
// to 6 four-byte counters.
constexpr int kDateOfManufactureParam = 1;
constexpr int kAccountingDateParam = 2;
constexpr int kFirstCycleParam = 3;
constexpr int kLastCycleParam = 6;
constexpr size_t kDateYearLen = 4;
constexpr size_t kDateWeekOffset = 4;
constexpr size_t kDateWeekLen = 2;
constexpr size_t kDateValueLen = kDateWeekOffset + kDateWeekLen;
constexpr size_t kCycleValueLen = 4;

// Informational exceptions page 0x2F, parameter 0: the IE ASC and ASCQ, the latest temperature.
constexpr int kIeGeneralParam = 0;
constexpr size_t kIeAscByte = 0;
constexpr size_t kIeAscqByte = 1;
constexpr size_t kIeTemperatureByte = 2;
constexpr size_t kIeValueLen = 4;

// ---- Self-test results page 0x10: always twenty parameters of 20 bytes ----

struct SelfTestParam {
    uint8_t code_be[2];           // 1 is the most recent result
    uint8_t control;              // 0x03
    uint8_t length;               // 0x10
    uint8_t code_result;          // self-test code 7-5, result 3-0
    uint8_t number;               // self-test number
    uint8_t hours_be[2];          // accumulated power-on hours
    uint8_t first_failure_be[8];  // address of the first failure
    uint8_t sense_key;
    uint8_t asc;
    uint8_t ascq;
    uint8_t vendor;
};
static_assert(sizeof(SelfTestParam) == 20, "self-test result parameter");

constexpr uint8_t kSelfTestPage = 0x10;
constexpr int kSelfTestParams = 20;
constexpr uint16_t kSelfTestPageLength = kSelfTestParams * sizeof(SelfTestParam);  // 400
constexpr uint8_t kSelfTestParamLength = sizeof(SelfTestParam) - kParamHeaderLen;
constexpr uint8_t kSelfTestResultMask = 0x0F;
constexpr int kSelfTestCodeShift = 5;
constexpr uint16_t kMostRecentSelfTest = 1;

// Results of a self test (low nibble).
constexpr uint8_t kSelfTestCompleted = 0;
constexpr uint8_t kSelfTestAbortedByCommand = 1;
constexpr uint8_t kSelfTestAbortedOtherwise = 2;
constexpr uint8_t kSelfTestInProgress = 15;
// Self-test codes of SEND DIAGNOSTIC, as sg_senddiag -s takes them.
constexpr int kSelfTestBackgroundShort = 1;
constexpr int kSelfTestBackgroundExtended = 2;
constexpr int kSelfTestAbort = 4;

// ---- Fixed-format sense data (REQUEST SENSE) ----

struct FixedSense {
    uint8_t response_code;  // 0x70 current, 0x71 deferred; bit 7 VALID
    uint8_t obsolete;
    uint8_t sense_key;
    uint8_t information_be[4];
    uint8_t additional_length;  // bytes behind this one
    uint8_t command_specific_be[4];
    uint8_t asc;
    uint8_t ascq;
    uint8_t fru;
    uint8_t sks;  // SKSV in bit 7
    uint8_t progress_be[2];
};
static_assert(sizeof(FixedSense) == 18, "fixed-format sense data");

// The first read: up to and including the additional length.
constexpr size_t kSenseHeaderLen = offsetof(FixedSense, additional_length) + 1;
// Places in the bytes that follow the header.
constexpr size_t kSenseAscByte = offsetof(FixedSense, asc) - kSenseHeaderLen;
constexpr size_t kSenseAscqByte = offsetof(FixedSense, ascq) - kSenseHeaderLen;
constexpr size_t kSenseSksByte = offsetof(FixedSense, sks) - kSenseHeaderLen;
constexpr size_t kSenseProgressByte = offsetof(FixedSense, progress_be) - kSenseHeaderLen;
constexpr size_t kSenseFollowingLen = sizeof(FixedSense) - kSenseHeaderLen;
constexpr uint8_t kSenseResponseMask = 0x7F;
constexpr uint8_t kSenseCurrent = 0x70;
constexpr uint8_t kSenseDeferred = 0x71;
constexpr uint8_t kSenseKeySpecificValid = 0x80;
constexpr uint32_t kProgressScale = 65536;

// Sense keys and additional sense codes the disk's conditions are told by.
constexpr uint8_t kSenseKeyNoSense = 0x00;
constexpr uint8_t kAscNotReady = 0x04;
constexpr uint8_t kAscqSelfTestInProgress = 0x09;
constexpr uint8_t kAscLowPowerCondition = 0x5E;
constexpr uint8_t kAscqStandbyByCommand = 0x04;
constexpr uint8_t kAscFailurePrediction = 0x5D;
constexpr uint8_t kAscqTooManyBlockReassigns = 0x14;
constexpr uint8_t kAscWarning = 0x0B;
constexpr uint8_t kAscqTemperatureExceeded = 0x01;

// ---- Informational Exceptions Control mode page, as "sginfo -IX" lists it ----

enum IecField {
    kIecPerf,
    kIecEbf,
    kIecEwasc,
    kIecDexcpt,
    kIecTest,
    kIecEbackerr,
    kIecLogerr,
    kIecMrie,
    kIecIntervalTimer,
    kIecReportCount,
    kIecFieldCount
};
// Method of reporting: only when asked by REQUEST SENSE.
constexpr int kMrieOnRequest = 6;

}  // namespace nashal::scsi_log

#endif  // NASHAL_DISK_SCSI_LOG_LAYOUT_H
