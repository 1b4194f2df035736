#include "foundation/text.h"

#include <cstring>

namespace nashal {

char *hal_copy(char *dst, size_t size, const char *src, size_t limit) {
    if (!dst || size == 0)
        return dst;
    size_t n = 0;
    if (src) {
        size_t max = size - 1 < limit ? size - 1 : limit;
        while (n < max && src[n] != '\0')
            ++n;
        std::memcpy(dst, src, n);
    }
    dst[n] = '\0';
    return dst;
}

bool hal_shell_safe(const char *text) {
    if (!text)
        return false;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p; ++p) {
        if (*p < 0x20 || *p == 0x7f)
            return false;
        if (std::strchr("\"'`$;&|<>(){}[]*?!~#\\\t\n", *p))
            return false;
    }
    return true;
}

}  // namespace nashal
