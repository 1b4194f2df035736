/* Small utilities: exact file transfer, size texts, id and MAC conversions. */
#ifndef NASHAL_HAL_UTIL_H
#define NASHAL_HAL_UTIL_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_UTIL_H */
