/* The trace log: ERR_TRACE, the one logging call, and HAL_Set_Debug. */
#ifndef NASHAL_HAL_TRACE_H
#define NASHAL_HAL_TRACE_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one entry when level AND the mask is non-zero. The mask and the log path can be changed
 * at run time by one line "MASK[:PATH]" (hexadecimal mask) in /var/log/hal_lib.log.conf, which
 * is re-read on every call. Negative on a failed lock; callers ignore the result. */
int ERR_TRACE(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* Sets the mask; a null path sends output to standard output, a path (at most 127 characters)
 * replaces the log path. Returns 0. */
int HAL_Set_Debug(int mask, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_TRACE_H */
