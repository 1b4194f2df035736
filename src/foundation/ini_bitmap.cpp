// Bitmap fields of the configuration store: sets of small integers held as one hexadecimal
// field (ini_number.h), the allocator of free ids among them, and their enumeration.
#include <cstdint>
#include <vector>

#include "foundation/ini_file.h"
#include "foundation/ini_number.h"
#include "foundation/ini_snapshot.h"
#include "nashal/ini_conf.h"

using namespace nashal::ini;

namespace {

std::vector<bool> read_bitmap(const char *file, const char *section, const char *field) {
    std::string_view value;
    return query(file, section, field, &value) ? parse_bitmap(std::string(value).c_str())
                                               : std::vector<bool>();
}

std::vector<bool> bitmap_of(std::string_view bytes, const char *section, const char *field) {
    std::string_view value;
    return lookup(bytes, section, field, &value) ? parse_bitmap(std::string(value).c_str())
                                                 : std::vector<bool>();
}

bool test(const std::vector<bool> &bits, int bit) {
    return bit >= 0 && static_cast<size_t>(bit) < bits.size() && bits[static_cast<size_t>(bit)];
}

// Sets or clears one bit and marks the document changed when the field's text changes (a
// missing field is created by a set).
void put(std::string &bytes, const char *section, const char *field, std::vector<bool> bits,
         int bit, bool on, bool &changed) {
    if (bits.size() <= static_cast<size_t>(bit))
        bits.resize(static_cast<size_t>(bit) + 1);
    bits[static_cast<size_t>(bit)] = on;
    changed = set_field(bytes, section, field, format_bitmap(bits));
}

bool valid_names(const char *section, const char *field) {
    return valid_section_name(section) && valid_field_name(field);
}

}  // namespace

namespace nashal::ini {

int bit_of_bitmap(std::string_view bytes, const char *section, const char *field, int bit) {
    return test(bitmap_of(bytes, section, field), bit) ? 1 : 0;
}

int enumerate_bitmap(std::string_view bytes, const char *section, const char *field, int *array,
                     int capacity, INI_CONF_BITMAP_CB callback, void *cookie) {
    // The bits are taken out of the bytes before the first callback: a callback may well read
    // the store again, and the bytes of a query don't outlive the thread's next read.
    std::vector<bool> bits = bitmap_of(bytes, section, field);
    int taken = 0;
    for (size_t i = 0; i < bits.size(); ++i) {
        if (!bits[i])
            continue;
        int bit = static_cast<int>(i);
        if (callback) {
            int r = callback(bit, cookie);
            if (r == -1)
                return -1;
            if (r == -2)
                continue;
        }
        if (array && taken < capacity)
            array[taken] = bit;
        ++taken;
    }
    return taken;
}

}  // namespace nashal::ini

extern "C" int Ini_Conf_Bitmap_Is_Bit_Set(const char *file, const char *section, const char *field,
                                          int bit) {
    std::string_view bytes;
    return read_view(file, &bytes) ? bit_of_bitmap(bytes, section, field, bit) : 0;
}

extern "C" int Ini_Conf_Bitmap_Set_Bit(const char *file, const char *section, const char *field,
                                       int bit) {
    if (bit < 0 || bit >= kBitmapBits || !valid_names(section, field))
        return -1;
    return change_bytes(file, [&](std::string &bytes, bool, bool &changed) {
        std::vector<bool> bits = bitmap_of(bytes, section, field);
        if (!test(bits, bit))
            put(bytes, section, field, std::move(bits), bit, true, changed);
        return 0;
    });
}

extern "C" int Ini_Conf_Bitmap_Reset_Bit(const char *file, const char *section, const char *field,
                                         int bit) {
    if (bit < 0 || !valid_names(section, field))
        return -1;
    return change_bytes(file, [&](std::string &bytes, bool, bool &changed) {
        std::vector<bool> bits = bitmap_of(bytes, section, field);
        if (test(bits, bit))
            put(bytes, section, field, std::move(bits), bit, false, changed);
        return 0;
    });
}

extern "C" int Ini_Conf_Bitmap_Get_Next_Free_Bit(const char *file, const char *section,
                                                 const char *field, int *bit, int start_bit,
                                                 int mark) {
    if (!bit || start_bit < 0 || !valid_names(section, field))
        return -1;
    auto lowest_clear = [&](const std::vector<bool> &bits) {
        for (int b = start_bit; b < kBitmapBits; ++b)
            if (!test(bits, b))
                return b;
        return -1;
    };
    if (!mark) {
        int free_bit = lowest_clear(read_bitmap(file, section, field));
        if (free_bit < 0)
            return -1;
        *bit = free_bit;
        return 0;
    }
    return change_bytes(file, [&](std::string &bytes, bool, bool &changed) {
        std::vector<bool> bits = bitmap_of(bytes, section, field);
        int free_bit = lowest_clear(bits);
        if (free_bit < 0)
            return -1;
        put(bytes, section, field, std::move(bits), free_bit, true, changed);
        *bit = free_bit;
        return 0;
    });
}

extern "C" int Ini_Conf_Bitmap_Get_Set_Count(const char *file, const char *section,
                                             const char *field) {
    int count = 0;
    for (bool b : read_bitmap(file, section, field))
        count += b ? 1 : 0;
    return count;
}

extern "C" int Ini_Conf_Bitmap_Enumerate(const char *file, const char *section, const char *field,
                                         int *array, int capacity, INI_CONF_BITMAP_CB callback,
                                         void *cookie) {
    // A missing file is an empty bitmap.
    std::string_view bytes;
    if (!read_view(file, &bytes))
        bytes = {};
    return enumerate_bitmap(bytes, section, field, array, capacity, callback, cookie);
}
