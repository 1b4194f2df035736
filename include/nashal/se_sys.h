/* The enclosure backend: se_sys_ operations and the hot-plug entries SE_Sys_*. */
#ifndef NASHAL_SE_SYS_H
#define NASHAL_SE_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_SYS_H */
