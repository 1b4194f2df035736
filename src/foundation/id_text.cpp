// Texts for people and for files: sizes with their unit, bytes as hexadecimal, MAC addresses.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"

namespace {

const ID_STR_PAIR kSizeUnits[] = {
    {SIZE_UNIT_AUTO, "N/A"}, {SIZE_UNIT_BYTES, "Bytes"}, {SIZE_UNIT_KB, "KB"},
    {SIZE_UNIT_MB, "MB"},    {SIZE_UNIT_GB, "GB"},       {SIZE_UNIT_TB, "TB"},
    {SIZE_UNIT_PB, "PB"},    {SIZE_UNIT_EB, "EB"},       {SIZE_UNIT_INVALID, "Invalid"},
};

// A group of two characters read as hexadecimal, as strtoul reads it (up to the first
// character that is no digit).
unsigned char group_value(char first, char second) {
    char text[3] = {first, second, '\0'};
    return static_cast<unsigned char>(strtoul(text, nullptr, 16));
}

}  // namespace

extern "C" const char *get_str_from_id(const ID_STR_PAIR *table, int rows, int id) {
    if (!table || rows <= 0)
        return nullptr;
    for (int i = 0; i < rows; ++i)
        if (table[i].id == id)
            return table[i].str;
    return nullptr;
}

extern "C" char *Get_Size_Str(uint64_t count, uint64_t unit_size, int unit, char *buffer,
                              int size) {
    if (!buffer || size <= 0)
        return buffer;
    uint64_t total = count * unit_size;
    if (unit < SIZE_UNIT_AUTO || unit > SIZE_UNIT_EB) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: invalid unit id %d!\n", __func__, unit);
        snprintf(buffer, static_cast<size_t>(size), "N/A");
        return buffer;
    }
    if (unit == SIZE_UNIT_AUTO) {
        unit = SIZE_UNIT_BYTES;
        for (uint64_t v = total; unit < SIZE_UNIT_EB && (v >> 10) >= 2; v >>= 10)
            ++unit;
    }
    const char *text = get_str_from_id(kSizeUnits, SIZE_UNIT_INVALID + 1, unit);
    unsigned shift = 10u * static_cast<unsigned>(unit - 1);
    unsigned long long whole = total >> shift;
    if (unit == SIZE_UNIT_BYTES) {
        snprintf(buffer, static_cast<size_t>(size), "%llu %s", whole, text);
        return buffer;
    }
    uint64_t remainder = total - (static_cast<uint64_t>(whole) << shift);
    double fraction = static_cast<double>(remainder >> (shift - 10)) / 1024.0;
    // Only the text behind the point is kept: a fraction that rounds up to 1.00 loses its carry.
    char frac[32];
    snprintf(frac, sizeof frac, "%.2f %s", fraction, text);
    const char *point = strchr(frac, '.');
    snprintf(buffer, static_cast<size_t>(size), "%llu%s", whole, point ? point : frac);
    return buffer;
}

extern "C" char *num_to_ascii(const unsigned char *bytes, int count, char *buffer, int size) {
    if (!buffer || size <= 0)
        return buffer;
    memset(buffer, 0, static_cast<size_t>(size));
    for (int i = 0; bytes && i < count; ++i) {
        char two[3];
        snprintf(two, sizeof two, "%02X", bytes[i]);
        strncat(buffer, two, static_cast<size_t>(size) - strlen(buffer) - 1);
    }
    return buffer;
}

extern "C" int Translate_MAC_ASCII_To_Bin(const char *text, unsigned char *buffer,
                                          int capacity) {
    if (!text || !*text)
        return 0;
    int stored = 0;
    char group[2];
    int held = 0;
    for (const char *p = text;; ++p) {
        bool end = *p == '\0';
        if (!end && *p != ':') {
            group[held++] = *p;
            if (held < 2)
                continue;
        }
        if (held == 2) {
            if (buffer && stored < capacity)
                buffer[stored++] = group_value(group[0], group[1]);
        }
        held = 0;  // a lone digit before a ":" is dropped
        if (end)
            break;
    }
    return stored;
}

extern "C" int Translate_MAC_Bin_To_ASCII(const unsigned char *bytes, int count, char *buffer,
                                          int size) {
    if (!buffer || size <= 0)
        return 0;
    memset(buffer, 0, static_cast<size_t>(size));
    if (!bytes || count <= 0 || count * 3 > size)
        return 0;
    for (int i = 0; i < count; ++i) {
        char three[4];
        snprintf(three, sizeof three, i + 1 < count ? "%02X:" : "%02X", bytes[i]);
        strncat(buffer, three, static_cast<size_t>(size) - strlen(buffer) - 1);
    }
    return static_cast<int>(strlen(buffer));
}
