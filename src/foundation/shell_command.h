// The one builder of shell commands. It formats the command into the caller's fixed buffer
// with the system's own format and size, refuses any inserted text that holds a character a
// shell would interpret (a device string, a file name from sysfs), and traces the final command
// at level 16. Commands are then run with system() or read with comm_sys_read_from_popen.
#ifndef NASHAL_FOUNDATION_SHELL_COMMAND_H
#define NASHAL_FOUNDATION_SHELL_COMMAND_H

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "foundation/text.h"
#include "nashal/hal_trace.h"

namespace nashal {

// A text that the format places between double quotes. There the shell interprets only $, `,
// \ and " (and ! in an interactive shell), so a log line may hold '#', ':' or brackets.
struct in_double_quotes {
    explicit in_double_quotes(const char *t) : text(t) {}
    const char *text;
};

namespace detail {
inline bool arg_safe(in_double_quotes q) {
    if (!q.text)
        return false;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(q.text); *p; ++p)
        if (*p < 0x20 || *p == 0x7f || std::strchr("\"$`\\!", *p))
            return false;
    return true;
}
inline const char *unwrap(in_double_quotes q) {
    return q.text;
}
template <typename T>
T unwrap(T v) {
    return v;
}
inline bool arg_safe(const char *s) {
    return hal_shell_safe(s);
}
inline bool arg_safe(char *s) {
    return hal_shell_safe(s);
}
template <typename T>
bool arg_safe(const T &) {
    static_assert(std::is_arithmetic_v<T> || std::is_pointer_v<T>, "format argument");
    return true;
}
}  // namespace detail

// Returns the length of the command (as snprintf, cut to the buffer), or -1 when an inserted
// text is not shell-safe; the buffer then holds an empty text. `who` names the caller for the
// trace.
template <typename... Args>
int hal_build_command(const char *who, char *buf, size_t size, const char *format, Args... args) {
    if (!buf || size == 0)
        return -1;
    buf[0] = '\0';
    bool safe = (detail::arg_safe(args) && ...);
    if (!safe) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: refused a text with shell characters for \"%s\"\n", who,
                  format);
        return -1;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    int n = snprintf(buf, size, format, detail::unwrap(args)...);
#pragma GCC diagnostic pop
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: command \"%s\"\n", who, buf);
    return n;
}

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_SHELL_COMMAND_H
