// Bounded text handling. The library's fixed buffers and their sizes are part of its behaviour;
// every copy into one goes through hal_copy, which cuts at the buffer and always terminates.
#ifndef NASHAL_FOUNDATION_TEXT_H
#define NASHAL_FOUNDATION_TEXT_H

#include <cstddef>

namespace nashal {

// Copies at most size-1 bytes of src (or of its first `limit` bytes) into dst and terminates.
// A size of 0 writes nothing. Returns dst.
char *hal_copy(char *dst, size_t size, const char *src, size_t limit = static_cast<size_t>(-1));

template <size_t N>
char *hal_copy(char (&dst)[N], const char *src) {
    return hal_copy(dst, N, src);
}

// True when text holds no character a shell would interpret (quotes, $, `, ;, &, |, <, >,
// parentheses, braces, wildcards, backslash, white space other than a plain space is refused
// too, and so are control characters). Null is not safe.
bool hal_shell_safe(const char *text);

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_TEXT_H
