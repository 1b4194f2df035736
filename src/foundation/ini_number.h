// The text forms of the store's integer and bitmap fields.
//
// Integer, format 0: decimal ("-12"); format 1: hexadecimal with all 32 bits unsigned, written
// "0x80000004" and read with or without the "0x" (model files are written by hand).
// Bitmap: a hexadecimal number of any length, bit n standing for the integer n, written "0x..."
// with upper-case digits and no leading zeros ("0x0" when empty). A bitmap read as a format 1
// integer gives its low 32 bits, and a format 1 integer reads as a bitmap.
#ifndef NASHAL_FOUNDATION_INI_NUMBER_H
#define NASHAL_FOUNDATION_INI_NUMBER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nashal::ini {

// Highest bit a bitmap holds, plus one. A bitmap of enclosure ids needs a few dozen; the room
// above is for the other callers of the same routines.
constexpr int kBitmapBits = 4096;

// False when the text holds no number (the value is then not written).
bool parse_int32(const char *text, int format, int32_t *value);
void format_int32(int32_t value, int format, char *out, size_t size);

// Bits of a bitmap text; digits beyond kBitmapBits are dropped.
std::vector<bool> parse_bitmap(const char *text);
std::string format_bitmap(const std::vector<bool> &bits);

}  // namespace nashal::ini

#endif  // NASHAL_FOUNDATION_INI_NUMBER_H
