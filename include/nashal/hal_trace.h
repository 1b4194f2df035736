/* The trace log: ERR_TRACE and HAL_Set_Debug. */
#ifndef NASHAL_HAL_TRACE_H
#define NASHAL_HAL_TRACE_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_TRACE_H */
