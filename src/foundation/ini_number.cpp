#include "foundation/ini_number.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace nashal::ini {
namespace {

int hex_digit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

const char *skip_blanks(const char *p) {
    while (*p == ' ' || *p == '\t')
        ++p;
    return p;
}

// The hexadecimal digits of a text, behind blanks and an optional "0x".
const char *hex_digits(const char *text) {
    const char *p = skip_blanks(text);
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && hex_digit(p[2]) >= 0)
        p += 2;
    return p;
}

}  // namespace

bool parse_int32(const char *text, int format, int32_t *value) {
    if (!text)
        return false;
    const char *p = skip_blanks(text);
    bool hex = format == 1 || (p[0] == '0' && (p[1] == 'x' || p[1] == 'X'));
    if (hex) {
        p = hex_digits(p);
        if (hex_digit(*p) < 0)
            return false;
        uint32_t v = 0;  // keeps the low 32 bits of a longer number, as a bitmap's
        for (; hex_digit(*p) >= 0; ++p)
            v = (v << 4) | static_cast<uint32_t>(hex_digit(*p));
        *value = static_cast<int32_t>(v);
        return true;
    }
    char *end = nullptr;
    long long v = strtoll(p, &end, 10);
    if (end == p)
        return false;
    *value = static_cast<int32_t>(static_cast<uint32_t>(v));
    return true;
}

void format_int32(int32_t value, int format, char *out, size_t size) {
    if (format == 1)
        snprintf(out, size, "0x%X", static_cast<unsigned>(static_cast<uint32_t>(value)));
    else
        snprintf(out, size, "%d", static_cast<int>(value));
}

std::vector<bool> parse_bitmap(const char *text) {
    std::vector<bool> bits;
    if (!text)
        return bits;
    const char *first = hex_digits(text);
    const char *last = first;
    while (hex_digit(*last) >= 0)
        ++last;
    size_t digits = static_cast<size_t>(last - first);
    for (size_t i = 0; i < digits && i * 4 < static_cast<size_t>(kBitmapBits); ++i) {
        int d = hex_digit(last[-1 - static_cast<std::ptrdiff_t>(i)]);
        for (int b = 0; b < 4; ++b) {
            if (d & (1 << b)) {
                size_t n = i * 4 + static_cast<size_t>(b);
                if (bits.size() <= n)
                    bits.resize(n + 1);
                bits[n] = true;
            }
        }
    }
    return bits;
}

std::string format_bitmap(const std::vector<bool> &bits) {
    size_t top = bits.size();
    while (top > 0 && !bits[top - 1])
        --top;
    if (top == 0)
        return "0x0";
    std::string out = "0x";
    static const char digits[] = "0123456789ABCDEF";
    for (size_t d = (top + 3) / 4; d-- > 0;) {
        int v = 0;
        for (int b = 0; b < 4; ++b) {
            size_t n = d * 4 + static_cast<size_t>(b);
            if (n < bits.size() && bits[n])
                v |= 1 << b;
        }
        out += digits[v];
    }
    return out;
}

}  // namespace nashal::ini
