/* The enclosure registry: SE_ public interface and se_ registry internals. */
#ifndef NASHAL_HAL_SE_H
#define NASHAL_HAL_SE_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_SE_H */
