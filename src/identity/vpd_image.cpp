// Working on a VPD ROM image in memory: repairing it, building the default one, the date form
// and the dump. Nothing here touches the bus, so the decoders can be tested and fuzzed from
// captured images.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "identity/vpd_layout.h"
#include "nashal/hal_trace.h"
#include "nashal/vpd.h"

namespace nashal::identity {

namespace {

// Zero-sum checksum of an area of n bytes whose last byte holds the sum. Returns 0 only when the
// stored byte and the sum of the others are both zero; any other image is rewritten with the
// right byte and the sum returned. A correct checksum is thus also "repaired" and counted: the
// count tells how many areas were written, not how many were wrong, and nothing relies on it.
int vpd_checksum(uint8_t *area, size_t n) {
    uint8_t sum = 0;
    for (size_t i = 0; i + 1 < n; ++i)
        sum = static_cast<uint8_t>(sum + area[i]);
    if (static_cast<int>(sum) + static_cast<int>(area[n - 1]) == 0)
        return 0;
    area[n - 1] = static_cast<uint8_t>(-sum);
    return sum;
}

// A text field ends at its first zero byte: everything behind it is cleared, so that stale
// characters of a longer earlier value don't survive. Its type/length byte always carries the
// field's whole length. -1 when that byte had to be set.
int vpd_check_field(uint8_t *field, size_t length, uint8_t type) {
    if (type == kTypeText) {
        bool cleared = false;
        for (size_t i = 1; i <= length; ++i) {
            if (field[i] == 0)
                cleared = true;
            if (cleared)
                field[i] = 0;
        }
    }
    uint8_t expected = type_length(type, static_cast<uint8_t>(length));
    if (field[0] != expected) {
        field[0] = expected;
        return -1;
    }
    return 0;
}

template <size_t N>
int validate(uint8_t *rom, const VpdItem (&layout)[N]) {
    if (!rom)
        return -1;
    int repairs = 0;
    int checksums = 0;
    for (const VpdItem &item : layout) {
        uint8_t *at = rom + item.offset;
        switch (item.kind) {
            case VpdItemKind::kConstant:
                if (*at != item.value) {
                    *at = item.value;
                    ++repairs;
                }
                break;
            case VpdItemKind::kFiller:
                std::memset(at, item.value, item.size);
                break;
            case VpdItemKind::kField:
                if (vpd_check_field(at, item.size, item.value) < 0)
                    ++repairs;
                break;
            case VpdItemKind::kChecksum:
                if (vpd_checksum(rom + item.value, item.offset + 1u - item.value) != 0)
                    ++checksums;
                break;
            case VpdItemKind::kOpaque:
                break;
        }
    }
    return repairs + checksums;
}

// 2013/01/01 00:00 in local time: the epoch of the ROM's dates.
time_t vpd_epoch() {
    struct tm epoch = {};
    epoch.tm_year = 2013 - 1900;
    epoch.tm_mon = 0;
    epoch.tm_mday = 1;
    epoch.tm_isdst = -1;
    return mktime(&epoch);
}

}  // namespace

}  // namespace nashal::identity

using namespace nashal::identity;

extern "C" int VPD_MB_Data_Validator(uint8_t *rom) {
    return validate(rom, kMbLayout);
}

extern "C" int VPD_BP_Data_Validator(uint8_t *rom) {
    return validate(rom, kBpLayout);
}

extern "C" int VPD_MfgDate_To_Binary(const char *text, int length, uint8_t *out, int size) {
    if (!text || length < static_cast<int>(kMfgDateTextLength) ||
        strnlen(text, kMfgDateTextLength) < kMfgDateTextLength || !out)
        return -1;
    char copy[kMfgDateTextLength + 1];
    std::memcpy(copy, text, kMfgDateTextLength);
    copy[kMfgDateTextLength] = '\0';
    // Fixed columns: "YYYY/MM/DD-hh:mm"; each number is cut off behind its last digit.
    copy[4] = copy[7] = copy[10] = copy[13] = '\0';
    struct tm when = {};
    int year = atoi(copy);
    when.tm_mon = atoi(copy + 5) - 1;
    when.tm_mday = atoi(copy + 8);
    when.tm_hour = atoi(copy + 11);
    when.tm_min = atoi(copy + 14);
    if (year < 2007 || year > 2037 || when.tm_mon < 0 || when.tm_mon > 11 || when.tm_mday < 1 ||
        when.tm_mday > 31 || when.tm_hour < 0 || when.tm_hour > 23 || when.tm_min < 0 ||
        when.tm_min > 59)
        return -1;
    when.tm_year = year - 1900;
    when.tm_isdst = -1;
    double seconds = difftime(mktime(&when), vpd_epoch());
    // Dates before the epoch are legal input and are kept as the epoch itself.
    uint32_t minutes = seconds < 0 ? 0 : static_cast<uint32_t>(seconds / 60);
    for (int i = 0; i < size && i < 4; ++i)
        out[i] = static_cast<uint8_t>(minutes >> (8 * i));
    return 0;
}

extern "C" int VPD_Binary_To_Mfgdate(char *buffer, int size, const uint8_t *binary,
                                     int binary_size) {
    if (!buffer || size <= 0)
        return 0;
    uint32_t minutes = 0;
    for (int i = 0; binary && i < binary_size && i < 4; ++i)
        minutes |= static_cast<uint32_t>(binary[i]) << (8 * i);
    // Local epoch, printed as UTC: on a unit whose clock runs in another zone the text moves by
    // the zone's offset. The units run in UTC, and the ROMs were written that way.
    time_t when = vpd_epoch() + static_cast<time_t>(minutes) * 60;
    struct tm out = {};
    gmtime_r(&when, &out);
    snprintf(buffer, static_cast<size_t>(size), "%04d/%02d/%02d-%02d:%02d", out.tm_year + 1900,
             out.tm_mon + 1, out.tm_mday, out.tm_hour, out.tm_min);
    return 0;
}

extern "C" int VPD_Print_Rom(FILE *stream, const uint8_t *data, int length) {
    if (!stream || !data)
        return -1;
    for (int i = 0; i < length; ++i) {
        if (i % 8 == 0)
            fprintf(stream, "%04d -> ", i / 8);
        fprintf(stream, "0x%02x ", data[i]);
        if (i % 8 == 7)
            fputc('\n', stream);
    }
    return fputc('\n', stream);
}

extern "C" int VPD_Gen_Default_ROM(int rom, uint8_t *buffer, int size, const char *path) {
    if (!buffer || (rom != 0 && rom != 1))
        return -1;
    size_t need = rom == 0 ? kMbRomSize : kBpRomSize;
    if (size < static_cast<int>(need))
        return -1;
    VPD_MfgDate_To_Binary("2013/01/01-00:00", 16, buffer + (rom == 0 ? kMbMfgDate : kBpMfgDate),
                          kMfgDateSize);
    static const char kMaker[] = "VORN Systems";
    std::memcpy(buffer + (rom == 0 ? kMbBoardManufacturer : kBpBoardManufacturer), kMaker,
                sizeof kMaker);
    std::memcpy(buffer + (rom == 0 ? kMbProductManufacturer : kBpProductManufacturer), kMaker,
                sizeof kMaker);
    if (rom == 0)
        VPD_MB_Data_Validator(buffer);
    else
        VPD_BP_Data_Validator(buffer);
    if (path) {
        FILE *out = fopen(path, "wb");
        if (out) {
            fwrite(buffer, 1, static_cast<size_t>(size), out);
            fclose(out);
        }
    }
    return 0;
}
